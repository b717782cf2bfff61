// One round of joint bilateral upsampling (Kopf et al. 2007): a solution on the grid of a low guide
// comes to the grid of a high guide.
//
// A pixel is the mean of the 5 by 5 solution values around its place on the low grid, weighted by a
// fixed spatial kernel and, channel by channel, by the normal density of the difference between the
// guides' colours in whole thousandths. Two forms of the same mean: the plain one reads the range
// table, and serves the image's edges, transparent pixels and enlarged low grids; the fast one
// takes several pixels of a row at once and evaluates the product of the three densities as one
// exponential of the sum of the squared differences, which is a whole number and exact in float.
// The two differ by the table's rounding to six digits: below 5e-6 of the solution's range. Where
// all weights lie below float's normal range (colours about 0.8 apart in each channel) they have a
// few bits left, and the two may differ by a hundredth before both become 0.
#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "frame/record/Globals.h"
#include "haze/Progress.h"
#include "haze/RangeWeights.h"
#include "haze/Stages.h"
#include "haze/VectorMath.h"
#include "primitives/base/Conversions.h"
#include "primitives/base/ParallelRegion.h"
#include "primitives/base/Vector.h"

namespace {

// The two grids, and the step on the low grid for one pixel of the high one.
struct Round {
  const float* solution;
  const SHaze& low;
  const SHaze& high;
  float xScale, yScale;
  const double* range; // entry of index 0

  Round(const float* solution, const SHaze& low, const SHaze& high)
      : solution(solution), low(low), high(high), xScale(float(double(low.width) / high.width)),
        yScale(float(double(low.height) / high.height)), range(rangeTable()) {}

  int32_t lowX(int32_t x) const { return int32_t(float(x) * xScale); }
  int32_t lowY(int32_t y) const { return int32_t(float(y) * yScale); }
};

// Offsets of the neighbourhood that lie inside a low grid of `size`: first and last.
struct Reach {
  int32_t first, last;
  Reach(int32_t centre, int32_t size)
      : first(std::max(-centre, -kernelRadius)),
        last(std::min(size - centre, kernelRadius + 1) - 1) {}
};

int32_t rangeIndex(float difference) {
  const int32_t i = truncateToInt32(difference * rangeScale);
  return std::clamp(i, -rangeEnd, rangeEnd);
}

// The mean of one pixel, from the table.
float plainPixel(const Round& r, int32_t x, int32_t y) {
  const float* h = pixelAt(r.high, x, y);
  if (h[3] == 0.0f)
    return 0.0f;
  const int32_t lx = r.lowX(x), ly = r.lowY(y);
  const Reach columns(lx, r.low.width), rows(ly, r.low.height);
  float sumW = 0.0f, sum = 0.0f;
  for (int32_t dy = rows.first; dy <= rows.last; ++dy) {
    for (int32_t dx = columns.first; dx <= columns.last; ++dx) {
      const float* l = pixelAt(r.low, lx + dx, ly + dy);
      if (l[3] == 0.0f)
        continue;
      const float s = r.solution[size_t(ly + dy) * size_t(r.low.width) + size_t(lx + dx)];
      const float w = float(r.range[rangeIndex(h[0] - l[0])] * spatialWeight(dx, dy) *
                            r.range[rangeIndex(h[1] - l[1])] * r.range[rangeIndex(h[2] - l[2])]);
      sumW = sumW + w;
      sum = sum + w * s;
    }
  }
  return sumW == 0.0f ? 0.0f : sum / sumW;
}

// The rows of the low grid that one high row looks at, one plane after another, so that neighbours
// along a row lie side by side. Each thread has its own and goes down the rows, splitting each
// once.
class LowRows {
public:
  enum Plane { red, green, blue, solution, planes };

  explicit LowRows(const Round& r)
      : stride_(size_t(r.low.width) + widestLanes), // a vector load at the last pixel stays inside
        values_(size_t(kernelSide) * planes * stride_) {}

  // Takes the rows in; `first` never goes back. False: one of them has a pixel whose alpha is 0.
  bool load(const Round& r, int32_t first, int32_t last) {
    for (next_ = std::max(next_, first); next_ <= last; ++next_)
      opaque_[next_ % kernelSide] = split(r, next_);
    bool opaque = true;
    for (int32_t row = first; row <= last; ++row)
      opaque &= opaque_[row % kernelSide];
    return opaque;
  }

  const float* plane(int32_t row, int32_t plane) const {
    return &values_[(size_t(row % kernelSide) * planes + size_t(plane)) * stride_];
  }

private:
  bool split(const Round& r, int32_t row) {
    float* out = &values_[size_t(row % kernelSide) * planes * stride_];
    const float* p = pixelAt(r.low, 0, row);
    bool opaque = true;
    for (size_t x = 0; x < size_t(r.low.width); ++x) {
      for (size_t c = red; c <= blue; ++c)
        out[c * stride_ + x] = p[4 * x + c];
      opaque &= p[4 * x + 3] != 0.0f;
    }
    std::copy_n(r.solution + size_t(row) * size_t(r.low.width), r.low.width,
                out + solution * stride_);
    return opaque;
  }

  size_t stride_;
  std::vector<float> values_;
  int32_t next_ = 0; // first row not yet split
  bool opaque_[kernelSide] = {};
};

// Colours of `widestLanes` high pixels of a row.
struct HighColours {
  FloatV red, green, blue;
  bool opaque = true;

  explicit HighColours(const float* p) {
    for (int i = 0; i < widestLanes; ++i, p += 4) {
      red[i] = p[0];
      green[i] = p[1];
      blue[i] = p[2];
      opaque &= p[3] != 0.0f;
    }
  }
};

// Difference of two colours in whole thousandths; beyond the table's end, or NaN, its end.
FloatV thousandths(FloatV a, FloatV b) {
  const FloatV end = splat<FloatV>(float(rangeEnd));
  FloatV d = (a - b) * rangeScale;
  d = d < end ? d : end;
  d = d > -end ? d : -end;
  return __builtin_convertvector(__builtin_convertvector(d, IntV), FloatV);
}

// factor * exp(-squares / (2 (1000 deviation)^2)): the product of three normal densities, from the
// sum of their squared differences in thousandths and the product of their peaks.
FloatV rangeWeights(FloatV squares, float factor) {
  constexpr double deviation = double(rangeScale) * rangeDeviation;
  constexpr float exponentScale = float(-std::numbers::log2e / (2.0 * deviation * deviation));
  return timesExp2(splat<FloatV>(factor), squares * exponentScale);
}

// The spatial kernel times the constant factor of the three densities.
struct TapFactors {
  float factor[kernelSide][kernelSide];
  TapFactors() {
    const double peak = 1.0 / (rangeDeviation * std::sqrt(2.0 * std::numbers::pi));
    for (int32_t dy = -kernelRadius; dy <= kernelRadius; ++dy)
      for (int32_t dx = -kernelRadius; dx <= kernelRadius; ++dx)
        factor[dy + kernelRadius][dx + kernelRadius] =
            float(spatialWeight(dx, dy) * peak * peak * peak);
  }
};

// The means of `widestLanes` pixels of a row whose columns on the low grid are lx + step, the whole
// neighbourhood of columns lying inside the grid.
FloatV fastPixels(const LowRows& low, const TapFactors& taps, const HighColours& h, int32_t lx,
                  IntV step, int32_t ly, const Reach& rows) {
  FloatV sumW = FloatV{}, sum = FloatV{};
  for (int32_t dy = rows.first; dy <= rows.last; ++dy) {
    for (int32_t dx = -kernelRadius; dx <= kernelRadius; ++dx) {
      const auto at = [&](LowRows::Plane plane) {
        return __builtin_shuffle(loadVector<FloatV>(low.plane(ly + dy, plane) + lx + dx), step);
      };
      const FloatV red = thousandths(h.red, at(LowRows::red));
      const FloatV green = thousandths(h.green, at(LowRows::green));
      const FloatV blue = thousandths(h.blue, at(LowRows::blue));
      const FloatV w = rangeWeights(red * red + green * green + blue * blue,
                                    taps.factor[dy + kernelRadius][dx + kernelRadius]);
      sumW = sumW + w;
      sum = sum + w * at(LowRows::solution);
    }
  }
  return sumW == 0.0f ? FloatV{} : sum / sumW;
}

// Columns whose neighbourhood lies inside the low grid: from first up to, but not including, last.
struct InnerColumns {
  int32_t first, last;
  explicit InnerColumns(const Round& r) {
    first = 0;
    while (first < r.high.width && r.lowX(first) < kernelRadius)
      ++first;
    last = r.high.width;
    while (last > first && r.lowX(last - 1) > r.low.width - 1 - kernelRadius)
      --last;
  }
};

// What every row of a round shares.
struct RowPlan {
  TapFactors taps;
  InnerColumns inner;
  std::vector<int32_t> lowColumns; // of each high column
  bool fast;                       // a vector of high pixels spans at most as many low ones

  explicit RowPlan(const Round& r)
      : inner(r), lowColumns(size_t(r.high.width)), fast(r.xScale <= 1.0f) {
    for (int32_t x = 0; x < r.high.width; ++x)
      lowColumns[size_t(x)] = r.lowX(x);
  }
};

// One row: plain at its ends and where a pixel is transparent, fast elsewhere.
void upsampleRow(const Round& r, const RowPlan& plan, LowRows& low, int32_t y, float* out) {
  const int32_t ly = r.lowY(y);
  const Reach rows(ly, r.low.height);
  int32_t x = 0;
  const auto plainUpTo = [&](int32_t end) {
    for (; x < end; ++x)
      out[x] = plainPixel(r, x, y);
  };
  if (plan.fast && low.load(r, ly + rows.first, ly + rows.last)) {
    plainUpTo(plan.inner.first);
    while (x + widestLanes <= plan.inner.last) {
      const HighColours h(pixelAt(r.high, x, y));
      if (!h.opaque) {
        plainUpTo(x + widestLanes);
        continue;
      }
      const int32_t lx = plan.lowColumns[size_t(x)];
      const IntV columns = loadVector<IntV>(&plan.lowColumns[size_t(x)]);
      storeVector(out + x, fastPixels(low, plan.taps, h, lx, columns - lx, ly, rows));
      x += widestLanes;
    }
  }
  plainUpTo(r.high.width);
}

} // namespace

void upsampleSolution(const float* solution, const SHaze* low, const SHaze* high,
                      float* newSolution) {
  const Round r(solution, *low, *high);
  const RowPlan plan(r);
  runOnTeam(gThreadCount, [&](int thread, int team) {
    LowRows lowRows(r);
    const Share rows = shareOf(high->height, thread, team);
    for (int32_t y = int32_t(rows.begin); y < rows.end; ++y) {
      upsampleRow(r, plan, lowRows, y, newSolution + size_t(y) * size_t(high->width));
      stepProgress(); // the caller sees an abort after the round; the rows go on
    }
  });
}
