#include "primitives/sparse/SparseFront.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

FloatV load(const float* p) { return loadVector<FloatV>(p); }
void store(float* p, FloatV v) { storeVector(p, v); }

// Columns of a tile: the sums for two vectors of rows, two factors and one more fit the registers.
constexpr int32_t tileColumns = widestLanes == 16 ? 12 : 6;
// Pivots that the panel advances between two passes over the rest of the front: the part of the
// panel that a pass reads stays in the nearest caches.
constexpr int32_t blockPivots = 96;
// Columns of one work share of a pass when a team splits it.
constexpr int32_t shareColumns = 8 * tileColumns;

// The factor of one tile's triangle.
struct Triangle {
  float lower[tileColumns][tileColumns]; // [row][column] below the diagonal
  float inverse[tileColumns];            // of the diagonal
};

// c -= rows * columns^T over `depth` columns of the panel; with a triangle, then c * triangle^-T.
// The code sums the products separately and subtracts them from c once. The rounding then depends
// on the size of the products, not on that of c, and the solution is several times more accurate.
template <int vectors, int count, bool solve>
inline void tile(float* c, ptrdiff_t strideC, const float* rows, const float* columns,
                 ptrdiff_t stride, int32_t depth, [[maybe_unused]] const Triangle* triangle) {
  FloatV sum[count][vectors] = {};
  for (int32_t p = 0; p < depth; ++p, rows += stride, columns += stride) {
    FloatV left[vectors];
#pragma GCC unroll 2
    for (int v = 0; v < vectors; ++v)
      left[v] = load(rows + v * widestLanes);
#pragma GCC unroll 16
    for (int q = 0; q < count; ++q)
#pragma GCC unroll 2
      for (int v = 0; v < vectors; ++v)
        sum[q][v] += left[v] * columns[q];
  }
#pragma GCC unroll 16
  for (int q = 0; q < count; ++q)
#pragma GCC unroll 2
    for (int v = 0; v < vectors; ++v)
      sum[q][v] = load(c + q * strideC + v * widestLanes) - sum[q][v];
  if constexpr (solve) {
#pragma GCC unroll 16
    for (int q = 0; q < count; ++q)
#pragma GCC unroll 2
      for (int v = 0; v < vectors; ++v) {
#pragma GCC unroll 16
        for (int s = 0; s < q; ++s)
          sum[q][v] -= sum[s][v] * triangle->lower[q][s];
        sum[q][v] *= triangle->inverse[q];
      }
  }
#pragma GCC unroll 16
  for (int q = 0; q < count; ++q)
#pragma GCC unroll 2
    for (int v = 0; v < vectors; ++v)
      store(c + q * strideC + v * widestLanes, sum[q][v]);
}

// Rows [begin, end), whole vectors, of a strip of columns. c and rows: row 0 of the strip and of
// the panel; columns: the panel's rows that belong to the strip's columns.
template <int count, bool solve>
void strip(float* c, ptrdiff_t strideC, int32_t begin, int32_t end, const float* rows,
           const float* columns, ptrdiff_t stride, int32_t depth, const Triangle* triangle) {
  int32_t i = begin;
  for (; i + 2 * widestLanes <= end; i += 2 * widestLanes)
    tile<2, count, solve>(c + i, strideC, rows + i, columns, stride, depth, triangle);
  if (i < end)
    tile<1, count, solve>(c + i, strideC, rows + i, columns, stride, depth, triangle);
}

template <bool solve, int count = tileColumns, class... Arguments>
void stripOf(int32_t columns, Arguments... arguments) {
  if constexpr (count > 1)
    if (columns < count)
      return stripOf<solve, count - 1>(columns, arguments...);
  strip<count, solve>(arguments...);
}

constexpr int32_t wholeVectors(int32_t row) { return row - row % widestLanes; }

// Cholesky factor of the first columns of `block`, whose columns have at least tileColumns rows.
Pivoting factoriseTriangle(const float* block, ptrdiff_t stride, int32_t columns,
                           Triangle& triangle) {
  for (int32_t q = 0; q < columns; ++q) {
    for (int32_t r = q; r < columns; ++r) {
      float value = block[q * stride + r];
      for (int32_t s = 0; s < q; ++s)
        value -= triangle.lower[r][s] * triangle.lower[q][s];
      if (r > q) {
        triangle.lower[r][q] = value * triangle.inverse[q];
        continue;
      }
      if (!(std::abs(value) <= std::numeric_limits<float>::max()))
        return Pivoting::notFinite;
      if (!(value > 0))
        return Pivoting::notPositive;
      triangle.inverse[q] = 1 / std::sqrt(value);
    }
  }
  return Pivoting::positive;
}

// Factorises columns [begin, end) of the panel, tile by tile; the earlier columns of the block
// update each tile.
Pivoting factoriseBlock(const Front& front, int32_t begin, int32_t end) {
  constexpr int32_t blockRows = (tileColumns + widestLanes - 1) / widestLanes * widestLanes;
  const int32_t stride = frontStride(front.rows);
  const float* done = front.panel + ptrdiff_t(begin) * stride;
  for (int32_t j = begin; j < end; j += tileColumns) {
    const int32_t columns = std::min(tileColumns, end - j), depth = j - begin;
    float* strip = front.panel + ptrdiff_t(j) * stride;
    alignas(64) float block[tileColumns * blockRows];
    for (int32_t q = 0; q < columns; ++q)
      for (int32_t v = 0; v < blockRows; v += widestLanes)
        store(block + q * blockRows + v, load(strip + ptrdiff_t(q) * stride + j + v));
    stripOf<false>(columns, block, blockRows, 0, blockRows, done + j, done + j, stride, depth,
                   nullptr);
    Triangle triangle;
    if (const Pivoting pivoting = factoriseTriangle(block, blockRows, columns, triangle);
        pivoting != Pivoting::positive)
      return pivoting;
    stripOf<true>(columns, strip, stride, wholeVectors(j), stride, done, done + j, stride, depth,
                  &triangle);
  }
  return Pivoting::positive;
}

// Subtracts the contribution of pivots [begin, end) from columns [first, last) of the front.
// Columns from the number of pivots on belong to the update.
void subtract(const Front& front, int32_t begin, int32_t end, int32_t first, int32_t last) {
  const int32_t stride = frontStride(front.rows), strideC = frontStride(front.rows - front.pivots);
  const float* done = front.panel + ptrdiff_t(begin) * stride;
  for (int32_t j = first; j < last;) {
    if (j < front.pivots) {
      const int32_t columns = std::min(tileColumns, std::min(last, front.pivots) - j);
      stripOf<false>(columns, front.panel + ptrdiff_t(j) * stride, stride, wholeVectors(j), stride,
                     done, done + j, stride, end - begin, nullptr);
      j += columns;
    } else {
      const int32_t columns = std::min(tileColumns, last - j), own = j - front.pivots;
      stripOf<false>(columns, front.update + ptrdiff_t(own) * strideC, strideC, wholeVectors(own),
                     strideC, done + front.pivots, done + j, stride, end - begin, nullptr);
      j += columns;
    }
  }
}

// Columns that a substitution processes at once, so that it reads w once for all of them.
constexpr int solveColumns = 4;

// Computes the solution at the pivots j to j + count - 1, and subtracts their part from the rows
// below.
template <int count>
void forward(const float* panel, ptrdiff_t stride, int32_t rows, int32_t j, float* w) {
  const float* column[count];
  float solved[count];
  for (int q = 0; q < count; ++q) {
    column[q] = panel + (j + q) * stride;
    float value = w[j + q];
    for (int p = 0; p < q; ++p)
      value -= column[p][j + q] * solved[p];
    solved[q] = w[j + q] = value / column[q][j + q];
  }
  for (int32_t i = j + count; i < rows; ++i) {
    float value = w[i];
    for (int q = 0; q < count; ++q)
      value -= column[q][i] * solved[q];
    w[i] = value;
  }
}

// Computes the solution at the pivots j to j + count - 1 from the rows below. The scalar product of
// a column keeps one sum per lane.
template <int count>
void backward(const float* panel, ptrdiff_t stride, int32_t rows, int32_t j, float* w) {
  const float* column[count];
  FloatV sums[count] = {};
  for (int q = 0; q < count; ++q)
    column[q] = panel + (j + q) * stride;
  int32_t i = j + count;
  for (; i + widestLanes <= rows; i += widestLanes)
    for (int q = 0; q < count; ++q)
      sums[q] += load(column[q] + i) * load(w + i);
  for (int q = count; q-- > 0;) {
    float value = w[j + q];
    for (int32_t lane = 0; lane < widestLanes; ++lane)
      value -= sums[q][lane];
    for (int32_t k = i; k < rows; ++k)
      value -= column[q][k] * w[k];
    for (int p = q + 1; p < count; ++p)
      value -= column[q][j + p] * w[j + p];
    w[j + q] = value / column[q][j + q];
  }
}

} // namespace

Pivoting factorise(const Front& front) {
  for (int32_t begin = 0; begin < front.pivots; begin += blockPivots) {
    const int32_t end = std::min(begin + blockPivots, front.pivots);
    if (const Pivoting pivoting = factoriseBlock(front, begin, end); pivoting != Pivoting::positive)
      return pivoting;
    if (!front.team) {
      subtract(front, begin, end, end, front.rows);
      continue;
    }
#pragma omp taskloop default(shared) grainsize(1)
    for (int32_t first = end; first < front.rows; first += shareColumns)
      subtract(front, begin, end, first, std::min(first + shareColumns, front.rows));
  }
  return Pivoting::positive;
}

void solveForward(const float* panel, int32_t rows, int32_t pivots, float* w) {
  const int32_t stride = frontStride(rows);
  int32_t j = 0;
  for (; j + solveColumns <= pivots; j += solveColumns)
    forward<solveColumns>(panel, stride, rows, j, w);
  for (; j < pivots; ++j)
    forward<1>(panel, stride, rows, j, w);
}

void solveBackward(const float* panel, int32_t rows, int32_t pivots, float* w) {
  const int32_t stride = frontStride(rows);
  int32_t j = pivots;
  for (; j % solveColumns != 0; --j)
    backward<1>(panel, stride, rows, j - 1, w);
  for (; j > 0; j -= solveColumns)
    backward<solveColumns>(panel, stride, rows, j - solveColumns, w);
}
