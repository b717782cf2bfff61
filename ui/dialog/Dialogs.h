// What the selectors call of the user interface.
#pragma once

bool DoUI();    // the modal dialog; true: the user pressed OK
void DoAbout(); // the modal about box
