// Photographs in separate processes, several at a time.
#pragma once

#include <vector>

#include "apps/commandline/Options.h"
#include "host/module/FilterModule.h"

namespace commandline {

// Exit statuses of the program.
constexpr int exitDone = 0, exitFailed = 1, exitUsage = 2, exitCancelled = 3;

// Runs the jobs that are not refused. Prints a line for each failure, and one with their number.
// Returns the exit status. A request to stop (Ctrl-C) ends all jobs; the process then ends by the
// same signal.
int runJobs(const std::vector<shared::Job>& jobs, const Options& options,
            const host::Module& module);

} // namespace commandline
