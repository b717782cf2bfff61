// Dark map and light against plain loops over the definitions.
#include "tests/haze/CoreFixture.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "haze/Stages.h"

namespace {

struct Estimate {
  float light[3];
  std::vector<float> dark;
};

float luminanceOf(const float* p) { return float(0.59 * p[1] + 0.3 * p[0] + 0.11 * p[2]); }

// The candidates as a plain list, newest first among equals, searched through each time.
struct Candidate {
  float key;
  const float* pixel;
};

Estimate slowEstimate(FloatImage& low) {
  const int w = low.width, h = low.height, radius = std::max(w, h) / 100 + 1;
  std::vector<float> lowest(size_t(w) * h * 3);
  auto filtered = [&](int x, int y) { return &lowest[(size_t(y) * w + x) * 3]; };
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      for (int c = 0; c < 3; ++c) {
        float v = low.at(x, y)[c];
        for (int j = std::max(0, y - radius); j <= std::min(h - 1, y + radius); ++j)
          for (int i = std::max(0, x - radius); i <= std::min(w - 1, x + radius); ++i)
            v = std::min(v, low.at(i, j)[c]);
        filtered(x, y)[c] = v;
      }
  auto darkOf = [&](int x, int y) { return *std::min_element(filtered(x, y), filtered(x, y) + 3); };

  std::vector<Candidate> candidates; // newest first
  const int seedRows = h > 1000 ? h / 1000 : 1;
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const float v = darkOf(x, y);
      if (y >= seedRows) {
        const auto smallest =
            std::min_element(candidates.begin(), candidates.end(),
                             [](const Candidate& a, const Candidate& b) { return a.key < b.key; });
        if (!(smallest->key < v))
          continue;
        candidates.erase(smallest); // of equal keys the newest
      }
      candidates.insert(candidates.begin(), {v, low.at(x, y)});
    }
  std::stable_sort(candidates.begin(), candidates.end(),
                   [](const Candidate& a, const Candidate& b) { return a.key < b.key; });
  Estimate result;
  float best = -1.0f;
  for (const Candidate& c : candidates) {
    const float luminance = luminanceOf(c.pixel);
    if (luminance > best) {
      best = luminance;
      std::copy_n(c.pixel, 3, result.light);
    }
  }
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const float* p = filtered(x, y);
      result.dark.push_back(
          std::min({p[0] / result.light[0], p[1] / result.light[1], p[2] / result.light[2]}));
    }
  return result;
}

class DarkChannel : public CoreTest {
protected:
  Estimate estimate(FloatImage& low) {
    Estimate found;
    found.dark.assign(low.pixels(), -7.0f);
    const SHaze view = low.view();
    int32_t error = 9;
    estimateDarkChannel(found.light, &view, found.dark.data(), &error);
    EXPECT_EQ(error, 0);
    EXPECT_TRUE(live.empty());
    EXPECT_EQ(data.memoryInUse, 0);
    return found;
  }
};

// Few levels, so that ties abound; heights about the limits of the seed rows, a single row, a
// single column, windows larger than the image.
TEST_F(DarkChannel, FollowsItsDefinition) {
  constexpr int32_t sizes[][2] = {{1, 1},   {2, 3},    {97, 1},   {1, 97},   {43, 31},
                                  {210, 7}, {3, 1000}, {3, 1001}, {3, 1999}, {3, 2000}};
  unsigned seed = 0;
  for (const auto& size : sizes)
    for (float levels : {3.0f, 40.0f, 1e6f}) {
      FloatImage low = noiseImage(size[0], size[1], ++seed, 0.5f, levels + 0.5f);
      for (size_t k = 0; k < low.samples.size(); ++k)
        if (k % 4 != 3)
          low.samples[k] = std::floor(low.samples[k]) / levels;
      for (size_t k = 3; k < low.samples.size(); k += 4)
        low.samples[k] = k % 3 ? 0.0f : 1.0f; // the fourth channel has no say
      const Estimate expected = slowEstimate(low), found = estimate(low);
      const std::string what = std::to_string(size[0]) + "x" + std::to_string(size[1]);
      EXPECT_THAT(found.light, testing::ElementsAreArray(expected.light)) << what;
      EXPECT_EQ(found.dark, expected.dark) << what;
    }
}

// No pixel displaces a seed, and of equal candidates the newest comes first: the rightmost of row
// 0. It is told from its neighbours by another colour of the same luminance and lowest channel.
TEST_F(DarkChannel, UniformImageTakesTheRightmostSeed) {
  FloatImage low(30, 20, 0.5f);
  EXPECT_THAT(estimate(low).dark, testing::Each(1.0f));

  for (size_t k = 0; k < low.samples.size(); k += 4)
    std::copy_n(std::array{0.5f, 0.6f, 0.7f}.data(), 3, &low.samples[k]);
  const float common = luminanceOf(low.at(0, 0));
  for (int32_t x : {0, 28, 29}) {
    float* p = low.at(x, 0);
    for (int k = x + 1; k == x + 1 || luminanceOf(p) != common; k += 7) {
      p[1] = float(0.6 - 0.11e-4 * k);
      p[2] = float(0.7 + 0.59e-4 * k);
    }
  }
  EXPECT_THAT(estimate(low).light, testing::ElementsAre(0.5f, low.at(29, 0)[1], low.at(29, 0)[2]));
}

TEST_F(DarkChannel, BlackImageGivesNoNumber) {
  FloatImage low(12, 9);
  const Estimate black = estimate(low);
  EXPECT_THAT(black.light, testing::Each(0.0f));
  EXPECT_TRUE(
      std::all_of(black.dark.begin(), black.dark.end(), [](float v) { return std::isnan(v); }));
}

// The window of 3 by 3 removes a white speck of one pixel from the dark values.
TEST_F(DarkChannel, SpeckBelowTheWindowIsNotTheLight) {
  FloatImage low = noiseImage(40, 30, 4, 0.2f, 0.4f);
  std::fill_n(low.at(20, 15), 3, 1.0f);
  const Estimate found = estimate(low);
  EXPECT_LT(*std::max_element(found.light, found.light + 3), 0.5f);
}

// Aborts at the four steps: what is written until then, and the buffers given back.
TEST_F(DarkChannel, AbortsLeaveWhatIsNotReached) {
  FloatImage low = noiseImage(20, 10, 1);
  gFilterRunning = true;
  gProgressTotal = 100;
  for (int step = 1; step <= 4; ++step) {
    abortCalls = 0;
    abortAt = step;
    result = 0;
    const float untouched[3] = {-1, -2, -3};
    Estimate found;
    std::copy_n(untouched, 3, found.light);
    found.dark.assign(low.pixels(), -7.0f);
    const SHaze view = low.view();
    int32_t error = 9;
    estimateDarkChannel(found.light, &view, found.dark.data(), &error);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(result, userCanceledErr);
    EXPECT_EQ(abortCalls, step);
    EXPECT_EQ(found.light[0] != -1.0f, step >= 3);
    EXPECT_EQ(found.dark[0] != -7.0f, step == 4);
    EXPECT_TRUE(live.empty());
    EXPECT_EQ(data.memoryInUse, 0);
  }
}

} // namespace
