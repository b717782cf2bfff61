// The correction against its definition, value by value, and the polynomial power's error.
#include <cfloat>
#include <cmath>

#include "haze/Stages.h"
#include "haze/VectorMath.h"
#include "tests/haze/HazeTest.h"

namespace {

struct Values {
  float foregroundPosition, backgroundPosition, foregroundIntensity, backgroundIntensity, power;
};

const float light[3] = {0.85f, 0.9f, 0.7f};

// What a channel becomes, and how far the fast form may be from it: the power's error of 1e-6 and
// the roundings of h and t, carried through the division by t.
struct Corrected {
  float value, allowed;
};

Corrected slowCorrection(const float* pixel, int c, float m, const Values& v, bool showMap) {
  if (c == 3 || pixel[3] == 0.0f)
    return {pixel[c], 0.0f};
  float d = (m - v.foregroundPosition) * (1.0f / (v.backgroundPosition - v.foregroundPosition));
  if (v.foregroundPosition >= m)
    d = 0.0f;
  else if (v.backgroundPosition <= m)
    d = 1.0f;
  const float range = v.backgroundIntensity - v.foregroundIntensity;
  const float h = std::pow(d, v.power) * range + v.foregroundIntensity;
  float t = 1.0f - h;
  if (double(t) < 0.1)
    t = 0.1f;
  const float value = showMap ? h : (pixel[c] - light[c]) / t + light[c];
  const bool isExact = d == 0.0f || d == 1.0f || v.power == 1.0f;
  const float slope = showMap ? 1.0f : std::fabs(pixel[c] - light[c]) / (t * t);
  const float allowed = 1e-6f * std::fabs(range) * slope + 2e-7f * (1.0f + std::fabs(value));
  return {value < 0.0f ? 0.0f : value > 1.0f ? 1.0f : value, isExact ? 0.0f : allowed};
}

struct Correction : HazeTest {
  // With all that is odd: places on and beyond the positions, NaN, alphas of 0, -0 and NaN.
  static void compare(const Values& v, bool showMap, int32_t width, unsigned seed) {
    FloatImage image = noiseImage(width, 3, seed, -0.5f, 1.8f);
    std::vector<float> map = noiseMap(image.pixels(), seed, -0.1f, 1.1f);
    const float places[] = {0.0f, 1.0f, v.foregroundPosition, v.backgroundPosition, NAN, -0.1f};
    for (size_t k = 0; k < map.size(); k += 7)
      map[k] = places[k / 7 % std::size(places)];
    const float alphas[] = {0.0f, -0.0f, NAN, 1e-30f};
    for (size_t k = 3; k < map.size(); k += 5)
      image.samples[k * 4 + 3] = alphas[k / 5 % std::size(alphas)];
    const FloatImage before = image;
    const SHaze view = image.view();
    int32_t error = 5;
    hazeCorrection(map.data(), light, &view, v.foregroundPosition, v.backgroundPosition,
                   v.foregroundIntensity, v.backgroundIntensity, v.power, showMap, &error);
    EXPECT_EQ(error, 0);
    for (size_t k = 0; k < image.samples.size(); ++k) {
      const float is = image.samples[k], m = map[k / 4];
      const Corrected slow = slowCorrection(&before.samples[k & ~3], k % 4, m, v, showMap);
      ASSERT_TRUE(std::isnan(slow.value) ? std::isnan(is)
                                         : std::fabs(is - slow.value) <= slow.allowed)
          << "sample " << k << ", map " << m << ": " << is << " for " << slow.value << ", power "
          << v.power << ", positions " << v.foregroundPosition << ' ' << v.backgroundPosition;
    }
  }
};

TEST_F(Correction, FollowsItsDefinition) {
  const int32_t widths[] = {1, 2, 3, 511, 512, 513, 1031};
  const float positions[][2] = {{0, 1}, {0.3f, 0.7f}, {0.7f, 0.3f}, {0.5f, 0.5f}};
  const float intensities[][2] = {{0.2f, 0.9f}, {0, 0}, {1, 1}, {0.3f, -1.0f}};
  unsigned seed = 1;
  for (float power : {0.135f, 0.5f, 1.0f, 2.3f, 7.4f, 0.0f, 33.0f})
    for (const auto& position : positions)
      for (const auto& intensity : intensities)
        for (bool showMap : {false, true}) {
          ++seed;
          compare({position[0], position[1], intensity[0], intensity[1], power}, showMap,
                  widths[seed % std::size(widths)], seed);
        }
}

TEST_F(Correction, PowerKeepsItsErrorBound) {
  for (float power : {0.135335f, 0.3f, 1.0f, 3.3f, 7.389056f, 16.0f}) {
    EXPECT_EQ(unitPower(0.0f, power), 0.0f);
    EXPECT_EQ(unitPower(1.0f, power), 1.0f);
    EXPECT_TRUE(std::isnan(unitPower(NAN, power)));
    for (int i = 1; i < 50000; ++i) {
      const float linear = float(i) / 50000.0f;
      for (float d : {linear, std::ldexp(linear, -(i % 148))})
        ASSERT_NEAR(unitPower(d, power), std::pow(double(d), power), d < FLT_MIN ? 1e-5 : 1e-6)
            << d << " to the power " << power;
    }
  }
}

} // namespace
