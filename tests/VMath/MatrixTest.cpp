// The general matrix against plain loops, reconstructions and geometry.
#include "VMath/Matrix.h"

#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/VMath/DebugOutput.h"

namespace {

using Element = std::function<double(int32_t row, int32_t col)>;

Matrix filled(int32_t rows, int32_t cols, const Element& element) {
  Matrix m(rows, cols);
  for (int32_t row = 0; row < rows; ++row)
    for (int32_t col = 0; col < cols; ++col)
      m.element(row, col) = element(row, col);
  return m;
}

Matrix randomMatrix(int32_t rows, int32_t cols, unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> value(-2.0, 2.0);
  return filled(rows, cols, [&](int32_t, int32_t) { return value(random); });
}

// Shape and every element, by a rule that knows nothing of the storage.
void expectElements(const Matrix& m, int32_t rows, int32_t cols, const Element& expected,
                    double tolerance = 0) {
  ASSERT_EQ(m.nRows, rows);
  ASSERT_EQ(m.nCols, cols);
  for (int32_t row = 0; row < rows; ++row)
    for (int32_t col = 0; col < cols; ++col)
      ASSERT_NEAR(m.at(row, col), expected(row, col), tolerance) << row << ' ' << col;
}

void expectEmpty(const Matrix& m) {
  EXPECT_EQ(m.data, nullptr);
  EXPECT_EQ(m.nRows, 0);
  EXPECT_EQ(m.nCols, 0);
}

double tripleLoop(const Matrix& A, const Matrix& B, int32_t row, int32_t col) {
  double sum = 0;
  for (int32_t k = 0; k < A.nCols; ++k)
    sum += A.at(row, k) * B.at(k, col);
  return sum;
}

class Shapes : public testing::TestWithParam<std::tuple<int, int>> {
protected:
  const int32_t rows = std::get<0>(GetParam()), cols = std::get<1>(GetParam());
  const Matrix A = randomMatrix(rows, cols, 1), B = randomMatrix(rows, cols, 2);
};

INSTANTIATE_TEST_SUITE_P(All, Shapes,
                         testing::Combine(testing::Values(1, 2, 3, 7, 40),
                                          testing::Values(1, 2, 5, 8, 33)));

TEST_P(Shapes, ProductsAreThoseOfTripleLoops) {
  for (int32_t width : {1, 4, 19}) {
    const Matrix C = randomMatrix(cols, width, 3), start = randomMatrix(rows, width, 4);
    expectElements(
        Matrix::product(A, C), rows, width,
        [&](int32_t row, int32_t col) { return tripleLoop(A, C, row, col); }, 1e-12);
    Matrix sum = start;
    sum.multiply(A, C, -1.5, 0.25);
    expectElements(
        sum, rows, width,
        [&](int32_t row, int32_t col) {
          return -1.5 * tripleLoop(A, C, row, col) + 0.25 * start.at(row, col);
        },
        1e-12);
  }
}

TEST_P(Shapes, VectorProductsResizeOnlyWhatDoesNotFit) {
  const Matrix x = randomMatrix(cols, 1, 5);
  const auto product = [&](int32_t row, int32_t) { return tripleLoop(A, x, row, 0); };
  for (Matrix y : {Matrix(), randomMatrix(rows + 1, 1, 6)}) { // no old value may shine through
    y.multiplyVector(A, x, 2.0, 3.0);
    expectElements(
        y, rows, 1, [&](int32_t r, int32_t c) { return 2 * product(r, c); }, 1e-12);
  }
  const Matrix old = randomMatrix(1, rows, 7); // of the right length, lying
  Matrix y = old;
  y.multiplyVector(A, x, 2.0, 3.0);
  expectElements(
      y, 1, rows, [&](int32_t, int32_t col) { return 2 * product(col, 0) + 3 * old.at(0, col); },
      1e-12);
}

TEST_P(Shapes, SingularValuesRebuildTheMatrix) {
  Matrix U(2, 9), S, Vt; // what they held is dropped
  Matrix::svd(A, U, S, Vt);
  expectElements(
      Matrix::product(Matrix::product(U, S), Vt), rows, cols,
      [&](int32_t row, int32_t col) { return A.at(row, col); }, 1e-12);
  const Element identity = [](int32_t row, int32_t col) { return row == col; };
  expectElements(Matrix::product(U.transposed(), U), rows, rows, identity, 1e-13);
  expectElements(Matrix::product(Vt, Vt.transposed()), cols, cols, identity, 1e-13);
  const int32_t values = std::min(rows, cols);
  for (int32_t row = 0; row < rows; ++row)
    for (int32_t col = 0; col < cols; ++col)
      if (row != col) {
        ASSERT_EQ(S.at(row, col), 0);
      }
  for (int32_t k = 0; k < values; ++k)
    ASSERT_GE(S.at(k, k), k + 1 < values ? S.at(k + 1, k + 1) : 0);
}

TEST_P(Shapes, ElementWiseOperationsAndSums) {
  const auto of = [&](auto operation) {
    return [this, operation](int32_t row, int32_t col) {
      return operation(A.at(row, col), B.at(row, col));
    };
  };
  expectElements(Matrix::mulElements(A, B), rows, cols, of(std::multiplies<>()));
  expectElements(Matrix::addElements(A, B), rows, cols, of(std::plus<>()));
  expectElements(Matrix::subElements(A, B), rows, cols, of(std::minus<>()));
  expectElements(A.negated(), rows, cols, of([](double a, double) { return -a; }));
  Matrix moved = A;
  moved.addScaled(0.75, B);
  expectElements(moved, rows, cols, of([](double a, double b) { return a + 0.75 * b; }), 1e-15);

  double sum = 0, sumAbs = 0, dot = 0;
  std::vector<double> down(cols), across(rows);
  for (int32_t row = 0; row < rows; ++row)
    for (int32_t col = 0; col < cols; ++col) {
      sum += A.at(row, col);
      sumAbs += std::abs(A.at(row, col));
      dot += A.at(row, col) * B.at(row, col);
      down[col] += A.at(row, col);
      across[row] += A.at(row, col);
    }
  EXPECT_NEAR(A.sum(), sum, 1e-11);
  EXPECT_NEAR(A.sumAbs(), sumAbs, 1e-11);
  EXPECT_NEAR(A.dot(B), dot, 1e-11);
  expectElements(
      A.columnSums(), 1, cols, [&](int32_t, int32_t c) { return down[c]; }, 1e-12);
  expectElements(
      A.rowSums(), rows, 1, [&](int32_t r, int32_t) { return across[r]; }, 1e-12);
}

TEST_P(Shapes, RowsColumnsAndTransposition) {
  expectElements(A.row(rows - 1), 1, cols, [&](int32_t, int32_t c) { return A.at(rows - 1, c); });
  expectElements(A.column(cols - 1), rows, 1,
                 [&](int32_t r, int32_t) { return A.at(r, cols - 1); });
  const auto mirrored = [&](int32_t row, int32_t col) { return A.at(col, row); };
  Matrix turned = A;
  turned.transpose();
  expectElements(turned, cols, rows, mirrored);
  expectElements(A.transposed(), cols, rows, mirrored);
  Matrix line = A;
  line.flatten(); // column after column
  expectElements(line, rows * cols, 1,
                 [&](int32_t k, int32_t) { return A.at(k % rows, k / rows); });
  line.setDimensions(rows, cols);
  EXPECT_EQ(line.countDifferences(A), 0);
  Matrix identity = A;
  identity.setIdentity();
  expectElements(identity, rows, cols, [](int32_t row, int32_t col) { return row == col; });
}

// Divided and multiplied by the reciprocal, 5/3 differs in the last bit.
TEST(Matrix, DivisionMultipliesByTheReciprocal) {
  const auto five = [](int32_t, int32_t) { return 5.0; };
  const volatile double three = 3.0;
  const double expected = 5.0 * (1.0 / three);
  ASSERT_NE(expected, 5.0 / three);
  Matrix m = filled(2, 2, five);
  EXPECT_EQ((m /= 3.0).at(1, 0), expected);
  EXPECT_EQ(filled(1, 2, five).scaledInverse(3.0).at(0, 1), expected);
}

// A shift of the plane is one product in homogeneous coordinates.
TEST(Matrix, HomogeneousPointsAreMovedByAProduct) {
  const Matrix points = randomMatrix(2, 11, 8);
  const Matrix shift = filled(3, 3, [](int32_t row, int32_t col) {
    return row == col ? 4.0 : col == 2 ? row + 1 : 0;
  });
  const Matrix moved = Matrix::product(shift, points.homogeneous()).fromHomogeneous();
  expectElements(
      moved, 2, 11, [&](int32_t row, int32_t col) { return points.at(row, col) + (row + 1) / 4.0; },
      1e-14);
}

TEST(Matrix, NormalizedLinesGiveDistances) {
  // Through (x, y) at the angle of col, so that the origin's distance is known.
  const auto angle = [](int32_t col) { return 0.3 + col; };
  const Matrix lines = filled(3, 6, [&](int32_t row, int32_t col) {
    const double stretch = 7.1 * (col + 1);
    return stretch * (row == 0 ? std::cos(angle(col)) : row == 1 ? std::sin(angle(col)) : -2.5);
  });
  const Matrix normalized = lines.normalizedLines();
  for (int32_t col = 0; col < 6; ++col) {
    EXPECT_NEAR(normalized.at(2, col), -2.5, 1e-6);
    EXPECT_NEAR(std::hypot(normalized.at(0, col), normalized.at(1, col)), 1, 1e-7);
  }
  // sqrt(1 + 1) is no float: the divisor is the nearest one.
  const Matrix diagonal = filled(3, 1, [](int32_t row, int32_t) { return row == 2 ? 8.0 : 1.0; });
  EXPECT_EQ(diagonal.normalizedLines().at(2, 0), 8.0 / 1.41421353816986083984375);
}

TEST(Matrix, DifferencesAreCountedAboveTheFloatThreshold) {
  const Matrix zero(2, 3);
  Matrix m(2, 3);
  m.element(0, 0) = 0.001f;                      // equal to the threshold: the same
  m.element(1, 0) = std::nextafter(0.001f, 1.0); // a double just above
  m.element(0, 1) = 0.001;                       // below the float, which is rounded up
  m.element(1, 2) = -3;
  EXPECT_EQ(m.countDifferences(zero), 2.0);
  EXPECT_EQ(m.countDifferences(m), 0.0);
  for (const Matrix& other : {Matrix(3, 2), Matrix(2, 2), Matrix(6, 1), Matrix()})
    EXPECT_EQ(m.countDifferences(other), -1.0);
}

TEST(Matrix, FiniteUntilOneElementIsNot) {
  for (double bad : {std::numeric_limits<double>::infinity(), std::nan("")}) {
    Matrix m = randomMatrix(5, 4, 9);
    EXPECT_TRUE(m.isFinite());
    m.element(4, 3) = bad;
    EXPECT_FALSE(m.isFinite());
  }
}

TEST(Matrix, CopiesAreDeepAndMovesLeaveOneOwner) {
  Matrix source = randomMatrix(3, 2, 10);
  const Matrix copy(source);
  Matrix assigned(7, 7);
  assigned = source;
  Matrix& self = assigned;
  assigned = self;
  source.setZero();
  EXPECT_GT(copy.sumAbs(), 0);
  EXPECT_EQ(assigned.countDifferences(copy), 0);
  const Matrix moved(std::move(assigned));
  EXPECT_EQ(moved.countDifferences(copy), 0);
  expectEmpty(assigned); // NOLINT: what a move leaves is what is asked
  VMatrix3 small;
  small.element(2, 0) = 6;
  expectElements(Matrix(small), 3, 3,
                 [](int32_t r, int32_t c) { return r == 2 && c == 0 ? 6 : 0; });
}

TEST(Matrix, EmptyMatricesStayEmpty) {
  const Matrix empty;
  for (Matrix m : {Matrix(0, 5), Matrix(5, 0), Matrix(-3, 4)})
    expectEmpty(m);
  Matrix m(3, 3);
  m = empty;
  expectEmpty(m);
  m *= 2.0;
  m.addScaled(1.0, empty);
  m.setIdentity();
  m.transpose();
  m.multiply(empty, empty, 1.0, 1.0);
  m.multiplyVector(empty, empty, 1.0, 1.0);
  m.flatten();
  expectEmpty(m);
  EXPECT_EQ(m.sum() + m.sumAbs() + m.dot(empty), 0);
  EXPECT_TRUE(m.isFinite());
  EXPECT_EQ(m.countDifferences(empty), 0);
  for (const Matrix& result :
       {Matrix::product(empty, empty), Matrix::mulElements(empty, empty), empty.homogeneous(),
        empty.fromHomogeneous(), Matrix(1, 4).fromHomogeneous(), empty.normalizedLines(),
        empty.scaled(2), empty.columnSums(), empty.rowSums()})
    expectEmpty(result);
  Matrix U(2, 2), S(2, 2), Vt(2, 2);
  Matrix::svd(empty, U, S, Vt);
  for (const Matrix* part : {&U, &S, &Vt})
    expectEmpty(*part);
}

TEST(Matrix, WhatIsTooLargeIsRefusedWithoutALeak) {
  Matrix m(2, 2);
  EXPECT_THROW(m.resize(1 << 16, 1 << 16), std::bad_alloc);
  expectEmpty(m);
}

TEST(Matrix, ADecompositionThatFailsSaysSoAndGoesOn) {
  Matrix A = randomMatrix(4, 3, 12), U, S, Vt;
  A.element(1, 1) = std::nan("");
  const DebugOutput output;
  Matrix::svd(A, U, S, Vt);
  EXPECT_THAT(DebugOutput::lines(), testing::ElementsAre("[dgesvd_driver] An error occurred"));
  EXPECT_EQ(U.nRows * 100 + S.nCols * 10 + Vt.nCols, 433);
}

TEST(Matrix, PrintsAHeadingAndItsRows) {
  const Matrix m =
      filled(2, 3, [](int32_t row, int32_t col) { return row ? col / 8.0 : -1e7 * (col + 1); });
  const DebugOutput output;
  m.QPrint();
  EXPECT_THAT(DebugOutput::lines(), testing::ElementsAre("Matrix nRows=2, nCols=3",
                                                         "-1e+07 -2e+07 -3e+07 ", "0 0.125 0.25 "));
}

} // namespace
