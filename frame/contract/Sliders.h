// Settings and the slider positions that stand for them, 0 to 100.
//
// Values are floats and positions are truncated: 0.35 is held a little below itself, and its slider
// shows 34. The dialog and the programs share these rules, so that both mean the same by a number.
#pragma once

#include <cmath>
#include <cstdint>

#include "primitives/base/Conversions.h"

constexpr int32_t leastPosition = 0, greatestPosition = 100;

// Of the four positions and intensities: a hundredth for each step.
inline float ValueOfPosition(double position) { return float(position / 100.0); }
inline int32_t PositionOfValue(float value) { return truncateToInt32(value * 100.0); }

// Of the balance: exp(-2) at 0, 1 in the middle, exp(2) at 100. The exponent and the logarithm are
// rounded to float.
inline float PowerOfPosition(double position) {
  const float exponent = float(position / 25.0 - 2.0);
  return float(std::exp(double(exponent)));
}
inline double BalanceOfPower(float power) {
  const float logarithm = float(std::log(double(power)));
  return (logarithm + 2.0) * 25.0;
}
inline int32_t PositionOfPower(float power) { return truncateToInt32(BalanceOfPower(power)); }
