// The export flag outside the parameters handle: in the host's persistent descriptor registry and
// in the scripting descriptor.
#pragma once

#include <cstdint>

// All move gParams->outputMap and give a code of the host; 0 is success.
int32_t ReadRegistryParameters(); // the flag stays when nothing is stored
int32_t WriteRegistryParameters();
// Also says whether the dialog is wanted, and disposes of the descriptor that it has read. Only the
// low 16 bits of the code count.
int32_t ReadScriptParameters(uint8_t* displayDialog);
int32_t WriteScriptParameters();
