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

// A file in the folder for temporary files, removed at the end.
class TemporaryFile {
public:
  TemporaryFile() = default;
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  // Makes it, empty, with the extension; returns its name. Throws std::runtime_error.
  const std::string& create(std::string_view extension);

private:
  std::string name_;
};

// Writes the bytes to `temporary`, which must not exist and lies in the folder of `path`, flushes
// them to the disk and renames the file to `path`. Without `replace` an existing file is left alone
// and is an error. On any failure the temporary file is gone. Throws std::runtime_error.
void writeSafely(const std::string& path, const std::string& temporary, const Bytes& bytes,
                 bool replace);

// Writes the bytes into an existing file. Throws std::runtime_error.
void writeOver(const std::string& path, const Bytes& bytes);

// Writes to standard output. Throws std::runtime_error.
void writeToOutput(const Bytes& bytes);

} // namespace photo
