// Files by system calls, which return the reason of a failure.

#include "apps/photo/Files.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <list>
#include <random>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace photo {
namespace {

constexpr size_t readStep = 256 << 10;   // bytes per read; they stay in the processor's cache
constexpr size_t streamBlock = 16 << 20; // bytes by which a stream's memory grows
constexpr int millisecondsOfStream = 50; // between two checks of the watch

[[noreturn]] void failWithErrno(const std::string& what) {
  const int code = errno;
  throw std::runtime_error(what + (what.empty() ? "" : ": ") +
                           std::generic_category().message(code));
}

// A file descriptor with an owner.
struct Descriptor {
  int number;
  explicit Descriptor(int number) : number(number) {}
  ~Descriptor() {
    if (number > 2)
      ::close(number);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
};

// Removes the file with this name at the end.
struct Remover {
  const std::string& name;
  ~Remover() { ::unlink(name.c_str()); }
};

void writeAll(int descriptor, const std::string& name, const Bytes& bytes) {
  for (size_t done = 0; done < bytes.size();) {
    errno = EIO; // for a call that writes nothing and gives no reason
    const ssize_t n = ::write(descriptor, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR)
      continue;
    if (n <= 0)
      failWithErrno(name + " cannot be written");
    done += size_t(n);
  }
}

// Renames without replacing: with one call if the file system supports it, otherwise with a hard
// link.
int renameToFree(const char* from, const char* to) {
  if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0)
    return 0;
  if (errno != EINVAL && errno != ENOSYS)
    return -1;
  if (::link(from, to) == 0)
    return ::unlink(from);
  if (errno != EPERM && errno != EOPNOTSUPP)
    return -1;
  if (::access(to, F_OK) == 0) {
    errno = EEXIST;
    return -1;
  }
  return ::rename(from, to); // neither works: a short race with other programs remains
}

[[noreturn]] void failToWrite(const Place& place) {
  if (errno == EEXIST)
    throw std::runtime_error("the output " + place.path + " exists already; --force replaces it");
  failWithErrno(place.path + " cannot be written");
}

void writeAndFlush(int descriptor, const Place& place, const Bytes& bytes) {
  writeAll(descriptor, place.path, bytes);
  if (::fsync(descriptor) != 0)
    failToWrite(place);
}

std::string folderOf(const std::string& path) {
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  return folder.empty() ? "." : folder.string();
}

// False if the file system, or access to its names, does not support this; nothing is left then.
bool writeUnnamed(const Place& place, const Bytes& bytes) {
  const Descriptor file(::open(folderOf(place.path).c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC,
                               mode_t(place.permissions)));
  if (file.number < 0)
    return false;
  writeAndFlush(file.number, place, bytes);
  const std::string unnamed = "/proc/self/fd/" + std::to_string(file.number);
  auto name = [&unnamed](const std::string& path) {
    return ::linkat(AT_FDCWD, unnamed.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0;
  };
  if (name(place.path))
    return true;
  if (errno != EEXIST)
    return false;
  if (!place.replace)
    failToWrite(place);
  // No system call replaces a name by an unnamed file.
  if (!name(place.temporary))
    failToWrite(place);
  const Remover remover{place.temporary}; // if the rename fails
  if (::rename(place.temporary.c_str(), place.path.c_str()) != 0)
    failToWrite(place);
  return true;
}

void writeNamed(const Place& place, const Bytes& bytes) {
  const Descriptor file(::open(place.temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                               mode_t(place.permissions)));
  if (file.number < 0)
    failWithErrno(place.path + " cannot be written");
  const Remover remover{place.temporary}; // if the rename fails
  writeAndFlush(file.number, place, bytes);
  if (place.replace ? ::rename(place.temporary.c_str(), place.path.c_str()) != 0
                    : renameToFree(place.temporary.c_str(), place.path.c_str()) != 0)
    failToWrite(place);
}

// Writes the name to the disk, too. Ignores a folder that cannot be opened or flushed at all.
void flushFolder(const std::string& path) {
  const Descriptor folder(::open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.number >= 0 && ::fsync(folder.number) != 0 && errno != EINVAL && errno != ENOTSUP)
    failWithErrno(path + " is written, but may not have reached the disk");
}

// Reads at most this many bytes, and returns their number; 0: the end. A stream may have to be
// waited for.
size_t readPart(int file, bool stream, uint8_t* to, size_t most, const Watch& watch) {
  while (!watch.stopped()) {
    pollfd ready{file, POLLIN, 0};
    if (stream && ::poll(&ready, 1, millisecondsOfStream) <= 0)
      continue;
    const ssize_t n = ::read(file, to, std::min(most, streamBlock));
    if (n >= 0)
      return size_t(n);
    if (errno != EINTR && errno != EAGAIN)
      failWithErrno("cannot be read");
  }
  throw Stopped();
}

// Frees each block after it is copied, so that memory holds little more than the bytes once.
Bytes joined(std::list<Bytes> blocks, size_t size) {
  if (blocks.size() == 1)
    return std::move(blocks.front());
  Bytes bytes;
  for (bytes.reserve(size); !blocks.empty(); blocks.pop_front())
    bytes.insert(bytes.end(), blocks.front().begin(), blocks.front().end());
  return bytes;
}

} // namespace

Bytes readWhole(const std::string& path, const Watch& watch) {
  // Without O_NONBLOCK the opening of a named pipe waits for its writer.
  const Descriptor file(path == "-" ? STDIN_FILENO
                                    : ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status;
  if (file.number < 0 || ::fstat(file.number, &status) != 0)
    failWithErrno("");
  if (S_ISDIR(status.st_mode))
    throw std::runtime_error("a folder, not a file");
  const bool stream = !S_ISREG(status.st_mode);
  watch.sized(stream ? 0 : int64_t(status.st_size));
  std::list<Bytes> blocks(1);
  Bytes& whole = blocks.front();
  whole.resize(stream ? 0 : size_t(status.st_size));
  size_t size = 0, n = 1;
  for (; size < whole.size() && n > 0; size += n)
    n = readPart(file.number, false, whole.data() + size, whole.size() - size, watch);
  whole.resize(size); // it may have become shorter
  // What comes from a stream, or from a file that grows meanwhile.
  Bytes part(readStep);
  while ((n = readPart(file.number, stream, part.data(), part.size(), watch)) > 0) {
    if (blocks.back().size() + n > blocks.back().capacity()) {
      if (size > 0)
        watch.sized(int64_t(size + streamBlock));
      blocks.emplace_back().reserve(streamBlock);
    }
    blocks.back().insert(blocks.back().end(), part.data(), part.data() + n);
    size += n;
  }
  return joined(std::move(blocks), size);
}

Bytes readStart(const std::string& path, size_t count) {
  struct stat status;
  if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
    return {};
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  Bytes bytes(count);
  const ssize_t n = file.number < 0 ? 0 : ::read(file.number, bytes.data(), count);
  bytes.resize(n > 0 ? size_t(n) : 0);
  return bytes;
}

TemporaryFile::~TemporaryFile() {
  if (file_ >= 0)
    ::close(file_);
}

const std::string& TemporaryFile::create(std::string_view extension, const Bytes& bytes) {
  file_ = ::memfd_create(("file." + std::string(extension)).c_str(), MFD_CLOEXEC);
  if (file_ < 0)
    failWithErrno("no temporary file");
  writeAll(file_, "a file in memory", bytes);
  return name_ = "/proc/self/fd/" + std::to_string(file_);
}

std::string temporaryNameFor(const std::string& path) {
  std::random_device random;
  char name[64];
  std::snprintf(name, sizeof name, ".fogdissolver-%08x%08x.part", random(), random());
  return (std::filesystem::path(path).parent_path() / name).string();
}

unsigned permissionsLike(const std::string& path) {
  constexpr unsigned ownersOwn = 0600, shared = 0066;
  struct stat status;
  const bool found = path == "-" ? ::fstat(STDIN_FILENO, &status) == 0 && S_ISREG(status.st_mode)
                                 : ::stat(path.c_str(), &status) == 0;
  return ownersOwn | (found ? status.st_mode & shared : shared);
}

void writeSafely(const Place& place, const Bytes& bytes) {
  if (!writeUnnamed(place, bytes))
    writeNamed(place, bytes);
  flushFolder(place.path);
}

void writeToOutput(const Bytes& bytes) { writeAll(STDOUT_FILENO, "standard output", bytes); }

} // namespace photo
