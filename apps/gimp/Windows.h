// What the filter's dialog needs in a GIMP process: Qt, and GIMP's window as its parent.
#pragma once

#include <functional>

namespace gimp {

// Whether the environment names a display.
bool mayHaveDisplay();

// Calls work() while a QApplication exists. Windows that open meanwhile stay in front of the GIMP
// window that called the plug-in. If the display cannot be opened, prints a message and ends the
// process.
void withWindows(const std::function<void()>& work);

} // namespace gimp
