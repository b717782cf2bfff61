// Matrices of doubles: storage, and operations through the dense primitives.
#include "VMath/Matrix.h"

#include <QString>
#include <QtDebug>
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>
#include <utility>

#include "primitives/dense/DenseMatrix.h"

namespace {

constexpr int32_t one = 1; // increment of neighbouring elements

// Elements that differ by more than this are different. A float, widened to double.
constexpr double sameWithin = 0.001f;

// BLAS requires a leading dimension of at least 1, even for a matrix without elements.
int32_t leadingDimension(const Matrix& m) { return std::max(m.nRows, 1); }

struct Free {
  void operator()(void* block) const { std::free(block); }
};

// dgesvd works in blocks if it gets five times its minimum work array; twice that is ample.
int32_t svdWorkLength(int64_t rows, int64_t cols) {
  const int64_t less = std::min(rows, cols), more = std::max(rows, cols);
  const int64_t length = 2 * 5 * std::max(3 * less + more, 5 * less);
  return int32_t(std::min<int64_t>(length, std::numeric_limits<int32_t>::max()));
}

using ElementWise = void (*)(const int32_t*, const double*, const double*, double*);

Matrix elementWise(const Matrix& A, const Matrix& B, ElementWise operation) {
  Matrix result(A.nRows, A.nCols);
  const int32_t n = A.nRows * A.nCols;
  operation(&n, A.data, B.data, result.data);
  return result;
}

} // namespace

Matrix::Matrix(Matrix&& other) noexcept
    : data(std::exchange(other.data, nullptr)), nRows(std::exchange(other.nRows, 0)),
      nCols(std::exchange(other.nCols, 0)) {}

Matrix& Matrix::operator=(const Matrix& other) {
  if (this != &other) {
    resize(other.nRows, other.nCols);
    std::copy_n(other.data, count(), data);
  }
  return *this;
}

Matrix& Matrix::operator=(Matrix&& other) noexcept {
  std::swap(data, other.data);
  std::swap(nRows, other.nRows);
  std::swap(nCols, other.nCols);
  return *this;
}

Matrix& Matrix::operator=(const VMatrix3& other) {
  resize(3, 3);
  std::copy_n(other.data, 9, data);
  return *this;
}

void Matrix::resize(int32_t rows, int32_t cols) {
  clear();
  if (rows < 1 || cols < 1)
    return;
  const int64_t elements = int64_t(rows) * cols;
  if (elements > std::numeric_limits<int32_t>::max())
    throw std::bad_array_new_length();
  data = new double[elements]();
  nRows = rows;
  nCols = cols;
}

void Matrix::clear() {
  delete[] data;
  data = nullptr;
  nRows = nCols = 0;
}

void Matrix::setZero() { std::fill_n(data, count(), 0.0); }

void Matrix::setIdentity() {
  setZero();
  for (int32_t k = 0; k < std::min(nRows, nCols); ++k)
    element(k, k) = 1.0;
}

void Matrix::flatten() { setDimensions(count(), data ? 1 : 0); }

void Matrix::setDimensions(int32_t rows, int32_t cols) {
  nRows = rows;
  nCols = cols;
}

bool Matrix::isFinite() const {
  return std::all_of(data, data + count(), [](double v) { return std::isfinite(v); });
}

Matrix& Matrix::operator*=(double alpha) {
  const int32_t n = count();
  dscal(&n, &alpha, data, &one);
  return *this;
}

Matrix& Matrix::operator/=(double alpha) { return *this *= 1.0 / alpha; }

void Matrix::addScaled(double alpha, const Matrix& other) {
  const int32_t n = count();
  daxpy(&n, &alpha, other.data, &one, data, &one);
}

double Matrix::sum() const {
  double sums[4] = {};
  const int32_t n = count();
  int32_t i = 0;
  for (; i + 4 <= n; i += 4)
    for (int k = 0; k < 4; ++k)
      sums[k] += data[i + k];
  for (; i < n; ++i)
    sums[0] += data[i];
  return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

double Matrix::sumAbs() const {
  const int32_t n = count();
  return dasum(&n, data, &one);
}

double Matrix::dot(const Matrix& other) const {
  const int32_t n = count();
  return ddot(&n, data, &one, other.data, &one);
}

void Matrix::multiply(const Matrix& A, const Matrix& B, double alpha, double beta) {
  const int32_t lda = leadingDimension(A), ldb = leadingDimension(B), ldc = leadingDimension(*this);
  DGEMM("N", "N", &A.nRows, &B.nCols, &A.nCols, &alpha, A.data, &lda, B.data, &ldb, &beta, data,
        &ldc);
}

void Matrix::multiplyVector(const Matrix& A, const Matrix& x, double alpha, double beta) {
  if (!data || count() != A.nRows)
    resize(A.nRows, 1);
  const int32_t lda = leadingDimension(A);
  DGEMV("N", &A.nRows, &A.nCols, &alpha, A.data, &lda, x.data, &one, &beta, data, &one);
}

Matrix Matrix::row(int32_t r) const {
  Matrix result(1, nCols);
  for (int32_t col = 0; col < nCols; ++col)
    result.element(0, col) = at(r, col);
  return result;
}

Matrix Matrix::column(int32_t c) const {
  Matrix result(nRows, 1);
  for (int32_t row = 0; row < nRows; ++row)
    result.element(row, 0) = at(row, c);
  return result;
}

void Matrix::transpose() { *this = transposed(); }

Matrix Matrix::transposed() const {
  Matrix result(nCols, nRows);
  for (int32_t col = 0; col < nCols; ++col)
    for (int32_t row = 0; row < nRows; ++row)
      result.element(col, row) = at(row, col);
  return result;
}

Matrix Matrix::homogeneous() const {
  Matrix result(nRows + 1, nCols);
  for (int32_t col = 0; col < result.nCols; ++col)
    for (int32_t row = 0; row < result.nRows; ++row)
      result.element(row, col) = row < nRows ? at(row, col) : 1.0;
  return result;
}

Matrix Matrix::fromHomogeneous() const {
  Matrix result(nRows - 1, nCols);
  for (int32_t col = 0; col < result.nCols; ++col)
    for (int32_t row = 0; row < result.nRows; ++row)
      result.element(row, col) = at(row, col) / at(nRows - 1, col);
  return result;
}

Matrix Matrix::normalizedLines() const {
  Matrix result(*this);
  for (int32_t col = 0; col < nCols; ++col) {
    const double a = at(0, col), b = at(1, col);
    const float length = float(std::sqrt(a * a + b * b));
    for (int32_t row = 0; row < nRows; ++row)
      result.element(row, col) /= length;
  }
  return result;
}

Matrix Matrix::scaled(double alpha) const {
  Matrix result(*this);
  result *= alpha;
  return result;
}

Matrix Matrix::scaledInverse(double alpha) const { return scaled(1.0 / alpha); }

Matrix Matrix::negated() const { return scaled(-1.0); }

Matrix Matrix::mulElements(const Matrix& A, const Matrix& B) { return elementWise(A, B, vdMul); }
Matrix Matrix::addElements(const Matrix& A, const Matrix& B) { return elementWise(A, B, vdAdd); }
Matrix Matrix::subElements(const Matrix& A, const Matrix& B) { return elementWise(A, B, vdSub); }

Matrix Matrix::columnSums() const {
  Matrix result(1, nCols);
  for (int32_t col = 0; col < nCols; ++col)
    for (int32_t row = 0; row < nRows; ++row)
      result.element(0, col) += at(row, col);
  return result;
}

Matrix Matrix::rowSums() const {
  Matrix result(nRows, 1);
  for (int32_t col = 0; col < nCols; ++col)
    for (int32_t row = 0; row < nRows; ++row)
      result.element(row, 0) += at(row, col);
  return result;
}

Matrix Matrix::product(const Matrix& A, const Matrix& B) {
  Matrix result(A.nRows, B.nCols);
  result.multiply(A, B, 1.0, 0.0);
  return result;
}

void Matrix::svd(const Matrix& A, Matrix& U, Matrix& S, Matrix& Vt) {
  Matrix overwritten(A);
  const int32_t rows = overwritten.nRows, cols = overwritten.nCols;
  U.resize(rows, rows);
  S.resize(rows, cols);
  Vt.resize(cols, cols);
  if (!overwritten.data)
    return;
  Matrix values(std::min(rows, cols), 1);
  const int32_t length = svdWorkLength(rows, cols);
  const std::unique_ptr<double, Free> work(
      static_cast<double*>(std::malloc(size_t(length) * sizeof(double))));
  if (!work)
    throw std::bad_alloc();
  int32_t info = 0;
  DGESVD("a", "a", &rows, &cols, overwritten.data, &rows, values.data, U.data, &rows, Vt.data,
         &cols, work.get(), &length, &info);
  if (info != 0)
    qDebug("[dgesvd_driver] An error occurred");
  for (int32_t k = 0; k < values.nRows; ++k)
    S.element(k, k) = values.at(k, 0);
}

double Matrix::countDifferences(const Matrix& other) const {
  if (nRows != other.nRows || nCols != other.nCols)
    return -1.0;
  double differences = 0;
  for (int32_t i = 0; i < count(); ++i)
    differences += std::abs(data[i] - other.data[i]) > sameWithin;
  return differences;
}

void Matrix::QPrint() const {
  qDebug("Matrix nRows=%d, nCols=%d", nRows, nCols);
  for (int32_t row = 0; row < nRows; ++row) {
    QString line;
    for (int32_t col = 0; col < nCols; ++col)
      line += QString("%1 ").arg(at(row, col));
    qDebug("%s", qPrintable(line));
  }
}
