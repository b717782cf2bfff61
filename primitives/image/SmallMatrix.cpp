// 3 by 3 inverse and product over strided single-precision storage.
#include "primitives/image/SmallMatrix.h"

#include "primitives/image/Cofactors.h"

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
  double matrix[9], inverse[9];
  for (int64_t k = 0; k < 9; ++k)
    matrix[k] = element(source, k / 3 * sourceRowStride + k % 3 * sourceElementStride);
  const bool isRegular = invertByCofactors(matrix, inverse);
  for (int64_t k = 0; k < 9; ++k)
    element(destination, k / 3 * destinationRowStride + k % 3 * destinationElementStride) =
        float(inverse[k]);
  return isRegular ? smallMatrixOk : smallMatrixSingular;
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
