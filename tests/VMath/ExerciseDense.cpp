// Runs each operation of the dense classes on small matrices and prints what comes out, to be read.
#include <QtDebug>
#include <utility>

#include "VMath/Matrix.h"

namespace {

// Elements 1, 2, 3... row by row.
Matrix counting(int32_t rows, int32_t cols) {
  Matrix m(rows, cols);
  for (int32_t k = 0; k < rows * cols; ++k)
    m.element(k / cols, k % cols) = k + 1;
  return m;
}

VMatrix3 symmetric() {
  VMatrix3 m = VMatrix3::identity();
  m.element(0, 1) = m.element(1, 0) = 2;
  m.element(2, 2) = 5;
  return m;
}

void scal() {
  Matrix m = counting(2, 3);
  (m *= 2.0).QPrint();
  (m /= 4.0).QPrint();
  m.scaled(10).QPrint();
  m.scaledInverse(10).QPrint();
}

void axpy() {
  Matrix m = counting(2, 3);
  m.addScaled(-0.5, counting(2, 3));
  m.QPrint();
}

void sums() {
  const Matrix m = counting(2, 3).negated();
  qDebug("sum %g, sumAbs %g, dot %g", m.sum(), m.sumAbs(), m.dot(counting(2, 3)));
  m.columnSums().QPrint();
  m.rowSums().QPrint();
}

void gemm() {
  Matrix m(2, 2);
  m.setIdentity();
  m.multiply(counting(2, 3), counting(3, 2), 2.0, -1.0);
  m.QPrint();
  Matrix::product(counting(3, 1), counting(1, 3)).QPrint();
}

void gemv() {
  Matrix y;
  y.multiplyVector(counting(2, 3), counting(3, 1), 1.0, 0.0);
  y.QPrint();
}

void gesvd() {
  Matrix U, S, Vt;
  Matrix::svd(counting(2, 3), U, S, Vt);
  for (const Matrix& m : {U, S, Vt, Matrix::product(Matrix::product(U, S), Vt)})
    m.QPrint();
}

void elementWise() {
  const Matrix m = counting(2, 2);
  for (const Matrix& result :
       {Matrix::mulElements(m, m), Matrix::addElements(m, m), Matrix::subElements(m, m)})
    result.QPrint();
}

void unitary() { counting(2, 2).negated().QPrint(); }

void shape() {
  Matrix m = counting(2, 3);
  m.row(1).QPrint();
  m.column(1).QPrint();
  m.transposed().QPrint();
  m.flatten();
  m.QPrint();
}

void points() {
  const Matrix m = counting(2, 3);
  m.homogeneous().QPrint();
  m.homogeneous().scaled(2).fromHomogeneous().QPrint();
  counting(3, 2).normalizedLines().QPrint();
}

void comparison() {
  Matrix m = counting(2, 2);
  m.element(0, 0) += 0.5;
  qDebug("%g of %g", m.countDifferences(counting(2, 2)), m.countDifferences(Matrix()));
  qDebug("finite: %d", m.isFinite());
}

void matrix3() {
  const VMatrix3 m = symmetric();
  VMatrix3 U, S, V;
  m.svd(U, S, V);
  for (const VMatrix3& result : {m + m, m - m, m * m, m.transpose(), m.inverse(), U, S, V})
    result.QPrint();
}

constexpr std::pair<const char*, void (*)()> steps[] = {
    {"blas_scal test", scal},  {"blas_axpy test", axpy},         {"blas_asum test", sums},
    {"blas_gemm test", gemm},  {"blas_gemv test", gemv},         {"lapack_gesvd test", gesvd},
    {"vml test", elementWise}, {"operator unitary", unitary},    {"rows and columns", shape},
    {"homogeneous", points},   {"countDifferences", comparison}, {"VMatrix3", matrix3}};

} // namespace

int main() {
  for (const auto& [heading, run] : steps) {
    qDebug("%s", heading);
    run();
  }
}
