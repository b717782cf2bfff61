// Calls a plug-in with a team of threads at its back.
#pragma once

#include <functional>

namespace host {

// Runs call() on the calling thread, as the master of an OpenMP team of that many threads, with one
// more level of parallel regions allowed inside. The other members sleep meanwhile: the regions
// that the plug-in opens fork threads of their own, which need the cores. call must not throw.
void callInTeam(int threads, const std::function<void()>& call);

} // namespace host
