// General matrix of doubles, stored column by column, with BLAS and LAPACK. A vector is a matrix of
// one column or one row.
//
// The caller must pass matching sizes: only countDifferences compares them. Operands of
// incompatible shapes, and indices outside the matrix, are undefined behaviour. A matrix holds at
// most 2^31 - 1 elements.
#pragma once

#include <cstdint>

#include "VMath/VMatrix3.h"

class Matrix {
public:
  Matrix() = default; // empty
  Matrix(int32_t rows, int32_t cols) { resize(rows, cols); }
  Matrix(const Matrix& other) { *this = other; }
  Matrix(Matrix&& other) noexcept;
  explicit Matrix(const VMatrix3& other) { *this = other; }
  ~Matrix() { clear(); }

  Matrix& operator=(const Matrix& other);
  Matrix& operator=(Matrix&& other) noexcept;
  Matrix& operator=(const VMatrix3& other);

  // Drops the old content; the new content is zero. A side below 1 makes the matrix empty. Throws
  // the exceptions of new[], and then leaves the matrix empty.
  void resize(int32_t rows, int32_t cols);
  void clear();

  double& element(int32_t row, int32_t col) { return data[int64_t(nRows) * col + row]; }
  double at(int32_t row, int32_t col) const { return data[int64_t(nRows) * col + row]; }

  void setZero();
  void setIdentity();                             // 1.0 on the leading diagonal, 0.0 elsewhere
  void flatten();                                 // to one column; data unchanged
  void setDimensions(int32_t rows, int32_t cols); // data unchanged; rows * cols must stay the same
  bool isFinite() const;

  Matrix& operator*=(double alpha);
  Matrix& operator/=(double alpha);                  // multiplies by 1.0/alpha
  void addScaled(double alpha, const Matrix& other); // this += alpha*other

  double sum() const;
  double sumAbs() const;
  double dot(const Matrix& other) const;

  // this = alpha*A*B + beta*this. `this` has the product's size and must be neither A nor B.
  void multiply(const Matrix& A, const Matrix& B, double alpha, double beta);
  // this = alpha*A*x + beta*this. If `this` is empty or of another length, it first becomes a zero
  // column with A's rows. It must not be x.
  void multiplyVector(const Matrix& A, const Matrix& x, double alpha, double beta);

  Matrix row(int32_t r) const;
  Matrix column(int32_t c) const;
  void transpose();
  Matrix transposed() const;

  // Columns are points. homogeneous() adds a last row of 1.0; fromHomogeneous() divides by the last
  // row and drops it.
  Matrix homogeneous() const;
  Matrix fromHomogeneous() const;
  // Columns are lines (a, b, c) with a*x + b*y + c = 0, scaled to a normal of length 1. The length
  // is rounded to float.
  Matrix normalizedLines() const;

  Matrix scaled(double alpha) const;
  Matrix scaledInverse(double alpha) const; // multiplies by 1.0/alpha
  Matrix negated() const;

  static Matrix mulElements(const Matrix& A, const Matrix& B);
  static Matrix addElements(const Matrix& A, const Matrix& B);
  static Matrix subElements(const Matrix& A, const Matrix& B);

  Matrix columnSums() const; // 1 by nCols
  Matrix rowSums() const;    // nRows by 1

  static Matrix product(const Matrix& A, const Matrix& B);
  // A = U*S*Vt: U and Vt are square and orthogonal; S has A's shape, with the singular values in
  // descending order on its diagonal. If A has no decomposition (it is not finite), qDebug prints a
  // line and the results are undefined.
  static void svd(const Matrix& A, Matrix& U, Matrix& S, Matrix& Vt);

  // Number of elements that differ by more than 0.001; -1.0 if the sizes differ.
  double countDifferences(const Matrix& other) const;

  // Prints to qDebug: a heading, then one line per row.
  void QPrint() const;

  double* data = nullptr; // nRows*nCols values, element (row, col) at nRows*col + row; owned, new[]
  int32_t nRows = 0;
  int32_t nCols = 0;

private:
  int32_t count() const { return nRows * nCols; }
};
