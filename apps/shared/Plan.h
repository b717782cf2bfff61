// Which photograph becomes which file, settled before any work is done.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <sys/types.h>

#include "apps/photo/Formats.h"
#include "apps/shared/Look.h"

namespace shared {

// What is asked for: photographs, results, and how to get from one to the other.
struct Request {
  std::vector<std::string> inputs; // as given; "-" is standard input
  std::string output;              // as given; "" is beside each input, "-" standard output
  std::string format;              // extension that chooses the format; "": the output's
  Look look;
  int bits = 0;     // 8, 16, 32; 0: the input's
  int quality = 95; // 1 to 100
  int threads = 1;  // for one photograph
  bool force = false;
  bool dryRun = false;
};

// One photograph.
struct Job {
  std::string input, output;   // paths, or "-"
  std::string temporary;       // name in the output's folder while it is written
  const photo::Format* format; // of the output; null: it could not be settled, see refusal
  std::string refusal;         // why this one is not done; empty otherwise
  std::string folder;          // to be made for the output; "": none
};

// Throws UsageError for an output that is an input, for two photographs with one output, and for
// outputs that make no sense. Touches nothing.
std::vector<Job> planJobs(const Request& request);

// Identity of an existing file, through links; nothing if there is none.
std::optional<std::pair<dev_t, ino_t>> identity(const std::string& path);

// What a name leads to, be it there or not: names of one file have equal ones. An ordered set finds
// it among many.
using FileKey = std::pair<std::pair<dev_t, ino_t>, std::filesystem::path>;
FileKey fileKey(const std::string& path);
inline bool isSameFile(const std::string& a, const std::string& b) {
  return fileKey(a) == fileKey(b);
}

// What of an existing file forbids to write a new one of its name ("exists already ..."); else "".
std::string whyNotWritten(const std::string& path, bool replace);

} // namespace shared
