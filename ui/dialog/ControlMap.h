// Lets a subclass procedure, which is a plain function, find the object for its window.
#pragma once

#include <map>

#include "ui/toolkit/Windows.h"

// A FogdissolverEdit or a FogdissolverTrackBar32, depending on the class whose procedure the window
// has.
inline std::map<Window, void*> controlMap;
