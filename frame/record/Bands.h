// How pixels move between the host and the plug-in: in bands of ten rows, from samples to the float
// image and back.
//
// Samples are interleaved RGB, rows packed; the float image has four floats per pixel, the fourth
// is always 1. depth: 8 (0 to 255), 16 (0 to 32768) or 32 (float, unchanged).
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "frame/record/Globals.h"
#include "frame/record/Rects.h"
#include "primitives/base/Conversions.h"

constexpr int32_t bandRows = 10; // rows that the host prepares at a time
constexpr int32_t rgbPlanes = 3;
constexpr int32_t floatsPerPixel = 4;

// Processes the rectangle band by band from its top: setRect (SetInRect or SetOutRect) tells the
// host the band, advanceState makes the samples valid, transfer(first, rows) moves them; `first`
// counts rows from the top. Stops with false at the first non-zero code of the host. *gResult holds
// the last code.
template <class SetRect, class Transfer>
bool forEachBand(const VRect& rect, SetRect setRect, Transfer transfer) {
  const int32_t height = RectHeight(rect);
  for (int32_t done = 0, rows; done < height; done += rows) {
    rows = std::min(height - done, bandRows);
    const int32_t top = wrappingAdd(rect.top, done);
    setRect(top, rect.left, wrappingAdd(top, rows), rect.right);
    *gResult = gFilterRecord->advanceState();
    if (*gResult != noErr)
      return false;
    transfer(done, rows);
  }
  return true;
}

// At any other depth, ReadBand fills the float image with zeros and WriteBand writes no sample.
void ReadBand(const void* samples, int32_t depth, size_t pixels, float* image);
void WriteBand(const float* image, int32_t depth, size_t pixels, void* samples);

// Level of a 16-bit sample, 0 to 255 for 0 to 32768. Deliberately discards finer differences.
constexpr uint32_t levelOf16(uint16_t sample) { return uint32_t(sample) * 10 / 1285; }
