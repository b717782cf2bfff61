// Horizontal sliders.
//
// Each change by the user sends the dialog a scroll message, and another one, SB_ENDSCROLL, when
// the key or the button is released; a notch of the wheel sends both at once.
#pragma once

#include "ui/toolkit/qt/QtControl.h"

QtControl* MakeTrackBar(ControlOwner& owner, const DialogControl& control);
