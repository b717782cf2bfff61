// The correction against its definition, value by value, and the polynomial power's error.
#include "tests/haze/CoreFixture.h"

#include <cfloat>
#include <cmath>

#include "haze/Stages.h"
#include "haze/VectorMath.h"

namespace {

struct Values {
  float foregroundPosition, backgroundPosition, foregroundIntensity, backgroundIntensity, power;
};

const float light[3] = {0.85f, 0.9f, 0.7f};

// What a pixel becomes, and how far the fast form may be from it: the power's error, carried
// through the division by t.
struct Corrected {
  float value[3];
  float allowed[3];
};

Corrected slowCorrection(const float* pixel, float m, const Values& v, bool showMap) {
  const float scale = 1.0f / (v.backgroundPosition - v.foregroundPosition);
  const float range = v.backgroundIntensity - v.foregroundIntensity;
  float d;
  if (v.foregroundPosition >= m)
    d = 0.0f;
  else if (v.backgroundPosition <= m)
    d = 1.0f;
  else
    d = (m - v.foregroundPosition) * scale;
  const float e = std::pow(d, v.power);
  const float h = e * range + v.foregroundIntensity;
  float t = 1.0f - h;
  if (double(t) < 0.1)
    t = 0.1f;
  const bool exact = d == 0.0f || d == 1.0f || v.power == 1.0f;
  const float error = exact ? 0.0f : 1e-6f * std::fabs(range);
  Corrected out;
  for (int c = 0; c < 3; ++c) {
    float value = showMap ? h : (pixel[c] - light[c]) / t + light[c];
    out.allowed[c] = error * (showMap ? 1.0f : std::fabs(pixel[c] - light[c]) / (t * t));
    if (!exact)
      out.allowed[c] += 2e-7f * (1.0f + std::fabs(value)); // roundings of h and t
    if (value < 0.0f)
      value = 0.0f;
    if (value > 1.0f)
      value = 1.0f;
    out.value[c] = value;
  }
  return out;
}

class Correction : public CoreTest {
protected:
  // Maps and pixels with everything odd in them: places on and beyond the positions, NaN, alphas of
  // 0 and -0 and NaN.
  static void makeOdd(std::vector<float>& map, FloatImage& image, const Values& v) {
    const float places[] = {0.0f, 1.0f, v.foregroundPosition, v.backgroundPosition, NAN, -0.1f};
    for (size_t k = 0; k < map.size(); k += 7)
      map[k] = places[k / 7 % std::size(places)];
    const float alphas[] = {0.0f, -0.0f, NAN, 1e-30f};
    for (size_t k = 3; k < map.size(); k += 5)
      image.samples[k * 4 + 3] = alphas[k / 5 % std::size(alphas)];
  }

  static void compare(const FloatImage& before, const FloatImage& after,
                      const std::vector<float>& map, const Values& v, bool showMap) {
    int wrong = 0;
    for (size_t k = 0; k < map.size() && wrong < 3; ++k) {
      const float *was = &before.samples[k * 4], *is = &after.samples[k * 4];
      const bool skipped = was[3] == 0.0f;
      const Corrected expected = slowCorrection(was, map[k], v, showMap);
      for (int c = 0; c < 4; ++c) {
        const float value = skipped || c == 3 ? was[c] : expected.value[c];
        const float allowed = skipped || c == 3 ? 0.0f : expected.allowed[c];
        const bool same =
            std::isnan(value) ? std::isnan(is[c]) : std::fabs(is[c] - value) <= allowed;
        if (!same) {
          ++wrong;
          ADD_FAILURE() << "pixel " << k << " channel " << c << " map " << map[k] << " was "
                        << was[c] << ": " << is[c] << " for " << value << " +- " << allowed
                        << ", power " << v.power << " positions " << v.foregroundPosition << ' '
                        << v.backgroundPosition;
        }
      }
    }
  }
};

TEST_F(Correction, FollowsItsDefinition) {
  const float powers[] = {0.135f, 0.5f, 1.0f, 2.3f, 7.4f, 0.0f, 33.0f};
  const float positions[][2] = {{0, 1}, {0.3f, 0.7f}, {0.7f, 0.3f}, {0.5f, 0.5f}};
  const float intensities[][2] = {{0.2f, 0.9f}, {0, 0}, {1, 1}, {0.3f, -1.0f}};
  const int32_t widths[] = {1, 2, 3, 511, 512, 513, 1031};
  unsigned seed = 1;
  for (float power : powers)
    for (const auto& position : positions)
      for (const auto& intensity : intensities)
        for (bool showMap : {false, true}) {
          const Values v = {position[0], position[1], intensity[0], intensity[1], power};
          const int32_t width = widths[seed % std::size(widths)];
          FloatImage image = noiseImage(width, 3, ++seed, -0.5f, 1.8f);
          std::vector<float> map = noiseMap(image.pixels(), seed, -0.1f, 1.1f);
          makeOdd(map, image, v);
          const FloatImage before = image;
          const SHaze view = image.view();
          int32_t error = 5;
          hazeCorrection(map.data(), light, &view, v.foregroundPosition, v.backgroundPosition,
                         v.foregroundIntensity, v.backgroundIntensity, v.power, showMap, &error);
          EXPECT_EQ(error, 0);
          compare(before, image, map, v, showMap);
        }
}

TEST_F(Correction, PowerKeepsItsErrorBound) {
  for (float power : {0.135335f, 0.3f, 1.0f, 3.3f, 7.389056f, 16.0f}) {
    EXPECT_EQ(unitPower(0.0f, power), 0.0f);
    EXPECT_EQ(unitPower(1.0f, power), 1.0f);
    EXPECT_TRUE(std::isnan(unitPower(NAN, power)));
    double worst = 0, worstBelowNormal = 0;
    for (int i = 1; i < 100000; ++i) {
      const float linear = float(i) / 100000.0f, tiny = std::ldexp(linear, -(i % 148));
      for (float d : {linear, tiny}) {
        double& most = d < FLT_MIN ? worstBelowNormal : worst;
        most = std::max(most, std::fabs(unitPower(d, power) - std::pow(double(d), power)));
      }
    }
    EXPECT_LT(worst, 1e-6) << power;
    EXPECT_LT(worstBelowNormal, 1e-5) << power;
  }
}

// An abort is told once a row to the end, and every row is corrected all the same.
TEST_F(Correction, RowsGoOnAfterAnAbort) {
  FloatImage image(5, 40, 0.25f);
  const std::vector<float> map(image.pixels(), 1.0f);
  const SHaze view = image.view();
  int32_t error = 0;
  gFilterRunning = true;
  gProgressTotal = 1000;
  abortAt = 11;
  hazeCorrection(map.data(), light, &view, 0, 1, 0.5f, 0.5f, 1, true, &error);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(result, userCanceledErr);
  EXPECT_EQ(abortCalls, 40);
  EXPECT_EQ(progress.size(), 10u);
  EXPECT_EQ(image.at(4, 39)[0], 0.5f);
}

} // namespace
