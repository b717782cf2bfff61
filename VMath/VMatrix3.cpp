// The primitives store rows where this class stores columns, so they see each matrix transposed.
// This makes no difference to sum, difference, transpose and inverse; a product takes its factors
// in reverse order: (A*B)' = B'*A'.
#include "VMath/VMatrix3.h"

#include <QString>
#include <QtDebug>

#include "primitives/dense/DenseMatrix.h"

VMatrix3 VMatrix3::identity() {
  VMatrix3 result;
  for (int k = 0; k < 3; ++k)
    result.element(k, k) = 1.0;
  return result;
}

VMatrix3 VMatrix3::operator+(const VMatrix3& other) const {
  VMatrix3 result;
  add3x3(data, other.data, result.data);
  return result;
}

VMatrix3 VMatrix3::operator-(const VMatrix3& other) const {
  VMatrix3 result;
  subtract3x3(data, other.data, result.data);
  return result;
}

VMatrix3 VMatrix3::operator*(const VMatrix3& other) const {
  VMatrix3 result;
  multiply3x3(other.data, data, result.data);
  return result;
}

VMatrix3 VMatrix3::transpose() const {
  VMatrix3 result;
  transpose3x3(data, result.data);
  return result;
}

VMatrix3 VMatrix3::inverse() const {
  VMatrix3 result;
  if (invert3x3(data, result.data) != 0)
    return VMatrix3();
  return result;
}

void VMatrix3::svd(VMatrix3& U, VMatrix3& S, VMatrix3& V) const {
  double values[3];
  VMatrix3 vectors;
  eigenSymmetric3x3(data, values, vectors.data);
  V = vectors; // the columns of the primitive's result are rows here
  U = vectors.transpose();
  S = VMatrix3();
  for (int k = 0; k < 3; ++k)
    S.element(k, k) = values[k];
}

void VMatrix3::QPrint() const {
  qDebug("VMatrix3 : 3x3 ");
  for (int row = 0; row < 3; ++row) {
    QString line;
    for (int col = 0; col < 3; ++col)
      line += QString("%1 ").arg(at(row, col), 10, 'e', 2);
    qDebug("%s", qPrintable(line));
  }
}
