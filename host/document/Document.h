// An image in the host's memory: interleaved samples, rows packed, an optional selection.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "hostapi/HostTypes.h"
#include "primitives/base/HeapBlock.h"

namespace host {

// Colour model of a document; together with the depth it gives the ImageMode for the plug-in.
enum class ColourMode { grayscale, rgb, cmyk, multichannel };

// Samples: 8 bits 0 to 255; 16 bits 0 to 32768; 32 bits float, 1.0 is full scale. The colour
// channels come first; with hasTransparency the next channel is alpha; further channels have no
// fixed meaning.
class Document {
public:
  // Allocates the samples, uninitialised. Throws std::invalid_argument for a size below 1, a depth
  // other than 8, 16, 32, or fewer channels than the mode and the transparency need;
  // std::bad_alloc.
  Document(int32_t width, int32_t height, int32_t channels, int32_t depth,
           ColourMode mode = ColourMode::rgb, bool hasTransparency = false);

  int32_t width() const { return width_; }
  int32_t height() const { return height_; }
  int32_t channels() const { return channels_; }
  int32_t depth() const { return depth_; }
  ColourMode mode() const { return mode_; }
  bool hasTransparency() const { return hasTransparency_; }

  int32_t colourChannels() const; // 1, 3 or 4; for a multichannel document all channels
  int16_t imageMode() const;      // ImageMode for the mode and depth
  size_t sampleBytes() const { return size_t(depth_) / 8; }
  size_t rowBytes() const { return size_t(width_) * size_t(channels_) * sampleBytes(); }

  std::byte* row(int32_t y) { return samples_.get() + size_t(y) * rowBytes(); }
  const std::byte* row(int32_t y) const { return samples_.get() + size_t(y) * rowBytes(); }

  // Selection: width * height weights, 0 (unchanged) to 255 (fully filtered), row by row. Empty:
  // everything is selected. Throws std::invalid_argument if the size does not match.
  void setSelection(std::vector<uint8_t> weights);
  const std::vector<uint8_t>& selection() const { return selection_; }

  // Number of colour samples of a 32-bit document that are infinite or NaN. A filter gets 0 for
  // them, and its result for them is dropped: they stay unchanged.
  int64_t nonFiniteSamples() const;

private:
  int32_t width_, height_, channels_, depth_;
  ColourMode mode_;
  bool hasTransparency_;
  HeapArray<std::byte> samples_;
  std::vector<uint8_t> selection_;
};

// Copy of the document reduced to the given size by box averages, with colours weighted by alpha
// and non-finite samples taken as 0; the selection is not copied. Throws std::invalid_argument for
// a size below 1 or larger than the document's.
Document reduced(const Document& document, int32_t width, int32_t height);

} // namespace host
