// Runs of pixels on their way between a document and a filter.
//
// The filter sees a range of planes, interleaved and packed. A picture with transparency is matted
// with white on the way out, c * a + white * (1 - a), and un-matted on the way back; alpha itself,
// pixels without any, and samples that the filter has left alone stay as they were. Samples that
// are not finite go out as 0 and stay as they were; where the filter makes one, it becomes 0. The
// selection's weights blend what comes back with what was there.
#pragma once

#include <cstdint>

namespace host {

// Full scale of a sample.
template <class Sample> constexpr Sample whiteOf();
template <> constexpr uint8_t whiteOf<uint8_t>() { return 255; }
template <> constexpr uint16_t whiteOf<uint16_t>() { return 32768; }
template <> constexpr float whiteOf<float>() { return 1.0f; }

// Where a run's planes lie in the pixels of the document.
struct PlaneRange {
  int32_t channels; // of a pixel of the document
  int32_t low;      // first plane that the filter sees
  int32_t planes;   // how many
  int32_t alpha;    // channel that mattes the colours in front of it; -1: none
};

// True if a run goes both ways as plain bytes.
bool plainBytes(const PlaneRange& range, bool isFloat);

// count pixels from the document's samples into the filter's.
template <class Sample>
void fetchPixels(const Sample* document, const PlaneRange& range, int64_t count, Sample* seen);

// count pixels back. weights: the selection's, one a pixel, or null. Returns how many samples came
// back as no finite number.
template <class Sample>
int64_t storePixels(const Sample* seen, const uint8_t* weights, const PlaneRange& range,
                    int64_t count, Sample* document);

// Copy of count samples, with 0 for those that are not finite.
void copyFinite(const float* from, int64_t count, float* to);

// Puts 0 for samples that are not finite; returns how many there were.
int64_t zeroNotFinite(float* samples, int64_t count);

} // namespace host
