// The dense classes against Eigen in double precision.
#include <gmock/gmock.h>

#include <Eigen/Dense>
#include <QtDebug>
#include <cmath>
#include <string>
#include <utility>

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
  Eigen::Map<Matrix3d>(m.data) = expected;
  return m;
}
void expectSame(const Matrix& m, const MatrixXd& expected, double tolerance = 0) {
  ASSERT_EQ(std::pair(m.nRows, m.nCols), std::pair(int(expected.rows()), int(expected.cols())));
  EXPECT_LE((view(m) - expected).cwiseAbs().maxCoeff(), tolerance);
}
bool isEmpty(const Matrix& m) { return !m.data && m.nRows == 0 && m.nCols == 0; }

// The lines that `print` writes with qDebug.
template <class Print> std::string printed(Print print) {
  static std::string lines;
  lines.clear();
  const auto before = qInstallMessageHandler(
      [](auto, auto&, const QString& line) { lines += line.toStdString() + '\n'; });
  print();
  qInstallMessageHandler(before);
  return lines;
}

constexpr int sizes[][2] = {{1, 1}, {1, 33}, {40, 1}, {3, 2}, {7, 7}, {8, 33}};

TEST(Matrix, Products) {
  for (const auto& [rows, cols] : sizes) {
    const MatrixXd a = MatrixXd::Random(rows, cols), c = MatrixXd::Random(cols, 5);
    const MatrixXd start = MatrixXd::Random(rows, 5), x = MatrixXd::Random(cols, 1);
    expectSame(Matrix::product(from(a), from(c)), a * c, 1e-13);
    Matrix sum = from(start);
    sum.multiply(from(a), from(c), -1.5, 0.25);
    expectSame(sum, -1.5 * a * c + 0.25 * start, 1e-13);
    // A vector of another length is allocated anew, and no old value remains; a row vector of the
    // right length stays a row.
    const MatrixXd old = MatrixXd::Random(1, rows);
    Matrix y, longer = from(MatrixXd::Random(rows + 1, 1)), lying = from(old);
    for (Matrix* target : {&y, &longer}) {
      target->multiplyVector(from(a), from(x), 2, 3);
      expectSame(*target, 2 * a * x, 1e-13);
    }
    lying.multiplyVector(from(a), from(x), 2, 3);
    expectSame(lying, 2 * (a * x).transpose() + 3 * old, 1e-13);
  }
}

TEST(Matrix, SingularValuesRebuildWhatIsFinite) {
  for (const auto& [rows, cols] : sizes) {
    const MatrixXd a = MatrixXd::Random(rows, cols);
    Matrix U(2, 9), S, Vt; // their old content is dropped
    Matrix::svd(from(a), U, S, Vt);
    MatrixXd diagonal = MatrixXd::Zero(rows, cols);
    diagonal.diagonal() = a.jacobiSvd().singularValues();
    expectSame(S, diagonal, 1e-13);
    expectSame(from(view(U) * diagonal * view(Vt)), a, 1e-13);
    expectSame(from(view(U).transpose() * view(U)), MatrixXd::Identity(rows, rows), 1e-13);
    expectSame(from(view(Vt) * view(Vt).transpose()), MatrixXd::Identity(cols, cols), 1e-13);
  }
  Matrix A = from(MatrixXd::Random(4, 3)), U, S, Vt;
  EXPECT_TRUE(A.isFinite());
  for (const double bad : {HUGE_VAL, std::nan("")}) {
    A.element(3, 2) = bad;
    EXPECT_FALSE(A.isFinite());
  }
  const std::string lines = printed([&] {
    Matrix::svd(from(MatrixXd::Random(4, 3)), U, S, Vt);
    Matrix::svd(A, U, S, Vt);
  });
  EXPECT_EQ(lines, "[dgesvd_driver] An error occurred\n");
}

TEST(Matrix, ElementsRowsAndColumns) {
  for (const auto& [rows, cols] : sizes) {
    const MatrixXd a = MatrixXd::Random(rows, cols), b = MatrixXd::Random(rows, cols);
    const Matrix A = from(a), B = from(b);
    Matrix moved = A, turned = A, line = A, identity = A;
    moved.addScaled(0.75, B), turned.transpose(), line.flatten(), identity.setIdentity();
    const std::pair<Matrix, MatrixXd> cases[] = {{Matrix::mulElements(A, B), a.cwiseProduct(b)},
                                                 {Matrix::addElements(A, B), a + b},
                                                 {Matrix::subElements(A, B), a - b},
                                                 {A.negated(), -a},
                                                 {moved, a + 0.75 * b},
                                                 {A.columnSums(), a.colwise().sum()},
                                                 {A.rowSums(), a.rowwise().sum()},
                                                 {A.row(rows - 1), a.row(rows - 1)},
                                                 {A.column(cols - 1), a.col(cols - 1)},
                                                 {turned, a.transpose()},
                                                 {line, a.reshaped()}, // column by column
                                                 {identity, MatrixXd::Identity(rows, cols)},
                                                 {A.homogeneous().scaled(8).fromHomogeneous(), a}};
    for (const auto& [m, expected] : cases)
      expectSame(m, expected, 1e-13);
    line.setDimensions(rows, cols);
    expectSame(line, a);
    EXPECT_NEAR(A.sum(), a.sum(), 1e-12);
    EXPECT_NEAR(A.sumAbs(), a.cwiseAbs().sum(), 1e-12);
    EXPECT_NEAR(A.dot(B), a.cwiseProduct(b).sum(), 1e-12);
    EXPECT_EQ(A.at(rows - 1, cols - 1), a(rows - 1, cols - 1));
  }
}

TEST(Matrix, RoundsInTheWordedPlaces) {
  // 5/3 and 5 times the reciprocal of 3 differ in the last bit.
  const volatile double three = 3.0;
  Matrix m = from(MatrixXd::Constant(2, 2, 5.0));
  EXPECT_EQ(m.scaledInverse(3.0).at(0, 1), 5.0 * (1.0 / three));
  EXPECT_EQ((m /= 3.0).at(1, 0), 5.0 * (1.0 / three));
  // sqrt(1 + 1) is not a float: the divisor is the nearest float.
  const Matrix lines = from((MatrixXd(3, 2) << 1, 3, 1, -4, 8, 20).finished()).normalizedLines();
  EXPECT_EQ(lines.at(2, 0), 8.0 / 1.41421353816986083984375);
  expectSame(lines.column(1), Eigen::Vector3d(0.6, -0.8, 4));
  // Equal to the threshold, just above it, below the float (which is rounded up), far away.
  const Eigen::Matrix2d four{{0.001f, std::nextafter(0.001f, 1.0)}, {0.001, -3}};
  EXPECT_EQ(from(four).countDifferences(Matrix(2, 2)), 2.0);
  for (const Matrix& other : {Matrix(3, 2), Matrix(2, 3), Matrix()})
    EXPECT_EQ(from(four).countDifferences(other), -1.0);
}

TEST(Matrix, HasOneOwner) {
  const MatrixXd content = MatrixXd::Random(3, 2);
  Matrix source = from(content), assigned(7, 7), large(2, 2);
  const Matrix copy(source), &self = assigned;
  assigned = source, assigned = self;
  source.setZero();
  expectSame(source, MatrixXd::Zero(3, 2));
  expectSame(copy, content);
  expectSame(Matrix(std::move(assigned)), content);
  EXPECT_TRUE(isEmpty(assigned)); // NOLINT: checks the state after a move
  assigned = VMatrix3::identity();
  expectSame(assigned, Matrix3d::Identity());
  EXPECT_THROW(large.resize(1 << 16, 1 << 16), std::bad_alloc);
  EXPECT_TRUE(isEmpty(large));
}

TEST(Matrix, EmptyStaysEmpty) {
  const Matrix empty;
  Matrix m(3, 3), U(2, 2), S(2, 2), Vt(2, 2);
  m = empty;
  m.flatten();
  m.multiplyVector(empty, empty, 1, 1);
  Matrix::svd(empty, U, S, Vt);
  for (const Matrix& result :
       {m, U, S, Vt, Matrix(5, 0), Matrix(-3, 4), Matrix(1, 4).fromHomogeneous()})
    EXPECT_TRUE(isEmpty(result));
}

TEST(Matrix, PrintsAHeadingAndItsRows) {
  const std::string lines = printed([] {
    from((MatrixXd(2, 3) << -1e7, -2e7, -3e7, 0, 0.125, 0.25).finished()).QPrint();
    from3(Matrix3d{{1, 0, 12345}, {0, -22.5, 0}, {0, 0, 1e-300}}).QPrint();
  });
  EXPECT_EQ(lines, "Matrix nRows=2, nCols=3\n-1e+07 -2e+07 -3e+07 \n0 0.125 0.25 \n"
                   "VMatrix3 : 3x3 \n  1.00e+00   0.00e+00   1.23e+04 \n"
                   "  0.00e+00  -2.25e+01   0.00e+00 \n  0.00e+00   0.00e+00  1.00e-300 \n");
}

// At any magnitude of doubles: the determinants of the first and last lie far outside the range.
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
  for (const double corner : {9.0, std::nan(""), HUGE_VAL}) // the first one is singular
    EXPECT_EQ(view(from3(Matrix3d{{1, 2, 3}, {4, 5, 6}, {7, 8, corner}}).inverse()),
              Matrix3d::Zero());
  EXPECT_EQ(view(VMatrix3().inverse()), Matrix3d::Zero());
}

// Full, singular, graded, indefinite and diagonal matrices, and matrices with equal eigenvalues.
TEST(VMatrix3, EigenDecompositionRebuildsSymmetricMatrices) {
  constexpr double spectra[][3] = {{3, 2, 1},      {5, 0, -4}, {1, 1, 1},    {2, 2, 1e-12},
                                   {1e9, 1, 1e-9}, {0, 0, 0},  {-1, -2, -2}, {1e-200, 0, 0}};
  VMatrix3 spoiled = VMatrix3::identity(), U, S, V;
  for (const auto& spectrum : spectra)
    for (int round = 0; round < 20; ++round) {
      const Eigen::Vector3d values(spectrum);
      Matrix3d turn = Matrix3d::Identity();
      if (round)
        turn = Matrix3d::Random().householderQr().householderQ();
      const Matrix3d a = turn * values.asDiagonal() * turn.transpose();
      const Matrix3d symmetric = a.selfadjointView<Eigen::Lower>();
      from3(symmetric).svd(U, S, V);
      const double tolerance = 1e-14 * values.cwiseAbs().maxCoeff();
      EXPECT_LE((view(U) * view(S) * view(V) - symmetric).norm(), tolerance);
      EXPECT_LE((view(S) - Matrix3d(values.asDiagonal())).norm(), tolerance); // descending
      EXPECT_LT((view(U) * view(V) - Matrix3d::Identity()).norm(), 1e-14);
      EXPECT_EQ(view(V), view(U).transpose());
    }
  spoiled.element(0, 1) = spoiled.element(1, 0) = NAN;
  spoiled.svd(U, S, V); // returns
  EXPECT_FALSE(view(S).allFinite());
}

} // namespace
