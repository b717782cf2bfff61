#include "primitives/sparse/SparseOrdering.h"

#include <amd.h>

#include <algorithm>
#include <new>

namespace {

// Unknown k stands at column k % width of row k / width; an entry ties it to columns at most reachX
// and rows at most reachY away.
struct Grid {
  int32_t width, height, reachX, reachY;
};

struct Box {
  int32_t left, top, right, bottom; // right and bottom outside
};

// A box of this many pixels is not cut further: its strips would be as large as its halves.
constexpr int64_t leafPixels = 24;

// The distinct differences column - row, as [first, last] runs of consecutive numbers, ascending.
struct Run {
  int32_t first, last;
};

std::vector<Run> runsOfOffsets(const SparseStructure& s) {
  std::vector<uint8_t> seen(size_t(s.n) + 1, 0);
  for (int32_t i = 0; i < s.n; ++i)
    for (int32_t p = s.ia[i] - 1; p < s.ia[i + 1] - 1; ++p)
      seen[s.ja[p] - 1 - i] = 1;
  std::vector<Run> runs;
  for (int32_t d = 0; d < s.n; ++d) {
    if (!seen[d])
      continue;
    if (d > 0 && seen[d - 1])
      runs.back().last = d;
    else
      runs.push_back({d, d});
  }
  return runs;
}

// No entry reaches round the left or right edge of the grid. Only unknowns near an edge can.
bool staysInRows(const SparseStructure& s, const Grid& grid) {
  for (int32_t i = 0, x = 0; i < s.n; ++i, x = x + 1 == grid.width ? 0 : x + 1) {
    if (x >= grid.reachX && x < grid.width - grid.reachX)
      continue;
    for (int32_t p = s.ia[i] - 1; p < s.ia[i + 1] - 1; ++p)
      if (std::abs((s.ja[p] - 1) % grid.width - x) > grid.reachX)
        return false;
  }
  return true;
}

// The offsets of a grid with reach r are the runs 0..r, w-r..w+r, 2w-r..2w+r and so on: one run a
// row, centred on a multiple of the width.
bool findGrid(const SparseStructure& s, Grid& grid) {
  const std::vector<Run> runs = runsOfOffsets(s);
  if (runs.size() < 2)
    return false;
  grid.reachX = std::max(runs[0].last, 1);
  grid.reachY = int32_t(runs.size()) - 1;
  grid.width = runs[1].first + (runs[1].last - runs[1].first) / 2;
  grid.height = (s.n - 1) / grid.width + 1;
  if (grid.width <= 2 * grid.reachX)
    return false;
  for (size_t row = 1; row < runs.size(); ++row) {
    const int64_t centre = int64_t(row) * grid.width;
    if (runs[row].first < centre - grid.reachX || runs[row].last > centre + grid.reachX)
      return false;
  }
  return staysInRows(s, grid);
}

// Row by row, so that the pixels beside a piece of a strip are neighbours in the order.
void emit(const Grid& grid, const Box& box, int32_t n, std::vector<int32_t>& order) {
  for (int32_t y = box.top; y < box.bottom; ++y)
    for (int32_t x = box.left; x < box.right; ++x)
      if (const int64_t k = int64_t(y) * grid.width + x; k < n)
        order.push_back(int32_t(k));
}

void dissect(const Grid& grid, const Box& box, int32_t n, std::vector<int32_t>& order) {
  const int64_t width = box.right - box.left, height = box.bottom - box.top;
  const bool upright = grid.reachX * height <= grid.reachY * width; // the smaller strip
  const int64_t length = upright ? width : height, strip = upright ? grid.reachX : grid.reachY;
  if (width * height <= leafPixels || length < strip + 2)
    return emit(grid, box, n, order);
  Box before = box, cut = box, after = box;
  const auto half = int32_t((length - strip) / 2);
  if (upright) {
    before.right = cut.left = box.left + half;
    cut.right = after.left = cut.left + int32_t(strip);
  } else {
    before.bottom = cut.top = box.top + half;
    cut.bottom = after.top = cut.top + int32_t(strip);
  }
  dissect(grid, before, n, order);
  dissect(grid, after, n, order);
  emit(grid, cut, n, order);
}

bool minimumDegree(const SparseStructure& s, std::vector<int32_t>& order) {
  std::vector<int32_t> start(s.ia, s.ia + s.n + 1), column(s.ja, s.ja + (s.ia[s.n] - 1));
  for (int32_t& word : start)
    --word;
  for (int32_t& word : column)
    --word;
  order.resize(s.n);
  const int status = amd_order(s.n, start.data(), column.data(), order.data(), nullptr, nullptr);
  if (status == AMD_OUT_OF_MEMORY)
    throw std::bad_alloc();
  return status == AMD_OK || status == AMD_OK_BUT_JUMBLED;
}

} // namespace

bool orderUnknowns(const SparseStructure& structure, std::vector<int32_t>& order) {
  order.clear();
  if (structure.n == 0)
    return true;
  if (Grid grid; findGrid(structure, grid)) {
    order.reserve(structure.n);
    dissect(grid, {0, 0, grid.width, grid.height}, structure.n, order);
    return true;
  }
  return minimumDegree(structure, order);
}
