// Base-2 exponential and logarithm, and the power made from them: no calls, no tables, no branches,
// so that loops over them vectorise at every level.
//
// Coefficients are Chebyshev fits over the stated intervals; the tests verify the stated errors.
#pragma once

#include <bit>
#include <cstdint>
#include <limits>

// 2^y for y up to 127; relative error below 2e-7, exactly 1 at 0. The code applies the power of two
// as two factors, so that a result below float's normal range is rounded once. Clamps y far below
// the smallest float's exponent.
inline float exp2Fast(float y) {
  constexpr float lowestExponent = -252.0f;
  constexpr float roundingShift = 12582912.0f; // 1.5 * 2^23: adding it rounds to a whole number
  constexpr int32_t exponentBias = 127, mantissaBits = 23;
  y = y > lowestExponent ? y : lowestExponent;
  const float whole = (y + roundingShift) - roundingShift;
  const float f = y - whole; // -0.5 to 0.5
  float p = f * 1.3400432e-3f + 9.6760371e-3f;
  p = p * f + 5.5503272e-2f;
  p = p * f + 2.4022107e-1f;
  p = p * f + 6.9314721e-1f;
  p = p * f + 1.0f;
  const auto exponent = int32_t(whole);
  const int32_t half = exponent >> 1;
  return p * std::bit_cast<float>((half + exponentBias) << mantissaBits) *
         std::bit_cast<float>((exponent - half + exponentBias) << mantissaBits);
}

// log2 of a positive normal number, exactly 0 at 1: 2 atanh(s) / ln 2 with s = (m - 1) / (m + 1)
// and the mantissa m in [sqrt(1/2), sqrt(2)); error below 2e-7.
inline float log2Positive(float v) {
  constexpr int32_t sqrtHalfBits = 0x3f3504f3;
  const int32_t bits = std::bit_cast<int32_t>(v);
  const int32_t exponent = (bits - sqrtHalfBits) >> 23;
  const float m = std::bit_cast<float>(bits - (exponent << 23));
  const float s = (m - 1.0f) / (m + 1.0f), u = s * s;
  const float p = (0.59577806f * u + 0.9615884f) * u + 2.8853904f;
  return float(exponent) + s * p;
}

// d raised to power, for d in [0, 1] and 0 < power <= 16: exact at 0 and 1, absolute error below
// 1e-6 (1e-5 for d below float's normal range); NaN stays NaN.
inline float unitPower(float d, float power) {
  constexpr float smallest = std::numeric_limits<float>::min();
  const float e = exp2Fast(power * log2Positive(d > smallest ? d : smallest));
  return d > 0.0f ? e : d;
}
