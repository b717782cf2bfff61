// The only allocator: uninitialised, aligned, owned heap blocks for images, maps, matrices and the
// blocks that a host lends.
//
// Large blocks are aligned for huge pages and request them: the first touch of a 24-megapixel float
// image in 4 KB pages costs more time than correcting its pixels.
#pragma once

#include <malloc.h>
#include <sys/mman.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>

constexpr size_t hugePageBytes = size_t(2) << 20;
constexpr size_t vectorAlignment = 64; // bytes of the widest vector

// `alignment` is a power of two, at most hugePageBytes. Returns null if out of memory; 0 bytes give
// a block too. Release with freeHeap.
inline void* allocateHeap(size_t bytes, size_t alignment = vectorAlignment) {
  if (bytes > size_t(std::numeric_limits<ptrdiff_t>::max()) - hugePageBytes)
    return nullptr;
  const bool isLarge = bytes >= 2 * hugePageBytes; // smaller blocks would share a huge page
  const size_t unit = isLarge ? hugePageBytes : std::max(alignment, vectorAlignment);
  const size_t padded = std::max((bytes + unit - 1) / unit, size_t(1)) * unit;
  void* block = std::aligned_alloc(unit, padded);
  if (block && isLarge)
    madvise(block, padded, MADV_HUGEPAGE); // a hint: small pages work too
  return block;
}

inline void freeHeap(void* block) { std::free(block); }

// Returns free heap memory, as many small blocks leave it behind, to the system.
inline void trimHeap() { malloc_trim(0); }

struct HeapDeleter {
  void operator()(void* block) const noexcept { freeHeap(block); }
};

// Array of plain values; null until allocated.
template <class T> using HeapArray = std::unique_ptr<T[], HeapDeleter>;

// Returns null if out of memory.
template <class T> HeapArray<T> tryAllocateArray(size_t count) {
  if (count > std::numeric_limits<size_t>::max() / sizeof(T))
    return nullptr;
  return HeapArray<T>(static_cast<T*>(allocateHeap(count * sizeof(T))));
}

// Throws std::bad_alloc if out of memory.
template <class T> HeapArray<T> allocateArray(size_t count) {
  HeapArray<T> array = tryAllocateArray<T>(count);
  if (!array)
    throw std::bad_alloc();
  return array;
}

// The allocator under the names that the sparse code uses. Returns null for 0 bytes, for an
// alignment that is not a power of two, and if out of memory.
inline void* mkl_malloc(size_t bytes, int alignment) {
  const bool isValid = bytes > 0 && alignment > 0 && std::has_single_bit(unsigned(alignment)) &&
                       size_t(alignment) <= hugePageBytes;
  return isValid ? allocateHeap(bytes, size_t(alignment)) : nullptr;
}
inline void mkl_free(void* block) { freeHeap(block); } // null is ignored
