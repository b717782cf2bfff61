// The joint bilateral upsampling against its definition, reading the table for each weight, and the
// rounds against rounds built by hand.
#include <algorithm>
#include <cmath>

#include "haze/RangeWeights.h"
#include "haze/Stages.h"
#include "tests/haze/HazeTest.h"

namespace {

double density(float difference) {
  const float scaled = std::fabs(difference * 1000);
  return rangeTable()[scaled < 2000 ? int(scaled) : 2000];
}

// The mean, and the sum of its weights.
std::pair<float, float> slowPixel(const std::vector<float>& solution, FloatImage& low,
                                  FloatImage& high, int x, int y) {
  const int kernel[][3] = {{127, 52, 12}, {52, 31, 7}, {12, 7, 2}}; // by distance
  const float* h = high.at(x, y);
  const int lx = int(x * float(double(low.width) / high.width));
  const int ly = int(y * float(double(low.height) / high.height));
  float sumW = 0, sum = 0;
  for (int j = std::max(0, ly - 2); j <= std::min(low.height - 1, ly + 2); ++j)
    for (int i = std::max(0, lx - 2); i <= std::min(low.width - 1, lx + 2); ++i) {
      const float* l = low.at(i, j);
      if (l[3] == 0.0f || h[3] == 0.0f)
        continue;
      const double w = density(h[0] - l[0]) * (kernel[std::abs(j - ly)][std::abs(i - lx)] / 571.0) *
                       density(h[1] - l[1]) * density(h[2] - l[2]);
      sumW += float(w);
      sum += float(w) * solution[size_t(j) * low.width + i];
    }
  return {sumW == 0.0f ? 0.0f : sum / sumW, sumW};
}

// Largest difference of one round from the slow form. Weights below float's normal range have lost
// bits; a difference then counts proportionally less.
double round(FloatImage low, FloatImage high) {
  const std::vector<float> solution = noiseMap(low.pixels(), 3);
  std::vector<float> found(high.pixels(), -7.0f);
  const SHaze lowView = low.view(), highView = high.view();
  upsampleSolution(solution.data(), &lowView, &highView, found.data());
  double most = 0;
  for (int k = 0; k < int(found.size()); ++k) {
    const auto [value, weight] = slowPixel(solution, low, high, k % high.width, k / high.width);
    const double apart = std::fabs(double(found[k]) - value);
    if (std::isnan(apart))
      return INFINITY;
    most = std::max(most, weight != 0.0f && weight < 1e-37f ? apart / 4000 : apart);
  }
  return most;
}

constexpr double bound = 5e-6; // of solutions from 0 to 1

struct Upsampling : HazeTest {};

// Low and high grids: ratios 1 to 3 and below 1, grids narrower than the neighbourhood, a row, a
// column. The plain form, used for an enlarged low grid or a transparent pixel in each row, gives
// identical bits.
TEST_F(Upsampling, FollowsItsDefinition) {
  constexpr int32_t grids[][4] = {{1, 1, 1, 1},    {1, 1, 3, 2},     {4, 3, 9, 7},
                                  {5, 5, 10, 10},  {17, 9, 17, 9},   {23, 11, 46, 22},
                                  {31, 7, 92, 20}, {90, 30, 39, 17}, {64, 3, 131, 11},
                                  {3, 50, 8, 101}, {50, 1, 101, 1},  {37, 20, 74, 60}};
  for (const auto& [lowWidth, lowHeight, width, height] : grids)
    for (float spread : {0.05f, 0.3f, 1.0f}) {
      FloatImage low = noiseImage(lowWidth, lowHeight, 1, 0.5f, 0.5f + spread);
      FloatImage high = noiseImage(width, height, 2, 0.5f, 0.5f + spread);
      EXPECT_LE(round(low, high), lowWidth > width ? 0 : bound) << lowWidth << ' ' << spread;
      low.setAlpha(lowWidth, 0.0f); // the first of each row
      EXPECT_EQ(round(low, high), 0) << lowWidth << ' ' << spread;
      gThreadCount = gThreadCount % 3 + 1;
    }
}

// Colours that differ beyond the table's end, and NaN, have no weight; transparent pixels are
// ignored, and rows far from them still use the fast form. Increasingly light places on dark
// ground: the weights fall below float's normal range, and both forms reach 0 at the same place.
TEST_F(Upsampling, OddPixels) {
  FloatImage low = noiseImage(60, 20, 1, -3.0f, 4.0f), high = noiseImage(130, 39, 2, -3.0f, 4.0f);
  low.at(11, 9)[1] = high.at(22, 17)[0] = NAN;
  high.at(30, 17)[2] = INFINITY;
  EXPECT_LT(round(low, high), bound);
  low = noiseImage(60, 20, 1);
  high = noiseImage(130, 39, 2);
  low.at(25, 7)[3] = -0.0f;
  high.setAlpha(37, 0.0f);
  EXPECT_LT(round(low, high), bound);
  for (float base = 0.6f; base < 0.95f; base += 0.01f)
    EXPECT_LT(round(noiseImage(30, 20, 1, 0, 0.04f), noiseImage(61, 39, 2, base, base + 0.04f)),
              bound)
        << base;
}

TEST_F(Upsampling, RangeTableIsRoundedToSixDigits) {
  const std::pair<int, double> entries[] = {
      {0, 3.98942}, {100, 2.41971}, {200, 0.53991}, {1000, 7.6946e-22}, {2000, 5.52095e-87}};
  for (const auto& [index, value] : entries)
    EXPECT_EQ(std::pair(rangeTable()[index], rangeTable()[-index]), std::pair(value, value));
}

// Each pixel of an image becomes a square with this side; resampling to the old size reverses it.
FloatImage squares(FloatImage from, int32_t side) {
  FloatImage to(from.width * side, from.height * side);
  for (int32_t k = 0; k < int32_t(to.pixels()); ++k)
    std::copy_n(from.at(k % to.width / side, k / to.width / side), 4, &to.samples[size_t(k) * 4]);
  return to;
}

// Three rounds, each guide made from the one above it.
TEST_F(Upsampling, RoundsClimbThePyramid) {
  FloatImage low = noiseImage(20, 13, 1, 0.4f, 0.6f), full = squares(low, 8);
  const std::vector<float> dark = noiseMap(low.pixels(), 5);
  std::vector<float> expected = dark;
  for (int32_t side : {1, 2, 4}) {
    FloatImage from = squares(low, side), to = squares(low, side * 2);
    const SHaze fromView = from.view(), toView = to.view();
    std::vector<float> next(to.pixels());
    upsampleSolution(expected.data(), &fromView, &toView, next.data());
    expected = next;
  }
  const SHaze lowView = low.view(), fullView = full.view();
  std::vector<float> map(full.pixels(), -7.0f);
  int32_t error = 9;
  upsampleSolutionBySteps(dark.data(), &lowView, &fullView, map.data(), &error);
  EXPECT_EQ(error, 0);
  EXPECT_THAT(map, testing::Pointwise(testing::FloatNear(1e-6f), expected));
}

} // namespace
