// Conversions and 32-bit arithmetic that are defined for every input.
//
// The conversions return what the machine's truncating instruction returns: the lowest integer for
// NaN and for values out of range. The arithmetic wraps where signed arithmetic would overflow.
#pragma once

#include <cstdint>
#include <limits>

inline int32_t wrappingAdd(int32_t a, int32_t b) { return int32_t(uint32_t(a) + uint32_t(b)); }
inline int32_t wrappingSubtract(int32_t a, int32_t b) { return int32_t(uint32_t(a) - uint32_t(b)); }
inline int32_t wrappingMultiply(int32_t a, int32_t b) { return int32_t(uint32_t(a) * uint32_t(b)); }

// Rounds toward zero; NaN and values outside int32 give the lowest int32.
inline int32_t truncateToInt32(double v) {
  return v > -2147483649.0 && v < 2147483648.0 ? int32_t(v) : std::numeric_limits<int32_t>::min();
}

// Rounds toward zero; NaN and values outside int64 give the lowest int64.
inline int64_t truncateToInt64(double v) {
  return v >= -9223372036854775808.0 && v < 9223372036854775808.0
             ? int64_t(v)
             : std::numeric_limits<int64_t>::min();
}
