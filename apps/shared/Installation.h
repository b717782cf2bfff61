// Where the programs find what is installed beside them.
#pragma once

#include <filesystem>

namespace shared {

// The folder of the filter's modules: beside the program, where the build or the installation puts
// it. Throws std::runtime_error when there is none.
std::filesystem::path pluginFolder();

// A file or a folder that is shared by all machines, such as "doc/fogdissolver/index.html"; empty
// when it is not installed.
std::filesystem::path sharedFile(const std::filesystem::path& name);

} // namespace shared
