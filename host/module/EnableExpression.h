// The language in which a property list says which images its filter supports.
//
//   expression  or { "||" or },  and { "&&" and },  "!" unary,  comparison with == != < <= > >=
//   primary     integer, name, "(" expression ")", "in(" value, choice, ... ")"
//
// Names are those of the image (PSHOP_ImageMode, PSHOP_NumTrueChannels), of the modes (RGBMode,
// RGB48Mode, ...), true and false. A value other than 0 is true.
#pragma once

#include <cstdint>
#include <string>

namespace host {

// What an expression can query about an image.
struct EnableFacts {
  int32_t imageMode;    // ImageMode
  int32_t trueChannels; // colour channels
};

// Throws std::runtime_error with the position and what was expected there.
bool evaluateEnable(const std::string& expression, const EnableFacts& facts);

} // namespace host
