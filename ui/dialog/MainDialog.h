// The main dialog: five sliders, four edit boxes, three check boxes and the preview. Each control
// writes its field of the settings record at once.
#pragma once

#include <cstdint>

#include "ui/toolkit/Windows.h"

bool DoUI(); // runs it; true: the user pressed OK

// Its procedure, which the module exports as _FogdissolverProc@16.
extern "C" intptr_t FogdissolverProc(Window dialog, uint32_t message, uintptr_t wParam,
                                     intptr_t lParam);

// While Alt is held, shows the haze mask and turns Cancel into Reset.
intptr_t DialogKeyboardHook(int code, uintptr_t key, intptr_t flags);

// Sets the text of an item to the string with number stringId.
void SetButtonText(Window dialog, int itemId, int stringId);
