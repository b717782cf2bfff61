// Placement of every dialog over its owner.
#pragma once

#include "ui/toolkit/Windows.h"

// Moves the dialog to the middle of its owner's inside, or of the screen, with a third of the room
// above it, and keeps it on the screen.
void CentreDialog(Window dialog);
