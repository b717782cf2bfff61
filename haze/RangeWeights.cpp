// The range table, filled once. Its values are rounded in decimal, so the code converts them to
// decimal text and back, independently of the locale.
#include "haze/RangeWeights.h"

#include <array>
#include <charconv>
#include <cmath>
#include <numbers>

namespace {

constexpr int significantDigits = 6;

double roundedToDigits(double v) {
  char text[32];
  const auto end = std::to_chars(text, text + sizeof text, v, std::chars_format::scientific,
                                 significantDigits - 1);
  double rounded = 0;
  std::from_chars(text, end.ptr, rounded);
  return rounded;
}

using RangeTable = std::array<double, 2 * rangeEnd + 1>;

RangeTable makeRangeTable() {
  const double peak = 1.0 / (rangeDeviation * std::sqrt(2.0 * std::numbers::pi));
  RangeTable table{};
  for (int32_t i = 0; i <= rangeEnd; ++i) {
    const double t = i / double(rangeScale) / rangeDeviation;
    table[rangeEnd - i] = table[rangeEnd + i] = roundedToDigits(peak * std::exp(-0.5 * t * t));
  }
  return table;
}

} // namespace

const double* rangeTable() {
  static const RangeTable table = makeRangeTable();
  return table.data() + rangeEnd;
}
