// The matting matrix of an invented picture, for tests and benchmarks of the solver.
//
// Closed-form matting Laplacian (Levin, Lischinski, Weiss, 2008) over 3 by 3 windows plus a small
// multiple of the identity, as upper triangle. The picture has smooth parts, edges and grain, so
// that weights of both signs and of very different sizes arise.
#pragma once

#include <Eigen/Dense>
#include <Eigen/SparseCore>
#include <cmath>
#include <cstdint>
#include <vector>

using Rows = Eigen::SparseMatrix<float, Eigen::RowMajor, int32_t>;

// As the solver wants it: compressed rows, 1-based.
struct SparseMatrix {
  int32_t n = 0;
  std::vector<int32_t> ia, ja;
  std::vector<float> a;

  SparseMatrix() = default;
  SparseMatrix(Rows rows) : n(int32_t(rows.rows())) {
    rows.makeCompressed();
    for (int32_t i = 0; i <= n; ++i)
      ia.push_back(rows.outerIndexPtr()[i] + 1);
    for (int32_t p = 0; p < rows.nonZeros(); ++p)
      ja.push_back(rows.innerIndexPtr()[p] + 1);
    a.assign(rows.valuePtr(), rows.valuePtr() + rows.nonZeros());
  }
};

inline Eigen::Vector3d inventedColour(int32_t x, int32_t y) {
  const uint32_t noise = (uint32_t(x) * 73856093u ^ uint32_t(y) * 19349663u) * 2654435761u;
  const double grain = (noise >> 16) / 65536.0 * 0.02, edge = (x / 37 + y / 23) % 2 ? 0.25 : 0.0;
  return {0.4 + 0.3 * std::sin(x * 0.031) + edge + grain, 0.5 + 0.2 * std::cos(y * 0.047) + grain,
          0.3 + edge + 0.1 * std::sin((x + y) * 0.02) - grain};
}

inline Rows mattingMatrix(int32_t width, int32_t height) {
  constexpr double epsilon = 0.001, lambda = 0.001;
  std::vector<Eigen::Triplet<float, int32_t>> sums;
  for (int32_t k = 0; k < width * height; ++k)
    sums.emplace_back(k, k, float(lambda));
  for (int32_t y = 0; y + 2 < height; ++y)
    for (int32_t x = 0; x + 2 < width; ++x) {
      Eigen::Matrix<double, 3, 9> pixel;
      for (int32_t i = 0; i < 9; ++i)
        pixel.col(i) = inventedColour(x + i % 3, y + i / 3);
      pixel.colwise() -= pixel.rowwise().mean().eval();
      const Eigen::Matrix3d covariance =
          (pixel * pixel.transpose() + epsilon * Eigen::Matrix3d::Identity()) / 9;
      const Eigen::Matrix<double, 9, 9> weight = pixel.transpose() * covariance.inverse() * pixel;
      const auto index = [&](int32_t i) { return (y + i / 3) * width + x + i % 3; };
      for (int32_t i = 0; i < 9; ++i)
        for (int32_t j = i; j < 9; ++j)
          sums.emplace_back(index(i), index(j), float((i == j) - (1 + weight(i, j)) / 9));
    }
  Rows matrix(width * height, width * height);
  matrix.setFromTriplets(sums.begin(), sums.end());
  return matrix;
}
