// The desktop behind the toolkit: screen, keyboard, clipboard, message boxes, through Qt.
//
// Code that links this has them in gServices from the start; without a QApplication on the calling
// thread each of them does nothing.
#pragma once

#include "ui/toolkit/Services.h"

extern const ToolkitServices desktopServices;
