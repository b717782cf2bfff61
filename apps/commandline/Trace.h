// The file of --trace, to which the program and its children append.
#pragma once

#include <cstdio>
#include <string>

namespace commandline {

class Trace {
public:
  // Empties the file. Throws std::runtime_error with the reason.
  explicit Trace(const std::string& name);
  ~Trace();
  Trace(const Trace&) = delete;
  Trace& operator=(const Trace&) = delete;

  std::FILE* stream() const { return stream_; } // takes everything; losses are counted as errors

  // Closes the file, once. Throws std::runtime_error with the reason if this process or a child
  // could not write all of it.
  void close();

private:
  struct Sink;
  std::string name_;
  Sink* sink_; // shared with the children
  std::FILE* stream_ = nullptr;
};

} // namespace commandline
