// Whether a record of procedures that a host offers can be used.
#pragma once

#include <cstdint>

// Every such record begins with its version and count; its procedures follow.
struct HostRecordRule {
  int16_t version;    // expected; the plug-in does not know a record above it
  int16_t leastCount; // as the record states it
  int16_t procedures; // how many of the first must not be null
};

enum class HostRecordFitness { usable, tooOld, tooNew };

// A null record counts as too old.
HostRecordFitness FitnessOf(const HostRecordRule& rule, const void* record);
