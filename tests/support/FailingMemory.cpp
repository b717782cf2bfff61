#include "tests/support/FailingMemory.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>

// Requests of all threads until the failing one; negative after the failure, or if none shall fail.
static std::atomic<long> requestsLeft = -1;

static bool refuse() {
  return requestsLeft.load(std::memory_order_relaxed) >= 0 && requestsLeft.fetch_sub(1) == 0;
}

FailingMemory::FailingMemory(int served) { requestsLeft = served; }
FailingMemory::~FailingMemory() { requestsLeft = -1; }
bool FailingMemory::hasRefused() const { return requestsLeft < 0; }

void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return refuse() ? nullptr : std::malloc(std::max(size, size_t(1)));
}
void* operator new(size_t size) {
  void* block = operator new(size, std::nothrow);
  return block ? block : throw std::bad_alloc();
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, size_t) noexcept { std::free(block); }

extern "C" void* aligned_alloc(size_t alignment, size_t size) noexcept {
  void* block = nullptr;
  return refuse() || posix_memalign(&block, alignment, size) != 0 ? nullptr : block;
}
