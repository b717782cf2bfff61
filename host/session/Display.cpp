// displayPixels: draws an 8-bit RGB block into a surface of 32 bits per pixel, clipped on all
// sides.
#include <algorithm>

#include "host/session/Host.h"

namespace host {

HostResult displayPixels(const PSPixelMap* map, const VRect* srcRect, int32_t dstRow,
                         int32_t dstCol, void* surface) {
  auto* target = static_cast<DisplaySurface*>(surface);
  if (map->imageMode != plugInModeRGBColor || !map->baseAddr) // the preview of every RGB
    return filterBadParameters;                               // image has this mode
  // Offset from a row or column of the map to that of the surface.
  const int64_t down = int64_t(dstRow) - srcRect->top, along = int64_t(dstCol) - srcRect->left;
  const int64_t top = std::max<int64_t>({srcRect->top, map->bounds.top, -down});
  const int64_t left = std::max<int64_t>({srcRect->left, map->bounds.left, -along});
  const int64_t bottom =
      std::min<int64_t>({srcRect->bottom, map->bounds.bottom, target->height - down});
  const int64_t right =
      std::min<int64_t>({srcRect->right, map->bounds.right, target->width - along});
  const int64_t pixel = map->colBytes, plane = map->planeBytes;
  for (int64_t y = top; y < bottom && left < right; y++) {
    const uint8_t* from = static_cast<const uint8_t*>(map->baseAddr) +
                          (y - map->bounds.top) * map->rowBytes +
                          (left - map->bounds.left) * map->colBytes;
    uint8_t* row = target->pixels + (y + down) * target->rowBytes + (left + along) * 4;
    auto* to = reinterpret_cast<uint32_t*>(row);
    for (int64_t x = left; x < right; x++, from += pixel)
      *to++ = 0xff000000u | uint32_t(from[0]) << 16 | uint32_t(from[plane]) << 8 | from[2 * plane];
  }
  return noErr;
}

} // namespace host
