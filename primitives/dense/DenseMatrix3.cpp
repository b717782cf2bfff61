// The 3 by 3 double-precision operations.
#include <algorithm>
#include <cmath>
#include <utility>

#include "primitives/dense/DenseMatrix.h"
#include "primitives/image/Cofactors.h"

namespace {

constexpr int32_t singularMatrix = -10;

// Quadratic convergence needs fewer than six sweeps; the bound stops matrices that are not finite.
constexpr int mostSweeps = 20;

// Rotates rows and columns p and q of the symmetric matrix so that element (p, q) vanishes, and the
// columns of v with them.
void rotate(double (&a)[3][3], double* v, int p, int q) {
  // The smaller root of t^2 + 2*theta*t - 1, the tangent of the angle (Golub & Van Loan, Matrix
  // Computations, section 8.5).
  const double theta = (a[q][q] - a[p][p]) / (2 * a[p][q]);
  const double t = std::copysign(1.0, theta) / (std::abs(theta) + std::hypot(theta, 1.0));
  const double c = 1 / std::hypot(t, 1.0), s = t * c;
  a[p][p] -= t * a[p][q];
  a[q][q] += t * a[p][q];
  a[p][q] = a[q][p] = 0;
  const int r = 3 - p - q;
  const double rp = a[r][p], rq = a[r][q];
  a[r][p] = a[p][r] = c * rp - s * rq;
  a[r][q] = a[q][r] = s * rp + c * rq;
  for (int k = 0; k < 3; ++k) {
    const double kp = v[3 * k + p], kq = v[3 * k + q];
    v[3 * k + p] = c * kp - s * kq;
    v[3 * k + q] = s * kp + c * kq;
  }
}

// True if the element is too small, relative to the two diagonal elements, to change the
// eigenvalues.
bool isNegligible(const double (&a)[3][3], int p, int q) {
  return std::abs(a[p][q]) <= 1e-17 * std::sqrt(std::abs(a[p][p])) * std::sqrt(std::abs(a[q][q]));
}

} // namespace

void add3x3(const double* a, const double* b, double* sum) {
  for (int k = 0; k < 9; ++k)
    sum[k] = a[k] + b[k];
}

void subtract3x3(const double* a, const double* b, double* difference) {
  for (int k = 0; k < 9; ++k)
    difference[k] = a[k] - b[k];
}

void multiply3x3(const double* a, const double* b, double* product) {
  for (int row = 0; row < 3; ++row)
    for (int col = 0; col < 3; ++col)
      product[3 * row + col] =
          a[3 * row] * b[col] + a[3 * row + 1] * b[3 + col] + a[3 * row + 2] * b[6 + col];
}

void transpose3x3(const double* source, double* transposed) {
  for (int k = 0; k < 9; ++k)
    transposed[k] = source[k % 3 * 3 + k / 3];
}

int32_t invert3x3(const double* source, double* inverse) {
  double largest = 0;
  for (int k = 0; k < 9; ++k)
    largest = std::max(largest, std::abs(source[k]));
  if (!(largest > 0) || !std::isfinite(largest))
    return singularMatrix;
  // Scales by a power of two, which is exact, to about 1: products of three elements stay in range.
  const int exponent = std::ilogb(largest);
  double scaled[9], result[9];
  for (int k = 0; k < 9; ++k)
    scaled[k] = std::scalbn(source[k], -exponent);
  if (!invertByCofactors(scaled, result))
    return singularMatrix;
  for (int k = 0; k < 9; ++k)
    inverse[k] = std::scalbn(result[k], -exponent);
  return 0;
}

void eigenSymmetric3x3(const double* source, double* values, double* vectors) {
  double a[3][3];
  for (int row = 0; row < 3; ++row)
    for (int col = 0; col < 3; ++col)
      a[row][col] = source[3 * std::min(row, col) + std::max(row, col)];
  for (int k = 0; k < 9; ++k)
    vectors[k] = k % 4 == 0;
  for (int sweep = 0, turned = 1; sweep < mostSweeps && turned; ++sweep) {
    turned = 0;
    for (const auto& [p, q] : {std::pair{0, 1}, {0, 2}, {1, 2}})
      if (!isNegligible(a, p, q)) {
        rotate(a, vectors, p, q);
        turned = 1;
      }
  }
  // Three comparisons sort three values.
  for (const auto& [p, q] : {std::pair{0, 1}, {1, 2}, {0, 1}})
    if (a[p][p] < a[q][q]) {
      std::swap(a[p][p], a[q][q]);
      for (int k = 0; k < 3; ++k)
        std::swap(vectors[3 * k + p], vectors[3 * k + q]);
    }
  for (int k = 0; k < 3; ++k)
    values[k] = a[k][k];
}
