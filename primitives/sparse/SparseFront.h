// Dense kernels of one front, in single precision: partial Cholesky factorisation, and the solves.
//
// A front of m rows and k pivots is kept as a panel, the factor's columns of the pivots, and an
// update, what is left of the other rows; lower triangles, column by column. What lies above a
// diagonal is scratch. The arithmetic of an entry depends neither on the team nor on its tile, so
// any number of threads gives the same bits.
#pragma once

#include <cstddef>
#include <cstdint>

#include "primitives/base/Vector.h"

// Floats that may be read (not written) beyond the last column of a panel.
constexpr int32_t frontSlack = 4 * widestLanes;

// Distance of the columns of a matrix of this many rows: whole vectors, and in large ones an odd
// number of them, for columns a power of two apart would share a few cache sets.
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

// Panel = factor's columns, update -= lower * lower^T.
Pivoting factorise(const Front& front);

// w: m floats, the right-hand side at the pivots and 0 below. Comes back with the solution of the
// triangle at the pivots, and what has to be added to the other rows.
void solveForward(const float* panel, int32_t rows, int32_t pivots, float* w);

// w: m floats, the solution at the rows below the pivots. The pivots are turned into theirs.
void solveBackward(const float* panel, int32_t rows, int32_t pivots, float* w);
