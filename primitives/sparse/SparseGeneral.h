// Sparse LU factorisation with pivoting, for matrices that have no Cholesky factor.
//
// A slow road that is seldom taken: unsymmetric matrices, and symmetric ones that are not positive
// definite. Single precision throughout; columns ordered for sparsity, rows by the pivots.
#pragma once

#include <memory>

#include "primitives/sparse/SparseOrdering.h"

struct GeneralFactor;
struct GeneralFactorDelete {
  void operator()(GeneralFactor* factor) const noexcept;
};
using GeneralFactorOwner = std::unique_ptr<GeneralFactor, GeneralFactorDelete>;

// The structure is an upper triangle when `symmetric`, else the whole matrix. Null when the matrix
// is singular, exactly or to single precision; throws std::bad_alloc. flop, when there is a factor:
// multiplications and additions; entries: non-zeros of both factors.
GeneralFactorOwner factoriseGeneral(const SparseStructure& structure, const float* values,
                                    bool symmetric, double& entries, double& flop);

// x: right-hand side on entry, solution on return.
void solve(const GeneralFactor& factor, float* x);
