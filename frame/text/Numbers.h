// Numbers as a user types and reads them, free of the locale.
#pragma once

#include <cstdint>

#include "frame/text/PascalString.h"

enum class NumberKind { none = 0, positive = 1, negative = 2 };

// Whole number in a text: blanks, one minus sign, digits, blanks; anything else makes it none. The
// text becomes the bare digits, without the sign. A number of more than 9 digits is 0x7fffffff,
// signed; none is 0. Zero counts as positive unless it has a sign.
NumberKind StringToNumber(PascalString& text, int32_t& number);

// Decimal text with that many places (0 or more). The last place is rounded up when the digit
// behind it, in the shortest decimal text of the value, is 5 or more; a last place of 0 is dropped,
// one only: 1.00 becomes 1.0, and 1.0 becomes 1.
PascalString NumberToString(double value, int precision);
