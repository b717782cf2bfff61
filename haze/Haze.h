// Views of the images that the haze core processes, and its entry.
//
// Float image: four 32-bit floats per pixel (red, green, blue, alpha), rows packed, colours
// nominally 0 to 1, alpha 1. Haze map: one float per pixel, packed; low values are near, high
// values far.
#pragma once

#include <cstddef>
#include <cstdint>

#include "hostapi/HostTypes.h"

// Non-owning view of a float image.
struct SHaze {
  float* data;        // first pixel
  int32_t width;      // pixels in a row
  int32_t height;     // rows
  int32_t rowBytes;   // width * 16
  int32_t pixelBytes; // 16
};

// Pixel x of row y.
inline float* pixelAt(const SHaze& image, int32_t x, int32_t y) {
  return reinterpret_cast<float*>(reinterpret_cast<char*>(image.data) +
                                  ptrdiff_t(y) * image.rowBytes + ptrdiff_t(x) * image.pixelBytes);
}

// Codes of a stage's error argument.
constexpr int32_t hazeNoError = 0;
constexpr int32_t hazeCancelled = 1;
constexpr int32_t hazeOutOfMemory = 2;

// Removes the haze from `image` in place, or turns it into the haze mask if showMap is not 0.
//   rect      only its width and height are used
//   isFilter  true: the whole image, with progress and abort; false: the proxy
//   error     set to hazeOutOfMemory if memory runs out; must be 0 before the call
// mask, depth and outRowBytes are not used.
void DoFogdissolve(float* image, const void* mask, VRect rect, int32_t depth, bool isFilter,
                   int32_t outRowBytes, int32_t showMap, int32_t* error);
