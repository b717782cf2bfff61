// The module as the loader sees it: its handle, its file.
#pragma once

#include <filesystem>

// The module's handle, the address at which it is loaded. A non-null plugInRef asks the host for
// the handle instead, through its access suite, and keeps the answer in gDllInstance; throws int32
// if the suite cannot be had (AcquireHostSuite), and leaves gDllInstance as it is if the suite
// fails.
void* GetDLLInstance(void* plugInRef);

// Absolute path of the file that holds this code: the module, or the program it is linked into.
// Empty if the system does not tell.
std::filesystem::path ModuleFile();
