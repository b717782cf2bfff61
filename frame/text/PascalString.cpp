// Pascal strings and their placeholders.
#include "frame/text/PascalString.h"

#include <algorithm>
#include <charconv>

void PascalString::append(std::string_view text) {
  const size_t old = length();
  const size_t added = std::min(text.size(), limit - old);
  std::copy_n(text.begin(), added, bytes_ + 1 + old);
  bytes_[0] = uint8_t(old + added); // the bytes after it are zero from the start
}

void PascalString::append(int32_t number) {
  char digits[12];
  append({digits, size_t(std::to_chars(digits, digits + sizeof digits, number).ptr - digits)});
}

void ParamString(PascalString& text, const PascalString& arg0, const PascalString& arg1,
                 const PascalString& arg2) {
  const PascalString* const args[] = {&arg0, &arg1, &arg2};
  PascalString result;
  std::string_view rest = text.view();
  while (!rest.empty()) {
    const bool placeholder = rest.size() > 1 && rest[0] == '^' && rest[1] >= '0' && rest[1] <= '2';
    if (placeholder)
      result.append(args[rest[1] - '0']->view());
    else
      result.append(rest.substr(0, 1));
    rest.remove_prefix(placeholder ? 2 : 1);
  }
  text = result;
}
