// The parts of OpenMP's runtime that this project uses, built from threads and barriers that the
// thread sanitizer can see. It cannot see those of the compiler's own runtime, and reports a race
// for every loop. This library is preloaded instead of it. Tasks run immediately where they are
// created, so only data shared by teams is checked.

#include <atomic>
#include <barrier>
#include <cstddef>
#include <cstring>
#include <thread>
#include <utility>
#include <vector>

#include <omp.h>

namespace {

struct Team {
  int size, level;
  std::barrier<> barrier{size};
  std::atomic<int> singles{0}; // taken by a thread
};
thread_local Team* team = nullptr; // null outside of all teams
thread_local int thread = 0, singles = 0;
std::atomic<int> standardSize{2}, mostLevels{1};

void run(Team* with, int number, void (*body)(void*), void* data) {
  Team* const outerTeam = std::exchange(team, with);
  const int outerThread = std::exchange(thread, number), outerSingles = std::exchange(singles, 0);
  body(data);
  team = outerTeam;
  thread = outerThread;
  singles = outerSingles;
}

std::vector<std::max_align_t> copyOf(void* data, void (*copy)(void*, void*), long size) {
  std::vector<std::max_align_t> own(size_t(size) / sizeof(std::max_align_t) + 1);
  if (copy)
    copy(own.data(), data);
  else
    std::memcpy(own.data(), data, size_t(size));
  return own;
}

std::atomic_ref<int> flagOf(omp_lock_t* lock) {
  return std::atomic_ref<int>(*reinterpret_cast<int*>(lock));
}

} // namespace

#pragma GCC visibility push(default)
extern "C" {

void GOMP_parallel(void (*body)(void*), void* data, unsigned threads, unsigned) {
  const int level = team ? team->level + 1 : 1;
  Team own{level > mostLevels ? 1 : threads ? int(threads) : standardSize.load(), level};
  std::vector<std::thread> others;
  for (int number = 1; number < own.size; ++number)
    others.emplace_back(run, &own, number, body, data);
  run(&own, 0, body, data);
  for (std::thread& other : others)
    other.join();
}
void GOMP_barrier() {
  if (team)
    team->barrier.arrive_and_wait();
}
bool GOMP_single_start() {
  int next = singles++;
  return !team || team->singles.compare_exchange_strong(next, next + 1);
}
void GOMP_task(void (*body)(void*), void* data, void (*copy)(void*, void*), long size, long) {
  body(copyOf(data, copy, size).data());
}
void GOMP_taskloop(void (*body)(void*), void* data, void (*copy)(void*, void*), long size, long,
                   unsigned, unsigned long, int, long begin, long end, long) {
  auto own = copyOf(data, copy, size);
  const long range[] = {begin, end}; // at the beginning of the loop's data
  std::memcpy(own.data(), range, sizeof range);
  body(own.data());
}
int omp_get_thread_num() noexcept { return thread; }
int omp_get_num_threads() noexcept { return team ? team->size : 1; }
int omp_get_max_threads() noexcept { return standardSize; }
int omp_get_num_procs() noexcept { return 2; }
int omp_get_active_level() noexcept { return team ? team->level : 0; }
int omp_get_max_active_levels() noexcept { return mostLevels; }
void omp_set_max_active_levels(int levels) noexcept { mostLevels = levels; }
void omp_set_num_threads(int threads) noexcept { standardSize = threads; }
void omp_init_lock(omp_lock_t* lock) noexcept { flagOf(lock) = 0; }
void omp_destroy_lock(omp_lock_t*) noexcept {}
void omp_set_lock(omp_lock_t* lock) noexcept {
  while (flagOf(lock).exchange(1))
    std::this_thread::yield();
}
void omp_unset_lock(omp_lock_t* lock) noexcept { flagOf(lock) = 0; }

} // extern "C"
