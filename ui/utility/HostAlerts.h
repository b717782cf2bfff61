// Tests of what the host offers, each of which tells the user when it does not do.
#pragma once

#include <cstdint>

#include "hostapi/Procs.h"

// A record of the host begins with its version and count, and then holds its procedures.
struct HostRecordRule {
  int16_t version;         // expected; above it the plug-in does not know the record
  int16_t leastCount;      // told by the record
  int16_t procedures;      // how many of the first must be there
  const char* hostVersion; // the host that offers it, as told to the user
};

// The records that plug-ins ask for, by version and count.
constexpr HostRecordRule hostRecordRules[] = {
    {2, 5, 5, "2.5"}, // buffers
    {3, 4, 4, "3.0"}, //
    {1, 8, 4, "3.0"}, // handles
    {1, 2, 2, "2.5"}, //
    {1, 3, 3, "4.0"},
};
// What has no record but is a plain pointer, by the host that offers it.
constexpr const char* hostPointerVersions[] = {"3.0", "2.5"};

// True if it is there and can be used; otherwise an alert has been shown. Any may be null.
bool HostRecordUsable(const HostRecordRule& rule, const void* record);
bool HostPointerUsable(const char* hostVersion, const void* pointer);
bool HostDescriptorsUsable(const ReadDescriptorProcs* read, const WriteDescriptorProcs* write);
