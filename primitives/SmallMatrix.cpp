// 3 by 3 inverse and product over strided single-precision storage.
#include "primitives/SmallMatrix.h"

#include <cmath>

namespace {

const float& element(const float* base, int64_t bytes) {
  return *reinterpret_cast<const float*>(reinterpret_cast<const char*>(base) + bytes);
}
float& element(float* base, int64_t bytes) {
  return *reinterpret_cast<float*>(reinterpret_cast<char*>(base) + bytes);
}

} // namespace

int32_t invert3x3(const float* source, int32_t sourceRowStride, int32_t sourceElementStride,
                  float* work, float* destination, int32_t destinationRowStride,
                  int32_t destinationElementStride, int32_t size) {
  if (!source || !work || !destination)
    return smallMatrixNullPointer;
  if (size != 3)
    return smallMatrixBadSize;
  const auto at = [=](int64_t row, int64_t column) {
    return double(element(source, row * sourceRowStride + column * sourceElementStride));
  };
  const double a = at(0, 0), b = at(0, 1), c = at(0, 2);
  const double d = at(1, 0), e = at(1, 1), f = at(1, 2);
  const double g = at(2, 0), h = at(2, 1), i = at(2, 2);
  // Cofactors of the first row, and the determinant by that row.
  const double A = e * i - f * h, B = f * g - d * i, C = d * h - e * g;
  const double determinant = a * A + b * B + c * C;
  const double scale = 1.0 / determinant;
  const float inverse[9] = {
      float(A * scale), float((c * h - b * i) * scale), float((b * f - c * e) * scale),
      float(B * scale), float((a * i - c * g) * scale), float((c * d - a * f) * scale),
      float(C * scale), float((b * g - a * h) * scale), float((a * e - b * d) * scale)};
  for (int64_t k = 0; k < 9; ++k)
    element(destination, k / 3 * destinationRowStride + k % 3 * destinationElementStride) =
        inverse[k];
  return determinant != 0 && std::isfinite(determinant) ? smallMatrixOk : smallMatrixSingular;
}

int32_t multiply3x3Vector(const float* matrix, int32_t rowStride, int32_t elementStride,
                          int32_t width, int32_t height, const float* vector,
                          int32_t vectorElementStride, int32_t length, float* result,
                          int32_t resultElementStride) {
  if (!matrix || !vector || !result)
    return smallMatrixNullPointer;
  if (width != 3 || height != 3 || length != 3)
    return smallMatrixBadSize;
  const float x = element(vector, 0);
  const float y = element(vector, vectorElementStride);
  const float z = element(vector, 2 * int64_t(vectorElementStride));
  for (int64_t row = 0; row < 3; ++row) {
    const int64_t start = row * rowStride;
    element(result, row * resultElementStride) =
        element(matrix, start) * x + element(matrix, start + elementStride) * y +
        element(matrix, start + 2 * int64_t(elementStride)) * z;
  }
  return smallMatrixOk;
}
