#include "apps/shared/Installation.h"

#include <stdexcept>

namespace fs = std::filesystem;

namespace shared {
namespace {

fs::path programFolder() { return fs::read_symlink("/proc/self/exe").parent_path(); }

// Relative to the program's folder. The last one is for a program that was moved out of the package
// alone.
constexpr const char* pluginFolders[] = {"plugin",
                                         "../plugin",
                                         "../lib/fogdissolver", // from bin/
                                         "../../plugin",
                                         "../../../../fogdissolver", // from GIMP's plug-in
                                         FOG_INSTALLED_MODULES};

} // namespace

fs::path pluginFolder() {
  for (const char* place : pluginFolders)
    if (fs::is_directory(programFolder() / place))
      return (programFolder() / place).lexically_normal();
  throw std::runtime_error("the filter's modules are not installed beside the program");
}

fs::path sharedFile(const fs::path& name) {
  const fs::path file = (programFolder() / "../share" / name).lexically_normal();
  std::error_code ignored;
  return fs::exists(file, ignored) ? file : fs::path();
}

} // namespace shared
