// Horizontal sliders.
//
// Each change by the user sends the dialog a scroll message, and one more, SB_ENDSCROLL, when the
// key or the button is let go; a notch of the wheel sends both at once.
#pragma once

#include "ui/toolkit/qt/QtControl.h"

QtControl* MakeTrackBar(ControlOwner& owner, const DialogControl& control);
