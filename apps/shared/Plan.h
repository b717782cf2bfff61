// Decides before any work which photograph becomes which file.
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

// The request: photographs, results, and how to make them.
struct Request {
  std::vector<std::string> inputs; // as given; "-" is standard input
  std::string output;              // as given; "": next to each input; "-": standard output
  std::string format;              // extension that selects the format; "": the output's
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
  std::string temporary;       // name in the output's folder during writing
  const photo::Format* format; // of the output; null: not decided, see refusal
  std::string refusal;         // why this job is not done; otherwise empty
  std::string folder;          // to create for the output; "": none
};

// Throws UsageError for an output that is an input, for two photographs with one output, and for
// invalid outputs. Changes nothing.
std::vector<Job> planJobs(const Request& request);

// Identity of an existing file, with links resolved; empty if there is none.
std::optional<std::pair<dev_t, ino_t>> identity(const std::string& path);

// The file behind a name, existing or not: all names of one file have equal keys. An ordered set
// finds a key among many.
using FileKey = std::pair<std::pair<dev_t, ino_t>, std::filesystem::path>;
FileKey fileKey(const std::string& path);
inline bool isSameFile(const std::string& a, const std::string& b) {
  return fileKey(a) == fileKey(b);
}

// Why a new file cannot replace an existing one with this name ("exists already ..."); otherwise
// "".
std::string whyNotWritten(const std::string& path, bool replace);

} // namespace shared
