// Blocks of memory of the host: pixels, and what it lends to a plug-in.
#pragma once

#include <cstddef>

#include "primitives/base/HeapBlock.h"

namespace host {

using Block = HeapArray<std::byte>;

// At least `bytes` uninitialised bytes (0 gives a block too). Throws std::bad_alloc.
inline Block allocateBlock(size_t bytes) { return allocateArray<std::byte>(bytes); }

} // namespace host
