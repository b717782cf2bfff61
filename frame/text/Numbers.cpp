// Reads whole numbers and writes decimal numbers.
#include "frame/text/Numbers.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string>

namespace {

constexpr size_t mostDigits = 9; // every number of up to this many digits fits 32 bits
constexpr int32_t tooLarge = 0x7fffffff;

// Adds one to the last digit of a decimal number, ignoring the point.
void roundUp(std::string& digits) {
  for (size_t i = digits.size(); i-- > 0;) {
    if (digits[i] == '.')
      continue;
    if (digits[i] != '9') {
      ++digits[i];
      return;
    }
    digits[i] = '0';
  }
  digits.insert(0, 1, '1');
}

} // namespace

NumberKind StringToNumber(PascalString& text, int32_t& number) {
  std::string_view rest = text.view();
  const auto skipBlanks = [&rest] {
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
  };
  skipBlanks();
  const bool negative = rest.starts_with('-');
  rest.remove_prefix(negative ? 1 : 0);
  const std::string digits(rest.substr(0, rest.find_first_not_of("0123456789")));
  rest.remove_prefix(digits.size());
  skipBlanks();

  text = PascalString(digits);
  number = 0;
  if (digits.empty() || !rest.empty())
    return NumberKind::none;
  if (digits.size() > mostDigits)
    number = tooLarge;
  else
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (negative)
    number = -number;
  return negative ? NumberKind::negative : NumberKind::positive;
}

PascalString NumberToString(double value, int precision) {
  // Room for the longest double in fixed notation: 309 digits before the point, or 324 zeros and 17
  // digits after it.
  char buffer[400];
  const char* end =
      std::to_chars(buffer, buffer + sizeof buffer, std::fabs(value), std::chars_format::fixed).ptr;
  std::string digits(buffer, size_t(end - buffer));
  if (!std::isfinite(value))
    return std::string_view(digits);

  // Cuts after the last place, or pads with zeros up to it.
  if (digits.find('.') == std::string::npos)
    digits += '.';
  const size_t wanted = digits.find('.') + 1 + size_t(std::max(precision, 0));
  const bool up = digits.size() > wanted && digits[wanted] >= '5';
  digits.resize(wanted, '0');
  if (up)
    roundUp(digits);

  if (digits.back() == '0' && precision > 0)
    digits.pop_back();
  if (digits.back() == '.')
    digits.pop_back();
  const bool isZero = digits.find_first_not_of("0.") == std::string::npos;
  return std::string_view(value < 0 && !isZero ? digits.insert(0, 1, '-') : digits);
}
