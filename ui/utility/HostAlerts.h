// Checks of what the host offers. Each shows an alert if the plug-in cannot use it.
#pragma once

#include "frame/utility/HostRecords.h"
#include "hostapi/Procs.h"

struct HostAlert {
  HostRecordRule rule;
  const char* hostVersion; // the host version that offers the record, for the user
};

// The records that plug-ins request.
constexpr HostAlert hostAlerts[] = {
    {{2, 5, 5}, "2.5"}, // buffers
    {{3, 4, 4}, "3.0"}, //
    {{1, 8, 4}, "3.0"}, // handles
    {{1, 2, 2}, "2.5"}, //
    {{1, 3, 3}, "4.0"},
};
// Some host services are plain pointers instead of records: the host versions that offer them.
constexpr const char* hostPointerVersions[] = {"3.0", "2.5"};

// True if the record is there and usable; otherwise shows an alert. Any pointer may be null.
bool HostRecordUsable(const HostAlert& alert, const void* record);
bool HostPointerUsable(const char* hostVersion, const void* pointer);
bool HostDescriptorsUsable(const ReadDescriptorProcs* read, const WriteDescriptorProcs* write);
