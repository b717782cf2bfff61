// Landlock blocks the file system; a seccomp filter blocks all system calls except those for
// memory, threads and open streams. A blocked call fails with an error, so that a library that does
// not depend on its result can continue.

#include "apps/photo/Confinement.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <vector>

#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/landlock.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace photo {
namespace {

// System calls for memory, threads, time and open streams.
constexpr unsigned allowedCalls[] = {
    SYS_read, SYS_write, SYS_readv, SYS_writev, SYS_pread64, SYS_pwrite64, SYS_lseek, SYS_close,
    SYS_fstat, SYS_stat, SYS_lstat, SYS_newfstatat, SYS_statx, SYS_access, SYS_faccessat,
    SYS_faccessat2, SYS_readlink, SYS_readlinkat, SYS_getcwd, SYS_getdents64, SYS_fcntl, SYS_dup,
    SYS_dup2, SYS_dup3, SYS_pipe2, SYS_poll, SYS_ppoll, SYS_ftruncate, SYS_memfd_create,
    // memory
    SYS_mmap, SYS_munmap, SYS_mprotect, SYS_mremap, SYS_madvise, SYS_brk,
    // threads
    SYS_futex, SYS_set_robust_list, SYS_rseq, SYS_set_tid_address, SYS_arch_prctl, SYS_membarrier,
    SYS_sched_yield, SYS_sched_getaffinity, SYS_sched_setaffinity, SYS_sched_getparam,
    SYS_sched_getscheduler, SYS_gettid, SYS_getpid, SYS_rt_sigaction, SYS_rt_sigprocmask,
    SYS_rt_sigreturn, SYS_sigaltstack, SYS_restart_syscall, SYS_exit, SYS_exit_group,
    // time, randomness, the machine
    SYS_clock_gettime, SYS_clock_getres, SYS_clock_nanosleep, SYS_nanosleep, SYS_gettimeofday,
    SYS_time, SYS_times, SYS_getrandom, SYS_uname, SYS_sysinfo, SYS_getrusage, SYS_getrlimit,
    SYS_getcpu, SYS_getuid, SYS_geteuid, SYS_getgid, SYS_getegid};

using Program = std::vector<sock_filter>;

sock_filter load(size_t offset) { return BPF_STMT(BPF_LD | BPF_W | BPF_ABS, uint32_t(offset)); }

sock_filter give(unsigned action) { return BPF_STMT(BPF_RET | BPF_K, action); }

unsigned failing(int error) { return SECCOMP_RET_ERRNO | unsigned(error); }

size_t argument(int index) { // its lower half, on a little-endian machine
  return offsetof(seccomp_data, args) + sizeof(uint64_t) * size_t(index);
}

// For the call with this number, runs the steps, which end with a verdict.
void when(Program& program, unsigned call, std::initializer_list<sock_filter> steps) {
  program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, uint8_t(steps.size())));
  program.insert(program.end(), steps);
}

Program callFilter() {
  constexpr unsigned allow = SECCOMP_RET_ALLOW;
  const sock_filter noneOf = BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, 0, 1, 0); // of the bits in k
  auto unlessAny = [noneOf](unsigned bits) {
    sock_filter step = noneOf;
    step.k = bits;
    return step;
  };
  constexpr unsigned writing = O_WRONLY | O_RDWR | O_CREAT | O_TRUNC;
  Program program = {
      load(offsetof(seccomp_data, arch)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, AUDIT_ARCH_X86_64, 1, 0),
      give(SECCOMP_RET_KILL_PROCESS),
      load(offsetof(seccomp_data, nr)),
  };
  for (const unsigned call : allowedCalls)
    when(program, call, {give(allow)});
  when(program, SYS_open,
       {load(argument(1)), unlessAny(writing), give(allow), give(failing(EACCES))});
  when(program, SYS_openat,
       {load(argument(2)), unlessAny(writing), give(allow), give(failing(EACCES))});
  // Threads, but no processes. The filter cannot see the flags of clone3; its callers fall back to
  // clone.
  when(program, SYS_clone3, {give(failing(ENOSYS))});
  when(program, SYS_clone,
       {load(argument(0)), unlessAny(CLONE_THREAD), give(failing(EPERM)), give(allow)});
  // Its own limits, which the size in a picture's header raises, and its own end.
  when(program, SYS_prlimit64,
       {load(argument(0)), unlessAny(~0u), give(allow), give(failing(EPERM))});
  when(program, SYS_tgkill,
       {load(argument(0)), BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, unsigned(::getpid()), 0, 1),
        give(allow), give(failing(EPERM))});
  when(program, SYS_ioctl, {give(failing(ENOTTY))});
  program.push_back(give(failing(EPERM)));
  return program;
}

bool filterCalls() {
  Program program = callFilter();
  const sock_fprog whole{static_cast<unsigned short>(program.size()), program.data()};
  return ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_TSYNC, &whole) == 0;
}

// Blocks opening anything in a file system, except the one file.
bool closeFileSystem(const std::string& readable) {
  landlock_ruleset_attr rules{};
  rules.handled_access_fs = (LANDLOCK_ACCESS_FS_MAKE_SYM << 1) - 1; // all rights of version 1
  const int set = int(::syscall(SYS_landlock_create_ruleset, &rules, sizeof rules, 0));
  if (set < 0)
    return false;
  landlock_path_beneath_attr file{LANDLOCK_ACCESS_FS_READ_FILE,
                                  ::open(readable.c_str(), O_PATH | O_CLOEXEC)};
  if (file.parent_fd >= 0) { // a stream has none
    ::syscall(SYS_landlock_add_rule, set, LANDLOCK_RULE_PATH_BENEATH, &file, 0);
    ::close(file.parent_fd);
  }
  const bool done = ::syscall(SYS_landlock_restrict_self, set, 0) == 0;
  ::close(set);
  return done;
}

void limit(__rlimit_resource resource, rlim_t value) {
  rlimit bound{};
  ::getrlimit(resource, &bound);
  bound.rlim_cur = std::min(value, bound.rlim_max);
  ::setrlimit(resource, &bound); // fails only if a tighter limit is already in force
}

} // namespace

int64_t mappedBytes() {
  long pages = 0;
  if (std::FILE* file = std::fopen("/proc/self/statm", "re")) {
    if (std::fscanf(file, "%ld", &pages) != 1)
      pages = 0;
    std::fclose(file);
  }
  return pages * ::sysconf(_SC_PAGESIZE);
}

void limitMemory(int64_t bytes) {
#ifndef FOG_SANITIZED // sanitizers map terabytes
  static const rlim_t inherited = [] {
    rlimit bound{};
    ::getrlimit(RLIMIT_AS, &bound);
    return bound.rlim_cur;
  }();
  limit(RLIMIT_AS, std::min(rlim_t(bytes), inherited));
#else
  (void)bytes;
#endif
}

void limitSeconds(int64_t seconds) { limit(RLIMIT_CPU, rlim_t(seconds)); }

std::string confine(const std::string& readable) {
  ::tzset(); // reads a file
  if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0)
    return "this kernel does not let a decoder be confined: it runs with limits only";
  const bool closed = closeFileSystem(readable), filtered = filterCalls();
  if (!filtered)
    return "this kernel has no filter of system calls: a decoder could reach the network";
  return closed ? "" : "this kernel has no Landlock: a decoder could read other files";
}

} // namespace photo
