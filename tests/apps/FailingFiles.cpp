// Preloaded into the program: FOG_FAIL="n errno" makes the n-th call of a process fail that
// creates, writes, flushes or names a file. FOG_NAMED disables unnamed files, FOG_APART reading
// another process's memory.

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>

namespace {

bool fails() {
  static const char* order = std::getenv("FOG_FAIL");
  static int calls = 0;
  int which = 0, code = 0;
  if (!order || std::sscanf(order, "%d %d", &which, &code) != 2 || ++calls != which)
    return false;
  errno = code;
  return true;
}

bool isFile(int descriptor) {
  struct stat status;
  return ::fstat(descriptor, &status) == 0 && (S_ISREG(status.st_mode) || S_ISDIR(status.st_mode));
}

} // namespace

#define FOG_FAILING(result, name, parameters, arguments, concerned)                                \
  extern "C" __attribute__((visibility("default"))) result name parameters {                       \
    static const auto next = reinterpret_cast<result(*) parameters>(::dlsym(RTLD_NEXT, #name));    \
    return (concerned) && fails() ? -1 : next arguments;                                           \
  }

FOG_FAILING(ssize_t, write, (int file, const void* from, size_t size), (file, from, size),
            isFile(file))
FOG_FAILING(int, fsync, (int file), (file), isFile(file))
FOG_FAILING(int, rename, (const char* from, const char* to), (from, to), true)
FOG_FAILING(int, linkat, (int a, const char* from, int b, const char* to, int flags),
            (a, from, b, to, flags), true)
FOG_FAILING(int, renameat2, (int a, const char* from, int b, const char* to, unsigned flags),
            (a, from, b, to, flags), true)

extern "C" __attribute__((visibility("default"))) ssize_t
process_vm_readv(pid_t whom, const iovec* to, unsigned long tos, const iovec* from,
                 unsigned long froms, unsigned long flags) {
  static const auto next =
      reinterpret_cast<decltype(&process_vm_readv)>(::dlsym(RTLD_NEXT, "process_vm_readv"));
  return std::getenv("FOG_APART") ? (errno = EPERM, -1) : next(whom, to, tos, from, froms, flags);
}

extern "C" __attribute__((visibility("default"))) int open(const char* name, int flags, ...) {
  using Open = int (*)(const char*, int, ...);
  static const auto next = reinterpret_cast<Open>(::dlsym(RTLD_NEXT, "open"));
  __builtin_va_list rest;
  __builtin_va_start(rest, flags);
  const bool makes = flags & (O_CREAT | (O_TMPFILE & ~O_DIRECTORY));
  const mode_t mode = makes ? __builtin_va_arg(rest, mode_t) : 0;
  __builtin_va_end(rest);
  if ((flags & O_TMPFILE) == O_TMPFILE && std::getenv("FOG_NAMED"))
    return errno = EOPNOTSUPP, -1;
  return makes && fails() ? -1 : next(name, flags, mode);
}
