// The filter's dialogs, for which alone the program starts a window system.
#pragma once

#include <functional>
#include <string>

namespace commandline {

// Starts Qt. Where it finds no display, calls the function with the reason; it must end the
// process.
void startWindows(std::function<void(const std::string&)> end);

} // namespace commandline
