// Memory figures of the kernel. Its files contain them as "Name:   number kB" or as bare numbers.

#include "apps/shared/Memory.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>

#include <sys/resource.h>

#include "apps/photo/Codecs.h"

namespace fs = std::filesystem;

namespace shared {
namespace {

constexpr int64_t unlimited = std::numeric_limits<int64_t>::max();
constexpr int64_t kilobyte = 1024; // of the kernel's tables

// Measured at 0.1 to 24 million pixels, and rounded up.
constexpr int64_t fixedBytes = 215 * megabyte; // the module, its solver, the libraries
constexpr int64_t bytesAPixel = 25;            // the float image, and its smaller copies
constexpr int64_t libraryFixedBytes = 60 * megabyte, libraryBytesAPixel = 3; // of the image library
constexpr int64_t jpeg2000BytesAPixel = 8;                                   // of its encoder
constexpr int64_t jpeg2000SpaceAPixel = 37; // address space that it reserves and does not fill
constexpr int64_t fileBytesUnasked = 64 * megabyte; // more than the files of most cameras

bool isJpeg2000(const photo::Format& format) { return std::strcmp(format.name, "JPEG 2000") == 0; }

// The number after the name in the file; `missing` if there is none.
int64_t numberIn(const fs::path& file, const std::string& name, int64_t missing) {
  std::ifstream stream(file);
  std::string word;
  int64_t number;
  if (name.empty())
    return stream >> number ? number : missing;
  while (stream >> word)
    if (word == name && stream >> number)
      return number;
  return missing;
}

// The folder of this process's control group in the unified hierarchy.
fs::path controlGroup() {
  std::ifstream stream("/proc/self/cgroup");
  for (std::string line; std::getline(stream, line);)
    if (line.starts_with("0::/") && line.size() > 4)
      return "/sys/fs/cgroup" + line.substr(3);
  return {};
}

// Free memory in the tightest of the group and its parents. Cached memory counts as free.
int64_t leftInGroups() {
  int64_t left = unlimited;
  const fs::path root = "/sys/fs/cgroup";
  for (fs::path group = controlGroup(); !group.empty() && group != root;
       group = group.parent_path()) {
    const int64_t most = numberIn(group / "memory.max", "", unlimited);
    if (most != unlimited)
      left = std::min(left, most - numberIn(group / "memory.current", "", 0) +
                                numberIn(group / "memory.stat", "inactive_file", 0));
  }
  return left;
}

int64_t leftOf(int resource, const char* used) {
  rlimit limit;
  if (::getrlimit(resource, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
    return unlimited;
  return int64_t(limit.rlim_cur) - numberIn("/proc/self/status", used, 0) * kilobyte;
}

std::string megabytes(int64_t bytes) {
  return std::to_string((bytes + megabyte - 1) / megabyte) + " MB";
}

std::string sentence(int64_t bytes, const std::string& what) {
  return "not enough memory (" + megabytes(bytes) + " were needed " + what + ")";
}

} // namespace

NotEnoughMemory::NotEnoughMemory(int64_t bytes, const photo::Claim& claim)
    : std::runtime_error(sentence(bytes, "at " + std::to_string(claim.width) + " x " +
                                             std::to_string(claim.height) + " pixels")) {}

NotEnoughMemory::NotEnoughMemory(int64_t bytes, int64_t fileSize)
    : std::runtime_error(sentence(bytes, "to read " + megabytes(fileSize))) {}

bool tellsOfMemory(const std::string& text) {
  constexpr const char* words[] = {
      "failed to map segment", // from the loader
      "annot allocate memory", // from the kernel and the loader
      "nsufficient memory",    // from libjpeg
      "ut of memory",
      "ot enough memory",
      "PARDISO"}; // the solver reports only its phase; its matrix is valid for every picture
  const auto has = [&text](const char* part) { return text.find(part) != std::string::npos; };
  return std::any_of(std::begin(words), std::end(words), has);
}

int64_t memoryFor(const photo::Claim& claim, const photo::Format& result, int64_t fileSize) {
  const int64_t pixels = claim.width * claim.height;
  const int64_t document = pixels * claim.channels * claim.depth / 8;
  const bool byLibrary = !photo::isBuiltIn(result);
  return fixedBytes + byLibrary * libraryFixedBytes + fileSize + document +
         pixels * (bytesAPixel + byLibrary * libraryBytesAPixel +
                   isJpeg2000(result) * jpeg2000BytesAPixel);
}

int64_t addressSpaceFor(const photo::Claim& claim, const photo::Format& result, int64_t fileSize) {
  return memoryFor(claim, result, fileSize) +
         isJpeg2000(result) * claim.width * claim.height * jpeg2000SpaceAPixel;
}

int64_t memoryForFile(int64_t fileSize) {
  return fileSize > fileBytesUnasked ? fixedBytes + fileSize : 0;
}

bool leavesBrokenFile(const photo::Format& format) {
  return isJpeg2000(format) && memoryOfProcess() < unlimited;
}

int64_t memoryOfMachine() {
  const fs::path table = "/proc/meminfo";
  const int64_t available = numberIn(table, "MemAvailable:", 0);
  const int64_t machine = (available + numberIn(table, "SwapFree:", 0)) * kilobyte;
  return std::min(available ? machine : unlimited, leftInGroups());
}

int64_t memoryOfProcess() {
  return std::min(leftOf(RLIMIT_AS, "VmSize:"), leftOf(RLIMIT_DATA, "VmData:"));
}

} // namespace shared
