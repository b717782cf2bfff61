// Conversions of samples, one pass each, written to vectorise.

#include "apps/photo/Samples.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace photo {
namespace {

constexpr float full8 = 255.0f, full16 = 65535.0f; // white in files of whole numbers
constexpr uint32_t documentWhite = 32768;          // white in a 16-bit document

float* floatRow(host::Document& document, int32_t y) {
  return reinterpret_cast<float*>(document.row(y));
}

// Limits to 0..1, and makes not-a-number 0: every comparison with it is false.
float unit(float v) { return v > 0.0f ? (v < 1.0f ? v : 1.0f) : 0.0f; }

// A float whose exponent bits are all set is infinite or not a number. Tests without a branch.
bool allFinite(const float* samples, size_t count) {
  constexpr uint32_t exponent = 0x7f800000;
  uint32_t found = 0;
  for (size_t i = 0; i < count; ++i)
    found |= (std::bit_cast<uint32_t>(samples[i]) & exponent) == exponent;
  return found == 0;
}

// Runs change(colour, alpha) over the three colours of every pixel whose alpha is not 0.
template <class Sample, class Change> void changeColours(host::Document& document, Change change) {
  const size_t step = size_t(document.channels());
  for (int32_t y = 0; y < document.height(); ++y) {
    Sample* pixel = reinterpret_cast<Sample*>(document.row(y));
    for (int32_t x = 0; x < document.width(); ++x, pixel += step)
      if (pixel[3] != Sample(0))
        for (int c = 0; c < 3; ++c)
          pixel[c] = change(pixel[c], pixel[3]);
  }
}

// Rounded a * b / c for whole numbers up to 32768, limited to c's range by the caller.
uint32_t scaled(uint32_t a, uint32_t b, uint32_t c) { return (a * b + c / 2) / c; }

} // namespace

void toDocument16(uint16_t* samples, size_t count) {
  // v * 32768 / 65535, rounded, is v / 2 rounded up for every v of 16 bits.
  for (size_t i = 0; i < count; ++i)
    samples[i] = uint16_t((uint32_t(samples[i]) + 1) >> 1);
}

void widen(const uint8_t* samples, size_t count, int depth, void* out) {
  if (depth == 8)
    std::memcpy(out, samples, count);
  else if (depth == 16)
    for (size_t i = 0; i < count; ++i)
      static_cast<uint16_t*>(out)[i] = uint16_t((samples[i] * documentWhite + 127) / 255);
  else
    for (size_t i = 0; i < count; ++i)
      static_cast<float*>(out)[i] = float(samples[i]) / full8;
}

void narrow(const void* samples, size_t count, int depth, int bits, void* out) {
  const auto* whole = static_cast<const uint16_t*>(samples);
  const auto* real = static_cast<const float*>(samples);
  auto* out8 = static_cast<uint8_t*>(out);
  auto* out16 = static_cast<uint16_t*>(out);
  if (bits == depth && depth != 16)
    std::memcpy(out, samples, count * size_t(depth) / 8);
  else if (depth == 16 && bits == 16)
    for (size_t i = 0; i < count; ++i)
      out16[i] = uint16_t((std::min<uint32_t>(whole[i], documentWhite) * 65535u + 16384u) >> 15);
  else if (depth == 16)
    for (size_t i = 0; i < count; ++i)
      out8[i] = uint8_t((std::min<uint32_t>(whole[i], documentWhite) * 255u + 16384u) >> 15);
  else if (bits == 16)
    for (size_t i = 0; i < count; ++i)
      out16[i] = uint16_t(int32_t(unit(real[i]) * full16 + 0.5f));
  else
    for (size_t i = 0; i < count; ++i)
      out8[i] = uint8_t(int32_t(unit(real[i]) * full8 + 0.5f));
}

void divideByAlpha(host::Document& document) {
  if (!document.hasTransparency())
    return;
  if (document.depth() == 32)
    changeColours<float>(document, [](float c, float a) { return c / a; });
  else if (document.depth() == 16)
    changeColours<uint16_t>(document, [](uint32_t c, uint32_t a) {
      return uint16_t(std::min(scaled(c, documentWhite, a), documentWhite));
    });
  else
    changeColours<uint8_t>(document, [](uint32_t c, uint32_t a) {
      return uint8_t(std::min(scaled(c, 255, a), 255u));
    });
}

void multiplyByAlpha(host::Document& document) {
  if (!document.hasTransparency())
    return;
  if (document.depth() == 32)
    changeColours<float>(document, [](float c, float a) { return c * a; });
  else if (document.depth() == 16)
    changeColours<uint16_t>(
        document, [](uint32_t c, uint32_t a) { return uint16_t(scaled(c, a, documentWhite)); });
  else
    changeColours<uint8_t>(document,
                           [](uint32_t c, uint32_t a) { return uint8_t(scaled(c, a, 255)); });
}

NotFinite takeNotFinite(host::Document& document) {
  NotFinite taken;
  if (document.depth() != 32)
    return taken;
  const size_t samples = size_t(document.width()) * size_t(document.channels());
  for (int32_t y = 0; y < document.height(); ++y) {
    float* row = floatRow(document, y);
    if (allFinite(row, samples))
      continue;
    for (size_t i = 0; i < samples; ++i)
      if (!std::isfinite(row[i])) {
        taken.emplace_back(size_t(y) * samples + i, row[i]);
        row[i] = 0.0f;
      }
  }
  return taken;
}

void giveBack(host::Document& document, const NotFinite& samples) {
  const size_t rowSamples = size_t(document.width()) * size_t(document.channels());
  for (const auto& [place, value] : samples)
    floatRow(document, int32_t(place / rowSamples))[place % rowSamples] = value;
}

} // namespace photo
