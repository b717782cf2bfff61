#include "apps/photo/Room.h"

#include <exception>
#include <latch>
#include <new>
#include <stdexcept>
#include <thread>
#include <vector>

#include <sys/mman.h>

namespace photo {

int threadsToStart(int most) {
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
  return int(threads.size());
}

int threadsForFilter(int wanted) {
  // One team around the filter's entry, one for the current parallel region inside, and one for the
  // previous region, which may still be ending.
  constexpr int teams = 3;
  return 1 + threadsToStart(teams * (wanted - 1)) / teams;
}

void checkRoomForLibrary() {
  constexpr size_t bytes = 400 << 20; // of address space: measured, and rounded up
  constexpr int threads = 8;          // twice the measured number
  void* room = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (room == MAP_FAILED)
    throw std::bad_alloc();
  ::munmap(room, bytes);
  if (threadsToStart(threads) < threads)
    throw std::runtime_error("the system refuses the threads that the image library takes");
}

} // namespace photo
