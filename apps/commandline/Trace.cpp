// A stream of the C library over a descriptor. The reason of the first failed write is in memory
// that all processes share, because a child's stream cannot tell its parent.

#include "apps/commandline/Trace.h"

#include <atomic>
#include <cerrno>
#include <new>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace commandline {

struct Trace::Sink {
  int file;
  std::atomic<int> error; // an errno; 0: none

  void fail() {
    int none = 0;
    error.compare_exchange_strong(none, errno);
  }

  // All of it counts as written, so that the stream does not keep what it cannot write.
  static ssize_t write(void* sink, const char* bytes, size_t size) {
    auto& self = *static_cast<Sink*>(sink);
    for (size_t done = 0; done < size;) {
      const ssize_t n = ::write(self.file, bytes + done, size - done);
      if (n < 0 && errno == EINTR)
        continue;
      if (n < 0) {
        self.fail();
        break;
      }
      done += size_t(n);
    }
    return ssize_t(size);
  }

  static int close(void* sink) {
    auto& self = *static_cast<Sink*>(sink);
    if (::close(self.file) != 0)
      self.fail();
    return 0;
  }
};

namespace {

[[noreturn]] void fail(const std::string& name, int code) {
  throw std::runtime_error("--trace: " + name +
                           " cannot be written: " + std::generic_category().message(code));
}

} // namespace

Trace::Trace(const std::string& name) : name_(name) {
  // Each process appends whole lines.
  const int file = ::open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0666);
  if (file < 0)
    fail(name, errno);
  void* page =
      ::mmap(nullptr, sizeof(Sink), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (page == MAP_FAILED) {
    ::close(file);
    throw std::bad_alloc();
  }
  sink_ = new (page) Sink{file, 0};
  stream_ = ::fopencookie(sink_, "w", {nullptr, Sink::write, nullptr, Sink::close});
  if (!stream_) {
    Sink::close(sink_);
    ::munmap(sink_, sizeof(Sink));
    throw std::bad_alloc();
  }
  std::setvbuf(stream_, nullptr, _IOLBF, BUFSIZ);
}

Trace::~Trace() {
  if (stream_)
    std::fclose(stream_);
  ::munmap(sink_, sizeof(Sink));
}

void Trace::close() {
  std::fclose(std::exchange(stream_, nullptr));
  if (const int code = sink_->error)
    fail(name_, code);
}

} // namespace commandline
