// Sparse LU factorisation with pivoting, for matrices without a Cholesky factor: unsymmetric ones,
// and symmetric ones that are not positive definite. Slow and rarely used. Single precision.
#pragma once

#include <memory>

#include "primitives/sparse/SparseStructure.h"

struct GeneralFactor;
struct GeneralFactorDelete {
  void operator()(GeneralFactor* factor) const noexcept;
};
using GeneralFactorOwner = std::unique_ptr<GeneralFactor, GeneralFactorDelete>;

// The structure is an upper triangle if `symmetric`, otherwise the whole matrix. Returns null if a
// column has no pivot left; throws std::bad_alloc.
GeneralFactorOwner factoriseGeneral(const SparseStructure& structure, const float* values,
                                    bool symmetric);

// x: right-hand side on entry, solution on return.
void solve(const GeneralFactor& factor, float* x);
