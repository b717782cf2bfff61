// The modal box of the about selector: logo, version and home page.
#pragma once

#include <cstdint>

#include "ui/toolkit/Windows.h"

void DoAbout();

// Its procedure, which the module exports as _FogdissolverAboutProc@16.
extern "C" intptr_t FogdissolverAboutProc(Window dialog, uint32_t message, uintptr_t wParam,
                                          intptr_t lParam);
