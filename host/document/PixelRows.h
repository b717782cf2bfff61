// Copies runs of pixels between a document and a filter.
//
// The filter gets a range of planes, interleaved and packed. A picture with transparency is matted
// with white on the way out, c * a + white * (1 - a), and un-matted on the way back. Alpha itself,
// fully transparent pixels, and samples that the filter did not change stay as they were.
// Non-finite samples go out as 0 and stay as they were; a non-finite result of the filter becomes
// 0. The selection's weights blend the result with the old samples.
#pragma once

#include <cstdint>

namespace host {

// Full scale of a sample.
template <class Sample> constexpr Sample whiteOf();
template <> constexpr uint8_t whiteOf<uint8_t>() { return 255; }
template <> constexpr uint16_t whiteOf<uint16_t>() { return 32768; }
template <> constexpr float whiteOf<float>() { return 1.0f; }

// Position of a run's planes in the pixels of the document.
struct PlaneRange {
  int32_t channels; // channels per pixel of the document
  int32_t low;      // first plane that the filter sees
  int32_t planes;   // how many
  int32_t alpha;    // channel that mattes the colours before it; -1: none
};

// True if a run can be copied as plain bytes in both directions.
bool plainBytes(const PlaneRange& range, bool isFloat);

// Copies `count` pixels from the document's samples to the filter's.
template <class Sample>
void fetchPixels(const Sample* document, const PlaneRange& range, int64_t count, Sample* seen);

// Copies `count` pixels back. weights: the selection's, one per pixel, or null. Returns the number
// of non-finite samples that the filter returned.
template <class Sample>
int64_t storePixels(const Sample* seen, const uint8_t* weights, const PlaneRange& range,
                    int64_t count, Sample* document);

// Copies `count` samples, with 0 for those that are not finite.
void copyFinite(const float* from, int64_t count, float* to);

// Sets non-finite samples to 0; returns their number.
int64_t zeroNotFinite(float* samples, int64_t count);

} // namespace host
