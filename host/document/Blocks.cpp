#include "host/document/Blocks.h"

#include <sys/mman.h>

#include <cstdint>
#include <cstdlib>
#include <new>

namespace host {

namespace {

constexpr size_t vectorAlignment = 64;
constexpr size_t hugePage = size_t(2) << 20;

} // namespace

void BlockDeleter::operator()(std::byte* block) const noexcept { std::free(block); }

Block allocateBlock(size_t bytes) {
  if (bytes > size_t(PTRDIFF_MAX) - hugePage)
    throw std::bad_alloc();
  // Below two pages at least one of them would be shared with something else.
  const size_t alignment = bytes >= 2 * hugePage ? hugePage : vectorAlignment;
  const size_t size = (bytes + alignment - 1) / alignment * alignment;
  void* block = std::aligned_alloc(alignment, size ? size : alignment);
  if (!block)
    throw std::bad_alloc();
  if (alignment == hugePage)
    madvise(block, size, MADV_HUGEPAGE); // a wish: small pages serve too
  return Block(static_cast<std::byte*>(block));
}

} // namespace host
