// The module's handle, for the suites and dialogs that need it.
#pragma once

// Returns the module's handle, the address at which it is loaded. With a non-null plugInRef it asks
// the host's access suite instead, and keeps the answer in gDllInstance. Throws int32 if the suite
// is not available (AcquireHostSuite); leaves gDllInstance unchanged if the suite fails.
void* GetDLLInstance(void* plugInRef);
