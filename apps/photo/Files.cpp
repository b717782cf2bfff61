// Files by system calls, which give the reason when they fail.

#include "apps/photo/Files.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace photo {
namespace {

constexpr size_t pipeStep = 1 << 20; // bytes asked of a pipe at a time

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

// Removes the file at the end unless `served` is set.
struct Remover {
  const std::string& name;
  bool served = false;
  ~Remover() {
    if (!served)
      ::unlink(name.c_str());
  }
};

void writeAll(int descriptor, const std::string& name, const Bytes& bytes) {
  for (size_t done = 0; done < bytes.size();) {
    const ssize_t n = ::write(descriptor, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR)
      continue;
    if (n < 0)
      failWithErrno(name + " cannot be written");
    done += size_t(n);
  }
}

// Renames without replacing, by one call where the file system has it, else by a hard link.
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
  return ::rename(from, to); // neither is to be had: a short moment is left to others
}

} // namespace

Bytes readWhole(const std::string& path) {
  const Descriptor file(path == "-" ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat status;
  if (file.number < 0 || ::fstat(file.number, &status) != 0)
    failWithErrno("");
  if (S_ISDIR(status.st_mode))
    throw std::runtime_error("a folder, not a photograph");
  // One more than the file has, so that its end is seen without a further round.
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
  if (!name_.empty())
    ::unlink(name_.c_str());
}

const std::string& TemporaryFile::create(std::string_view extension) {
  std::error_code ignored;
  std::filesystem::path folder = std::filesystem::temp_directory_path(ignored);
  name_ = (folder / "fogdissolver-XXXXXX.").string().append(extension);
  const Descriptor file(::mkostemps(name_.data(), int(extension.size()) + 1, O_CLOEXEC));
  if (file.number < 0) {
    name_.clear();
    failWithErrno("no temporary file");
  }
  return name_;
}

void writeSafely(const std::string& path, const std::string& temporary, const Bytes& bytes,
                 bool replace) {
  const Descriptor file(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
  if (file.number < 0)
    failWithErrno(path + " cannot be written");
  Remover remover{temporary};
  writeAll(file.number, path, bytes);
  if (::fsync(file.number) != 0)
    failWithErrno(path + " cannot be written");
  if (replace ? ::rename(temporary.c_str(), path.c_str()) != 0
              : renameToFree(temporary.c_str(), path.c_str()) != 0) {
    if (errno == EEXIST)
      throw std::runtime_error("the output " + path + " exists already; --force replaces it");
    failWithErrno(path + " cannot be written");
  }
  remover.served = true;
}

void writeOver(const std::string& path, const Bytes& bytes) {
  const Descriptor file(::open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC));
  if (file.number < 0)
    failWithErrno(path + " cannot be written");
  writeAll(file.number, path, bytes);
}

void writeToOutput(const Bytes& bytes) { writeAll(STDOUT_FILENO, "standard output", bytes); }

} // namespace photo
