// 3 by 3 matrix of doubles, stored column by column.
#pragma once

class VMatrix3 {
public:
  VMatrix3() : data{} {} // all zero
  static VMatrix3 identity();
  VMatrix3(const VMatrix3& other) = default;
  explicit VMatrix3(const VMatrix3* other) : VMatrix3(*other) {}
  VMatrix3& operator=(const VMatrix3& other) = default;

  double& element(int row, int col) { return data[row + 3 * col]; }
  double at(int row, int col) const { return data[row + 3 * col]; }

  VMatrix3 operator+(const VMatrix3& other) const;
  VMatrix3 operator-(const VMatrix3& other) const;
  VMatrix3 operator*(const VMatrix3& other) const;
  VMatrix3 transpose() const;
  VMatrix3 inverse() const; // the zero matrix if there is none

  // For a symmetric matrix: U * S * V with its eigenvalues in descending order on the diagonal of
  // S, its eigenvectors in the columns of U and in the rows of V.
  void svd(VMatrix3& U, VMatrix3& S, VMatrix3& V) const;

  // Prints to qDebug: a heading, then one line per row.
  void QPrint() const;

  double data[9]; // element (row, col) at row + 3*col
};
