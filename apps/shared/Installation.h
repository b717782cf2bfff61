// Where the programs find the files installed with them.
#pragma once

#include <filesystem>

namespace shared {

// The folder of the filter's modules, relative to the program as in the build or the installation.
// Throws std::runtime_error if there is none.
std::filesystem::path pluginFolder();

// A file or a folder of the installation's share/, such as "doc/fogdissolver/index.html"; empty if
// it is not installed.
std::filesystem::path sharedFile(const std::filesystem::path& name);

} // namespace shared
