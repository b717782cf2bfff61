// Photographs in processes of their own, several at a time.
#pragma once

#include <vector>

#include "apps/commandline/Options.h"
#include "apps/commandline/Plan.h"
#include "host/module/FilterModule.h"

namespace commandline {

// Does the jobs that are not refused, tells each failure in a line and counts them in a last one.
// Gives the exit status. A request to stop (Ctrl-C) ends all jobs; the process then ends by the
// signal that asked.
int runJobs(const std::vector<Job>& jobs, const Options& options, const host::Module& module);

} // namespace commandline
