// The filter's dialogs, for which alone the program starts a window system.
#pragma once

#include <string>

namespace commandline {

// Starts Qt. Where it finds no display, says so about the photograph and ends the process with the
// status.
void startWindows(const std::string& about, int statusWithoutDisplay);

} // namespace commandline
