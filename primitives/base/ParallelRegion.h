// Teams of threads that pass exceptions out of their parallel regions: OpenMP itself ends the
// process when an exception leaves a region.
#pragma once

#include <omp.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>

// Keeps the first exception from many bodies, on any threads.
class FirstException {
public:
  template <class Body> void guard(Body&& body) noexcept {
    try {
      body();
    } catch (...) {
      if (!taken.test_and_set())
        first = std::current_exception();
    }
  }

  bool isCaught() const noexcept { return taken.test(); }

  // Call outside the region, after all bodies have ended.
  void rethrow() const {
    if (first)
      std::rethrow_exception(first);
  }

private:
  std::atomic_flag taken;
  std::exception_ptr first;
};

// Runs body(thread, team) on each thread of a team of `threads`; the runtime may make the team
// smaller. Throws the first exception of a body after all have ended.
template <class Body> void runOnTeam(int threads, Body&& body) {
  FirstException exception;
#pragma omp parallel num_threads(threads)
  exception.guard([&] { body(omp_get_thread_num(), omp_get_num_threads()); });
  exception.rethrow();
}

// The contiguous share of `count` items for one thread of a team; shares differ by at most 1.
struct Share {
  int64_t begin, end; // end outside
};
inline Share shareOf(int64_t count, int thread, int team) {
  return {count * thread / team, count * (thread + 1) / team};
}

// Runs both at the same time if there are two threads.
template <class First, class Second> void runBoth(int threads, First&& first, Second&& second) {
  runOnTeam(std::min(threads, 2), [&](int thread, int team) {
    if (thread == 0)
      first();
    if (thread == team - 1)
      second();
  });
}

// Touches each page of a new block, each thread its share: the system zeroes a page on its first
// touch, on the touching thread.
inline void touchPages(void* block, size_t bytes, int threads) {
  constexpr size_t pageBytes = 4096;
  if (threads == 1)
    return; // the code that writes the block touches it as fast
  runOnTeam(threads, [&](int thread, int team) {
    const Share pages = shareOf(int64_t(bytes / pageBytes), thread, team);
    for (size_t page = size_t(pages.begin); page < size_t(pages.end); ++page)
      static_cast<volatile char*>(block)[page * pageBytes] = 0;
  });
}
