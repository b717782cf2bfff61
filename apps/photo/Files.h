// Files as whole blocks of bytes, and results that appear complete or not at all.
#pragma once

#include <string>
#include <string_view>

#include "apps/photo/Picture.h"

namespace photo {

// Reads the file, or standard input for "-". Throws std::runtime_error with the reason.
Bytes readWhole(const std::string& path);

// The first bytes of an ordinary file, at most `count`; of anything else nothing: what a stream has
// given is gone.
Bytes readStart(const std::string& path, size_t count);

// A file in memory, for libraries that want a name. No file system holds it, and nothing is left of
// it when the process dies.
class TemporaryFile {
public:
  TemporaryFile() = default;
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  // Makes it with these bytes; returns its name. The extension is for who looks at the process.
  // Throws std::runtime_error.
  const std::string& create(std::string_view extension, const Bytes& bytes = {});

private:
  int file_ = -1;
  std::string name_;
};

// A result's place.
struct Place {
  std::string path;
  std::string temporary;       // name in the same folder, for as long as the file needs one
  bool replace = false;        // else an existing file is left alone, and is an error
  unsigned permissions = 0666; // within what the process lets new files have
};

// A name in the folder of `path` that no other program and no other run chooses.
std::string temporaryNameFor(const std::string& path);

// Permissions for what is made of the file: its owner's own, and what the file gives to others.
unsigned permissionsLike(const std::string& path);

// Writes the bytes into a file without a name, where the file system has such, flushes it to the
// disk, gives it its name and flushes the folder. A process that dies on the way leaves nothing
// but, for the moment of a replacement or on other file systems, the temporary name. On any failure
// there is no temporary file. Throws std::runtime_error.
void writeSafely(const Place& place, const Bytes& bytes);

// Writes the bytes into an existing file. Throws std::runtime_error.
void writeOver(const std::string& path, const Bytes& bytes);

// Writes to standard output. Throws std::runtime_error.
void writeToOutput(const Bytes& bytes);

} // namespace photo
