// The main dialog: five sliders, four edit boxes, three check boxes and the preview, over the
// settings record, which each control writes at once.
#pragma once

#include <cstdint>
#include <string>

#include "frame/contract/Parameters.h"
#include "frame/contract/Sliders.h"
#include "ui/toolkit/Windows.h"

// Procedures that the module shows, under the names _FogdissolverProc@16, ...
extern "C" intptr_t FogdissolverProc(Window dialog, uint32_t message, uintptr_t wParam,
                                     intptr_t lParam);
extern "C" intptr_t FogdissolverAboutProc(Window dialog, uint32_t message, uintptr_t wParam,
                                          intptr_t lParam);

// Alt shows the haze mask and turns Cancel into Reset for as long as it is held.
intptr_t DialogKeyboardHook(int code, uintptr_t key, intptr_t flags);

// Text number stringId as the text of an item.
void SetButtonText(Window dialog, int itemId, int stringId);

// What both dialogs share: the caption, and the link that opens the home page.
std::string DialogCaption();
void OpenLink(const NotifyHeader& header, uintptr_t linkId);
