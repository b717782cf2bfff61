// Files by system calls, which return the reason of a failure.

#include "apps/photo/Files.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace photo {
namespace {

constexpr size_t pipeStep = 1 << 20; // bytes per read from a pipe

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

} // namespace

Bytes readWhole(const std::string& path) {
  const Descriptor file(path == "-" ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat status;
  if (file.number < 0 || ::fstat(file.number, &status) != 0)
    failWithErrno("");
  if (S_ISDIR(status.st_mode))
    throw std::runtime_error("a folder, not a file");
  // One byte more than the file has, so that the read also detects its end.
  Bytes bytes(S_ISREG(status.st_mode) ? size_t(status.st_size) + 1 : pipeStep);
  size_t size = 0;
  while (true) {
    if (size == bytes.size())
      bytes.resize(bytes.size() * 2);
    const ssize_t n = ::read(file.number, bytes.data() + size, bytes.size() - size);
    if (n < 0 && errno == EINTR)
      continue;
    if (n < 0)
      failWithErrno("cannot be read");
    if (n == 0)
      break;
    size += size_t(n);
  }
  bytes.resize(size);
  return bytes;
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

void writeOver(const std::string& path, const Bytes& bytes) {
  const Descriptor file(::open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC));
  if (file.number < 0)
    failWithErrno(path + " cannot be written");
  writeAll(file.number, path, bytes);
}

void writeToOutput(const Bytes& bytes) { writeAll(STDOUT_FILENO, "standard output", bytes); }

} // namespace photo
