// One pixel of a float image as one vector: four interleaved channels, 16 bytes, at any address
// that is a multiple of 4. The kernels work on whole pixels: the lanes are the channels, and no
// loop runs over channels.
#pragma once

#include <cstdint>

#include "primitives/base/Vector.h"

using Pixel = Float4;

constexpr int64_t pixelBytes = 16;

inline Pixel loadPixel(const float* row, int64_t x) { return loadVector<Pixel>(row + 4 * x); }
inline void storePixel(float* row, int64_t x, Pixel value) { storeVector(row + 4 * x, value); }
inline Pixel smallerOf(Pixel a, Pixel b) { return a < b ? a : b; }

// Row y of an image, and whether a step holds `width` pixels. 64 bits: images have up to 2000000
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

// The first aligned address for a T in a work buffer; buffer sizes include alignof(T) - 1 spare
// bytes.
template <typename T> T* alignedStart(uint8_t* work) {
  const uintptr_t address = reinterpret_cast<uintptr_t>(work);
  return reinterpret_cast<T*>(work + (-address & (alignof(T) - 1)));
}
