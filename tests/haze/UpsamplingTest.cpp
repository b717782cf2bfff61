// The joint bilateral upsampling against its definition with the table read for each weight, and
// the rounds against rounds made by hand.
#include "tests/haze/CoreFixture.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "haze/RangeWeights.h"
#include "haze/Stages.h"
#include "primitives/image/ImagePrimitives.h"

namespace {

// The normal density as it is printed with six digits.
double printedDensity(int i) {
  const double t = i / 1000.0;
  char text[32];
  std::snprintf(text, sizeof text, "%.5e",
                std::exp(-t * t / (2 * 0.01)) / (0.1 * std::sqrt(2 * M_PI)));
  return std::strtod(text, nullptr);
}

constexpr int kernel[5][5] = {{2, 7, 12, 7, 2},
                              {7, 31, 52, 31, 7},
                              {12, 52, 127, 52, 12},
                              {7, 31, 52, 31, 7},
                              {2, 7, 12, 7, 2}};

int indexOf(float difference) {
  const float scaled = difference * 1000;
  return std::isnan(scaled) ? 2000 : int(std::clamp(scaled, -2000.0f, 2000.0f));
}

struct SlowMean {
  float value;
  float sumW;
};

SlowMean slowPixel(const std::vector<float>& solution, FloatImage& low, FloatImage& high, int x,
                   int y) {
  static const std::vector<double> density = [] {
    std::vector<double> table;
    for (int i = 0; i <= 2000; ++i)
      table.push_back(printedDensity(i));
    return table;
  }();
  const float xScale = float(double(low.width) / high.width);
  const float yScale = float(double(low.height) / high.height);
  const float* h = high.at(x, y);
  if (h[3] == 0.0f)
    return {0.0f, 0.0f};
  const int lx = int(x * xScale), ly = int(y * yScale);
  float sumW = 0, sum = 0;
  for (int dy = std::max(-ly, -2); dy < std::min(low.height - ly, 3); ++dy)
    for (int dx = std::max(-lx, -2); dx < std::min(low.width - lx, 3); ++dx) {
      const float* l = low.at(lx + dx, ly + dy);
      if (l[3] == 0.0f)
        continue;
      double w = density[std::abs(indexOf(h[0] - l[0]))] * (kernel[dy + 2][dx + 2] / 571.0);
      for (int c = 1; c < 3; ++c)
        w *= density[std::abs(indexOf(h[c] - l[c]))];
      sumW += float(w);
      sum += float(w) * solution[size_t(ly + dy) * low.width + lx + dx];
    }
  return {sumW == 0.0f ? 0.0f : sum / sumW, sumW};
}

// Largest differences from the slow twin: where the weights have all their bits, and where they lie
// below float's normal range.
struct Differences {
  double normal = 0, tiny = 0;
  int tinyPixels = 0;
};

Differences compare(const std::vector<float>& solution, FloatImage& low, FloatImage& high,
                    const std::vector<float>& found) {
  Differences worst;
  for (int y = 0; y < high.height; ++y)
    for (int x = 0; x < high.width; ++x) {
      const SlowMean slow = slowPixel(solution, low, high, x, y);
      const float value = found[size_t(y) * high.width + x];
      EXPECT_EQ(std::isnan(slow.value), std::isnan(value)) << x << ' ' << y;
      const double difference = std::fabs(double(value) - slow.value);
      if (slow.sumW > 1e-37f || slow.sumW == 0.0f) {
        worst.normal = std::max(worst.normal, difference);
      } else {
        worst.tiny = std::max(worst.tiny, difference);
        ++worst.tinyPixels;
      }
    }
  return worst;
}

class Upsampling : public CoreTest {
protected:
  static Differences round(FloatImage& low, FloatImage& high, unsigned seed) {
    const std::vector<float> solution = noiseMap(low.pixels(), seed);
    std::vector<float> found(high.pixels(), -7.0f);
    const SHaze lowView = low.view(), highView = high.view();
    upsampleSolution(solution.data(), &lowView, &highView, found.data());
    return compare(solution, low, high, found);
  }
};

// Sizes of the low and the high grid: ratios 1 to 3 and below 1, grids narrower than the
// neighbourhood, a row, a column.
constexpr int32_t grids[][4] = {{1, 1, 1, 1},    {1, 1, 3, 2},     {4, 3, 9, 7},
                                {5, 5, 10, 10},  {17, 9, 17, 9},   {23, 11, 46, 22},
                                {31, 7, 92, 20}, {40, 30, 39, 17}, {64, 3, 131, 11},
                                {3, 50, 8, 101}, {50, 1, 101, 1},  {37, 20, 74, 60}};

// The solutions range from 0 to 1.
constexpr double bound = 5e-6;

TEST_F(Upsampling, FollowsItsDefinition) {
  unsigned seed = 0;
  for (const auto& g : grids)
    for (float spread : {0.05f, 0.3f, 1.0f}) {
      FloatImage low = noiseImage(g[0], g[1], ++seed, 0.5f - spread / 2, 0.5f + spread / 2);
      FloatImage high = noiseImage(g[2], g[3], seed + 1000, 0.5f - spread / 2, 0.5f + spread / 2);
      EXPECT_LT(round(low, high, seed).normal, bound)
          << g[0] << 'x' << g[1] << " -> " << g[2] << 'x' << g[3] << " spread " << spread;
    }
}

// Differences beyond the table's end weigh nothing; NaN too.
TEST_F(Upsampling, ColoursBeyondTheTable) {
  FloatImage low = noiseImage(30, 20, 1, -3.0f, 4.0f), high = noiseImage(61, 39, 2, -3.0f, 4.0f);
  low.at(11, 9)[1] = NAN;
  high.at(22, 17)[0] = NAN;
  high.at(30, 17)[2] = INFINITY;
  EXPECT_LT(round(low, high, 3).normal, bound);
}

// A light speck on dark ground, ever lighter: its weights fall below float's normal range, lose
// their bits one by one, and end at 0, for both forms at the same place.
TEST_F(Upsampling, WeightsFadeOut) {
  double worst = 0;
  int tinyPixels = 0;
  for (float base = 0.6f; base < 0.95f; base += 0.01f) {
    FloatImage dark = noiseImage(30, 20, 1, 0.0f, 0.04f);
    FloatImage light = noiseImage(61, 39, 2, base, base + 0.04f);
    const Differences d = round(dark, light, 3);
    EXPECT_LT(d.normal, bound) << base;
    worst = std::max(worst, d.tiny);
    tinyPixels += d.tinyPixels;
  }
  EXPECT_GT(tinyPixels, 10000);
  EXPECT_LT(worst, 0.02);
}

TEST_F(Upsampling, TransparentPixelsTakeNoPart) {
  FloatImage low = noiseImage(20, 15, 1), high = noiseImage(47, 33, 2);
  for (size_t k = 3; k < low.samples.size(); k += 4 * 11)
    low.samples[k] = 0.0f;
  for (size_t k = 3; k < high.samples.size(); k += 4 * 7)
    high.samples[k] = -0.0f;
  EXPECT_LT(round(low, high, 3).normal, bound);
  for (size_t k = 3; k < low.samples.size(); k += 4)
    low.samples[k] = 1.0f;
  EXPECT_LT(round(low, high, 3).normal, bound);
}

struct Steps {
  int32_t lowWidth, width, steps;
};

TEST_F(Upsampling, StepsFollowTheWidths) {
  for (const Steps& s : {Steps{5, 3, 1}, Steps{5, 5, 1}, Steps{5, 14, 1}, Steps{5, 15, 2},
                         Steps{5, 24, 2}, Steps{5, 25, 3}, Steps{5, 44, 3}, Steps{5, 45, 4}}) {
    FloatImage low = noiseImage(s.lowWidth, 4, 1), full = noiseImage(s.width, 9, 2);
    const std::vector<float> dark = noiseMap(low.pixels(), 3);
    std::vector<float> map(full.pixels());
    const SHaze lowView = low.view(), fullView = full.view();
    int32_t error = 9;
    startTrace();
    upsampleSolutionBySteps(dark.data(), &lowView, &fullView, map.data(), &error);
    const std::string trace = stopTrace();
    EXPECT_EQ(error, 0);
    const std::string told = " - " + std::to_string(s.steps) + " steps\n";
    EXPECT_NE(trace.find(told), std::string::npos) << trace;
    EXPECT_EQ(trace.find("(round " + std::to_string(s.steps) + ")"), std::string::npos);
    EXPECT_NE(trace.find("(round " + std::to_string(s.steps - 1) + ")"), std::string::npos);
    EXPECT_THAT(requests, testing::IsEmpty());
  }
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

// Three rounds: 20x13, 40x26, 80x52, 151x97; each guide from the one above it.
TEST_F(Upsampling, RoundsClimbThePyramid) {
  FloatImage full = scene(151, 97), low = resized(full, 20, 13);
  FloatImage upper = resized(full, 80, 52), lower = resized(upper, 40, 26);
  std::vector<float> expected = noiseMap(low.pixels(), 5);
  const std::vector<float> dark = expected;
  FloatImage* levels[] = {&low, &lower, &upper, &full};
  for (int k = 0; k < 3; ++k) {
    std::vector<float> next(levels[k + 1]->pixels());
    for (int y = 0; y < levels[k + 1]->height; ++y)
      for (int x = 0; x < levels[k + 1]->width; ++x)
        next[size_t(y) * levels[k + 1]->width + x] =
            slowPixel(expected, *levels[k], *levels[k + 1], x, y).value;
    expected = next;
  }
  std::vector<float> map(full.pixels(), -7.0f);
  const SHaze lowView = low.view(), fullView = full.view();
  int32_t error = 9;
  gFilterRunning = true;
  gProgressTotal = 1000;
  upsampleSolutionBySteps(dark.data(), &lowView, &fullView, map.data(), &error);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(progress.size(), size_t(26 + 52 + 97));
  for (size_t k = 0; k < map.size(); ++k)
    ASSERT_NEAR(map[k], expected[k], 6e-5) << k;
}

TEST_F(Upsampling, AbortLeavesTheMapAsItWas) {
  FloatImage low = noiseImage(5, 4, 1), full = noiseImage(20, 16, 2);
  const std::vector<float> dark = noiseMap(low.pixels(), 3);
  const SHaze lowView = low.view(), fullView = full.view();
  gFilterRunning = true;
  for (int k : {1, 8, 9, 24}) {
    std::vector<float> map(full.pixels(), -7.0f);
    int32_t error = 0;
    result = 0;
    abortCalls = 0;
    abortAt = k;
    upsampleSolutionBySteps(dark.data(), &lowView, &fullView, map.data(), &error);
    EXPECT_EQ(error, hazeCancelled);
    EXPECT_EQ(result, userCanceledErr);
    EXPECT_EQ(abortCalls, k <= 8 ? 8 : 24); // the round ends, the next does not begin
    EXPECT_THAT(map, testing::Each(-7.0f));
  }
}

} // namespace
