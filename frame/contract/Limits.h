// The size of the image from which the filter estimates the haze, and the size limits of images.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

#include "primitives/base/Conversions.h"

// Pixels of the reduced image if no dialog has made a proxy; with a proxy, the proxy's size is
// used.
constexpr int32_t estimateArea = 100000;

// Without a dialog the filter multiplies the width by estimateArea in 32 bits. A wider image gets
// no usable size.
constexpr int32_t widestWithoutDialog = std::numeric_limits<int32_t>::max() / estimateArea;

// The size of the float image, 16 bytes per pixel, is an unsigned 32-bit number.
constexpr int64_t mostPixels = std::numeric_limits<uint32_t>::max() / 16;

struct EstimateSize {
  int32_t width, height; // pixels
};

// A size of about estimateArea pixels with the image's proportions; a smaller image is enlarged.
// Products wrap as 32-bit numbers. A side below 1 means that there is no such size.
inline EstimateSize estimateSize(int32_t width, int32_t height) {
  const double area = wrappingMultiply(width, estimateArea);
  const int32_t lowWidth = truncateToInt32(std::sqrt(area / height));
  const int32_t product = wrappingMultiply(lowWidth, height);
  return {lowWidth, width == 0 ? 0 : int32_t(int64_t(product) / width)};
}

// The two shapes that a run without a dialog cannot estimate from.
constexpr bool tooWideForEstimate(int32_t width) { return width > widestWithoutDialog; }
constexpr bool tooHighForEstimate(int32_t width, int32_t height) {
  return height > int64_t(estimateArea) * width;
}
