// Reads the little-endian fields of a resource record one after the other, never beyond its end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>

#include "hostapi/HostTypes.h"

namespace host {

class RecordReader {
public:
  // what: the record's name in the message of the std::runtime_error that a missing byte throws.
  RecordReader(std::span<const std::byte> bytes, const char* what) : bytes_(bytes), what_(what) {}

  uint8_t byte() { return uint8_t(take(1)[0]); }
  int16_t int16() { return int16_t(littleEndian(take(2))); }
  int32_t int32() { return int32_t(littleEndian(take(4))); }
  FourCharCode code() { return littleEndian(take(4)); } // stored reversed, so it reads as it is

  std::string pascalString() {
    const uint8_t length = byte();
    const auto text = take(length);
    return {reinterpret_cast<const char*>(text.data()), text.size()};
  }

  // Text up to a zero or to the end.
  std::string text() {
    std::string result;
    while (!bytes_.empty()) {
      const char c = char(byte());
      if (!c)
        break;
      result += c;
    }
    return result;
  }

  std::span<const std::byte> take(size_t count) {
    if (count > bytes_.size())
      throw std::runtime_error(std::string(what_) + " ends too early");
    const auto taken = bytes_.first(count);
    bytes_ = bytes_.subspan(count);
    return taken;
  }

  size_t left() const { return bytes_.size(); }

private:
  static uint32_t littleEndian(std::span<const std::byte> bytes) {
    uint32_t value = 0;
    for (size_t i = bytes.size(); i-- > 0;)
      value = value << 8 | uint32_t(bytes[i]);
    return value;
  }

  std::span<const std::byte> bytes_;
  const char* what_;
};

} // namespace host
