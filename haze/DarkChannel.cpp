// Dark channel and haze light of the reduced image.
//
// Near a pixel without haze there is a dark channel; haze leaves none, because it adds light to all
// three channels. The smallest value over a square window and over the channels, in proportion to
// the light, measures the haze. The light is the most luminous of the pixels with the highest dark
// values. After He, Sun and Tang, "Single image haze removal using dark channel prior" (2009).
#include <QMultiMap>
#include <omp.h>

#include <algorithm>
#include <cmath>

#include "frame/record/Globals.h"
#include "frame/record/Memory.h"
#include "haze/Progress.h"
#include "haze/Stages.h"
#include "primitives/base/Conversions.h"
#include "primitives/image/ImagePrimitives.h"

namespace {

constexpr int32_t windowShare = 100;     // the window's radius is the longer side divided by this
constexpr int32_t rowsPerSeedRow = 1000; // rows per seed row of candidates

float darkValue(const float* filtered) {
  return std::min(filtered[0], std::min(filtered[1], filtered[2]));
}

int32_t windowRadius(const SHaze& image) {
  return std::max(image.width, image.height) / windowShare + 1;
}

// The pixels with the highest dark values, ascending; among equal values the newest first.
using BrightestPixels = QMultiMap<float, const float*>;

int32_t seedRows(const SHaze& low) {
  return low.height > rowsPerSeedRow ? low.height / rowsPerSeedRow : 1;
}

void seedCandidates(const SHaze& low, const SHaze& filtered, BrightestPixels& brightestPixels) {
  for (int32_t y = 0; y < seedRows(low); ++y)
    for (int32_t x = 0; x < low.width; ++x)
      brightestPixels.insert(darkValue(pixelAt(filtered, x, y)), pixelAt(low, x, y));
}

// A pixel above the smallest candidate replaces it; an equal one does not.
void scanForCandidates(const SHaze& low, const SHaze& filtered, BrightestPixels& brightestPixels) {
  float smallest = brightestPixels.firstKey();
  for (int32_t y = seedRows(low); y < low.height; ++y) {
    for (int32_t x = 0; x < low.width; ++x) {
      const float dark = darkValue(pixelAt(filtered, x, y));
      if (!(smallest < dark))
        continue;
      brightestPixels.erase(brightestPixels.begin());
      brightestPixels.insert(dark, pixelAt(low, x, y));
      smallest = brightestPixels.firstKey();
    }
  }
}

float luminance(const float* pixel) {
  return float(0.59 * pixel[1] + 0.3 * pixel[0] + 0.11 * pixel[2]);
}

// The most luminous candidate; among equals the first in ascending order.
void chooseLight(const BrightestPixels& brightestPixels, float* light) {
  float best = -1.0f;
  for (const float* pixel : brightestPixels) {
    const float value = luminance(pixel);
    if (value > best) {
      best = value;
      std::copy_n(pixel, 3, light);
    }
  }
}

// The smaller of two numbers; if one is NaN, the other.
float smaller(float a, float b) { return a < b || std::isnan(b) ? a : b; }

// Smallest channel in proportion to the light. A light channel of 0 gives infinity or, where the
// pixel is 0 too, NaN: the other channels then decide. The map is NaN only if all three are.
void fillDarkMap(const SHaze& filtered, const float* light, float* dark) {
  omp_set_num_threads(gThreadCount);
#pragma omp parallel for schedule(static)
  for (int32_t y = 0; y < filtered.height; ++y) {
    float* row = dark + size_t(y) * size_t(filtered.width);
    for (int32_t x = 0; x < filtered.width; ++x) {
      const float* p = pixelAt(filtered, x, y);
      row[x] = smaller(p[0] / light[0], smaller(p[1] / light[1], p[2] / light[2]));
    }
  }
}

// From the filtered image to light and map; an abort can end it at each progress step.
void findLightAndMap(float* light, const SHaze& low, const SHaze& filtered, float* dark) {
  BrightestPixels brightestPixels;
  seedCandidates(low, filtered, brightestPixels);
  if (!stepProgress())
    return;
  scanForCandidates(low, filtered, brightestPixels);
  if (!stepProgress())
    return;
  chooseLight(brightestPixels, light);
  if (!stepProgress())
    return;
  fillDarkMap(filtered, light, dark);
  stepProgress();
}

void releaseCounted(const HostBuffer& buffer, int32_t size) {
  ReleaseHostBuffer(buffer.id);
  CountReleased(size);
}

} // namespace

void estimateDarkChannel(float* light, const SHaze* low, float* dark, int32_t* error) {
  *error = hazeNoError;
  const int32_t filteredSize = wrappingMultiply(low->height, low->rowBytes);
  const HostBuffer filteredBuffer = TakeHostBuffer(filteredSize);
  if (!filteredBuffer.data) {
    *error = hazeOutOfMemory;
    return;
  }
  CountTaken(filteredSize);
  TraceMemory("estimateDarkChannel", __LINE__);

  const int32_t radius = windowRadius(*low);
  const PrimitiveSize mask = {2 * radius + 1, 2 * radius + 1};
  int32_t workSize = 0;
  MinFilterGetBufferSize(low->width, mask, &workSize);
  TRACE("%s (%d) - ipp alloc buffer %d bytes\n", "estimateDarkChannel", __LINE__, workSize);
  const HostBuffer work = TakeHostBuffer(workSize);
  if (!work.data) {
    *error = hazeOutOfMemory;
    releaseCounted(filteredBuffer, filteredSize);
    TraceMemory("estimateDarkChannel", __LINE__);
    return;
  }
  CountTaken(workSize);
  TraceMemory("estimateDarkChannel", __LINE__);

  SHaze filtered = *low;
  filtered.data = static_cast<float*>(filteredBuffer.data);
  MinFilterBorderReplicate_32f_C4R(low->data, low->rowBytes, filtered.data, filtered.rowBytes,
                                   {low->width, low->height}, mask, {radius, radius},
                                   static_cast<uint8_t*>(work.data));
  findLightAndMap(light, *low, filtered, dark);

  releaseCounted(work, workSize);
  releaseCounted(filteredBuffer, filteredSize);
  TraceMemory("estimateDarkChannel", __LINE__);
}
