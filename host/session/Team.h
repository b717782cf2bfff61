// Calls a plug-in with a team of threads.
#pragma once

#include <functional>

namespace host {

// Runs call() on the calling thread, as the master of an OpenMP team of `threads` threads, with one
// more level of parallel regions allowed inside. The other members sleep meanwhile: the plug-in's
// parallel regions start their own threads, which need the cores. call must not throw.
void callInTeam(int threads, const std::function<void()>& call);

} // namespace host
