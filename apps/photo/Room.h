// Checks that there are enough threads and memory, before code runs that cannot handle a lack of
// them.
#pragma once

#include <cstddef>

namespace photo {

// How many threads the system can start at the same time, at most `most`. Starts them, and ends
// them again.
int threadsToStart(int most);

// How many of the wanted threads the filter can have, at least 1. OpenMP ends the process if the
// system refuses it a thread.
int threadsForFilter(int wanted);

// Throws std::bad_alloc, or std::runtime_error with the reason, if the image library and its
// dependencies cannot load. One of them starts threads while it loads, and waits for ever if it
// gets only some of them.
void checkRoomForLibrary();

} // namespace photo
