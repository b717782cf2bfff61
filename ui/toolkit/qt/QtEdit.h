// One-line edit boxes.
#pragma once

#include "ui/toolkit/qt/QtControl.h"

QtControl* MakeEdit(ControlOwner& owner, const DialogControl& control);
