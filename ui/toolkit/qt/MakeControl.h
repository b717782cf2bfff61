// From a row of a dialog's table to its control.
#pragma once

#include "ui/toolkit/qt/QtControl.h"

// Makes the widget of the row, without text or place, and what stands behind it.
QtControl* MakeControl(ControlOwner& owner, const DialogControl& control);
