// What every use of the host's session shares here: its options, its end, the settings in it.
#pragma once

#include <chrono>

#include "apps/photo/Picture.h"
#include "frame/contract/Parameters.h"
#include "host/session/Session.h"

namespace commandline {

// Options that pass the watch on; the run's progress fills the watch's from one share to another.
// The watch must outlive the session.
host::SessionOptions sessionOptions(int threads, const photo::Watch& watch, double from, double to);

// Throws photo::Stopped if the watch was stopped, std::bad_alloc, or std::runtime_error with the
// reason ("cancelled" for a dialog left by Cancel).
void throwUnlessDone(const host::RunOutcome& outcome, const photo::Watch& watch);

// The session's settings, made with the filter's standards if there are none. Throws
// std::bad_alloc.
Parameters& settingsOf(host::Session& session);

struct Stopwatch {
  using Clock = std::chrono::steady_clock;
  Clock::time_point start = Clock::now();
  double seconds() const { return std::chrono::duration<double>(Clock::now() - start).count(); }
};

} // namespace commandline
