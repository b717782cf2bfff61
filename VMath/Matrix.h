// General matrix of doubles, stored column by column, over BLAS and LAPACK. A vector is a matrix of
// one column or one row.
//
// Sizes are the caller's care: only countDifferences compares them. Operands whose shapes do not
// fit each other, or an element outside, are undefined. A matrix holds at most 2^31 - 1 elements.
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

  // Old content is dropped, the new is zero. A side below 1 makes the matrix empty. Throws what
  // new[] throws, and leaves the matrix empty then.
  void resize(int32_t rows, int32_t cols);
  void clear();

  double& element(int32_t row, int32_t col) { return data[int64_t(nRows) * col + row]; }
  double at(int32_t row, int32_t col) const { return data[int64_t(nRows) * col + row]; }

  void setZero();
  void setIdentity();                             // 1.0 on the leading diagonal, 0.0 elsewhere
  void flatten();                                 // to one column; data untouched
  void setDimensions(int32_t rows, int32_t cols); // data untouched: the product must stay
  bool isFinite() const;

  Matrix& operator*=(double alpha);
  Matrix& operator/=(double alpha);                  // multiplies by 1.0/alpha
  void addScaled(double alpha, const Matrix& other); // this += alpha*other

  double sum() const;
  double sumAbs() const;
  double dot(const Matrix& other) const;

  // this = alpha*A*B + beta*this. `this` has the product's size and is neither A nor B.
  void multiply(const Matrix& A, const Matrix& B, double alpha, double beta);
  // this = alpha*A*x + beta*this. When empty or of another length, `this` first becomes a zero
  // column of A's rows. It is not x.
  void multiplyVector(const Matrix& A, const Matrix& x, double alpha, double beta);

  Matrix row(int32_t r) const;
  Matrix column(int32_t c) const;
  void transpose();
  Matrix transposed() const;

  // Columns are points: one row of 1.0 more; the last row divided out and dropped.
  Matrix homogeneous() const;
  Matrix fromHomogeneous() const;
  // Columns are lines (a, b, c), of a*x + b*y + c = 0, scaled for a normal of length 1. The length
  // is rounded to float.
  Matrix normalizedLines() const;

  Matrix scaled(double alpha) const;
  Matrix scaledInverse(double alpha) const; // by 1.0/alpha
  Matrix negated() const;

  static Matrix mulElements(const Matrix& A, const Matrix& B);
  static Matrix addElements(const Matrix& A, const Matrix& B);
  static Matrix subElements(const Matrix& A, const Matrix& B);

  Matrix columnSums() const; // 1 by nCols
  Matrix rowSums() const;    // nRows by 1

  static Matrix product(const Matrix& A, const Matrix& B);
  // A = U*S*Vt: U and Vt square and orthogonal, S of A's shape with the singular values, the
  // greatest first, on its diagonal. When A has no decomposition (it is not finite) a line says so
  // through qDebug, and what came out is undefined.
  static void svd(const Matrix& A, Matrix& U, Matrix& S, Matrix& Vt);

  // Elements that differ by more than 0.001; -1.0 when the sizes differ.
  double countDifferences(const Matrix& other) const;

  // To qDebug: a heading, then a line a row.
  void QPrint() const;

  double* data = nullptr; // nRows*nCols values, element (row, col) at nRows*col + row; owned, new[]
  int32_t nRows = 0;
  int32_t nCols = 0;

private:
  int32_t count() const { return nRows * nCols; }
};
