#include "apps/photo/ExtendedXmp.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "apps/photo/JpegSegments.h"

namespace photo {
namespace {

using std::string_view_literals::operator""sv;

constexpr std::string_view longMark = "http://ns.adobe.com/xmp/extension/\0"sv;
constexpr size_t nameSize = 32, headSize = longMark.size() + nameSize + 8;
constexpr size_t segmentLimit = 65533; // bytes after a segment's length

// The digest with which the standard names a packet: MD5 (RFC 1321), in capital hexadecimal.
std::string nameOf(std::string text) {
  constexpr int turns[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
  const uint64_t bits = uint64_t(text.size()) * 8;
  text += '\x80';
  text.resize((text.size() + 8 + 63) / 64 * 64, '\0');
  std::memcpy(text.data() + text.size() - 8, &bits, 8);
  std::array<uint32_t, 4> state = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
  for (size_t block = 0; block < text.size(); block += 64) {
    uint32_t words[16];
    std::memcpy(words, text.data() + block, 64);
    auto [a, b, c, d] = state;
    for (uint32_t i = 0; i < 64; ++i) {
      const uint32_t round = i / 16;
      const uint32_t mixed = round == 0   ? (b & c) | (~b & d)
                             : round == 1 ? (d & b) | (~d & c)
                             : round == 2 ? b ^ c ^ d
                                          : c ^ (b | ~d);
      const uint32_t word = round == 0   ? i
                            : round == 1 ? 5 * i + 1
                            : round == 2 ? 3 * i + 5
                                         : 7 * i;
      const auto sine = uint32_t(std::floor(std::fabs(std::sin(double(i + 1))) * 4294967296.0));
      const uint32_t sum = a + mixed + sine + words[word % 16];
      a = d;
      d = c;
      c = b;
      b += std::rotl(sum, turns[round][i % 4]);
    }
    state = {state[0] + a, state[1] + b, state[2] + c, state[3] + d};
  }
  std::string name;
  for (const uint32_t word : state)
    for (int byte = 0; byte < 4; ++byte) {
      char digits[3];
      std::snprintf(digits, sizeof digits, "%02X", unsigned(word >> (8 * byte) & 0xff));
      name += digits;
    }
  return name;
}

std::string bigEndian(uint32_t value, int bytes) {
  std::string text;
  for (int i = bytes - 1; i >= 0; --i)
    text += char(value >> (8 * i) & 0xff);
  return text;
}

uint32_t bigEndianAt(std::string_view text, size_t place) {
  uint32_t value = 0;
  for (size_t i = place; i < place + 4; ++i)
    value = value << 8 | uint8_t(text[i]);
  return value;
}

std::string segment(std::string_view mark, const std::string& data) {
  return std::string("\xff\xe1") + bigEndian(uint32_t(2 + mark.size() + data.size()), 2) +
         std::string(mark) + data;
}

} // namespace

Bytes withLongXmp(const Bytes& jpeg, const std::string& packet) {
  const std::string name = nameOf(packet);
  std::string segments = segment(
      xmpMark,
      "<?xpacket begin=\"\xef\xbb\xbf\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>"
      "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF "
      "xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"><rdf:Description rdf:about=\"\" "
      "xmlns:xmpNote=\"http://ns.adobe.com/xmp/note/\" xmpNote:" +
          std::string(longXmpMark) + "=\"" + name +
          "\"/></rdf:RDF></x:xmpmeta><?xpacket end=\"w\"?>");
  const size_t most = segmentLimit - headSize;
  for (size_t place = 0; place < packet.size(); place += most)
    segments += segment(longMark, name + bigEndian(uint32_t(packet.size()), 4) +
                                      bigEndian(uint32_t(place), 4) + packet.substr(place, most));
  size_t behind = 2; // after the initial blocks
  visitSegments(jpeg, [&behind](size_t place, uint8_t marker, std::string_view data) {
    const bool first = marker == app0 || marker == app1;
    behind = first ? place + 4 + data.size() : behind;
    return first;
  });
  Bytes file = jpeg;
  file.insert(file.begin() + ptrdiff_t(behind), segments.begin(), segments.end());
  return file;
}

std::string longXmpOf(const Bytes& jpeg) {
  std::string packet, name;
  size_t found = 0;
  visitSegments(jpeg, [&](size_t, uint8_t marker, std::string_view data) {
    if (marker != app1 || !data.starts_with(longMark) || data.size() < headSize)
      return true;
    const size_t whole = bigEndianAt(data, headSize - 8), place = bigEndianAt(data, headSize - 4);
    const std::string_view piece = data.substr(headSize);
    if (name.empty() && whole <= jpeg.size()) {
      name = data.substr(longMark.size(), nameSize);
      packet.resize(whole);
    }
    if (data.substr(longMark.size(), nameSize) != name || place + piece.size() > packet.size())
      return true;
    std::copy(piece.begin(), piece.end(), packet.begin() + ptrdiff_t(place));
    found += piece.size();
    return true;
  });
  return found == packet.size() ? packet : std::string();
}

} // namespace photo
