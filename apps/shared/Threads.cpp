#include "apps/shared/Threads.h"

#include <exception>
#include <latch>
#include <thread>
#include <vector>

namespace shared {

int threadsToBeHad(int wanted) {
  // A team stands behind the filter's entry, and each parallel region inside starts another one,
  // while that of the region before may still be ending.
  constexpr int teams = 3;
  const int most = teams * (wanted - 1);
  std::latch counted(1);
  std::vector<std::thread> threads;
  try {
    threads.reserve(size_t(most));
    while (int(threads.size()) < most)
      threads.emplace_back([&counted] { counted.wait(); });
  } catch (const std::exception&) {
  }
  counted.count_down();
  for (std::thread& thread : threads)
    thread.join();
  return 1 + int(threads.size()) / teams;
}

} // namespace shared
