// Where the module lies.
#pragma once

#include <filesystem>

// Absolute path of the file that holds this code: the module, or the program it is linked into.
// Empty if the system does not say.
std::filesystem::path ModuleFile();
