// Numbers as a user types and reads them, independent of the locale.
#pragma once

#include <cstdint>

#include "frame/text/PascalString.h"

enum class NumberKind { none = 0, positive = 1, negative = 2 };

// Parses a whole number: blanks, one optional minus sign, digits, blanks; anything else is not a
// number. Reduces the text to the digits, without the sign. More than 9 digits give 0x7fffffff with
// the sign; no number gives 0. Zero counts as positive unless it has a sign.
NumberKind StringToNumber(PascalString& text, int32_t& number);

// Decimal text with `precision` places (0 or more). Rounds the last place up if the next digit, in
// the shortest decimal text of the value, is 5 or more. Drops one last place if it is 0: 1.00
// becomes 1.0, and 1.0 becomes 1.
PascalString NumberToString(double value, int precision);
