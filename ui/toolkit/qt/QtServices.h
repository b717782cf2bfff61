// The toolkit's services with Qt: screen, keyboard, clipboard, message boxes.
//
// Code that links this file has them in gServices from the start; without a QApplication on the
// calling thread each service does nothing.
#pragma once

#include "ui/toolkit/Services.h"

extern const ToolkitServices desktopServices;
