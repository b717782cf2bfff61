// Room for a large library, and for threads, looked for before something needs it that cannot do
// without.
#pragma once

#include <cstddef>

namespace photo {

// How many threads the system starts at a time, at most `most`. It starts them, and lets them go.
int threadsToStart(int most);

// How many of the wanted threads the filter can have, at least 1. OpenMP ends the process when the
// system refuses it a thread.
int threadsForFilter(int wanted);

// Throws std::bad_alloc, or std::runtime_error with the reason, where the image library with all
// that it draws in does not find what it takes to load. Some of that starts threads as it is
// loaded, and waits for ever when it gets the first but not the last.
void checkRoomForLibrary();

} // namespace photo
