// The module's handle, for the suites and dialogs that ask for it.
#pragma once

// The module's handle, the address at which it is loaded. A non-null plugInRef asks the host for
// the handle instead, through its access suite, and keeps the answer in gDllInstance; throws int32
// if the suite cannot be had (AcquireHostSuite), and leaves gDllInstance as it is if the suite
// fails.
void* GetDLLInstance(void* plugInRef);
