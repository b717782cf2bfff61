// What the command line asks for.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/commandline/Look.h"

namespace commandline {

struct Options {
  std::vector<std::string> inputs; // as given; "-" is standard input
  std::string output;              // as given; "" is beside each input, "-" standard output
  std::string format;              // extension that chooses the format; "": the output's
  Look look;                       // of the command line over the settings file
  std::string saveSettings;        // file; "": none
  int bits = 0;                    // 8, 16, 32; 0: the input's
  int quality = 95;                // 1 to 100
  int threads = 0, jobs = 0;       // 0: shared out by `shareCores`
  bool force = false, dryRun = false, quiet = false, verbose = false;
  bool dialog = false, about = false;
  std::string trace;  // file; "": none
  std::string plugin; // folder of the modules; "": the installed one
};

// Reads the arguments, and the settings file that they name. Nothing when there is nothing to do
// but the text that was asked for (help, version), which is printed. Throws UsageError.
std::optional<Options> readCommandLine(int argc, char** argv);

// Fills threads and jobs that were not given: many photographs mean many jobs of few threads, one
// photograph means one job of many.
void shareCores(Options& options);

} // namespace commandline
