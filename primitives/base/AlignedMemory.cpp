#include "primitives/base/AlignedMemory.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

void* mkl_malloc(size_t size, int alignment) {
  void* block = nullptr;
  if (size == 0 || alignment < 0 || !std::has_single_bit(unsigned(alignment)) ||
      posix_memalign(&block, std::max(size_t(alignment), sizeof(void*)), size) != 0)
    return nullptr;
  return block;
}

void mkl_free(void* block) { std::free(block); }
