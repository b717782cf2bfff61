// Push buttons and check boxes.
#pragma once

#include "ui/toolkit/qt/QtControl.h"

QtControl* MakeButton(ControlOwner& owner, const DialogControl& control);
