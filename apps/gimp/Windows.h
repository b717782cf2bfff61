// What the filter's dialog needs inside a process of GIMP: Qt, and GIMP's window as its owner.
#pragma once

#include <functional>

namespace gimp {

// Whether the environment names a display at all.
bool mayHaveDisplay();

// Calls work() while there is a QApplication. Windows that open meanwhile stay in front of GIMP's
// that the plug-in was called from. Where the display cannot be
// opened the process ends, after a message.
void withWindows(const std::function<void()>& work);

} // namespace gimp
