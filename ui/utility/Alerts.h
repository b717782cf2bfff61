// Message boxes with a numbered text.
#pragma once

#include <cstdint>

#include "frame/text/PascalString.h"
#include "ui/toolkit/Windows.h"

constexpr int32_t alertSevere = 1; // any other severity is a caution

// Show the string with text1 for ^1 and text2 for ^2, without ^0; a string number of 0 or less
// shows an empty text. Return the box's result; if active is 0, they show nothing and return 0.
int ShowCaution(Window owner, int32_t active, int32_t stringId, const PascalString& text1,
                const PascalString& text2);
int ShowAlert(Window owner, int32_t active, int32_t stringId, const PascalString& text1,
              const PascalString& text2, int32_t severity);
