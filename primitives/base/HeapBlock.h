// Blocks of the ordinary heap for whole images and maps, uninitialised and owned.
//
// Large blocks are aligned for, and asked to be backed by, huge pages: a first touch of a 24 MP
// float image in 4 KB pages costs more time than the correction of its pixels.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>

constexpr size_t hugePageBytes = size_t(2) << 20;
constexpr size_t vectorAlignment = 64; // widest vector unit

// Null when there is no memory; released with freeHeap.
inline void* allocateHeap(size_t bytes) {
  if (bytes > size_t(std::numeric_limits<ptrdiff_t>::max()) - hugePageBytes)
    return nullptr;
  const size_t alignment = bytes >= 2 * hugePageBytes ? hugePageBytes : vectorAlignment;
  const size_t padded = (bytes + alignment) / alignment * alignment;
  void* block = std::aligned_alloc(alignment, padded);
  if (block && alignment == hugePageBytes)
    madvise(block, padded, MADV_HUGEPAGE); // a wish: its failure changes nothing
  return block;
}

inline void freeHeap(void* block) { std::free(block); }

struct HeapDeleter {
  void operator()(void* block) const { freeHeap(block); }
};

// Array of `count` plain values; null until allocated.
template <class T> using HeapArray = std::unique_ptr<T[], HeapDeleter>;

// Null when there is no memory.
template <class T> HeapArray<T> tryAllocateArray(size_t count) {
  if (count > std::numeric_limits<size_t>::max() / sizeof(T))
    return nullptr;
  return HeapArray<T>(static_cast<T*>(allocateHeap(count * sizeof(T))));
}

// Throws std::bad_alloc when there is no memory.
template <class T> HeapArray<T> allocateArray(size_t count) {
  HeapArray<T> array = tryAllocateArray<T>(count);
  if (!array)
    throw std::bad_alloc();
  return array;
}
