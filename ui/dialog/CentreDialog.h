// Places every dialog over its owner.
#pragma once

#include "ui/toolkit/Windows.h"

// Centres the dialog on its owner's client area, or on the screen, with a third of the free height
// above it, and keeps it on the screen.
void CentreDialog(Window dialog);
