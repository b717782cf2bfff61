// Dense single-precision kernels for one front: partial Cholesky factorisation, and the solves.
//
// A front of m rows and k pivots consists of a panel (the factor's columns for the pivots) and an
// update (the remaining rows and columns). Both are lower triangles, stored column by column; the
// part above the diagonal is scratch. The arithmetic of an entry depends neither on the team nor on
// its tile, so that the result is the same, bit for bit, for any number of threads.
#pragma once

#include <cstddef>
#include <cstdint>

#include "primitives/base/Vector.h"

// Floats beyond the last column of a panel that the kernels may read, but do not write.
constexpr int32_t frontSlack = 4 * widestLanes;

// Distance between columns of a matrix with this many rows, in floats: a whole number of vectors.
// For large matrices this number is odd, because columns a power of two apart would share a few
// cache sets.
constexpr int32_t frontStride(int32_t rows) {
  constexpr int32_t large = 128;
  const int32_t vectors = (rows + widestLanes - 1) / widestLanes;
  return (rows >= large ? vectors | 1 : vectors) * widestLanes;
}

enum class Pivoting { positive, notPositive, notFinite };

struct Front {
  int32_t rows, pivots; // m, k
  float* panel;         // m by k, stride frontStride(m)
  float* update;        // m - k by m - k, stride frontStride(m - k)
  bool team;            // the caller's team may share the work
};

// Replaces the panel by the factor's columns; update -= lower * lower^T.
Pivoting factorise(const Front& front);

// w: m floats; on entry the right-hand side at the pivots and 0 below. On return the triangle's
// solution at the pivots, and below the values to add to the other rows.
void solveForward(const float* panel, int32_t rows, int32_t pivots, float* w);

// w: m floats; on entry the pivots' forward solution, and the solution at the rows below. On return
// the pivots hold their solution.
void solveBackward(const float* panel, int32_t rows, int32_t pivots, float* w);
