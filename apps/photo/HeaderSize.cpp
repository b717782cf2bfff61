#include "apps/photo/HeaderSize.h"

#include <algorithm>
#include <string_view>

namespace photo {
namespace {

using std::string_view_literals::operator""sv;

// Big-endian, like all these formats; 0 beyond the end.
int64_t number(std::string_view file, size_t place) {
  int64_t value = 0;
  for (size_t i = place; i < place + 4; ++i)
    value = value * 256 + (i < file.size() ? uint8_t(file[i]) : 0);
  return value;
}

// Finds each mark and reads the two numbers at a distance after it; returns the largest pair.
ClaimedSize largestAfter(std::string_view file, std::string_view mark, size_t distance,
                         bool heightFirst) {
  ClaimedSize largest;
  for (size_t place = file.find(mark); place < file.size();
       place = file.find(mark, place + mark.size())) {
    const int64_t first = number(file, place + mark.size() + distance);
    const int64_t second = number(file, place + mark.size() + distance + 4);
    if (double(first) * double(second) > double(largest.width) * double(largest.height))
      largest = heightFirst ? ClaimedSize{second, first} : ClaimedSize{first, second};
  }
  return largest;
}

std::string_view startOf(const Bytes& file) {
  constexpr size_t headerBytes = 64 << 10; // boxes before the pixels
  return {reinterpret_cast<const char*>(file.data()), std::min(file.size(), headerBytes)};
}

bool isHeif(std::string_view start) {
  return start.substr(std::min<size_t>(4, start.size())).starts_with("ftyp"sv);
}

} // namespace

bool isHeif(const Bytes& file) { return isHeif(startOf(file)); }

HeifClaim heifClaim(const Bytes& file) {
  const std::string_view start = startOf(file), box = "pixi"sv;
  if (!isHeif(start))
    return {};
  auto has = [start](std::string_view words) { return start.find(words) != start.npos; };
  HeifClaim claim;
  const size_t place = start.find(box);
  const size_t first = box.size() + 5; // after version, flags and the number of channels
  if (place < start.size() && place + first < start.size())
    claim.bits = uint8_t(start[place + first]);
  claim.alpha =
      has("urn:mpeg:mpegB:cicp:systems:auxiliary:alpha"sv) || has("urn:mpeg:hevc:2015:auxid:1"sv);
  claim.turned = has("irot"sv) || has("imir"sv);
  return claim;
}

ClaimedSize claimedSize(const Bytes& file) {
  const std::string_view start = startOf(file);
  if (start.starts_with("\x89PNG\r\n\x1a\n"sv))
    return {number(start, 16), number(start, 20)};
  if (start.starts_with("\0\0\0\x0cjP  "sv))
    return largestAfter(start, "ihdr"sv, 0, true);
  if (start.starts_with("\xff\x4f\xff\x51"sv)) // a bare codestream: the size of its grid
    return {number(start, 8), number(start, 12)};
  if (isHeif(start))
    return largestAfter(start, "ispe"sv, 4, false); // after version and flags
  return {};
}

} // namespace photo
