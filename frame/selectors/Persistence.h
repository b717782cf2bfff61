// The export flag outside the parameters handle: in the host's persistent descriptor registry and
// in the scripting descriptor.
#pragma once

#include <cstdint>

// All read or write gParams->outputMap and return a code of the host; 0 is success.
int32_t ReadRegistryParameters(); // the flag stays as it is if nothing is stored
int32_t WriteRegistryParameters();
// Also reports whether to show the dialog, and disposes of the descriptor after reading. Only the
// low 16 bits of the code count.
int32_t ReadScriptParameters(uint8_t* displayDialog);
int32_t WriteScriptParameters();
