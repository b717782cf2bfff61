#include "primitives/sparse/SparseGeneral.h"

#include <Eigen/SparseLU>

namespace {

using Matrix = Eigen::SparseMatrix<float, Eigen::ColMajor, int32_t>;

Matrix expand(const SparseStructure& s, const float* values, bool symmetric) {
  const ZeroBased indices(s);
  const Eigen::Map<const Eigen::SparseMatrix<float, Eigen::RowMajor, int32_t>> rows(
      s.n, s.n, s.entries(), indices.start.data(), indices.column.data(), values);
  if (symmetric)
    return rows.selfadjointView<Eigen::Upper>();
  return rows;
}

} // namespace

struct GeneralFactor {
  Eigen::SparseLU<Matrix, Eigen::COLAMDOrdering<int32_t>> lu;
};

void GeneralFactorDelete::operator()(GeneralFactor* factor) const noexcept { delete factor; }

GeneralFactorOwner factoriseGeneral(const SparseStructure& structure, const float* values,
                                    bool symmetric) {
  GeneralFactorOwner factor(new GeneralFactor);
  factor->lu.compute(expand(structure, values, symmetric));
  // Every failure sets a message; info() is not set if the first allocation fails.
  return factor->lu.lastErrorMessage().empty() ? std::move(factor) : nullptr;
}

void solve(const GeneralFactor& factor, float* x) {
  Eigen::Map<Eigen::VectorXf> vector(x, factor.lu.rows());
  const Eigen::VectorXf solution = factor.lu.solve(vector);
  vector = solution;
}
