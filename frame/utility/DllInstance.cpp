// The module's handle, and the release of the suites when the module is unloaded.
#include "frame/utility/DllInstance.h"

#include "frame/record/Globals.h"
#include "frame/utility/HostSuites.h"
#include "hostapi/UtilitySuites.h"

namespace {

__attribute__((destructor)) void detachProcess() { ReleaseHostSuites(); }

} // namespace

void* GetDLLInstance(void* plugInRef) {
  if (!plugInRef)
    return gDllInstance;
  const auto* suite = GetHostSuite<AccessSuite>(HostSuiteId::access);
  PluginAccess access = nullptr;
  PlatformAccess platform = {};
  if (suite->getPluginAccess(plugInRef, &access) == 0 &&
      suite->getPlatformAccess(access, &platform) == 0)
    gDllInstance = platform.second ? platform.second : platform.first;
  return gDllInstance;
}
