// 3 by 3 inverse and product against double precision, over the layouts that strides allow.
#include "primitives/image/SmallMatrix.h"

#include <Eigen/LU>
#include <gmock/gmock.h>

#include <cmath>
#include <random>

namespace {

using Matrix3 = Eigen::Matrix<double, 3, 3, Eigen::RowMajor>;

// Covariances of nine colours that are nearly alike, on a little multiple of the identity: what the
// matting windows of a smooth photograph give.
Matrix3 covariance(std::mt19937& random, double spread, double onDiagonal) {
  std::normal_distribution<double> value(0.0, spread);
  Matrix3 sum = Matrix3::Identity() * onDiagonal;
  for (int k = 0; k < 9; ++k) {
    const double grey = value(random);
    const Eigen::Vector3d colour(grey, grey + 0.01 * value(random), grey);
    sum += colour * colour.transpose() / 9;
  }
  return sum;
}

struct Layout {
  int rowFloats, elementFloats;
};

class Layouts : public testing::TestWithParam<Layout> {
protected:
  // Floats between the elements keep what they hold.
  static constexpr float gap = 5e9f;
  float stored[40], work[13];

  int placeOf(int row, int column) const {
    return row * GetParam().rowFloats + column * GetParam().elementFloats;
  }
  void store(const Matrix3& m) {
    std::fill(std::begin(stored), std::end(stored), gap);
    for (int k = 0; k < 9; ++k)
      stored[placeOf(k / 3, k % 3)] = float(m(k / 3, k % 3));
  }
  Matrix3 load() const {
    Matrix3 m;
    for (int k = 0; k < 9; ++k)
      m(k / 3, k % 3) = stored[placeOf(k / 3, k % 3)];
    return m;
  }
  int32_t invertInPlace() {
    const Layout l = GetParam();
    return invert3x3(stored, l.rowFloats * 4, l.elementFloats * 4, work, stored, l.rowFloats * 4,
                     l.elementFloats * 4, 3);
  }
};

TEST_P(Layouts, InverseIsThatOfDoublePrecision) {
  std::mt19937 random(7);
  for (int round = 0; round < 200; ++round) {
    store(round % 2 ? covariance(random, 0.02, 1e-7 / 9)
                    : Matrix3(Matrix3::Random() + 0.5 * Matrix3::Identity()));
    const Matrix3 m = load(); // rounded to float
    ASSERT_EQ(invertInPlace(), smallMatrixOk);
    const Matrix3 expected = m.inverse();
    EXPECT_LT((load() - expected).norm(), 1e-6 * expected.norm()) << m;
    int gaps = 0;
    for (float f : stored)
      gaps += f == gap;
    EXPECT_EQ(gaps, 40 - 9);
  }
}

TEST_P(Layouts, ProductIsThatOfDoublePrecision) {
  std::mt19937 random(8);
  const Layout l = GetParam();
  for (int round = 0; round < 50; ++round) {
    const Matrix3 m = covariance(random, 1.0, 0.1);
    const Eigen::Vector3f v = Eigen::Vector3f::Random();
    store(m);
    const float spread[5] = {v[0], gap, v[1], gap, v[2]};
    float result[9] = {};
    ASSERT_EQ(multiply3x3Vector(stored, l.rowFloats * 4, l.elementFloats * 4, 3, 3, spread, 8, 3,
                                result, 12),
              smallMatrixOk);
    const Eigen::Vector3d expected = m * v.cast<double>();
    for (int k = 0; k < 3; ++k)
      EXPECT_NEAR(result[3 * k], expected[k], 1e-6);
    EXPECT_EQ(result[1] + result[2] + result[4] + result[5] + result[7] + result[8], 0);
  }
}

INSTANTIATE_TEST_SUITE_P(Strides, Layouts,
                         testing::Values(Layout{3, 1}, Layout{1, 3}, Layout{5, 1}, Layout{9, 2}));

TEST(SmallMatrix, WhatHasNoInverseIsReported) {
  float work[13], inverse[9];
  const auto status = [&](const float(&m)[9], int32_t size = 3) {
    return invert3x3(m, 12, 4, work, inverse, 12, 4, size);
  };
  EXPECT_EQ(status({1, 2, 3, 4, 5, 6, 7, 8, 9}), smallMatrixSingular);
  EXPECT_FALSE(std::isfinite(inverse[0])); // as the division leaves it
  EXPECT_EQ(status({}), smallMatrixSingular);
  EXPECT_EQ(status({NAN, 0, 0, 0, 1, 0, 0, 0, 1}), smallMatrixSingular);
  EXPECT_EQ(status({INFINITY, 0, 0, 0, 1, 0, 0, 0, 1}), smallMatrixSingular);
  EXPECT_EQ(status({1, 0, 0, 0, 1, 0, 0, 0, 1}, 4), smallMatrixBadSize);
  EXPECT_EQ(invert3x3(nullptr, 12, 4, work, inverse, 12, 4, 3), smallMatrixNullPointer);
  EXPECT_EQ(multiply3x3Vector(work, 12, 4, 3, 2, work, 4, 3, inverse, 4), smallMatrixBadSize);
  EXPECT_EQ(multiply3x3Vector(work, 12, 4, 3, 3, nullptr, 4, 3, inverse, 4),
            smallMatrixNullPointer);
  // The smallest regular floats: the determinant lies far below a float's range.
  EXPECT_EQ(status({1e-30f, 0, 0, 0, 1e-30f, 0, 0, 0, 1e-30f}), smallMatrixOk);
  EXPECT_FLOAT_EQ(inverse[4], 1e30f);
}

} // namespace
