// The 3 by 3 matrix against plain sums and by residuals.
#include "VMath/VMatrix3.h"

#include <gmock/gmock.h>

#include <cmath>
#include <random>

#include "tests/VMath/DebugOutput.h"

namespace {

VMatrix3 randomMatrix(std::mt19937& random, double size = 1.0) {
  std::uniform_real_distribution<double> value(-size, size);
  VMatrix3 m;
  for (int k = 0; k < 9; ++k)
    m.element(k / 3, k % 3) = value(random);
  return m;
}

VMatrix3 diagonal(double a, double b, double c) {
  VMatrix3 m;
  m.element(0, 0) = a;
  m.element(1, 1) = b;
  m.element(2, 2) = c;
  return m;
}

// Largest difference of an element from the matrix product a*b, which is summed here.
double residual(const VMatrix3& a, const VMatrix3& b, const VMatrix3& product) {
  double largest = 0;
  for (int row = 0; row < 3; ++row)
    for (int col = 0; col < 3; ++col) {
      double sum = -product.at(row, col);
      for (int k = 0; k < 3; ++k)
        sum += a.at(row, k) * b.at(k, col);
      largest = std::max(largest, std::abs(sum));
    }
  return largest;
}

double largestOf(const VMatrix3& m) {
  double largest = 0;
  for (double v : m.data)
    largest = std::max(largest, std::abs(v));
  return largest;
}

TEST(VMatrix3, ArithmeticElementByElement) {
  std::mt19937 random(1);
  for (int round = 0; round < 20; ++round) {
    const VMatrix3 a = randomMatrix(random), b = randomMatrix(random), c(&b);
    EXPECT_LT(residual(a, b, a * c), 1e-15);
    const VMatrix3 sum = a + b, difference = a - b, turned = a.transpose();
    for (int row = 0; row < 3; ++row)
      for (int col = 0; col < 3; ++col) {
        EXPECT_EQ(sum.at(row, col), a.at(row, col) + b.at(row, col));
        EXPECT_EQ(difference.at(row, col), a.at(row, col) - b.at(row, col));
        EXPECT_EQ(turned.at(row, col), a.at(col, row));
      }
  }
  EXPECT_EQ(largestOf(VMatrix3()), 0);
}

// At any size that doubles have: the determinant of the outer two lies far beyond their range.
TEST(VMatrix3, InverseLeavesNoResidual) {
  std::mt19937 random(2);
  for (double size : {1e-150, 1e-3, 1.0, 1e5, 1e150})
    for (int round = 0; round < 50; ++round) {
      const VMatrix3 a = randomMatrix(random, size) + diagonal(size, size, size);
      const VMatrix3 inverse = a.inverse();
      const double condition = largestOf(a) * largestOf(inverse);
      EXPECT_LT(residual(a, inverse, VMatrix3::identity()), 1e-14 * condition) << size;
    }
}

TEST(VMatrix3, WithoutAnInverseItIsTheZeroMatrix) {
  VMatrix3 counting;
  for (int k = 0; k < 9; ++k)
    counting.data[k] = k + 1;
  for (const VMatrix3& m :
       {VMatrix3(), counting, diagonal(1, 0, 1), diagonal(1, NAN, 1), diagonal(1, INFINITY, 1)})
    EXPECT_EQ(largestOf(m.inverse()), 0);
}

// A = U*S*V with orthogonal U and V = U', the eigenvalues descending, over full, singular, graded,
// indefinite and diagonal matrices and such with eigenvalues that coincide.
TEST(VMatrix3, EigenDecompositionRebuildsSymmetricMatrices) {
  std::mt19937 random(3);
  for (const VMatrix3& values :
       {diagonal(3, 2, 1), diagonal(5, 0, -4), diagonal(1, 1, 1), diagonal(2, 2, 1e-12),
        diagonal(1e9, 1, 1e-9), diagonal(0, 0, 0), diagonal(-1, -2, -2), diagonal(1e-200, 0, 0)})
    for (int round = 0; round < 30; ++round) {
      // Turned by two random rotations, but for the first round.
      VMatrix3 a = values;
      for (int axis = 0; axis < 2 && round; ++axis) {
        const double angle = round + 10 * axis;
        VMatrix3 turn = VMatrix3::identity();
        turn.element(axis, axis) = turn.element(axis + 1, axis + 1) = std::cos(angle);
        turn.element(axis, axis + 1) = std::sin(angle);
        turn.element(axis + 1, axis) = -std::sin(angle);
        a = turn * a * turn.transpose();
      }
      for (int k : {1, 2, 5}) // symmetric to the last bit
        a.element(k % 3, k / 3) = a.at(k / 3, k % 3);
      VMatrix3 U, S, V;
      a.svd(U, S, V);
      const double size = largestOf(values);
      EXPECT_LE(residual(U * S, V, a), 4e-15 * size);
      EXPECT_LT(residual(U, V, VMatrix3::identity()), 2e-15);
      EXPECT_EQ(largestOf(V - U.transpose()), 0);
      for (int k = 0; k < 3; ++k) {
        EXPECT_NEAR(S.at(k, k), values.at(k, k), 4e-15 * size);
        EXPECT_GE(S.at(k, k), S.at(std::min(k + 1, 2), std::min(k + 1, 2)));
      }
      EXPECT_EQ(largestOf(S - diagonal(S.at(0, 0), S.at(1, 1), S.at(2, 2))), 0);
    }
}

TEST(VMatrix3, EigenDecompositionOfWhatIsNotFiniteEnds) {
  VMatrix3 a = diagonal(1, 2, 3), U, S, V;
  a.element(0, 1) = a.element(1, 0) = NAN;
  a.svd(U, S, V);
  EXPECT_TRUE(std::isnan(S.at(0, 0)) || std::isnan(S.at(1, 1)));
}

TEST(VMatrix3, PrintsInFieldsOfTen) {
  VMatrix3 m = diagonal(1, -22.5, 1e-300);
  m.element(0, 2) = 12345;
  const DebugOutput output;
  m.QPrint();
  EXPECT_THAT(DebugOutput::lines(),
              testing::ElementsAre("VMatrix3 : 3x3 ", "  1.00e+00   0.00e+00   1.23e+04 ",
                                   "  0.00e+00  -2.25e+01   0.00e+00 ",
                                   "  0.00e+00   0.00e+00  1.00e-300 "));
}

} // namespace
