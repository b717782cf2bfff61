// One round of joint bilateral upsampling (Kopf et al. 2007): transfers a solution from the grid of
// a low guide to the grid of a high guide.
//
// A pixel is the mean of the 5 by 5 solution values around its place on the low grid, weighted by a
// fixed spatial kernel and, channel by channel, by the normal density of the difference between the
// guides' colours in whole thousandths. Two forms compute the same mean. The plain form reads the
// range table; it handles the image's edges, transparent pixels and enlarged low grids. The fast
// form (BilateralKernel.h) takes several pixels at once and evaluates the product of the three
// densities as one exponential. They differ by less than 5e-6 of the solution's range, because the
// table is rounded to six digits. If all weights lie below float's normal range (colours about 0.8
// apart in each channel), the weights keep only a few bits, and the two forms may differ by a
// hundredth before both become 0.
#include <algorithm>
#include <vector>

#include "frame/record/Globals.h"
#include "haze/BilateralKernel.h"
#include "haze/Progress.h"
#include "haze/Stages.h"
#include "primitives/base/Conversions.h"
#include "primitives/base/ParallelRegion.h"
#include "primitives/base/Vector.h"

namespace {

// The two grids, and the step on the low grid per pixel of the high one.
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

// First and last neighbourhood offset that lies inside a low grid of `size`.
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

// What all rows of a round share.
struct RowPlan {
  InnerColumns inner;
  std::vector<int32_t> lowColumns; // for each high column
  bool fast; // the inner columns fill a vector, which spans at most as many low ones

  explicit RowPlan(const Round& r)
      : inner(r), lowColumns(size_t(r.high.width)),
        fast(r.xScale <= 1.0f && inner.last - inner.first >= widestLanes) {
    for (int32_t x = 0; x < r.high.width; ++x)
      lowColumns[size_t(x)] = r.lowX(x);
  }
};

void plainPixels(const Round& r, int32_t y, int32_t begin, int32_t end, float* out) {
  for (int32_t x = begin; x < end; ++x)
    out[x] = plainPixel(r, x, y);
}

// Rows y to y + count - 1 (count is 1 or 2) with the same low row: plain at their ends and for rows
// with a transparent pixel, fast elsewhere.
void upsampleRows(const Round& r, const RowPlan& plan, LowRows& low, int32_t y, int32_t count,
                  float* newSolution) {
  const int32_t ly = r.lowY(y), width = r.high.width;
  const Reach reach(ly, r.low.height);
  HighRows rows = {{}, {}, ly, reach.first, reach.last, plan.lowColumns.data()};
  Content content = plan.fast ? low.load(ly + reach.first, ly + reach.last) : Content::transparent;
  for (int32_t k = 0; k < count; ++k) {
    rows.pixels[k] = pixelAt(r.high, 0, y + k);
    rows.means[k] = newSolution + size_t(y + k) * size_t(width);
    content = std::max(content, contentOf(rows.pixels[k], width));
  }
  const bool fast = content != Content::transparent;
  if (!fast && count > 1) { // a row's form must not depend on its neighbour
    for (int32_t k = 0; k < count; ++k)
      upsampleRows(r, plan, low, y + k, 1, newSolution);
    return;
  }
  for (int32_t k = 0; k < count; ++k) {
    plainPixels(r, y + k, 0, fast ? plan.inner.first : width, rows.means[k]);
    plainPixels(r, y + k, fast ? plan.inner.last : width, width, rows.means[k]);
  }
  if (fast)
    fastMeans(low, rows, plan.inner.first, plan.inner.last, content == Content::unit);
}

} // namespace

void upsampleSolution(const float* solution, const SHaze* low, const SHaze* high,
                      float* newSolution) {
  const Round r(solution, *low, *high);
  const RowPlan plan(r);
  runOnTeam(gThreadCount, [&](int thread, int team) {
    LowRows lowRows(*low, solution);
    const Share rows = shareOf(high->height, thread, team);
    for (int32_t y = int32_t(rows.begin), count; y < rows.end; y += count) {
      count = y + 1 < rows.end && r.lowY(y + 1) == r.lowY(y) ? 2 : 1;
      upsampleRows(r, plan, lowRows, y, count, newSolution);
      for (int32_t k = 0; k < count; ++k)
        stepProgress(); // the caller checks for an abort after the round; the rows continue
    }
  });
}
