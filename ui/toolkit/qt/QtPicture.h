// Pictures and frames: controls without input.
#pragma once

#include "ui/toolkit/qt/QtControl.h"

QtControl* MakePicture(ControlOwner& owner, const DialogControl& control);
QtControl* MakeGroupBox(ControlOwner& owner, const DialogControl& control);
QtControl* MakeFrame(ControlOwner& owner, const DialogControl& control);
