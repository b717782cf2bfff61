// Creates a control from a row of a dialog's table.
#pragma once

#include "ui/toolkit/qt/QtControl.h"

// Creates the row's widget, without text or place, and the object for it.
QtControl* MakeControl(ControlOwner& owner, const DialogControl& control);
