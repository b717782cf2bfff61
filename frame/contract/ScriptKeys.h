// The names under which the export flag is stored between runs.
#pragma once

#include "hostapi/HostTypes.h"

// Key of the export flag, in the registry and in recorded actions.
constexpr FourCharCode keyOutputMap = fourCharCode("oMap");

// The plug-in's name in the host's registry and in its property list.
constexpr char pluginUniqueString[] = "3f1c8a52-6d07-4be9-9a41-c27e5d90b1f4";
