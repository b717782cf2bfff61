// The main dialog: five sliders, four edit boxes, three check boxes and the preview. Each control
// writes its field of the settings record at once.
#pragma once

#include <cstdint>

#include "ui/toolkit/Windows.h"

bool DoUI(); // runs it; true: the user pressed OK

// Its procedure, which the module shows under the name _FogdissolverProc@16.
extern "C" intptr_t FogdissolverProc(Window dialog, uint32_t message, uintptr_t wParam,
                                     intptr_t lParam);

// Alt shows the haze mask and turns Cancel into Reset for as long as it is held.
intptr_t DialogKeyboardHook(int code, uintptr_t key, intptr_t flags);

// Text number stringId as the text of an item.
void SetButtonText(Window dialog, int itemId, int stringId);
