// One photograph from its file to its result.
#pragma once

#include "apps/commandline/Options.h"
#include "apps/commandline/Plan.h"
#include "host/module/FilterModule.h"

namespace commandline {

// Throws std::exception with the reason, photo::Stopped; no file is left behind then.
void develop(const Job& job, const Options& options, const host::Module& module,
             const photo::Watch& watch);

} // namespace commandline
