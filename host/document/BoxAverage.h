// Reduction of an image by exact box averages: an output pixel is the mean of the source pixels
// that it covers, each weighted by the covered part.
//
// All positions are whole numbers of a unit that divides a source pixel, so that sums of 8- and
// 16-bit samples are exact and an average is rounded only once.
#pragma once

#include <cstdint>
#include <functional>

namespace host {

// One axis: output pixel i covers the units from i * step to (i + 1) * step, source pixel p those
// from p * unit to (p + 1) * unit.
struct BoxAxis {
  int32_t sourceSize; // pixels
  int64_t step, unit; // both above 0, without a common factor
};

BoxAxis boxAxis(int32_t sourceSize, int64_t step, int64_t unit);

// The part of the source that one output pixel covers. Pixels between the first and the last have a
// weight of `unit`. An output pixel outside the source takes the nearest source pixel.
struct BoxSpan {
  int32_t first, last;             // inclusive
  int64_t firstWeight, lastWeight; // units; lastWeight is 0 for a single pixel
  int64_t total;                   // units covered
};

BoxSpan boxSpan(const BoxAxis& axis, int64_t index);

// Rectangle of output pixels, and the number of channels.
struct BoxRegion {
  int64_t left, right; // output columns
  int64_t top, bottom; // output rows
  int32_t channels;    // interleaved in source and output
};

// Returns row y of the source, from column `left` on: `count` pixels with the region's channels.
// The row must stay valid until the next request for its slot (0 to boxRowSlots - 1).
constexpr int boxRowSlots = 4;
template <class Sample>
using BoxRows = std::function<const Sample*(int32_t y, int32_t left, int32_t count, int slot)>;

// Writes the region's averages, rows packed. Sample: uint8_t, uint16_t or float. Throws
// std::bad_alloc.
template <class Sample>
void boxAverage(const BoxAxis& columns, const BoxAxis& rows, const BoxRegion& region,
                const BoxRows<Sample>& source, Sample* output);

} // namespace host
