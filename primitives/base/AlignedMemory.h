// Aligned heap blocks.
#pragma once

#include <cstddef>

// Block with the alignment (a power of two), or null for a size of 0 and when there is no memory.
void* mkl_malloc(size_t size, int alignment);
void mkl_free(void* block); // null is ignored
