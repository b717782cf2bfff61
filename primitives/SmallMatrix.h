// 3 by 3 single-precision inverse and product. Strides in bytes. Safe from any thread.
#pragma once

#include <cstdint>

// Inverse by cofactors. work: 13 floats of the caller's own. Returns 0, or a negative status when
// the matrix is singular (destination as the division leaves it) or the size is not 3.
int32_t invert3x3(const float* source, int32_t sourceRowStride, int32_t sourceElementStride,
                  float* work, float* destination, int32_t destinationRowStride,
                  int32_t destinationElementStride, int32_t size);

// result = matrix * vector, width = height = length = 3.
int32_t multiply3x3Vector(const float* matrix, int32_t rowStride, int32_t elementStride,
                          int32_t width, int32_t height, const float* vector,
                          int32_t vectorElementStride, int32_t length, float* result,
                          int32_t resultElementStride);
