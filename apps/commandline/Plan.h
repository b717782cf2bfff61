// Which photograph becomes which file, settled before any work is done.
#pragma once

#include <string>
#include <vector>

#include "apps/commandline/Options.h"
#include "apps/photo/Formats.h"

namespace commandline {

// One photograph.
struct Job {
  std::string input, output;   // paths, or "-"
  std::string temporary;       // name in the output's folder while it is written
  const photo::Format* format; // of the output; null: it could not be settled, see refusal
  std::string refusal;         // why this one is not done; empty otherwise
};

// Throws UsageError for an output that is an input, for two photographs with one output, and for
// outputs that make no sense. Makes the output folder when it ends in '/' and the run is not dry.
std::vector<Job> planJobs(const Options& options);

} // namespace commandline
