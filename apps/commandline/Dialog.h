// The filter's dialogs; only they need a window system.
#pragma once

#include <functional>
#include <string>

namespace commandline {

// Starts Qt. If it finds no display, calls the function with the reason; the function must end the
// process.
void startWindows(std::function<void(const std::string&)> end);

} // namespace commandline
