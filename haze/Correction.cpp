// The last stage: the haze map becomes a depth-dependent amount of haze, which every pixel loses.
//
// Inverts the model of scattered light, observed = true * t + light * (1 - t) (Koschmieder 1924),
// with a transmission t that comes from a ramp between two positions on the map, bent by the
// exponent `power`, between two end strengths. Every intermediate value is a float, in this order
// of operations; the power alone comes from a polynomial, whose error stays below 1e-6.
#include <omp.h>

#include <cmath>

#include "frame/record/Globals.h"
#include "haze/Progress.h"
#include "haze/Stages.h"
#include "haze/VectorMath.h"
#include "primitives/base/Vector.h"

namespace {

constexpr float lowestTransmission = 0.1f;
constexpr int32_t chunk = 512; // pixels whose haze amounts are made at a time, to stay in the cache

struct Ramp {
  float foregroundPosition, backgroundPosition;
  float positionScale; // infinite for equal positions, and then never used
  float foregroundIntensity, intensityRange;
  float power;
};

// 0 in the foreground, 1 in the background; the foreground's test comes first.
inline float depthOf(Ramp r, float m) {
  const float between = (m - r.foregroundPosition) * r.positionScale;
  return r.foregroundPosition >= m ? 0.0f : r.backgroundPosition <= m ? 1.0f : between;
}

// The haze amounts for one form of the curve. The ramp comes by value: a load under a condition
// would keep the loop scalar.
template <class Curve>
void fillHaze(Ramp ramp, const float* map, int32_t pixels, float* haze, Curve curve) {
  for (int32_t i = 0; i < pixels; ++i)
    haze[i] = curve(depthOf(ramp, map[i])) * ramp.intensityRange + ramp.foregroundIntensity;
}

constexpr float largestFastPower = 16.0f; // the dialog's range ends at exp(2)

// Three forms of the curve: a straight line, the fast power, and the library's for exponents that
// the dialog does not give.
void hazeAmounts(const Ramp& ramp, const float* map, int32_t pixels, float* haze) {
  const float power = ramp.power;
  if (power == 1.0f)
    fillHaze(ramp, map, pixels, haze, [](float d) { return d; });
  else if (power > 0.0f && power <= largestFastPower)
    fillHaze(ramp, map, pixels, haze, [power](float d) { return unitPower(d, power); });
  else
    fillHaze(ramp, map, pixels, haze, [power](float d) { return std::pow(d, power); });
}

// Below 0 becomes 0, above 1 becomes 1; NaN stays.
Float4 clampToUnit(Float4 v) {
  const Float4 zero = {}, one = splat<Float4>(1.0f);
  v = v < zero ? zero : v;
  return v > one ? one : v;
}

// Stores the three colours; a pixel whose alpha is exactly 0 stays as it is, and so does every
// alpha.
inline void storeColours(float* pixel, Float4 before, Float4 value) {
  const Int4 colours = {-1, -1, -1, 0};
  const Int4 opaque = splat<Float4>(before[3]) != 0.0f;
  const Float4 after = (colours & opaque) ? clampToUnit(value) : before;
  storeVector(pixel, after);
}

void showHaze(const float* haze, int32_t pixels, float* image) {
  for (int32_t i = 0; i < pixels; ++i, image += 4)
    storeColours(image, loadVector<Float4>(image), splat<Float4>(haze[i]));
}

void removeHaze(const float* haze, const float* light, int32_t pixels, float* image) {
  const Float4 lightColour = {light[0], light[1], light[2], 0.0f};
  for (int32_t i = 0; i < pixels; ++i, image += 4) {
    const Float4 before = loadVector<Float4>(image);
    float t = 1.0f - haze[i];
    t = t < lowestTransmission ? lowestTransmission : t;
    storeColours(image, before, (before - lightColour) / t + lightColour);
  }
}

void correctRow(const Ramp& ramp, const float* map, const float* light, bool showMap, int32_t width,
                float* image) {
  float haze[chunk];
  for (int32_t x = 0; x < width; x += chunk) {
    const int32_t pixels = width - x < chunk ? width - x : chunk;
    hazeAmounts(ramp, map + x, pixels, haze);
    if (showMap)
      showHaze(haze, pixels, image + size_t(x) * 4);
    else
      removeHaze(haze, light, pixels, image + size_t(x) * 4);
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
    stepProgress(); // the driver sees an abort after the stage; the rows go on
    correctRow(ramp, map + size_t(y) * size_t(image->width), light, showMap, image->width,
               pixelAt(*image, 0, y));
  }
}
