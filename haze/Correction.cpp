// The last stage: turns the haze map into a depth-dependent amount of haze, and removes it from
// every pixel.
//
// Inverts the model of scattered light, observed = true * t + light * (1 - t) (Koschmieder 1924).
// The transmission t comes from a ramp between two positions on the map, bent by the exponent
// `power`, between two end strengths. Every intermediate value is a float, in this order of
// operations; only the power comes from a polynomial, with an error below 1e-6.
#include <omp.h>

#include <cmath>
#include <cstring>

#include "frame/record/Globals.h"
#include "haze/Progress.h"
#include "haze/Stages.h"
#include "haze/VectorMath.h"
#include "primitives/base/Vector.h"

namespace {

constexpr float lowestTransmission = 0.1f;
constexpr int32_t chunk = 512; // pixels per batch of haze amounts, so that they stay in the cache

struct Ramp {
  float foregroundPosition, backgroundPosition;
  float positionScale; // infinite for equal positions, and then not used
  float foregroundIntensity, intensityRange;
  float power;
};

// 0 in the foreground, 1 in the background; the foreground is tested first.
inline float depthOf(Ramp r, float m) {
  const float between = (m - r.foregroundPosition) * r.positionScale;
  return r.foregroundPosition >= m ? 0.0f : r.backgroundPosition <= m ? 1.0f : between;
}

// The haze amounts for one form of the curve. The ramp is passed by value: a load inside a
// condition would keep the loop scalar.
template <class Curve>
void fillHaze(Ramp ramp, const float* map, int32_t pixels, float* haze, Curve curve) {
  for (int32_t i = 0; i < pixels; ++i)
    haze[i] = curve(depthOf(ramp, map[i])) * ramp.intensityRange + ramp.foregroundIntensity;
}

constexpr float largestFastPower = 16.0f; // the dialog's range ends at exp(2)

// Three forms of the curve: a straight line, the fast power, and the library's power for exponents
// not above 0 or above largestFastPower.
void hazeAmounts(const Ramp& ramp, const float* map, int32_t pixels, float* haze) {
  const float power = ramp.power;
  if (power == 1.0f)
    fillHaze(ramp, map, pixels, haze, [](float d) { return d; });
  else if (power > 0.0f && power <= largestFastPower)
    fillHaze(ramp, map, pixels, haze, [power](float d) { return unitPower(d, power); });
  else
    fillHaze(ramp, map, pixels, haze, [power](float d) { return std::pow(d, power); });
}

constexpr int32_t pixelsTogether = widestLanes / 4;

// The content of each lane when vectors hold whole pixels.
struct PixelLanes {
  IntV pixel, alpha, isColour; // number of the pixel; lane of its alpha; -1 for a colour
  PixelLanes() {
    for (int32_t i = 0; i < widestLanes; ++i) {
      pixel[i] = i / 4;
      alpha[i] = i | 3;
      isColour[i] = i % 4 == 3 ? 0 : -1;
    }
  }
};

// Values below 0 become 0, values above 1 become 1; NaN stays.
FloatV clampToUnit(FloatV v) {
  const FloatV zero = {}, one = splat<FloatV>(1.0f);
  v = v < zero ? zero : v;
  return v > one ? one : v;
}

// New colours for one vector of pixels: calls colour(before, haze), with the pixel's haze in each
// of its lanes. Alpha never changes, and a pixel whose alpha is exactly 0 does not change at all.
template <class Colour>
inline void eachLane(const PixelLanes& lanes, const float* haze, float* image, Colour colour) {
  const auto before = loadVector<FloatV>(image);
  const auto amount = __builtin_shuffle(loadVector<FloatV>(haze), lanes.pixel);
  const IntV isOpaque = __builtin_shuffle(before, lanes.alpha) != 0.0f;
  const FloatV after = clampToUnit(colour(before, amount));
  storeVector(image, (lanes.isColour & isOpaque) ? after : before);
}

// Prefetches this far ahead for writing: the processor's own prefetch stops at each page boundary
// and does not expect writes. Has no effect beyond the image.
inline void askAhead(const float* image) {
  constexpr uintptr_t bytesAhead = 64 * 4 * sizeof(float);
  __builtin_prefetch(reinterpret_cast<void*>(reinterpret_cast<uintptr_t>(image) + bytesAhead), 1);
}

// haze: one value per pixel, plus one vector.
template <class Colour>
void eachPixel(const float* haze, int32_t pixels, float* image, Colour colour) {
  const PixelLanes lanes;
  int32_t x = 0;
  for (; x + pixelsTogether <= pixels; x += pixelsTogether, image += widestLanes) {
    askAhead(image);
    eachLane(lanes, haze + x, image, colour);
  }
  float rest[widestLanes] = {};
  const size_t restBytes = size_t(pixels - x) * 4 * sizeof(float);
  std::memcpy(rest, image, restBytes);
  eachLane(lanes, haze + x, rest, colour);
  std::memcpy(image, rest, restBytes);
}

void removeHaze(const float* haze, const float* light, int32_t pixels, float* image) {
  FloatV lightColour;
  for (int32_t i = 0; i < widestLanes; ++i)
    lightColour[i] = i % 4 == 3 ? 0.0f : light[i % 4];
  eachPixel(haze, pixels, image, [lightColour](FloatV before, FloatV amount) {
    FloatV t = 1.0f - amount;
    t = t < lowestTransmission ? splat<FloatV>(lowestTransmission) : t;
    return (before - lightColour) / t + lightColour;
  });
}

void correctRow(const Ramp& ramp, const float* map, const float* light, bool showMap, int32_t width,
                float* image) {
  float haze[chunk + widestLanes] = {}; // the kernel reads whole vectors
  for (int32_t x = 0; x < width; x += chunk) {
    const int32_t pixels = width - x < chunk ? width - x : chunk;
    float* first = image + size_t(x) * 4;
    hazeAmounts(ramp, map + x, pixels, haze);
    if (showMap)
      eachPixel(haze, pixels, first, [](FloatV, FloatV amount) { return amount; });
    else
      removeHaze(haze, light, pixels, first);
  }
}

} // namespace

void hazeCorrection(const float* map, const float* light, const SHaze* image,
                    float foregroundPosition, float backgroundPosition, float foregroundIntensity,
                    float backgroundIntensity, float power, bool showMap, int32_t* error) {
  *error = hazeNoError;
  const Ramp ramp = {foregroundPosition,
                     backgroundPosition,
                     1.0f / (backgroundPosition - foregroundPosition),
                     foregroundIntensity,
                     backgroundIntensity - foregroundIntensity,
                     power};
  omp_set_num_threads(gThreadCount);
#pragma omp parallel for schedule(static)
  for (int32_t y = 0; y < image->height; ++y) {
    stepProgress(); // the driver checks for an abort after the stage; the rows continue
    correctRow(ramp, map + size_t(y) * size_t(image->width), light, showMap, image->width,
               pixelAt(*image, 0, y));
  }
}
