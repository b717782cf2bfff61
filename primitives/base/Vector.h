// Short vectors of numbers, as the compiler's vector extension has them: one vocabulary for all
// kernels.
//
// Operators work lane by lane, and with a plain number on either side. A comparison gives -1 (true)
// or 0 in each lane, and `condition ? a : b` chooses by lane. __builtin_convertvector converts.
#pragma once

#include <cstdint>
#include <cstring>

using Float4 = float __attribute__((vector_size(16)));
using Int4 = int32_t __attribute__((vector_size(16)));
using UInt4 = uint32_t __attribute__((vector_size(16)));
using Double4 = double __attribute__((vector_size(32)));
using Byte16 = uint8_t __attribute__((vector_size(16)));

// Lanes of the widest vectors of 32-bit numbers that the level has.
#if defined(__AVX512F__)
constexpr int32_t widestLanes = 16;
#elif defined(__AVX__)
constexpr int32_t widestLanes = 8;
#else
constexpr int32_t widestLanes = 4;
#endif
using FloatV = float __attribute__((vector_size(widestLanes * 4)));
using IntV = int32_t __attribute__((vector_size(widestLanes * 4)));

// Memory may have any alignment. Templates, because their symbols carry the vector's width: objects
// of two levels do not share them.
template <class Vector> Vector loadVector(const void* from) {
  Vector v;
  std::memcpy(&v, from, sizeof v);
  return v;
}
template <class Vector> void storeVector(void* to, Vector v) { std::memcpy(to, &v, sizeof v); }

// The same number in every lane.
template <class Vector, class Number> Vector splat(Number v) { return Vector{} + v; }
