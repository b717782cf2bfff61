// One pixel of a float image as one vector: four interleaved channels, 16 bytes, at any multiple of
// 4 bytes. The kernels work on whole pixels: the channels are the lanes, and no loop runs over
// them.
#pragma once

#include <cstdint>

#include "primitives/base/Vector.h"

using Pixel = Float4;

constexpr int64_t pixelBytes = 16;

inline Pixel loadPixel(const float* row, int64_t x) { return loadVector<Pixel>(row + 4 * x); }
inline void storePixel(float* row, int64_t x, Pixel value) { storeVector(row + 4 * x, value); }
inline Pixel smallerOf(Pixel a, Pixel b) { return a < b ? a : b; }

// Row y of an image, and the bytes that `width` pixels take. 64 bits: images have up to 2000000
// rows of up to 32 million bytes.
inline const float* rowOf(const float* image, int32_t step, int64_t y) {
  return reinterpret_cast<const float*>(reinterpret_cast<const char*>(image) + y * step);
}
inline float* rowOf(float* image, int32_t step, int64_t y) {
  return reinterpret_cast<float*>(reinterpret_cast<char*>(image) + y * step);
}
inline bool stepHolds(int32_t step, int64_t width) {
  return step % 4 == 0 && step >= width * pixelBytes;
}

// The first place in a work buffer that a T may stand at; sizes leave room for alignof(T) - 1
// bytes.
template <typename T> T* alignedStart(uint8_t* work) {
  const uintptr_t address = reinterpret_cast<uintptr_t>(work);
  return reinterpret_cast<T*>(work + (-address & (alignof(T) - 1)));
}
