// The named host suites for the utility layer. Each is acquired on first use and kept until the
// module is unloaded. The filter's own code acquires its suites separately.
#pragma once

#include <cstdint>

#include "hostapi/HostTypes.h"

struct HostSuite {
  const void* suite; // null until acquired
  int32_t version;
  const char* name;  // null: nothing to release
  int32_t lastError; // of the last acquisition; 0 is success
};

enum class HostSuiteId {
  actionDescriptor,
  bc1e4d70, // these three have no name except the first word of their identifiers
  df135117,
  df135116,
  descriptorRegistry,
  uiHooks,
  handle,
  text,
  access,
  fileList,
  buffer,
  channelPorts,
  runtime,
  property,
  alias,
  resource,
  count
};

// Thrown, as an int32, if there is no host to ask.
constexpr int32_t errNoBasicSuite = int32_t(fourCharCode("Parm"));

// Asks the host for the suite. Throws int32: errNoBasicSuite, or the host's code, which lastError
// keeps.
void AcquireHostSuite(HostSuite& suite);

// Record of one suite; valid while the module is loaded.
HostSuite& HostSuiteRecord(HostSuiteId id);

// Returns the suite, and acquires it first if necessary. Throws like AcquireHostSuite. Suite: the
// record of that suite in hostapi/.
template <class Suite> const Suite* GetHostSuite(HostSuiteId id) {
  HostSuite& record = HostSuiteRecord(id);
  if (!record.suite)
    AcquireHostSuite(record);
  return static_cast<const Suite*>(record.suite);
}

// Releases all acquired suites if there is a host, and forgets them. Runs at unloading: a host
// keeps its basic suite until then.
void ReleaseHostSuites();
