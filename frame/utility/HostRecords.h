// Checks whether the plug-in can use a record of procedures that a host offers.
#pragma once

#include <cstdint>

// Every such record begins with its version and count; its procedures follow.
struct HostRecordRule {
  int16_t version;    // expected version; the plug-in does not know newer records
  int16_t leastCount; // lowest count that the record may state
  int16_t procedures; // number of leading procedures that must not be null
};

enum class HostRecordFitness { usable, tooOld, tooNew };

// A null record counts as too old.
HostRecordFitness FitnessOf(const HostRecordRule& rule, const void* record);
