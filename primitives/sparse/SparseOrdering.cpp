#include "primitives/sparse/SparseOrdering.h"

#include <Eigen/OrderingMethods>
#include <Eigen/SparseCore>

#include <algorithm>
#include <cstdlib>

namespace {

// Unknown k is the pixel in column k % width and row k / width; an entry ties it to pixels at most
// reachX columns and reachY rows away.
struct Grid {
  int32_t width, height, reachX, reachY;
};

struct Box {
  int32_t left, top, right, bottom; // right and bottom outside
};

// A box of up to this many pixels is not cut further: its strips would be as large as its halves.
constexpr int64_t leafPixels = 24;

// True if no entry wraps around the left or right edge of the grid. Only unknowns near an edge can.
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

// On a grid with reach r, the differences column - row are 0..r, w-r..w+r, 2w-r..2w+r and so on.
bool findGrid(const SparseStructure& s, Grid& grid) {
  std::vector<uint8_t> seen(s.n, 0);
  for (int32_t i = 0; i < s.n; ++i)
    for (int32_t p = s.ia[i] - 1; p < s.ia[i + 1] - 1; ++p)
      seen[s.ja[p] - 1 - i] = 1;
  const auto gap = std::find(seen.begin(), seen.end(), 0);
  const auto nextRow = std::find(gap, seen.end(), 1);
  if (nextRow == seen.end())
    return false;
  const auto nextEnd = std::find(nextRow, seen.end(), 0);
  const auto width = int32_t((nextRow - seen.begin() + nextEnd - 1 - seen.begin()) / 2);
  grid = {width, (s.n - 1) / width + 1, 1, 1};
  for (int32_t d = 0; d < s.n; ++d)
    if (seen[d]) {
      const int32_t rows = (d + width / 2) / width;
      grid.reachX = std::max(grid.reachX, std::abs(d - rows * width));
      grid.reachY = std::max(grid.reachY, rows);
    }
  return width > 2 * grid.reachX && staysInRows(s, grid);
}

// Emits row by row, so that the pixels beside a piece of a strip are neighbours in the order.
void emit(const Grid& grid, const Box& box, int32_t n, std::vector<int32_t>& order) {
  for (int32_t y = box.top; y < box.bottom; ++y)
    for (int32_t x = box.left; x < box.right; ++x)
      if (const int64_t k = int64_t(y) * grid.width + x; k < n) // the last row may be incomplete
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

std::vector<int32_t> minimumDegree(const SparseStructure& s) {
  const ZeroBased upper(s);
  const std::vector<char> values(upper.column.size()); // the order does not depend on the values
  // A row of the upper triangle is a column of the lower one.
  const Eigen::Map<const Eigen::SparseMatrix<char, Eigen::ColMajor, int32_t>> lower(
      s.n, s.n, s.entries(), upper.start.data(), upper.column.data(), values.data());
  Eigen::PermutationMatrix<Eigen::Dynamic, Eigen::Dynamic, int32_t> order;
  Eigen::AMDOrdering<int32_t>()(lower.selfadjointView<Eigen::Lower>(), order);
  return {order.indices().data(), order.indices().data() + s.n};
}

} // namespace

std::vector<int32_t> orderUnknowns(const SparseStructure& structure) {
  if (Grid grid; findGrid(structure, grid)) {
    std::vector<int32_t> order;
    order.reserve(structure.n);
    dissect(grid, {0, 0, grid.width, grid.height}, structure.n, order);
    return order;
  }
  return minimumDegree(structure);
}
