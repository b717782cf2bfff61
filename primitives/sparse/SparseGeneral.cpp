#include "primitives/sparse/SparseGeneral.h"

#include <Eigen/SparseLU>

#include <new>

using Matrix = Eigen::SparseMatrix<float, Eigen::ColMajor, int32_t>;

struct GeneralFactor {
  Eigen::SparseLU<Matrix, Eigen::COLAMDOrdering<int32_t>> lu;
};

namespace {

Matrix expand(const SparseStructure& s, const float* values, bool symmetric) {
  const int64_t entries = s.ia[s.n] - 1, all = symmetric ? 2 * entries - s.n : entries;
  if (all > std::numeric_limits<int32_t>::max())
    throw std::bad_alloc();
  std::vector<Eigen::Triplet<float, int32_t>> list;
  list.reserve(all);
  for (int32_t i = 0; i < s.n; ++i)
    for (int32_t p = s.ia[i] - 1; p < s.ia[i + 1] - 1; ++p) {
      list.emplace_back(i, s.ja[p] - 1, values[p]);
      if (symmetric && s.ja[p] - 1 != i)
        list.emplace_back(s.ja[p] - 1, i, values[p]);
    }
  Matrix matrix(s.n, s.n);
  matrix.setFromTriplets(list.begin(), list.end());
  return matrix;
}

bool hasEmptyLine(const Matrix& matrix) {
  std::vector<uint8_t> row(matrix.rows(), 0);
  for (int32_t j = 0; j < matrix.cols(); ++j) {
    if (matrix.outerIndexPtr()[j] == matrix.outerIndexPtr()[j + 1])
      return true;
    for (Matrix::InnerIterator entry(matrix, j); entry; ++entry)
      row[entry.row()] = 1;
  }
  return std::find(row.begin(), row.end(), 0) != row.end();
}

// Pivots of a singular matrix come out as rounding errors rather than zeros. Such a factor cannot
// give back a vector from its product with the matrix.
bool givesBack(const GeneralFactor& factor, const Matrix& matrix) {
  Eigen::VectorXf known(matrix.rows());
  for (Eigen::Index i = 0; i < known.size(); ++i)
    known[i] = 1 + float(i % 7) / 8;
  const Eigen::VectorXf product = (matrix.cast<double>() * known.cast<double>()).cast<float>();
  const Eigen::VectorXf found = factor.lu.solve(product);
  constexpr float tolerance = 0.5f;
  return found.allFinite() && (found - known).cwiseAbs().maxCoeff() < tolerance;
}

// Column k of L times row k of U, summed over the pivots.
void countWork(const GeneralFactor& factor, double& entries, double& flop) {
  const auto n = int32_t(factor.lu.cols());
  std::vector<double> below(n, 0), right(n, 0);
  const auto& lower = factor.lu.matrixL().m_mapL;
  for (int32_t j = 0; j < n; ++j)
    for (typename std::decay_t<decltype(lower)>::InnerIterator entry(lower, j); entry; ++entry)
      entry.row() > j ? ++below[j] : ++right[entry.row()];
  const auto& upper = factor.lu.matrixU().m_mapU;
  for (int32_t j = 0; j < n; ++j)
    for (typename std::decay_t<decltype(upper)>::InnerIterator entry(upper, j); entry; ++entry)
      ++right[entry.row()];
  entries = flop = 0;
  for (int32_t k = 0; k < n; ++k) {
    entries += below[k] + right[k];
    flop += below[k] * (2 * right[k] - 1);
  }
}

} // namespace

void GeneralFactorDelete::operator()(GeneralFactor* factor) const noexcept { delete factor; }

GeneralFactorOwner factoriseGeneral(const SparseStructure& structure, const float* values,
                                    bool symmetric, double& entries, double& flop) {
  const Matrix matrix = expand(structure, values, symmetric);
  if (hasEmptyLine(matrix))
    return nullptr;
  GeneralFactorOwner factor(new GeneralFactor);
  factor->lu.compute(matrix);
  if (factor->lu.info() != Eigen::Success || !givesBack(*factor, matrix))
    return nullptr;
  countWork(*factor, entries, flop);
  return factor;
}

void solve(const GeneralFactor& factor, float* x) {
  Eigen::Map<Eigen::VectorXf> vector(x, factor.lu.rows());
  const Eigen::VectorXf solution = factor.lu.solve(vector);
  vector = solution;
}
