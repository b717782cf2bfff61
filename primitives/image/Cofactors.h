// Inverse of a 3 by 3 matrix by cofactors in double precision, for both precisions of callers.
#pragma once

#include <cmath>

// Nine elements in and nine out, both in row order or both in column order. Returns false if the
// determinant is zero or not finite; `inverse` then holds the result of the division.
inline bool invertByCofactors(const double (&m)[9], double (&inverse)[9]) {
  const double cofactors[9] = {
      m[4] * m[8] - m[5] * m[7], m[2] * m[7] - m[1] * m[8], m[1] * m[5] - m[2] * m[4],
      m[5] * m[6] - m[3] * m[8], m[0] * m[8] - m[2] * m[6], m[2] * m[3] - m[0] * m[5],
      m[3] * m[7] - m[4] * m[6], m[1] * m[6] - m[0] * m[7], m[0] * m[4] - m[1] * m[3]};
  const double determinant = m[0] * cofactors[0] + m[1] * cofactors[3] + m[2] * cofactors[6];
  const double scale = 1.0 / determinant;
  for (int k = 0; k < 9; ++k)
    inverse[k] = cofactors[k] * scale;
  return determinant != 0 && std::isfinite(determinant);
}
