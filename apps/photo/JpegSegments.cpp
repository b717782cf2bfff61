#include "apps/photo/JpegSegments.h"

namespace photo {

void visitSegments(const Bytes& jpeg, const SegmentVisitor& visit) {
  constexpr uint8_t startOfScan = 0xda;
  const std::string_view file(reinterpret_cast<const char*>(jpeg.data()), jpeg.size());
  for (size_t place = 2; place + 4 <= file.size() && jpeg[place] == 0xff;) {
    const uint8_t marker = jpeg[place + 1];
    const size_t size = size_t(jpeg[place + 2]) << 8 | jpeg[place + 3];
    if (marker == startOfScan || size < 2 || place + 2 + size > file.size() ||
        !visit(place, marker, file.substr(place + 4, size - 2)))
      return;
    place += 2 + size;
  }
}

std::string_view segmentOf(const Bytes& jpeg, uint8_t marker, std::string_view mark) {
  std::string_view found;
  visitSegments(jpeg, [&](size_t, uint8_t other, std::string_view data) {
    const bool isIt = other == marker && data.starts_with(mark);
    if (isIt)
      found = data.substr(mark.size());
    return !isIt;
  });
  return found;
}

} // namespace photo
