// Dark map and light against plain loops over the definitions.
#include <algorithm>
#include <cmath>

#include "haze/Stages.h"
#include "tests/haze/HazeTest.h"

namespace {

struct Estimate {
  float light[3] = {-1, -2, -3};
  std::vector<float> dark;
};

// Dark value and pixel.
using Candidate = std::pair<float, const float*>;
bool isBelow(const Candidate& a, const Candidate& b) { return a.first < b.first; }

// The candidates as a plain list, newest first among equals, searched completely each time.
Estimate slowEstimate(FloatImage& low) {
  const int w = low.width, h = low.height, radius = std::max(w, h) / 100 + 1;
  FloatImage filtered = low;
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      for (int j = std::max(0, y - radius); j <= std::min(h - 1, y + radius); ++j)
        for (int i = std::max(0, x - radius); i <= std::min(w - 1, x + radius); ++i)
          for (int c = 0; c < 3; ++c)
            filtered.at(x, y)[c] = std::min(filtered.at(x, y)[c], low.at(i, j)[c]);

  std::vector<Candidate> candidates;
  const int seedRows = h > 1000 ? h / 1000 : 1;
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const float v = *std::min_element(filtered.at(x, y), filtered.at(x, y) + 3);
      if (y >= seedRows) {
        const auto lowest = std::min_element(candidates.begin(), candidates.end(), isBelow);
        if (!(lowest->first < v))
          continue;
        candidates.erase(lowest); // the newest of equal keys
      }
      candidates.insert(candidates.begin(), {v, low.at(x, y)});
    }
  std::stable_sort(candidates.begin(), candidates.end(), isBelow);
  Estimate result;
  float best = -1.0f;
  for (const auto& [key, p] : candidates) {
    const float luminance = float(0.59 * p[1] + 0.3 * p[0] + 0.11 * p[2]);
    if (luminance > best) {
      best = luminance;
      std::copy_n(p, 3, result.light);
    }
  }
  const float* light = result.light;
  for (const float *p = filtered.at(0, 0), *end = p + 4 * filtered.pixels(); p != end; p += 4)
    result.dark.push_back(std::fmin(std::fmin(p[0] / light[0], p[1] / light[1]), p[2] / light[2]));
  return result;
}

struct DarkChannel : HazeTest {
  Estimate estimate(FloatImage& low) {
    Estimate found;
    found.dark.assign(low.pixels(), -7.0f);
    const SHaze view = low.view();
    int32_t error = 9;
    estimateDarkChannel(found.light, &view, found.dark.data(), &error);
    EXPECT_EQ(error + gData->memoryInUse + buffers().live, 0);
    return found;
  }
};

// Few levels, so that ties are frequent; heights around the limits of the seed rows, one row, one
// column, windows larger than the image; channels without light except in a few pixels: the map is
// NaN only if all three are 0.
TEST_F(DarkChannel, FollowsItsDefinition) {
  constexpr int32_t sizes[][2] = {{1, 1},   {2, 3},    {97, 1},   {1, 97},   {43, 31},
                                  {210, 7}, {3, 1000}, {3, 1001}, {3, 1999}, {3, 2000}};
  for (const auto& [width, height] : sizes)
    for (unsigned unlit = 0; unlit < 8; ++unlit) { // one bit per channel
      const float levels = 3.0f + 1e3f * ((unlit + width) % 3);
      FloatImage low = noiseImage(width, height, unlit, 0.5f, levels + 0.5f);
      for (size_t k = 0; k < low.samples.size(); ++k)
        low.samples[k] =
            (unlit >> k % 4 & 1) && k % 400 > 8 ? 0.0f : std::floor(low.samples[k]) / levels;
      low.setAlpha(3, 0.0f); // the fourth channel has no influence
      const Estimate slow = slowEstimate(low), found = estimate(low);
      SCOPED_TRACE(testing::PrintToString(std::tuple(width, height, unlit)));
      ASSERT_THAT(found.light, testing::ElementsAreArray(slow.light));
      ASSERT_THAT(found.dark, testing::Pointwise(testing::NanSensitiveFloatEq(), slow.dark));
      gThreadCount = gThreadCount % 3 + 1;
    }
}

// All dark values and, after rounding, all luminances are equal: the light is the last seed.
TEST_F(DarkChannel, UniformImageTakesTheRightmostSeed) {
  FloatImage low(30, 20, 1.0f);
  const float bluer = std::nextafter(1.0f, 2.0f), bluest = std::nextafter(bluer, 2.0f);
  low.at(0, 0)[2] = low.at(28, 0)[2] = low.at(29, 1)[2] = bluest;
  low.at(29, 0)[2] = bluer;
  EXPECT_THAT(estimate(low).light, testing::ElementsAre(1.0f, 1.0f, bluer));
}

} // namespace
