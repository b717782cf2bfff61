#include "apps/photo/Orientation.h"

#include <cstring>

namespace photo {

host::Document turned(const host::Document& document, int orientation) {
  const bool exchanged = orientation >= 5;
  const bool fromRight =
      orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
  const bool fromBelow =
      orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
  const int32_t width = document.width(), height = document.height();
  host::Document upright(exchanged ? height : width, exchanged ? width : height,
                         document.channels(), document.depth(), document.mode(),
                         document.hasTransparency());
  const size_t pixel = size_t(document.channels()) * document.sampleBytes();
  for (int32_t v = 0; v < upright.height(); ++v)
    for (int32_t u = 0; u < upright.width(); ++u) {
      const int32_t x = exchanged ? v : u, y = exchanged ? u : v;
      std::memcpy(upright.row(v) + size_t(u) * pixel,
                  document.row(fromBelow ? height - 1 - y : y) +
                      size_t(fromRight ? width - 1 - x : x) * pixel,
                  pixel);
    }
  return upright;
}

} // namespace photo
