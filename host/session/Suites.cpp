// SPBasicSuite: this host's suites by name and version.
#include <cstring>

#include "host/session/Host.h"

namespace host {

namespace {

const struct {
  const char* name;
  int32_t version;
  const void* procs;
} suites[] = {
    {actionDescriptorSuiteName, actionDescriptorSuiteVersion, &actionDescriptorSuite},
    {descriptorRegistrySuiteName, descriptorRegistrySuiteVersion, &descriptorRegistrySuite},
};

const void* findSuite(const char* name, int32_t version) {
  for (const auto& suite : suites)
    if (version == suite.version && std::strcmp(name, suite.name) == 0)
      return suite.procs;
  return nullptr;
}

int32_t acquireSuite(Host& host, const char* name, int32_t version, const void** suite) {
  *suite = findSuite(name, version);
  (*suite ? host.suiteCounts.acquired : host.suiteCounts.refused)++;
  return *suite ? noErr : errPlugInHostInsufficient;
}

int32_t releaseSuite(Host& host, const char* name, int32_t version) {
  const bool known = findSuite(name, version);
  (known ? host.suiteCounts.released : host.suiteCounts.refused)++;
  return known ? noErr : errPlugInHostInsufficient;
}

} // namespace

SPBasicSuite* basicSuite() {
  static SPBasicSuite suite{Proc<acquireSuite, errPlugInHostInsufficient>::call,
                            Proc<releaseSuite, errPlugInHostInsufficient>::call};
  return &suite;
}

} // namespace host
