// What happens when the module is loaded and unloaded, and where it finds itself.
#include "frame/Module.h"

#include <dlfcn.h>

#include <system_error>

#include "frame/Globals.h"
#include "frame/HostSuites.h"
#include "hostapi/UtilitySuites.h"

namespace {

// Where this code lies, by the address of something in it.
Dl_info ownInfo() {
  Dl_info info = {};
  dladdr(reinterpret_cast<const void*>(&ModuleFile), &info);
  return info;
}

// Run by the loader: nothing but the handle is set.
__attribute__((constructor)) void attachProcess() { gDllInstance = ownInfo().dli_fbase; }

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

std::filesystem::path ModuleFile() {
  const Dl_info info = ownInfo();
  if (!info.dli_fname)
    return {};
  std::error_code failed;
  std::filesystem::path file = std::filesystem::canonical(info.dli_fname, failed);
  if (!failed)
    return file;
  // A program's own name may be a bare word that was found along PATH.
  return std::filesystem::read_symlink("/proc/self/exe", failed);
}
