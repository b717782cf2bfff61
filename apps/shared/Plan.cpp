// Names of results. Existing files are compared by device and inode, which also resolves links;
// names that do not exist yet by the real path of their folder.

#include "apps/shared/Plan.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <map>
#include <string_view>
#include <system_error>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include "apps/photo/Files.h"
#include "apps/shared/Errors.h"

namespace fs = std::filesystem;

namespace shared {
namespace {

constexpr char standardStream[] = "-";
constexpr std::string_view nameMark = "{name}", extensionMark = "{ext}";
constexpr size_t signatureSize = 16; // bytes; enough to recognise a format

bool isFolder(const std::string& output) {
  std::error_code ignored;
  return output.ends_with('/') || fs::is_directory(output, ignored);
}

// Braces in folder names are not placeholders.
bool isPattern(const std::string& output) {
  auto has = [](const std::string& text, std::string_view part) {
    return text.find(part) != std::string::npos;
  };
  const std::string file = fs::path(output).filename().string();
  return !isFolder(output) &&
         (has(output, nameMark) || has(output, extensionMark) || has(file, "{") || has(file, "}"));
}

std::string withoutDot(const fs::path& path) {
  const std::string extension = path.extension().string();
  return extension.empty() ? extension : extension.substr(1);
}

// Replaces the placeholders in the pattern, but not inside the inserted text.
std::string expanded(const std::string& pattern, const std::string& name,
                     const std::string& extension) {
  std::string text;
  for (size_t at = 0; at < pattern.size();) {
    const bool isName = pattern.compare(at, nameMark.size(), nameMark) == 0;
    const bool isExtension = pattern.compare(at, extensionMark.size(), extensionMark) == 0;
    text += isName ? name : isExtension ? extension : pattern.substr(at, 1);
    at += isName ? nameMark.size() : isExtension ? extensionMark.size() : 1;
  }
  return text;
}

void checkPattern(const std::string& output) {
  if (fs::path(expanded(output, "", "")).filename().string().find_first_of("{}") !=
      std::string::npos)
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

// Extension for a generated name: the requested one, or the input's. If the input has none, its
// bytes decide. TIFF replaces formats that cannot be written (raw files).
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
  if (pattern)
    return expanded(output, name,
                    output.find(extensionMark) == std::string::npos ? ""
                                                                    : extensionFor(request, input));
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

// Where a name leads, whether the file exists or not.
fs::path placeOf(const fs::path& file) {
  std::error_code ignored;
  return fs::weakly_canonical(fs::absolute(file).parent_path(), ignored) / file.filename();
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
    const auto [other, isNew] = outputs.emplace(placeOf(job.output), job.input);
    if (!isNew)
      throw UsageError(job.input + ": has the same output as " + other->second + ": " + job.output);
  }
}

void refuseExisting(const Request& request, Job& job) {
  if (job.output == standardStream || !job.refusal.empty())
    return;
  if (const std::string reason = whyNotWritten(job.output, request.force); !reason.empty())
    job.refusal = "the output " + job.output + " " + reason;
}

// A folder is created together with its first result. This checks beforehand that it can be
// created.
void settleFolder(const Request& request, std::vector<Job>& jobs) {
  std::error_code error;
  if (!request.output.ends_with('/') || fs::is_directory(request.output, error))
    return;
  fs::path above = fs::absolute(request.output).lexically_normal().parent_path();
  while (above != above.root_path() && !fs::exists(above, error))
    above = above.parent_path();
  const int code = !fs::is_directory(above, error)             ? ENOTDIR
                   : ::access(above.c_str(), W_OK | X_OK) != 0 ? errno
                                                               : 0;
  for (Job& job : jobs) {
    job.folder = request.output;
    if (code)
      job.refusal = "the folder " + request.output +
                    " cannot be made: " + std::generic_category().message(code);
  }
}

} // namespace

std::vector<Job> planJobs(const Request& request) {
  checkOutput(request);
  std::vector<Job> jobs;
  for (const std::string& input : request.inputs) {
    Job job;
    job.input = input;
    job.output = outputFor(request, input);
    job.temporary = photo::temporaryNameFor(job.output);
    settleFormat(request, job);
    jobs.push_back(job);
  }
  refuseCollisions(jobs);
  settleFolder(request, jobs);
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

FileKey fileKey(const std::string& path) {
  if (const auto file = identity(path))
    return {*file, {}};
  return {{}, placeOf(path)};
}

std::string whyNotWritten(const std::string& path, bool replace) {
  struct stat status;
  if (::lstat(path.c_str(), &status) != 0)
    return {};
  const std::string folder = placeOf(path).parent_path().string();
  const bool link = S_ISLNK(status.st_mode);
  if (S_ISDIR(status.st_mode))
    return "is a folder";
  if (link ? ::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)
           : !S_ISREG(status.st_mode))
    return "is not an ordinary file"; // nor leads to one
  if (folder == "/dev" || folder.starts_with("/proc/"))
    return "belongs to the system"; // such as /dev/stdout, which may lead to a regular file
  return replace ? "" : "exists already; --force replaces it";
}

} // namespace shared
