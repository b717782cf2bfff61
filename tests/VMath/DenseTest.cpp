// The dense classes against Eigen in double.
#include <gmock/gmock.h>

#include <Eigen/Dense>
#include <QtDebug>
#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "VMath/Matrix.h"

namespace {

using Eigen::MatrixXd, Eigen::Matrix3d;

Eigen::Map<MatrixXd> view(const Matrix& m) { return {m.data, m.nRows, m.nCols}; }
Eigen::Map<const Matrix3d> view(const VMatrix3& m) { return Eigen::Map<const Matrix3d>(m.data); }
Matrix from(const MatrixXd& expected) {
  Matrix m(int32_t(expected.rows()), int32_t(expected.cols()));
  view(m) = expected;
  return m;
}
VMatrix3 from3(const Matrix3d& expected) {
  VMatrix3 m;
  for (int k = 0; k < 9; ++k)
    m.element(k % 3, k / 3) = expected(k % 3, k / 3);
  return m;
}
void expectSame(const Matrix& m, const MatrixXd& expected, double tolerance = 0) {
  ASSERT_EQ(std::pair(m.nRows, m.nCols), std::pair(int(expected.rows()), int(expected.cols())));
  if (expected.size() > 0) {
    EXPECT_LE((view(m) - expected).cwiseAbs().maxCoeff(), tolerance);
  }
}
bool isEmpty(const Matrix& m) { return !m.data && m.nRows == 0 && m.nCols == 0; }

// Catches what is printed through qDebug while it lives.
std::vector<std::string> printed;
struct DebugOutput {
  QtMessageHandler before;
  DebugOutput()
      : before(
            qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString& line) {
              printed.push_back(line.toStdString());
            })) {
    printed.clear();
  }
  ~DebugOutput() { qInstallMessageHandler(before); }
};

struct Shapes : testing::TestWithParam<std::pair<int, int>> {
  const int rows = GetParam().first, cols = GetParam().second;
  const MatrixXd a = MatrixXd::Random(rows, cols), b = MatrixXd::Random(rows, cols);
  const Matrix A = from(a), B = from(b);
};
INSTANTIATE_TEST_SUITE_P(, Shapes,
                         testing::Values(std::pair{1, 1}, std::pair{1, 33}, std::pair{40, 1},
                                         std::pair{3, 2}, std::pair{7, 7}, std::pair{8, 33}));

TEST_P(Shapes, Products) {
  const MatrixXd c = MatrixXd::Random(cols, 5), start = MatrixXd::Random(rows, 5);
  expectSame(Matrix::product(A, from(c)), a * c, 1e-13);
  Matrix sum = from(start);
  sum.multiply(A, from(c), -1.5, 0.25);
  expectSame(sum, -1.5 * a * c + 0.25 * start, 1e-13);
  // A vector of another length is made anew, and no old value shines through; one that lies stays.
  const MatrixXd x = MatrixXd::Random(cols, 1), old = MatrixXd::Random(1, rows);
  Matrix y, longer = from(MatrixXd::Random(rows + 1, 1)), lying = from(old);
  for (Matrix* target : {&y, &longer}) {
    target->multiplyVector(A, from(x), 2, 3);
    expectSame(*target, 2 * a * x, 1e-13);
  }
  lying.multiplyVector(A, from(x), 2, 3);
  expectSame(lying, 2 * (a * x).transpose() + 3 * old, 1e-13);
}

TEST_P(Shapes, SingularValuesRebuildTheMatrix) {
  Matrix U(2, 9), S, Vt; // what they held is dropped
  Matrix::svd(A, U, S, Vt);
  const int32_t few = std::min(rows, cols);
  expectSame(from(view(U) * view(S) * view(Vt)), a, 1e-13);
  expectSame(from(view(U).transpose() * view(U)), MatrixXd::Identity(rows, rows), 1e-13);
  expectSame(from(view(Vt) * view(Vt).transpose()), MatrixXd::Identity(cols, cols), 1e-13);
  MatrixXd diagonal = MatrixXd::Zero(rows, cols);
  diagonal.topLeftCorner(few, few) = a.jacobiSvd().singularValues().asDiagonal();
  expectSame(S, diagonal, 1e-13);
}

TEST_P(Shapes, ElementsRowsAndColumns) {
  expectSame(Matrix::mulElements(A, B), a.cwiseProduct(b));
  expectSame(Matrix::addElements(A, B), a + b);
  expectSame(Matrix::subElements(A, B), a - b);
  expectSame(A.negated(), -a);
  expectSame(A.scaled(3), 3 * a);
  expectSame(A.scaledInverse(4), a / 4);
  Matrix moved = A;
  moved.addScaled(0.75, B);
  expectSame(moved, a + 0.75 * b, 1e-15);
  moved /= 2;
  expectSame(moved, a / 2 + 0.375 * b, 1e-15);
  EXPECT_NEAR(A.sum(), a.sum(), 1e-12);
  EXPECT_NEAR(A.sumAbs(), a.cwiseAbs().sum(), 1e-12);
  EXPECT_NEAR(A.dot(B), a.cwiseProduct(b).sum(), 1e-12);
  expectSame(A.columnSums(), a.colwise().sum(), 1e-13);
  expectSame(A.rowSums(), a.rowwise().sum(), 1e-13);
  expectSame(A.row(rows - 1), a.row(rows - 1));
  expectSame(A.column(cols - 1), a.col(cols - 1));
  expectSame(A.transposed(), a.transpose());
  Matrix turned = A, line = A, identity = A;
  turned.transpose();
  expectSame(turned, a.transpose());
  line.flatten(); // column after column
  expectSame(line, a.reshaped());
  line.setDimensions(rows, cols);
  expectSame(line, a);
  identity.setIdentity();
  expectSame(identity, MatrixXd::Identity(rows, cols));
  EXPECT_EQ(A.at(rows - 1, cols - 1), a(rows - 1, cols - 1));
  const Matrix points = A.homogeneous();
  expectSame(from(view(points).topRows(rows)), a);
  expectSame(from(view(points).bottomRows(1)), MatrixXd::Ones(1, cols));
  expectSame(points.scaled(8).fromHomogeneous(), a);
}

// Divided and multiplied by the reciprocal, 5/3 differs in the last bit.
TEST(Matrix, DivisionMultipliesByTheReciprocal) {
  const volatile double three = 3.0;
  const double expected = 5.0 * (1.0 / three);
  ASSERT_NE(expected, 5.0 / three);
  Matrix m = from(MatrixXd::Constant(2, 2, 5.0));
  EXPECT_EQ(m.scaledInverse(3.0).at(0, 1), expected);
  EXPECT_EQ((m /= 3.0).at(1, 0), expected);
}

// sqrt(1 + 1) is no float: the divisor is the nearest one.
TEST(Matrix, LinesHaveNormalsOfLengthOne) {
  const Matrix lines = from((MatrixXd(3, 2) << 1, 3, 1, -4, 8, 20).finished()).normalizedLines();
  EXPECT_EQ(lines.at(2, 0), 8.0 / 1.41421353816986083984375);
  expectSame(lines.column(1), Eigen::Vector3d(0.6, -0.8, 4));
}

TEST(Matrix, DifferencesAreCountedAboveTheFloatThreshold) {
  // Equal to the threshold, just above, below the float (which is rounded up), far off.
  const Eigen::Matrix2d m{{0.001f, std::nextafter(0.001f, 1.0)}, {0.001, -3}};
  EXPECT_EQ(from(m).countDifferences(Matrix(2, 2)), 2.0);
  for (const Matrix& other : {Matrix(3, 2), Matrix(2, 3), Matrix()})
    EXPECT_EQ(from(m).countDifferences(other), -1.0);
}

TEST(Matrix, HasOneOwner) {
  const MatrixXd content = MatrixXd::Random(3, 2);
  Matrix source = from(content), assigned(7, 7), large(2, 2);
  const Matrix copy(source);
  assigned = source;
  Matrix& self = assigned;
  assigned = self;
  source.setZero();
  expectSame(source, MatrixXd::Zero(3, 2));
  expectSame(copy, content);
  const Matrix moved(std::move(assigned));
  expectSame(moved, content);
  EXPECT_TRUE(isEmpty(assigned)); // NOLINT: what a move leaves is what is asked
  const Matrix3d small = Matrix3d::Random();
  assigned = from3(small);
  expectSame(assigned, small);
  expectSame(Matrix(from3(small)), small);
  EXPECT_THROW(large.resize(1 << 16, 1 << 16), std::bad_alloc);
  EXPECT_TRUE(isEmpty(large));
}

TEST(Matrix, EmptyStaysEmpty) {
  const Matrix empty;
  Matrix m(3, 3), U(2, 2), S(2, 2), Vt(2, 2);
  m = empty;
  m *= 2.0;
  m.addScaled(1.0, empty);
  m.setIdentity();
  m.transpose();
  m.multiply(empty, empty, 1.0, 1.0);
  m.multiplyVector(empty, empty, 1.0, 1.0);
  m.flatten();
  Matrix::svd(empty, U, S, Vt);
  for (const Matrix& result :
       {m, U, S, Vt, Matrix(0, 5), Matrix(5, 0), Matrix(-3, 4), Matrix::product(empty, empty),
        Matrix::mulElements(empty, empty), empty.homogeneous(), empty.fromHomogeneous(),
        Matrix(1, 4).fromHomogeneous(), empty.normalizedLines(), empty.scaled(2),
        empty.columnSums(), empty.rowSums()})
    EXPECT_TRUE(isEmpty(result));
  EXPECT_EQ(m.sum() + m.sumAbs() + m.dot(empty) + m.countDifferences(empty), 0);
  EXPECT_TRUE(m.isFinite());
}

TEST(Matrix, WhatIsNotFiniteIsSeenAndHasNoDecomposition) {
  for (const double bad : {HUGE_VAL, std::nan("")}) {
    Matrix A = from(MatrixXd::Random(4, 3)), U, S, Vt;
    EXPECT_TRUE(A.isFinite());
    A.element(3, 2) = bad;
    EXPECT_FALSE(A.isFinite());
    if (std::isnan(bad)) {
      const DebugOutput output;
      Matrix::svd(A, U, S, Vt);
      EXPECT_THAT(printed, testing::ElementsAre("[dgesvd_driver] An error occurred"));
      EXPECT_EQ(U.nRows * 100 + S.nCols * 10 + Vt.nCols, 433);
    }
  }
}

TEST(Matrix, PrintsAHeadingAndItsRows) {
  const DebugOutput output;
  from((MatrixXd(2, 3) << -1e7, -2e7, -3e7, 0, 0.125, 0.25).finished()).QPrint();
  from3(Matrix3d{{1, 0, 12345}, {0, -22.5, 0}, {0, 0, 1e-300}}).QPrint();
  EXPECT_THAT(printed, testing::ElementsAre("Matrix nRows=2, nCols=3", "-1e+07 -2e+07 -3e+07 ",
                                            "0 0.125 0.25 ", "VMatrix3 : 3x3 ",
                                            "  1.00e+00   0.00e+00   1.23e+04 ",
                                            "  0.00e+00  -2.25e+01   0.00e+00 ",
                                            "  0.00e+00   0.00e+00  1.00e-300 "));
}

// At any size that doubles have: the determinant of the outer two lies far beyond their range.
TEST(VMatrix3, ArithmeticIsThatOfEigen) {
  for (const double size : {1e-150, 1e-3, 1.0, 1e150})
    for (int round = 0; round < 20; ++round) {
      const Matrix3d a = size * (Matrix3d::Random() + 2 * Matrix3d::Identity());
      const Matrix3d b = size * Matrix3d::Random();
      const VMatrix3 A = from3(a), B = from3(b), C(&B);
      EXPECT_EQ(view(A + C), a + b);
      EXPECT_EQ(view(A - B), a - b);
      EXPECT_EQ(view(A.transpose()), a.transpose());
      EXPECT_LT(((view(A * B) - a * b) / size / size).norm(), 1e-14);
      EXPECT_LT((view(A.inverse()) * size - (a / size).inverse()).norm(), 1e-13);
    }
  EXPECT_EQ(view(VMatrix3::identity()), Matrix3d::Identity());
  const Matrix3d counting{{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
  Matrix3d notFinite = Matrix3d::Identity(), infinite = notFinite;
  notFinite(1, 1) = NAN, infinite(0, 0) = HUGE_VAL;
  for (const Matrix3d& m : {Matrix3d(Matrix3d::Zero()), counting, notFinite, infinite})
    EXPECT_EQ(view(from3(m).inverse()), Matrix3d::Zero());
}

// Full, singular, graded, indefinite and diagonal matrices, and eigenvalues that coincide.
TEST(VMatrix3, EigenDecompositionRebuildsSymmetricMatrices) {
  for (const Eigen::Vector3d& values : {Eigen::Vector3d(3, 2, 1),
                                        {5, 0, -4},
                                        {1, 1, 1},
                                        {2, 2, 1e-12},
                                        {1e9, 1, 1e-9},
                                        {0, 0, 0},
                                        {-1, -2, -2},
                                        {1e-200, 0, 0}})
    for (int round = 0; round < 20; ++round) {
      const Matrix3d turn = round ? Matrix3d(Matrix3d::Random().householderQr().householderQ())
                                  : Matrix3d(Matrix3d::Identity());
      const Matrix3d a = turn * values.asDiagonal() * turn.transpose();
      const Matrix3d symmetric = a.selfadjointView<Eigen::Lower>();
      VMatrix3 U, S, V;
      from3(symmetric).svd(U, S, V);
      const double tolerance = 1e-14 * values.cwiseAbs().maxCoeff();
      EXPECT_LE((view(U) * view(S) * view(V) - symmetric).norm(), tolerance);
      EXPECT_LE((view(S) - Matrix3d(values.asDiagonal())).norm(), tolerance); // greatest first
      EXPECT_LT((view(U) * view(V) - Matrix3d::Identity()).norm(), 1e-14);
      EXPECT_EQ(view(V), view(U).transpose());
    }
  VMatrix3 spoiled = VMatrix3::identity(), U, S, V;
  spoiled.element(0, 1) = spoiled.element(1, 0) = NAN;
  spoiled.svd(U, S, V); // ends
  EXPECT_FALSE(view(S).allFinite());
}

} // namespace
