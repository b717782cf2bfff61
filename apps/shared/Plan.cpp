// Names of results. Existing files are compared by device and inode, which sees through links, and
// names that do not exist yet by the real path of their folder.

#include "apps/shared/Plan.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <random>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include "apps/photo/Files.h"
#include "apps/shared/Errors.h"

namespace fs = std::filesystem;

namespace shared {
namespace {

constexpr char standardStream[] = "-";
constexpr char nameMark[] = "{name}", extensionMark[] = "{ext}";
constexpr size_t signatureSize = 16; // bytes; enough to recognise a format

bool isPattern(const std::string& output) {
  return output.find('{') != std::string::npos || output.find('}') != std::string::npos;
}

bool isFolder(const std::string& output) {
  std::error_code ignored;
  return output.ends_with('/') || fs::is_directory(output, ignored);
}

std::string withoutDot(const fs::path& path) {
  const std::string extension = path.extension().string();
  return extension.empty() ? extension : extension.substr(1);
}

std::string replaced(std::string text, const std::string& mark, const std::string& by) {
  for (size_t at = 0; (at = text.find(mark, at)) != std::string::npos; at += by.size())
    text.replace(at, mark.size(), by);
  return text;
}

void checkPattern(const std::string& output) {
  const std::string rest = replaced(replaced(output, nameMark, ""), extensionMark, "");
  if (isPattern(rest))
    throw UsageError("--output: only {name} and {ext} may stand in braces");
}

void checkOutput(const Request& request) {
  const bool many = request.inputs.size() > 1;
  const std::string& output = request.output;
  const auto streams = std::count(request.inputs.begin(), request.inputs.end(), standardStream);
  if (streams > 1)
    throw UsageError("standard input can be read once only");
  if (streams && output.empty())
    throw UsageError("standard input has no name: --output must tell where the result goes");
  if (output == standardStream) {
    if (many)
      throw UsageError("--output: standard output takes one photograph");
    if (request.format.empty())
      throw UsageError("--output: standard output needs --format");
    if (::isatty(STDOUT_FILENO))
      throw UsageError("--output: standard output is a terminal");
  } else if (isPattern(output)) {
    checkPattern(output);
  } else if (many && !output.empty() && !isFolder(output)) {
    throw UsageError("--output: many photographs need a folder (ending in /) or a pattern");
  }
}

// Extension for a name that the program makes: the requested one, or the input's. For an input
// without an extension the bytes decide. What cannot be written (raw files) becomes TIFF.
std::string extensionFor(const Request& request, const std::string& input) {
  if (!request.format.empty())
    return request.format;
  if (input == standardStream)
    throw UsageError("standard input does not tell a format: --format must");
  const std::string extension = withoutDot(input);
  if (photo::formatOfExtension(extension))
    return extension;
  const photo::Bytes start = photo::readStart(input, signatureSize);
  const photo::Format* format = photo::formatOfBytes(start.data(), start.size());
  return std::string(extension.empty() && format ? photo::usualExtension(*format) : "tif");
}

std::string outputFor(const Request& request, const std::string& input) {
  const std::string& output = request.output;
  const bool pattern = output != standardStream && isPattern(output);
  if (!output.empty() && !pattern && !isFolder(output))
    return output;
  const std::string name = input == standardStream ? "stdin" : fs::path(input).stem().string();
  if (pattern) {
    const std::string named = replaced(output, nameMark, name);
    return named.find(extensionMark) == std::string::npos
               ? named
               : replaced(named, extensionMark, extensionFor(request, input));
  }
  const fs::path folder = output.empty() ? fs::path(input).parent_path() : fs::path(output);
  return (folder / (name + "-clear." + extensionFor(request, input))).string();
}

void settleFormat(const Request& request, Job& job) {
  const std::string extension = withoutDot(job.output);
  if (job.output == standardStream) {
    job.format = photo::formatOfExtension(request.format);
    return;
  }
  job.format = photo::formatOfExtension(extension);
  if (!job.format)
    job.refusal =
        "'" + extension + "' is no format that can be written; there are " + photo::formatNames();
  else if (!request.format.empty() && photo::formatOfExtension(request.format) != job.format)
    throw UsageError("--format: " + request.format + " contradicts the output " + job.output);
}

void refuseCollisions(const std::vector<Job>& jobs) {
  std::map<std::pair<dev_t, ino_t>, std::string> inputs;
  for (const Job& job : jobs)
    if (const auto file = identity(job.input))
      inputs.emplace(*file, job.input);
  std::map<fs::path, std::string> outputs;
  for (const Job& job : jobs) {
    if (job.output == standardStream)
      continue;
    if (const auto file = identity(job.output); file && inputs.contains(*file))
      throw UsageError(job.input + ": the output " + job.output + " is an input");
    std::error_code ignored;
    const fs::path output = job.output;
    const fs::path place =
        fs::weakly_canonical(fs::absolute(output).parent_path(), ignored) / output.filename();
    const auto [other, isNew] = outputs.emplace(place, job.input);
    if (!isNew)
      throw UsageError(job.input + ": has the same output as " + other->second + ": " + job.output);
  }
}

void refuseExisting(const Request& request, Job& job) {
  struct stat status;
  if (job.output == standardStream || !job.refusal.empty() ||
      ::lstat(job.output.c_str(), &status) != 0)
    return;
  const bool regular = S_ISREG(status.st_mode) || S_ISLNK(status.st_mode);
  if (S_ISDIR(status.st_mode))
    job.refusal = "the output " + job.output + " is a folder";
  else if (!regular)
    job.refusal = "the output " + job.output + " is not an ordinary file";
  else if (!request.force)
    job.refusal = "the output " + job.output + " exists already; --force replaces it";
}

void makeFolder(const Request& request, std::vector<Job>& jobs) {
  std::error_code error;
  if (request.dryRun || isPattern(request.output) || !request.output.ends_with('/'))
    return;
  fs::create_directories(request.output, error);
  if (error)
    for (Job& job : jobs)
      job.refusal = "the folder " + request.output + " cannot be made: " + error.message();
}

// A name that no other program and no other run has chosen.
std::string temporaryName(const std::string& output, size_t index) {
  static const unsigned run = std::random_device()();
  char name[64];
  std::snprintf(name, sizeof name, ".fogdissolver-%08x-%zu.part", run, index);
  return (fs::path(output).parent_path() / name).string();
}

} // namespace

std::vector<Job> planJobs(const Request& request) {
  checkOutput(request);
  std::vector<Job> jobs;
  for (const std::string& input : request.inputs) {
    Job job;
    job.input = input;
    job.output = outputFor(request, input);
    job.temporary = temporaryName(job.output, jobs.size());
    settleFormat(request, job);
    jobs.push_back(job);
  }
  refuseCollisions(jobs);
  makeFolder(request, jobs);
  for (Job& job : jobs)
    refuseExisting(request, job);
  return jobs;
}

std::optional<std::pair<dev_t, ino_t>> identity(const std::string& path) {
  struct stat status;
  if (path == standardStream || ::stat(path.c_str(), &status) != 0)
    return std::nullopt;
  return std::pair(status.st_dev, status.st_ino);
}

} // namespace shared
