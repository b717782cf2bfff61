// The export flag outside the parameters handle: in the host's persistent descriptor registry and
// in the scripting descriptor.
#pragma once

#include <cstdint>

// Codes of these are the host's; their callers ignore most of them.
int32_t ReadRegistryParameters();
int32_t WriteRegistryParameters();
int32_t ReadScriptParameters(uint8_t* displayDialog);
int32_t WriteScriptParameters();
