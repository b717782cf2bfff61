// The matting matrix of an invented picture, for tests and benchmarks of the solver.
//
// Closed-form matting Laplacian (Levin, Lischinski, Weiss, 2008) over 3 by 3 windows plus a small
// multiple of the identity, as upper triangle, 1-based, columns ascending. The picture has smooth
// parts, edges and grain, so that weights of both signs and of very different sizes arise.
#pragma once

#include <Eigen/Dense>

#include <cmath>
#include <cstdint>
#include <map>
#include <vector>

struct SparseMatrix {
  int32_t n = 0;
  std::vector<int32_t> ia, ja;
  std::vector<float> a;
};

inline Eigen::Vector3d inventedColour(int32_t x, int32_t y) {
  const uint32_t noise = (uint32_t(x) * 73856093u ^ uint32_t(y) * 19349663u) * 2654435761u;
  const double grain = (noise >> 16) / 65536.0 * 0.02, edge = (x / 37 + y / 23) % 2 ? 0.25 : 0.0;
  return {0.4 + 0.3 * std::sin(x * 0.031) + edge + grain, 0.5 + 0.2 * std::cos(y * 0.047) + grain,
          0.3 + edge + 0.1 * std::sin((x + y) * 0.02) - grain};
}

// colour(x, y): red, green, blue from 0 to 1.
template <class Colour> SparseMatrix mattingMatrix(int32_t width, int32_t height, Colour&& colour) {
  constexpr double epsilon = 0.001, lambda = 0.001;
  constexpr int32_t reach = 2, across = 2 * reach + 1;
  const int32_t n = width * height;
  // [unknown][row below][column to the right + reach]
  std::vector<float> value(size_t(n) * (reach + 1) * across, 0.0f);
  std::vector<bool> there(value.size(), false);
  auto at = [&](int32_t k, int32_t dy, int32_t dx) {
    return (size_t(k) * (reach + 1) + dy) * across + dx + reach;
  };
  for (int32_t k = 0; k < n; ++k) {
    value[at(k, 0, 0)] = float(lambda);
    there[at(k, 0, 0)] = true;
  }
  for (int32_t y = 0; y + reach < height; ++y)
    for (int32_t x = 0; x + reach < width; ++x) {
      Eigen::Matrix<double, 3, 9> pixel;
      for (int32_t i = 0; i < 9; ++i)
        pixel.col(i) = colour(x + i % 3, y + i / 3);
      pixel.colwise() -= pixel.rowwise().mean().eval();
      const Eigen::Matrix3d covariance =
          (pixel * pixel.transpose() + epsilon * Eigen::Matrix3d::Identity()) / 9;
      const Eigen::Matrix<double, 9, 9> weight = pixel.transpose() * covariance.inverse() * pixel;
      for (int32_t i = 0; i < 9; ++i)
        for (int32_t j = i; j < 9; ++j) {
          const size_t p = at((y + i / 3) * width + x + i % 3, j / 3 - i / 3, j % 3 - i % 3);
          value[p] += float((i == j) - (1 + weight(i, j)) / 9);
          there[p] = true;
        }
    }
  SparseMatrix matrix{n, {1}, {}, {}};
  for (int32_t k = 0; k < n; ++k) {
    for (int32_t dy = 0; dy <= reach; ++dy)
      for (int32_t dx = -reach; dx <= reach; ++dx)
        if (there[at(k, dy, dx)]) {
          matrix.ja.push_back(k + dy * width + dx + 1);
          matrix.a.push_back(value[at(k, dy, dx)]);
        }
    matrix.ia.push_back(int32_t(matrix.ja.size()) + 1);
  }
  return matrix;
}

inline SparseMatrix mattingMatrix(int32_t width, int32_t height) {
  return mattingMatrix(width, height, inventedColour);
}
