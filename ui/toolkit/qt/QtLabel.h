// Labels, and links: texts that open with a click, or with Enter while they have the focus.
#pragma once

#include "ui/toolkit/qt/QtControl.h"

QtControl* MakeLabel(ControlOwner& owner, const DialogControl& control);
QtControl* MakeLink(ControlOwner& owner, const DialogControl& control);
