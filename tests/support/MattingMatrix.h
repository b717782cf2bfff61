// Positive definite matrices for tests and benchmarks of the solver, as upper triangles: Laplacians
// of graphs, plus a multiple of the identity. One has the matting matrix's structure and condition:
// each pixel is tied to its neighbours up to two columns and rows away.
#pragma once

#include <Eigen/SparseCore>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

using Rows = Eigen::SparseMatrix<float, Eigen::RowMajor, int32_t>;

// In the solver's format: compressed rows, 1-based.
struct SparseMatrix {
  int32_t n;
  std::vector<int32_t> ia, ja;
  std::vector<float> a;

  SparseMatrix(const Rows& rows)
      : n(int32_t(rows.rows())), ia(rows.outerIndexPtr(), rows.outerIndexPtr() + n + 1),
        ja(rows.innerIndexPtr(), rows.innerIndexPtr() + rows.nonZeros()),
        a(rows.valuePtr(), rows.valuePtr() + rows.nonZeros()) {
    for (std::vector<int32_t>* indices : {&ia, &ja})
      for (int32_t& index : *indices)
        ++index;
  }
};

// The sum of the entries, compressed.
inline Rows matrixOf(int32_t n, const std::vector<Eigen::Triplet<float>>& sums) {
  Rows matrix(n, n);
  matrix.setFromTriplets(sums.begin(), sums.end());
  return matrix;
}

// Ties each unknown i to those that `to` returns, if they exist, with weights of 1 to 1/128.
template <class To> Rows tied(int32_t n, float rest, To to) {
  std::vector<Eigen::Triplet<float>> sums;
  uint32_t noise = 1;
  for (int32_t i = 0; i < n; ++i) {
    sums.emplace_back(i, i, rest);
    for (const int32_t j : to(i))
      if (j >= 0 && j < n && j != i) {
        noise = noise * 1664525u + 1013904223u;
        const float weight = std::exp2(-float(noise >> 29));
        sums.emplace_back(std::min(i, j), std::max(i, j), -weight);
        sums.emplace_back(i, i, weight);
        sums.emplace_back(j, j, weight);
      }
  }
  return matrixOf(n, sums);
}

inline Rows mattingMatrix(int32_t width, int32_t height) {
  return tied(width * height, 0.001f, [=](int32_t k) {
    std::vector<int32_t> near;
    for (int32_t place = 13; place < 25; ++place) { // of the 5 by 5 pixels around k, those after k
      const int32_t x = k % width + place % 5 - 2, y = k / width + place / 5 - 2;
      if (x >= 0 && x < width && y < height)
        near.push_back(y * width + x);
    }
    return near;
  });
}
