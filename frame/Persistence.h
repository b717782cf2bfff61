// Settings and the three places in which they live: the parameters handle, the host's persistent
// descriptor registry, the scripting descriptor.
#pragma once

#include <cstdint>

#include "hostapi/HostTypes.h"

// Key of the export flag, in the registry and in recorded actions.
constexpr FourCharCode keyOutputMap = fourCharCode("oMap");

// The plug-in's name in the host's registry and in its property list.
constexpr char pluginUniqueString[] = "3f1c8a52-6d07-4be9-9a41-c27e5d90b1f4";

void CreateDataHandle();
bool LockHandles(); // false: no handle or no memory, told in *gResult
void InitParameters();
void InitData();

// Create what is missing of the two handles; *gResult is -108 when there is no memory.
void CreateMissingHandles();

// Codes of these are the host's; their callers ignore most of them.
int32_t ReadRegistryParameters();
int32_t WriteRegistryParameters();
int32_t ReadScriptParameters(uint8_t* displayDialog);
int32_t WriteScriptParameters();
