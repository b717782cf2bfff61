// The joint bilateral upsampling against its definition with the table read for each weight, and
// the rounds against rounds made by hand.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "haze/RangeWeights.h"
#include "haze/Stages.h"
#include "primitives/image/ImagePrimitives.h"
#include "tests/haze/HazeTest.h"

namespace {

constexpr int kernel[5][5] = {{2, 7, 12, 7, 2},
                              {7, 31, 52, 31, 7},
                              {12, 52, 127, 52, 12},
                              {7, 31, 52, 31, 7},
                              {2, 7, 12, 7, 2}};

// The normal density of a difference in whole thousandths, as it is printed with six digits.
double density(float difference) {
  static const std::vector<double> table = [] {
    std::vector<double> densities;
    char text[32];
    for (int i = 0; i <= 2000; ++i) {
      std::snprintf(text, sizeof text, "%.5e",
                    std::exp(-1e-6 * i * i / (2 * 0.01)) / (0.1 * std::sqrt(2 * M_PI)));
      densities.push_back(std::strtod(text, nullptr));
    }
    return densities;
  }();
  const float scaled = std::fabs(difference * 1000);
  return table[scaled < 2000 ? size_t(scaled) : 2000];
}

struct SlowMean {
  float value, sumW;
};

SlowMean slowPixel(const std::vector<float>& solution, FloatImage& low, FloatImage& high, int x,
                   int y) {
  const float* h = high.at(x, y);
  if (h[3] == 0.0f)
    return {0.0f, 0.0f};
  const int lx = int(x * float(double(low.width) / high.width));
  const int ly = int(y * float(double(low.height) / high.height));
  float sumW = 0, sum = 0;
  for (int j = std::max(0, ly - 2); j <= std::min(low.height - 1, ly + 2); ++j)
    for (int i = std::max(0, lx - 2); i <= std::min(low.width - 1, lx + 2); ++i) {
      const float* l = low.at(i, j);
      if (l[3] == 0.0f)
        continue;
      const double w = density(h[0] - l[0]) * (kernel[j - ly + 2][i - lx + 2] / 571.0) *
                       density(h[1] - l[1]) * density(h[2] - l[2]);
      sumW += float(w);
      sum += float(w) * solution[size_t(j) * low.width + i];
    }
  return {sumW == 0.0f ? 0.0f : sum / sumW, sumW};
}

// Largest differences of one round from the slow twin: where the weights have all their bits, and
// where they lie below float's normal range.
struct Differences {
  double normal = 0, tiny = 0;
  int tinyPixels = 0;
};

struct Upsampling : HazeTest {
  static Differences round(FloatImage& low, FloatImage& high, unsigned seed) {
    const std::vector<float> solution = noiseMap(low.pixels(), seed);
    std::vector<float> found(high.pixels(), -7.0f);
    const SHaze lowView = low.view(), highView = high.view();
    upsampleSolution(solution.data(), &lowView, &highView, found.data());
    Differences worst;
    for (int y = 0; y < high.height; ++y)
      for (int x = 0; x < high.width; ++x) {
        const SlowMean slow = slowPixel(solution, low, high, x, y);
        const double apart = std::fabs(double(found[size_t(y) * high.width + x]) - slow.value);
        const bool isTiny = slow.sumW != 0.0f && slow.sumW < 1e-37f;
        double& most = isTiny ? worst.tiny : worst.normal;
        most = apart <= most ? most : apart; // NaN too
        worst.tinyPixels += isTiny;
      }
    return worst;
  }
};

// The solutions range from 0 to 1.
constexpr double bound = 5e-6;

// Low and high grids: ratios 1 to 3 and below 1, grids narrower than the neighbourhood, a row, a
// column. The plain form, which an enlarged low grid or a transparent pixel a row brings, gives the
// very bits.
TEST_F(Upsampling, FollowsItsDefinition) {
  unsigned seed = 0;
  for (const auto& [lowWidth, lowHeight, width, height] : {std::array{1, 1, 1, 1},
                                                           {1, 1, 3, 2},
                                                           {4, 3, 9, 7},
                                                           {5, 5, 10, 10},
                                                           {17, 9, 17, 9},
                                                           {23, 11, 46, 22},
                                                           {31, 7, 92, 20},
                                                           {90, 30, 39, 17},
                                                           {64, 3, 131, 11},
                                                           {3, 50, 8, 101},
                                                           {50, 1, 101, 1},
                                                           {37, 20, 74, 60}})
    for (float spread : {0.05f, 0.3f, 1.0f}) {
      const float lowest = 0.5f - spread / 2, highest = 0.5f + spread / 2;
      FloatImage low = noiseImage(lowWidth, lowHeight, ++seed, lowest, highest);
      FloatImage high = noiseImage(width, height, seed + 1000, lowest, highest);
      const double most = lowWidth > width ? 0 : bound;
      EXPECT_LE(round(low, high, seed).normal, most)
          << lowWidth << " to " << width << ' ' << spread;
      low.setAlpha(lowWidth, 0.0f); // the first of each row
      EXPECT_EQ(round(low, high, seed).normal, 0) << lowWidth << " to " << width << ' ' << spread;
      gThreadCount = gThreadCount % 3 + 1;
    }
}

// Differences beyond the table's end, and NaN, weigh nothing.
TEST_F(Upsampling, ColoursBeyondTheTable) {
  FloatImage low = noiseImage(30, 20, 1, -3.0f, 4.0f), high = noiseImage(61, 39, 2, -3.0f, 4.0f);
  low.at(11, 9)[1] = NAN;
  high.at(22, 17)[0] = NAN;
  high.at(30, 17)[2] = INFINITY;
  EXPECT_LT(round(low, high, 3).normal, bound);
}

// Light places on dark ground, ever lighter: their weights fall below float's normal range, lose
// their bits one by one, and end at 0, for both forms at the same place.
TEST_F(Upsampling, WeightsFadeOut) {
  int tinyPixels = 0;
  for (float base = 0.6f; base < 0.95f; base += 0.01f) {
    FloatImage dark = noiseImage(30, 20, 1, 0.0f, 0.04f);
    FloatImage light = noiseImage(61, 39, 2, base, base + 0.04f);
    const Differences apart = round(dark, light, 3);
    EXPECT_LT(apart.normal, bound) << base;
    EXPECT_LT(apart.tiny, 0.02) << base;
    tinyPixels += apart.tinyPixels;
  }
  EXPECT_GT(tinyPixels, 10000);
}

TEST_F(Upsampling, TransparentPixelsTakeNoPart) {
  FloatImage low = noiseImage(60, 15, 1), high = noiseImage(130, 33, 2);
  low.at(25, 7)[3] = -0.0f; // rows far from it take the fast form, and those about it do not
  high.setAlpha(37, 0.0f);
  EXPECT_LT(round(low, high, 3).normal, bound);
}

TEST_F(Upsampling, RangeTableIsRoundedToSixDigits) {
  for (int sign : {-1, 1})
    for (const auto& [index, value] : {std::pair(0, 3.98942),
                                       {100, 2.41971},
                                       {200, 0.53991},
                                       {1000, 7.6946e-22},
                                       {2000, 5.52095e-87}})
      EXPECT_EQ(rangeTable()[sign * index], value);
}

FloatImage resized(FloatImage& from, int32_t width, int32_t height) {
  FloatImage to(width, height);
  const PrimitiveRect all = {0, 0, from.width, from.height}, whole = {0, 0, width, height};
  int32_t bytes = 0;
  ResizeGetBufSize(all, whole, 4, resizeLinear, &bytes);
  std::vector<uint8_t> work(size_t(bytes) + 1);
  ippiResizeSqrPixel_32f_C4R(from.samples.data(), {from.width, from.height}, from.width * 16, all,
                             to.samples.data(), width * 16, whole, double(width) / from.width,
                             double(height) / from.height, 0, 0, resizeLinear, work.data());
  return to;
}

// Three rounds: 20x13, 40x26, 80x52, 151x97; each guide from the one above it. An abort ends the
// round that it comes in, and leaves the map as it was.
TEST_F(Upsampling, RoundsClimbThePyramid) {
  FloatImage full = scene(151, 97), low = resized(full, 20, 13);
  FloatImage upper = resized(full, 80, 52), lower = resized(upper, 40, 26);
  const std::vector<float> dark = noiseMap(low.pixels(), 5);
  std::vector<float> expected = dark;
  FloatImage* levels[] = {&low, &lower, &upper, &full};
  for (int k = 0; k < 3; ++k) {
    std::vector<float> next;
    for (int y = 0; y < levels[k + 1]->height; ++y)
      for (int x = 0; x < levels[k + 1]->width; ++x)
        next.push_back(slowPixel(expected, *levels[k], *levels[k + 1], x, y).value);
    expected = next;
  }
  const SHaze lowView = low.view(), fullView = full.view();
  const auto upsample = [&] {
    std::vector<float> map(full.pixels(), -7.0f);
    int32_t error = 9;
    gFilterRunning = true;
    gProgressTotal = 1000;
    abortCalls = 0;
    upsampleSolutionBySteps(dark.data(), &lowView, &fullView, map.data(), &error);
    EXPECT_EQ(error, abortAt ? hazeCancelled : hazeNoError);
    return map;
  };
  EXPECT_THAT(upsample(), testing::Pointwise(testing::FloatNear(6e-5f), expected));
  EXPECT_EQ(progress.size(), size_t(26 + 52 + 97));
  for (const auto& [at, end] : {std::pair(1, 26), {26, 26}, {27, 26 + 52}, {79, 26 + 52 + 97}}) {
    abortAt = at;
    host->result = 0;
    EXPECT_THAT(upsample(), testing::Each(-7.0f));
    EXPECT_EQ(host->result, userCanceledErr);
    EXPECT_EQ(abortCalls, end);
  }
}

} // namespace
