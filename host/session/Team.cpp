#include "host/session/Team.h"

#include <omp.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>

namespace host {

void callInTeam(int threads, const std::function<void()>& call) {
  const int levels = omp_get_max_active_levels();
  omp_set_max_active_levels(std::max(levels, omp_get_active_level() + 2));

  std::mutex lock;
  std::condition_variable ended;
  bool done = false;
#pragma omp parallel num_threads(std::max(threads, 1))
  {
    if (omp_get_thread_num() == 0) {
      call();
      const std::lock_guard guard(lock);
      done = true;
      ended.notify_all();
    } else {
      std::unique_lock guard(lock);
      ended.wait(guard, [&] { return done; });
    }
  }
  omp_set_max_active_levels(levels);
}

} // namespace host
