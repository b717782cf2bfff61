// 3 by 3 single-precision inverse and product. Strides are in bytes. Safe from any thread.
#pragma once

#include <cstdint>

constexpr int32_t smallMatrixOk = 0;
constexpr int32_t smallMatrixBadSize = -6;
constexpr int32_t smallMatrixNullPointer = -8;
constexpr int32_t smallMatrixSingular = -10;

// Inverse by cofactors. The cofactors are computed in double, because for the covariance of a flat
// window they cancel all but a few bits of a float. work: 13 floats of scratch space; source and
// destination may overlap. Returns 0, or a negative status if the matrix is singular or not finite
// (the destination then holds the result of the division), a pointer is null or the size is not 3.
int32_t invert3x3(const float* source, int32_t sourceRowStride, int32_t sourceElementStride,
                  float* work, float* destination, int32_t destinationRowStride,
                  int32_t destinationElementStride, int32_t size);

// result = matrix * vector, width = height = length = 3. Returns 0, or a negative status for a null
// pointer or another size. The result must not overlap the operands.
int32_t multiply3x3Vector(const float* matrix, int32_t rowStride, int32_t elementStride,
                          int32_t width, int32_t height, const float* vector,
                          int32_t vectorElementStride, int32_t length, float* result,
                          int32_t resultElementStride);
