#include "frame/record/ModuleFile.h"

#include <dlfcn.h>

#include <system_error>

#include "frame/record/Globals.h"

namespace {

// The file that contains this code, found by the address of a variable in it.
Dl_info ownInfo() {
  Dl_info info = {};
  dladdr(reinterpret_cast<const void*>(&ModuleFile), &info);
  return info;
}

// The loader runs this; it only sets the handle.
__attribute__((constructor)) void attachProcess() { gDllInstance = ownInfo().dli_fbase; }

} // namespace

std::filesystem::path ModuleFile() {
  const Dl_info info = ownInfo();
  if (!info.dli_fname)
    return {};
  std::error_code failed;
  std::filesystem::path file = std::filesystem::canonical(info.dli_fname, failed);
  if (!failed)
    return file;
  // The program's name may be a bare word that the shell found along PATH.
  return std::filesystem::read_symlink("/proc/self/exe", failed);
}
