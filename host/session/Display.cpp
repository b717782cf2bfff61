// displayPixels: an 8-bit image block drawn into a surface of 32 bits a pixel, clipped on all
// sides.
#include <algorithm>

#include "host/session/Host.h"

namespace host {

namespace {

struct Colour {
  uint32_t r, g, b;
};

// sample(p): plane p of a pixel.
template <class Sample> Colour colourOf(int32_t imageMode, const Sample& sample) {
  switch (imageMode) {
  case plugInModeRGBColor:
    return {sample(0), sample(1), sample(2)};
  case plugInModeCMYKColor: { // 255 is no ink
    const uint32_t k = sample(3);
    return {sample(0) * k / 255u, sample(1) * k / 255u, sample(2) * k / 255u};
  }
  default: // one plane tells the grey
    return {sample(0), sample(0), sample(0)};
  }
}

bool canDraw(int32_t imageMode) {
  return imageMode == plugInModeGrayScale || imageMode == plugInModeRGBColor ||
         imageMode == plugInModeCMYKColor || imageMode == plugInModeMultichannel ||
         imageMode == plugInModeDuotone;
}

void drawRow(const PSPixelMap& map, const uint8_t* from, int64_t count, uint32_t* to) {
  for (int64_t x = 0; x < count; x++, from += map.colBytes) {
    const Colour c = colourOf(map.imageMode, [&](int32_t plane) -> uint32_t {
      return from[int64_t(plane) * map.planeBytes];
    });
    to[x] = 0xff000000u | c.r << 16 | c.g << 8 | c.b;
  }
}

} // namespace

HostResult displayPixels(const PSPixelMap* map, const VRect* srcRect, int32_t dstRow,
                         int32_t dstCol, void* surface) {
  auto* target = static_cast<DisplaySurface*>(surface);
  if (!map || !srcRect || !target || !map->baseAddr || !target->pixels || map->version != 1 ||
      !canDraw(map->imageMode))
    return filterBadParameters;
  // From a row or column of the map to that of the surface.
  const int64_t down = int64_t(dstRow) - srcRect->top, along = int64_t(dstCol) - srcRect->left;
  const int64_t top = std::max<int64_t>({srcRect->top, map->bounds.top, -down});
  const int64_t left = std::max<int64_t>({srcRect->left, map->bounds.left, -along});
  const int64_t bottom =
      std::min<int64_t>({srcRect->bottom, map->bounds.bottom, target->height - down});
  const int64_t right =
      std::min<int64_t>({srcRect->right, map->bounds.right, target->width - along});
  for (int64_t y = top; y < bottom && left < right; y++) {
    const uint8_t* from = static_cast<const uint8_t*>(map->baseAddr) +
                          (y - map->bounds.top) * map->rowBytes +
                          (left - map->bounds.left) * map->colBytes;
    uint8_t* to = target->pixels + (y + down) * target->rowBytes + (left + along) * 4;
    drawRow(*map, from, right - left, reinterpret_cast<uint32_t*>(to));
  }
  return noErr;
}

} // namespace host
