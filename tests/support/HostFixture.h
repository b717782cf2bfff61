// Documents with known patterns, and the built module, for tests of the host library.
//
// FOG_MODULE_FOLDER names the folder of the built modules (fog_host_test in tests/CMakeLists.txt).
#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

#include "host/document/Document.h"
#include "host/module/FilterModule.h"
#include "host/session/Session.h"

namespace fixture {

// Samples as numbers at their depth: 0 to 255, 0 to 32768, or floats.
inline double getSample(const void* samples, int32_t depth, size_t i) {
  return depth == 8    ? static_cast<const uint8_t*>(samples)[i]
         : depth == 16 ? static_cast<const uint16_t*>(samples)[i]
                       : static_cast<const float*>(samples)[i];
}
inline void putSample(void* samples, int32_t depth, size_t i, double value) {
  if (depth == 8)
    static_cast<uint8_t*>(samples)[i] = uint8_t(value);
  else if (depth == 16)
    static_cast<uint16_t*>(samples)[i] = uint16_t(value);
  else
    static_cast<float*>(samples)[i] = float(value);
}
inline double fullScale(const host::Document& d) {
  return d.depth() == 8 ? 255 : d.depth() == 16 ? 32768 : 1;
}

inline double sampleAt(const host::Document& d, int32_t x, int32_t y, int32_t channel) {
  return getSample(d.row(y), d.depth(), size_t(x) * size_t(d.channels()) + size_t(channel));
}
inline void setSample(host::Document& d, int32_t x, int32_t y, int32_t channel, double value) {
  putSample(d.row(y), d.depth(), size_t(x) * size_t(d.channels()) + size_t(channel), value);
}

template <class Visit> void forEachSample(const host::Document& d, Visit visit) {
  for (int32_t y = 0; y < d.height(); y++)
    for (int32_t x = 0; x < d.width(); x++)
      for (int32_t c = 0; c < d.channels(); c++)
        visit(x, y, c);
}

// Fills every sample from unit(x, y, channel), 0 to 1, scaled and rounded to the depth.
template <class Unit> void fill(host::Document& d, Unit unit) {
  forEachSample(d, [&](int32_t x, int32_t y, int32_t c) {
    const double v = unit(x, y, c) * fullScale(d);
    setSample(d, x, y, c, d.depth() == 32 ? v : std::floor(v + 0.5));
  });
}

// Noise over the whole range: it does not repeat, so a misplaced pixel is detected.
inline host::Document noise(int32_t width, int32_t height, int32_t depth, int32_t channels = 3,
                            host::ColourMode mode = host::ColourMode::rgb,
                            bool transparency = false, uint32_t seed = 1) {
  host::Document d(width, height, channels, depth, mode, transparency);
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> unit(0, 1);
  fill(d, [&](int32_t, int32_t, int32_t) { return unit(random); });
  return d;
}

// A scene for the haze method: blocks of strong colours, some of them dark, with haze that grows
// from the bottom (clear) to the top, in light of the given grey.
inline host::Document hazyScene(int32_t width, int32_t height, int32_t depth, double light = 0.85) {
  host::Document d(width, height, 3, depth);
  fill(d, [&](int32_t x, int32_t y, int32_t c) {
    const int32_t block = (x / 9) * 7 + (y / 7) * 13;
    const double clear = 0.05 + 0.006 * (block * (c + 3) * 37 % 101);
    const double transmission = 0.25 + 0.75 * (y + 0.5) / height;
    return clear * transmission + light * (1 - transmission);
  });
  return d;
}

inline host::Document copyOf(const host::Document& d) {
  host::Document copy(d.width(), d.height(), d.channels(), d.depth(), d.mode(),
                      d.hasTransparency());
  std::memcpy(copy.row(0), d.row(0), d.rowBytes() * size_t(d.height()));
  copy.setSelection(d.selection());
  return copy;
}

// For documents of the same shape.
inline bool sameSamples(const host::Document& a, const host::Document& b) {
  return std::memcmp(a.row(0), b.row(0), a.rowBytes() * size_t(a.height())) == 0;
}
inline double largestDifference(const host::Document& a, const host::Document& b) {
  double largest = 0;
  forEachSample(a, [&](int32_t x, int32_t y, int32_t c) {
    largest = std::max(largest, std::abs(sampleAt(a, x, y, c) - sampleAt(b, x, y, c)));
  });
  return largest;
}

#ifdef FOG_MODULE_FOLDER
// The built module: the best level that was built and that this processor supports.
inline const host::Module& builtModule() {
  static const host::Module module = host::Module::openBest(FOG_MODULE_FOLDER);
  return module;
}
#endif

} // namespace fixture
