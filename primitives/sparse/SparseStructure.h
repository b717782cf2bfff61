// The structure of a sparse matrix, row by row, as the solver's callers have it.
#pragma once

#include <cstdint>
#include <vector>

// A view: the arrays are the caller's. Of a symmetric matrix the upper triangle, with every
// diagonal entry.
struct SparseStructure {
  int32_t n;         // unknowns
  const int32_t* ia; // [n + 1] starts of the rows, 1-based
  const int32_t* ja; // [ia[n] - 1] columns, 1-based, ascending in a row

  int32_t entries() const { return n > 0 ? ia[n] - 1 : 0; }
};

// The same with indices from 0, owned, as Eigen wants them.
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
