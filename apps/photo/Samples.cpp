// Conversions of samples, one pass each, written so that they vectorise.

#include "apps/photo/Samples.h"

#include <cstring>

namespace photo {
namespace {

constexpr float full8 = 255.0f, full16 = 65535.0f; // white in files with whole numbers

// Limits to 0..1; NaN becomes 0, because every comparison with it is false.
float unit(float v) { return v > 0.0f ? (v < 1.0f ? v : 1.0f) : 0.0f; }

template <class Sample> void round(const float* samples, size_t count, float full, Sample* out) {
  for (size_t i = 0; i < count; ++i)
    out[i] = Sample(int32_t(unit(samples[i]) * full + 0.5f));
}

// Runs change(colour, alpha) on the three colours of every pixel whose alpha is not 0.
template <class Change> void changeColours(host::Document& document, Change change) {
  for (int32_t y = 0; y < document.height() && document.hasTransparency(); ++y) {
    auto* pixel = reinterpret_cast<float*>(document.row(y));
    for (int32_t x = 0; x < document.width(); ++x, pixel += document.channels())
      if (pixel[3] != 0)
        for (int c = 0; c < 3; ++c)
          pixel[c] = change(pixel[c], pixel[3]);
  }
}

} // namespace

void widen(const uint8_t* samples, size_t count, int depth, void* out) {
  if (depth == 8)
    std::memcpy(out, samples, count);
  else
    for (size_t i = 0; i < count; ++i)
      static_cast<float*>(out)[i] = float(samples[i]) / full8;
}

void narrow(const void* samples, size_t count, int depth, int bits, void* out) {
  const auto* real = static_cast<const float*>(samples);
  if (bits == depth)
    std::memcpy(out, samples, count * size_t(depth) / 8);
  else if (bits == 16)
    round(real, count, full16, static_cast<uint16_t*>(out));
  else
    round(real, count, full8, static_cast<uint8_t*>(out));
}

void divideByAlpha(host::Document& document) {
  changeColours(document, [](float c, float a) { return c / a; });
}

void multiplyByAlpha(host::Document& document) {
  changeColours(document, [](float c, float a) { return c * a; });
}

} // namespace photo
