// How a session's run ended, for callers that think in exceptions.
#pragma once

#include "apps/photo/Picture.h"
#include "host/Session.h"

namespace commandline {

// Throws photo::Stopped if the watch was stopped, std::bad_alloc, or std::runtime_error with the
// reason ("cancelled" for a dialog left by Cancel).
void throwUnlessDone(const host::RunOutcome& outcome, const photo::Watch& watch);

} // namespace commandline
