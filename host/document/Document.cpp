#include "host/document/Document.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>

#include "host/document/BoxAverage.h"
#include "host/document/PixelRows.h"
#include "primitives/base/ParallelRegion.h"

namespace host {

namespace {

constexpr int32_t mostChannels = INT16_MAX; // the interface counts planes in 16 bits

int32_t modeChannels(ColourMode mode) {
  switch (mode) {
  case ColourMode::rgb:
    return 3;
  case ColourMode::cmyk:
    return 4;
  default:
    return 1;
  }
}

size_t checkedProduct(size_t a, size_t b) {
  size_t product;
  if (__builtin_mul_overflow(a, b, &product))
    throw std::bad_alloc();
  return product;
}

template <class Sample> Sample* samplesOf(Document& document, int32_t y) {
  return reinterpret_cast<Sample*>(document.row(y));
}
template <class Sample> const Sample* samplesOf(const Document& document, int32_t y) {
  return reinterpret_cast<const Sample*>(document.row(y));
}

// Averages of a document without transparency, rows `first` to `end`.
template <class Sample>
void reduceOpaque(const Document& from, const BoxAxis& columns, const BoxAxis& rows, int32_t first,
                  int32_t end, Document& to) {
  const int32_t channels = from.channels();
  std::vector<Sample> finite[boxRowSlots];
  const BoxRows<Sample> source = [&](int32_t y, int32_t left, int32_t count, int slot) {
    const Sample* row = samplesOf<Sample>(from, y) + int64_t(left) * channels;
    if constexpr (std::is_floating_point_v<Sample>) {
      finite[slot].resize(size_t(count) * size_t(channels));
      copyFinite(row, int64_t(count) * channels, finite[slot].data());
      row = finite[slot].data();
    }
    return row;
  };
  boxAverage<Sample>(columns, rows, {0, to.width(), first, end, channels}, source,
                     samplesOf<Sample>(to, first));
}

template <class Sample> Sample roundedTo(float v) {
  if constexpr (std::is_floating_point_v<Sample>)
    return v;
  else
    return Sample(std::clamp(v + 0.5f, 0.0f, float(std::numeric_limits<Sample>::max())));
}

// The same with colours weighted by alpha, so that invisible colours do not bleed: averages of c *
// a and of a, and their quotient.
template <class Sample>
void reduceWithAlpha(const Document& from, const BoxAxis& columns, const BoxAxis& rows,
                     int32_t first, int32_t end, Document& to) {
  const int32_t channels = from.channels(), alpha = from.colourChannels();
  const float white = whiteOf<Sample>();
  std::vector<float> weighted[boxRowSlots], averages(size_t(to.width()) * size_t(channels));
  const BoxRows<float> source = [&](int32_t y, int32_t left, int32_t count, int slot) {
    std::vector<float>& out = weighted[slot];
    const Sample* row = samplesOf<Sample>(from, y) + int64_t(left) * channels;
    out.assign(row, row + int64_t(count) * channels);
    copyFinite(out.data(), int64_t(out.size()), out.data());
    for (float* pixel = out.data(); pixel != out.data() + out.size(); pixel += channels)
      for (int32_t c = 0; c < alpha; c++)
        pixel[c] *= pixel[alpha] / white;
    return out.data();
  };
  for (int32_t y = first; y < end; y++) {
    boxAverage<float>(columns, rows, {0, to.width(), y, y + 1, channels}, source, averages.data());
    Sample* out = samplesOf<Sample>(to, y);
    for (const float* pixel = averages.data(); pixel != averages.data() + averages.size();
         pixel += channels)
      for (int32_t c = 0; c < channels; c++) {
        const bool isColour = c<alpha, visible = pixel[alpha]> 0;
        *out++ = roundedTo<Sample>(!isColour ? pixel[c]
                                   : visible ? pixel[c] * white / pixel[alpha]
                                             : 0.0f);
      }
  }
}

template <class Sample> void reduceInto(const Document& from, Document& to) {
  const BoxAxis columns = boxAxis(from.width(), from.width(), to.width());
  const BoxAxis rows = boxAxis(from.height(), from.height(), to.height());
  const auto reduce = from.hasTransparency() ? reduceWithAlpha<Sample> : reduceOpaque<Sample>;
  runOnTeam(omp_get_max_threads(), [&](int thread, int team) {
    if (const Share share = shareOf(to.height(), thread, team); share.begin < share.end)
      reduce(from, columns, rows, int32_t(share.begin), int32_t(share.end), to);
  });
}

} // namespace

Document::Document(int32_t width, int32_t height, int32_t channels, int32_t depth, ColourMode mode,
                   bool hasTransparency)
    : width_(width), height_(height), channels_(channels), depth_(depth), mode_(mode),
      hasTransparency_(hasTransparency) {
  if (width < 1 || height < 1)
    throw std::invalid_argument("an image of " + std::to_string(width) + " by " +
                                std::to_string(height) + " pixels is empty");
  if (depth != 8 && depth != 16 && depth != 32)
    throw std::invalid_argument("images with " + std::to_string(depth) +
                                " bits a channel cannot be filtered, only with 8, 16 or 32");
  const int32_t needed = modeChannels(mode) + int32_t(hasTransparency);
  if (channels < needed || channels > mostChannels)
    throw std::invalid_argument("an image of this kind has " + std::to_string(needed) + " to " +
                                std::to_string(mostChannels) + " channels, not " +
                                std::to_string(channels));
  samples_ = allocateArray<std::byte>(checkedProduct(rowBytes(), size_t(height)));
}

int32_t Document::colourChannels() const {
  return mode_ == ColourMode::multichannel ? channels_ - int32_t(hasTransparency_)
                                           : modeChannels(mode_);
}

int16_t Document::imageMode() const {
  const auto byDepth = [&](ImageMode bits8, ImageMode bits16, ImageMode bits32) {
    return int16_t(depth_ == 8 ? bits8 : depth_ == 16 ? bits16 : bits32);
  };
  switch (mode_) {
  case ColourMode::grayscale:
    return byDepth(plugInModeGrayScale, plugInModeGray16, plugInModeGray32);
  case ColourMode::rgb:
    return byDepth(plugInModeRGBColor, plugInModeRGB48, plugInModeRGB96);
  case ColourMode::cmyk: // the interface has no mode for floating-point CMYK
    return byDepth(plugInModeCMYKColor, plugInModeCMYK64, plugInModeDeepMultichannel);
  default:
    return byDepth(plugInModeMultichannel, plugInModeDeepMultichannel, plugInModeDeepMultichannel);
  }
}

void Document::setSelection(std::vector<uint8_t> weights) {
  if (!weights.empty() && weights.size() != size_t(width_) * size_t(height_))
    throw std::invalid_argument("the selection is not of the size of its image");
  selection_ = std::move(weights);
}

int64_t Document::nonFiniteSamples() const {
  if (depth_ != 32)
    return 0;
  const int32_t colours = colourChannels();
  int64_t count = 0;
#pragma omp parallel for schedule(static) reduction(+ : count)
  for (int32_t y = 0; y < height_; y++) {
    const float* samples = reinterpret_cast<const float*>(row(y));
    for (int64_t i = 0; i < int64_t(width_) * channels_; i++)
      count += !std::isfinite(samples[i]) && i % channels_ < colours;
  }
  return count;
}

Document reduced(const Document& document, int32_t width, int32_t height) {
  if (width < 1 || height < 1 || width > document.width() || height > document.height())
    throw std::invalid_argument("a reduced copy cannot be larger than its image, or empty");
  Document result(width, height, document.channels(), document.depth(), document.mode(),
                  document.hasTransparency());
  if (document.depth() == 8)
    reduceInto<uint8_t>(document, result);
  else if (document.depth() == 16)
    reduceInto<uint16_t>(document, result);
  else
    reduceInto<float>(document, result);
  return result;
}

} // namespace host
