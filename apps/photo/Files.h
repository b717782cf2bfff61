// Files as whole blocks of bytes, and results that appear completely or not at all.
#pragma once

#include <string>
#include <string_view>

#include "apps/photo/Picture.h"

namespace photo {

// Reads the file, or standard input for "-"; asks the watch `stopped` and `sized`. Throws
// std::runtime_error with the reason, std::bad_alloc, Stopped.
Bytes readWhole(const std::string& path, const Watch& watch = {});

// The first bytes of a regular file, at most `count`; nothing for other files: bytes read from a
// stream would be lost.
Bytes readStart(const std::string& path, size_t count);

// A file in memory, for libraries that need a file name. No file system contains it, and it
// disappears with the process.
class TemporaryFile {
public:
  TemporaryFile() = default;
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  // Creates it with these bytes; returns its name. The extension only helps people who inspect the
  // process. Throws std::runtime_error.
  const std::string& create(std::string_view extension, const Bytes& bytes = {});

private:
  int file_ = -1;
  std::string name_;
};

// Where a result goes.
struct Place {
  std::string path;
  std::string temporary;       // name in the same folder, while the file needs one
  bool replace = false;        // false: an existing file is an error and is not changed
  unsigned permissions = 0666; // subject to the process's umask
};

// A name in the folder of `path` that no other program and no other run chooses.
std::string temporaryNameFor(const std::string& path);

// Permissions for a result of the file: read and write for the owner, and the file's permissions
// for others.
unsigned permissionsLike(const std::string& path);

// Writes the bytes into a file without a name, if the file system supports this, flushes it, names
// it and flushes the folder. If the process dies during this, it leaves nothing, except the
// temporary name during a replacement or on other file systems. After a failure there is no
// temporary file. Throws std::runtime_error.
void writeSafely(const Place& place, const Bytes& bytes);

// Writes to standard output. Throws std::runtime_error.
void writeToOutput(const Bytes& bytes);

} // namespace photo
