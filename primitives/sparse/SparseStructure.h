// The structure of a sparse matrix, row by row, in the layout of the solver's callers.
#pragma once

#include <cstdint>
#include <vector>

// A view: the caller owns the arrays. A symmetric matrix is stored as its upper triangle with every
// diagonal entry.
struct SparseStructure {
  int32_t n;         // unknowns
  const int32_t* ia; // [n + 1] starts of the rows, 1-based
  const int32_t* ja; // [ia[n] - 1] columns, 1-based, ascending in a row

  int32_t entries() const { return n > 0 ? ia[n] - 1 : 0; }
};

// The same with indices from 0, owned, in Eigen's layout.
struct ZeroBased {
  std::vector<int32_t> start, column;

  explicit ZeroBased(const SparseStructure& s)
      : start(s.ia, s.ia + s.n + 1), column(s.ja, s.ja + s.entries()) {
    for (int32_t& index : start)
      --index;
    for (int32_t& index : column)
      --index;
  }
};
