// Memory for pixels: uninitialised, aligned for vector loads, on huge pages where it is large.
//
// Touching fresh memory for the first time costs more than copying into it, so a large block asks
// the system for pages of 2 MB.
#pragma once

#include <cstddef>
#include <memory>

namespace host {

struct BlockDeleter {
  void operator()(std::byte* block) const noexcept;
};
using Block = std::unique_ptr<std::byte[], BlockDeleter>;

// At least `bytes` bytes (0 gives a block too), 64-byte aligned. Throws std::bad_alloc.
Block allocateBlock(size_t bytes);

} // namespace host
