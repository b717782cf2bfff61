// The correction against its definition, value by value.
#include <cmath>

#include "haze/Stages.h"
#include "tests/haze/HazeTest.h"

namespace {

// The result for a channel x with light L, and the tolerance of the fast form: the power's error of
// 1e-6 (1e-5 below float's normal range) and the roundings of h and t, propagated through the
// division by t.
std::pair<float, float> slowCorrection(float x, float L, float m, const float (&position)[2],
                                       const float (&intensity)[2], float power, bool showMap) {
  const float between = (m - position[0]) * (1.0f / (position[1] - position[0]));
  const float d = position[0] >= m ? 0.0f : position[1] <= m ? 1.0f : between;
  const float range = intensity[1] - intensity[0];
  const float h = std::pow(d, power) * range + intensity[0];
  const float t = double(1.0f - h) < 0.1 ? 0.1f : 1.0f - h;
  const float value = showMap ? h : (x - L) / t + L;
  const float slope = showMap ? 1.0f : std::fabs(x - L) / (t * t);
  const float allowed =
      (m < 1e-38f ? 1e-5f : 1e-6f) * std::fabs(range) * slope + 2e-7f * (1.0f + std::fabs(value));
  return {value < 0.0f   ? 0.0f
          : value > 1.0f ? 1.0f
                         : value,
          d == 0.0f || d == 1.0f || power == 1.0f ? 0.0f : allowed};
}

struct Correction : HazeTest {};

// Includes special cases: maps on and beyond the positions, NaN, alphas of 0, -0 and NaN.
TEST_F(Correction, FollowsItsDefinition) {
  constexpr float light[] = {0.85f, 0.9f, 0.7f}, alphas[] = {0.0f, -0.0f, NAN, 1e-30f};
  constexpr float positions[][2] = {{0, 1}, {0.3f, 0.7f}, {0.7f, 0.3f}, {0.5f, 0.5f}};
  constexpr float intensities[][2] = {{0.2f, 0.9f}, {0, 0}, {1, 1}, {0.3f, -1.0f}};
  constexpr int32_t widths[] = {1, 2, 3, 511, 512, 513, 1031};
  for (float power : {0.135f, 0.5f, 1.0f, 2.3f, 7.4f, 16.0f, 0.0f, 33.0f})
    for (int n = 0; n < 32; ++n) {
      const auto &position = positions[n % 4], &intensity = intensities[n / 4 % 4];
      const bool showMap = n / 16;
      FloatImage image = noiseImage(widths[n % 7], 3, n, -0.5f, 1.8f);
      std::vector<float> map = noiseMap(image.pixels(), n, -0.1f, 1.1f);
      const float places[] = {0.0f, 1.0f, position[0], position[1], NAN, -0.1f, 1e-39f, 1e-30f};
      for (size_t k = 0; k < map.size(); k += 7)
        map[k] = places[k / 7 % 8];
      for (size_t k = 3; k < map.size(); k += 5)
        image.samples[k * 4 + 3] = alphas[k / 5 % 4];
      const FloatImage before = image;
      const SHaze view = image.view();
      int32_t error = 5;
      hazeCorrection(map.data(), light, &view, position[0], position[1], intensity[0], intensity[1],
                     power, showMap, &error);
      EXPECT_EQ(error, 0);
      for (size_t k = 0; k < image.samples.size(); ++k) {
        const float was = before.samples[k], is = image.samples[k], m = map[k / 4];
        auto [value, allowed] =
            slowCorrection(was, light[k % 4 % 3], m, position, intensity, power, showMap);
        if (k % 4 == 3 || before.samples[k | 3] == 0.0f)
          value = was, allowed = 0;
        ASSERT_TRUE(std::isnan(value) ? std::isnan(is) : std::fabs(is - value) <= allowed)
            << "case " << n << ", power " << power << ", map " << m << ": " << is;
      }
    }
}

} // namespace
