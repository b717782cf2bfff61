// Threads that the system gives.
#pragma once

namespace shared {

// How many of the wanted threads the filter can have, at least 1. OpenMP ends the process when the
// system refuses it a thread, so this starts as many as OpenMP will and lets them go again.
int threadsToBeHad(int wanted);

} // namespace shared
