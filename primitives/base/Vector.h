// Short vectors of numbers with the compiler's vector extension; all kernels use these types.
//
// Operators work lane by lane, also with a plain number on either side. A comparison gives -1
// (true) or 0 in each lane, and `condition ? a : b` selects by lane. __builtin_convertvector
// converts.
#pragma once

#include <cstdint>
#include <cstring>

using Float4 = float __attribute__((vector_size(16)));
using Int4 = int32_t __attribute__((vector_size(16)));
using UInt4 = uint32_t __attribute__((vector_size(16)));
using Double4 = double __attribute__((vector_size(32)));
using Byte16 = uint8_t __attribute__((vector_size(16)));

// Lanes of the level's widest vector of 32-bit numbers.
#if defined(__AVX512F__)
constexpr int32_t widestLanes = 16;
#elif defined(__AVX__)
constexpr int32_t widestLanes = 8;
#else
constexpr int32_t widestLanes = 4;
#endif
using FloatV = float __attribute__((vector_size(widestLanes * 4)));
using IntV = int32_t __attribute__((vector_size(widestLanes * 4)));

// Memory may have any alignment. These are templates, so that their symbols contain the vector's
// width and objects of two levels do not share them.
template <class Vector> Vector loadVector(const void* from) {
  Vector v;
  std::memcpy(&v, from, sizeof v);
  return v;
}
template <class Vector> void storeVector(void* to, Vector v) { std::memcpy(to, &v, sizeof v); }

// The same number in every lane.
template <class Vector, class Number> Vector splat(Number v) { return Vector{} + v; }
