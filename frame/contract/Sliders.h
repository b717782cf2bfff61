// Conversion between settings and slider positions, 0 to 100.
//
// Values are floats and positions are truncated: the float for 0.35 is slightly below 0.35, so its
// slider shows 34. The dialog and the programs share these rules, so that a number means the same
// in both.
#pragma once

#include <cmath>
#include <cstdint>

#include "primitives/base/Conversions.h"

constexpr int32_t leastPosition = 0, greatestPosition = 100;

// For the two positions and the two intensities: one hundredth per step.
inline float ValueOfPosition(double position) { return float(position / 100.0); }
inline int32_t PositionOfValue(float value) { return truncateToInt32(value * 100.0); }

// For the balance: exp(-2) at 0, 1 at 50, exp(2) at 100. The exponent and the logarithm are rounded
// to float.
inline float PowerOfPosition(double position) {
  const float exponent = float(position / 25.0 - 2.0);
  return float(std::exp(double(exponent)));
}
inline double BalanceOfPower(float power) {
  const float logarithm = float(std::log(double(power)));
  return (logarithm + 2.0) * 25.0;
}
inline int32_t PositionOfPower(float power) { return truncateToInt32(BalanceOfPower(power)); }
