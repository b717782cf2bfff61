// Numeric phase of the multifrontal factorisation in single precision: fronts and substitution.
//
// Each front is assembled from the matrix and from the updates of its children, then factorised (I.
// Duff, J. Reid, The multifrontal solution of indefinite sparse symmetric linear equations, 1983).
// In a team, a small subtree is one task; each front above these subtrees is a task whose work the
// threads share. The result is the same, bit for bit, for any number of threads.
#pragma once

#include "primitives/base/HeapBlock.h"
#include "primitives/sparse/SparseFront.h"
#include "primitives/sparse/SparseSymbolic.h"

struct CholeskyFactor {
  HeapArray<float> panels;         // null before the factorisation
  std::vector<int64_t> panelStart; // [fronts + 1] into the panels
};

// values: in the order of the structure's ja. Throws std::bad_alloc.
Pivoting factorise(const FrontTree& tree, const float* values, int threads, CholeskyFactor& factor);

// Work space of a substitution.
struct SubstitutionRoom {
  std::vector<float> y;     // [unknowns] the solution in pivot order
  std::vector<float> given; // parallel to the tree's `row`: what each front leaves to its parent
  std::vector<std::vector<float>> rows; // of one front, one per thread
};
SubstitutionRoom roomFor(const FrontTree& tree, int threads); // throws std::bad_alloc

// x: right-hand side on entry, solution on return, in the order of the unknowns. Uses as many
// threads as the room has rows for; the result has the same bits for any number.
void solve(const FrontTree& tree, const CholeskyFactor& factor, float* x, SubstitutionRoom& room);
