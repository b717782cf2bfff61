// Short texts in the format of the host and the alerts: a length byte, then at most 255 bytes
// (UTF-8 here). A zero always follows, so that the text is also a C string.
#pragma once

#include <cstdint>
#include <string_view>

class PascalString {
public:
  static constexpr size_t limit = 255; // bytes of text

  PascalString() = default;
  PascalString(std::string_view text) { append(text); }
  PascalString(const char* text) : PascalString(std::string_view(text)) {}

  size_t length() const { return bytes_[0]; }
  const char* text() const { return reinterpret_cast<const char*>(bytes_ + 1); }
  std::string_view view() const { return {text(), length()}; }
  const uint8_t* bytes() const { return bytes_; } // length first

  void append(std::string_view text); // drops what exceeds the limit
  void append(int32_t number);        // in decimal

  bool operator==(const PascalString& other) const { return view() == other.view(); }

private:
  uint8_t bytes_[1 + limit + 1] = {};
};

// Replaces each ^0, ^1, ^2 in the text by the argument of that number; an empty argument removes
// it. A ^ before any other character stays, and so does a ^ inside an argument.
void ParamString(PascalString& text, const PascalString& arg0, const PascalString& arg1,
                 const PascalString& arg2);
