// How a subclass procedure, a plain function, finds the object that stands in front of its window.
#pragma once

#include <map>

#include "ui/toolkit/Windows.h"

// A FogdissolverEdit or a FogdissolverTrackBar32: whichever class's procedure the window has.
inline std::map<Window, void*> controlMap;
