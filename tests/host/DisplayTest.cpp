// displayPixels against a surface with a guard around it.
#include <gtest/gtest.h>

#include <vector>

#include "host/session/Host.h"

namespace {

constexpr int32_t guard = 8; // bytes on each side of a row
constexpr int32_t width = 7, height = 5;

struct Surface {
  std::vector<uint32_t> words = std::vector<uint32_t>((width + 4) * (height + 2), 0x11223344);
  DisplaySurface surface{reinterpret_cast<uint8_t*>(words.data()) + (width + 4) * 4 + guard, width,
                         height, (width + 4) * 4};
  uint32_t at(int x, int y) const { return words[size_t((y + 1) * (width + 4) + 2 + x)]; }
};

TEST(Display, DrawsWhatOverlapsAndNothingElse) {
  std::vector<uint8_t> pixels(4 * 3 * 3);
  for (size_t i = 0; i < pixels.size(); i++)
    pixels[i] = uint8_t(i * 7);
  PSPixelMap map{1, {2, 1, 5, 5}, plugInModeRGBColor, 12, 3, 1, pixels.data()};
  for (const VRect source : {VRect{2, 1, 5, 5}, VRect{3, 2, 4, 4}, VRect{-9, -9, 99, 99}})
    for (int row = -6; row <= height + 1; row++)
      for (int column = -6; column <= width + 1; column++) {
        Surface target;
        ASSERT_EQ(host::displayPixels(&map, &source, row, column, &target.surface), noErr);
        for (int y = -1; y <= height; y++)
          for (int x = -2; x < width + 2; x++) {
            const int my = y - row + source.top, mx = x - column + source.left;
            const bool drawn = x >= 0 && x < width && y >= 0 && y < height && my >= 2 && my < 5 &&
                               mx >= 1 && mx < 5 && my >= source.top && my < source.bottom &&
                               mx >= source.left && mx < source.right;
            const size_t i = drawn ? size_t((my - 2) * 12 + (mx - 1) * 3) : 0;
            const uint32_t expected = 0xff000000u | uint32_t(pixels[i]) << 16 |
                                      uint32_t(pixels[i + 1]) << 8 | pixels[i + 2];
            ASSERT_EQ(target.at(x, y), drawn ? expected : 0x11223344u);
          }
      }
}

TEST(Display, KnowsGreyInkAndSeparatePlanes) {
  Surface target;
  uint8_t planes[] = {10, 20, 30, 40, 50, 60}; // two pixels, plane by plane
  const VRect both{0, 0, 1, 2};
  PSPixelMap map{1, both, plugInModeRGBColor, 2, 1, 2, planes};
  EXPECT_EQ(host::displayPixels(&map, &both, 0, 0, &target.surface), noErr);
  EXPECT_EQ(target.at(1, 0), 0xff14283cu);
  map.imageMode = plugInModeGrayScale;
  EXPECT_EQ(host::displayPixels(&map, &both, 0, 0, &target.surface), noErr);
  EXPECT_EQ(target.at(1, 0), 0xff141414u);
  uint8_t ink[] = {255, 128, 0, 255, 255, 255, 255, 0};
  map = {1, both, plugInModeCMYKColor, 8, 4, 1, ink};
  EXPECT_EQ(host::displayPixels(&map, &both, 0, 0, &target.surface), noErr);
  EXPECT_EQ(target.at(0, 0), 0xffff8000u);
  EXPECT_EQ(target.at(1, 0), 0xff000000u);
  map.imageMode = plugInModeRGB48; // deep samples cannot be drawn
  EXPECT_EQ(host::displayPixels(&map, &both, 0, 0, &target.surface), filterBadParameters);
  EXPECT_EQ(host::displayPixels(&map, &both, 0, 0, nullptr), filterBadParameters);
}

} // namespace
