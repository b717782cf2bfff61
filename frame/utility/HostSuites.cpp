// Table of the host's suites, and their acquisition and release.
#include "frame/utility/HostSuites.h"

#include <iterator>

#include "frame/record/Globals.h"

namespace {

// In the order of HostSuiteId.
HostSuite suites[] = {
    {nullptr, actionDescriptorSuiteVersion, actionDescriptorSuiteName},
    {nullptr, 2, "bc1e4d70-f953-11d0-8d9f-00c04fd5f7ee"},
    {nullptr, 3, "df135117-c769-11d0-8079-00c04fd7ec47"},
    {nullptr, 1, "df135116-c769-11d0-8079-00c04fd7ec47"},
    {nullptr, descriptorRegistrySuiteVersion, descriptorRegistrySuiteName},
    {nullptr, 1, "Photoshop UIHooks Suite for Plug-ins"},
    {nullptr, 2, "Photoshop Handle Suite for Plug-ins"},
    {nullptr, 1, "AS ZString Suite"},
    {nullptr, 3, "SP Access Suite"},
    {nullptr, 4, "Photoshop GetFileList Suite for Plug-ins"},
    {nullptr, 1, "Photoshop Buffer Suite for Plug-ins"},
    {nullptr, 3, "Photoshop ChannelPorts Suite for Plug-ins"},
    {nullptr, 5, "SP Runtime Suite"},
    {nullptr, 1, "Photoshop Property Suite for Plug-ins"},
    {nullptr, 1, "Photoshop Alias Utility Suite"},
    {nullptr, 3, "Photoshop Resource Suite for Plug-ins"},
};
static_assert(std::size(suites) == size_t(HostSuiteId::count));

} // namespace

void AcquireHostSuite(HostSuite& suite) {
  if (!gBasicSuite)
    throw errNoBasicSuite;
  suite.lastError = gBasicSuite->AcquireSuite(suite.name, suite.version, &suite.suite);
  if (suite.lastError != 0)
    throw int32_t(suite.lastError);
}

HostSuite& HostSuiteRecord(HostSuiteId id) { return suites[size_t(id)]; }

void ReleaseHostSuites() {
  for (HostSuite& suite : suites) {
    if (!suite.suite || !suite.name)
      continue;
    if (gBasicSuite)
      gBasicSuite->ReleaseSuite(suite.name, suite.version);
    suite.suite = nullptr;
  }
}
