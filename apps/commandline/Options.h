// What the command line asks for.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/shared/Plan.h"

namespace commandline {

struct Options : shared::Request {
  std::string saveSettings; // file; "": none
  int jobs = 0;             // photographs at a time
  double memory = 0;        // megabytes for all of them; 0: what the machine has
  bool quiet = false, verbose = false;
  bool dialog = false, about = false;
  std::string trace;  // file; "": none
  std::string plugin; // folder of the modules; "": the installed one
};

// Reads the arguments, and the settings file that they name; shares out the cores. Nothing when
// there is nothing to do but the text that was asked for (help, version), which is printed. Throws
// UsageError.
std::optional<Options> readCommandLine(int argc, char** argv);

// The plan of what is asked for. Throws UsageError, also for a trace or a settings file that would
// cost a photograph or another file.
std::vector<shared::Job> planOf(const Options& options);

} // namespace commandline
