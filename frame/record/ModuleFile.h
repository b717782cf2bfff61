// The path of the module's file.
#pragma once

#include <filesystem>

// Absolute path of the file that holds this code: the module, or the program that links it. Empty
// if the system does not know.
std::filesystem::path ModuleFile();
