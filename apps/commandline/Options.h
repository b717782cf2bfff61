// What the command line requests.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/shared/Plan.h"

namespace commandline {

struct Options : shared::Request {
  std::string settings;     // file of the look that was read; "": none
  std::string saveSettings; // file; "": none
  int jobs = 0;             // photographs at a time
  double memory = 0;        // megabytes for all of them; 0: the machine's memory
  bool quiet = false, verbose = false;
  bool dialog = false, about = false;
  std::string trace;  // file; "": none
  std::string plugin; // folder of the modules; "": the installed one
};

// Reads the arguments and the settings file that they name, and divides the cores. Empty if there
// is nothing to do except print a requested text (help, version), which it prints. Throws
// UsageError.
std::optional<Options> readCommandLine(int argc, char** argv);

// The plan for the request. Throws UsageError, also for a trace or a settings file that would
// overwrite a photograph or another file.
std::vector<shared::Job> planOf(const Options& options);

} // namespace commandline
