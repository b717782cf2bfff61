// Symbolic phase of the multifrontal factorisation: finds the fronts and the place of each entry.
//
// From the order follow the elimination tree (J. Liu, The role of elimination trees in sparse
// factorization, 1990), the number of entries in each column (J. Gilbert, E. Ng, B. Peyton, 1994),
// the supernodes, and their relaxed merging: fewer and larger fronts, where they save more time
// than their extra zeros cost (C. Ashcraft, R. Grimes, 1989). A front is a dense lower triangle of
// m rows: its k pivots first, then the rows that they update. The subtree of each front is a
// contiguous range of fronts; the front itself is the last one.
#pragma once

#include "primitives/sparse/SparseStructure.h"

struct FrontTree {
  int32_t unknowns = 0, fronts = 0;
  std::vector<int32_t> order;       // [unknowns] unknown of each pivot
  std::vector<int32_t> first;       // [fronts + 1] first pivot of each front
  std::vector<int32_t> parent;      // [fronts] -1 at a root
  std::vector<int32_t> child;       // [fronts] first child, -1 for none
  std::vector<int32_t> sibling;     // [fronts] next child of the same parent, -1 for none
  std::vector<int64_t> rowStart;    // [fronts + 1] into the next three
  std::vector<int32_t> row;         // rows below the pivots, as pivot numbers, ascending
  std::vector<int32_t> place;       // the row's place in the parent's front
  std::vector<int32_t> run;         // number of consecutive places from this one on
  std::vector<int32_t> entryStart;  // [unknowns + 1] matrix entries of each pivot's column
  std::vector<int32_t> entryPlace;  // their row in the front
  std::vector<int32_t> entrySource; // their index in the matrix's values

  int32_t pivots(int32_t front) const { return first[front + 1] - first[front]; }
  int32_t updates(int32_t front) const { return int32_t(rowStart[front + 1] - rowStart[front]); }
  int32_t size(int32_t front) const { return pivots(front) + updates(front); }
};

// Multiplications and additions of k pivots in a front of m rows.
double frontFlop(double m, double k);

// Throws std::bad_alloc.
FrontTree analyse(const SparseStructure& structure, int threads = 1);
