// Documents and their reduced copies.
#include "host/document/Document.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/support/HostFixture.h"

namespace {

using fixture::sampleAt;
using host::ColourMode;
using host::Document;

TEST(Document, RefusesShapesThatCannotBe) {
  EXPECT_THROW(Document(0, 1, 3, 8), std::invalid_argument);
  EXPECT_THROW(Document(1, -1, 3, 8), std::invalid_argument);
  EXPECT_THROW(Document(1, 1, 3, 12), std::invalid_argument);
  EXPECT_THROW(Document(1, 1, 2, 8), std::invalid_argument);
  EXPECT_THROW(Document(1, 1, 3, 8, ColourMode::rgb, true), std::invalid_argument);
  EXPECT_THROW(Document(1, 1, 3, 8, ColourMode::cmyk), std::invalid_argument);
  const int32_t most = std::numeric_limits<int32_t>::max();
  EXPECT_THROW(Document(most, most, 32767, 32), std::bad_alloc);
  EXPECT_THROW(Document(2, 2, 3, 8).setSelection(std::vector<uint8_t>(3)), std::invalid_argument);
}

TEST(Document, TellsTheModeOfItsDepth) {
  EXPECT_EQ(Document(1, 1, 3, 8).imageMode(), plugInModeRGBColor);
  EXPECT_EQ(Document(1, 1, 3, 16).imageMode(), plugInModeRGB48);
  EXPECT_EQ(Document(1, 1, 4, 32).imageMode(), plugInModeRGB96);
  EXPECT_EQ(Document(1, 1, 1, 16, ColourMode::grayscale).imageMode(), plugInModeGray16);
  EXPECT_EQ(Document(1, 1, 4, 16, ColourMode::cmyk).imageMode(), plugInModeCMYK64);
}

// Share of source pixel p in output pixel i of `to` out of `from`, in parts of 1 / to.
int64_t share(int64_t i, int64_t p, int64_t from, int64_t to) {
  return std::max<int64_t>(0, std::min((i + 1) * from, (p + 1) * to) - std::max(i * from, p * to));
}

TEST(Reduced, IsTheMeanOfWhatEachPixelCovers) {
  std::mt19937 random(5);
  for (int round = 0; round < 40; round++) {
    const int32_t depth = 8 << round % 3, width = 1 + int32_t(random() % 50),
                  height = 1 + int32_t(random() % 40);
    const bool alpha = round % 4 == 0;
    const Document d = fixture::noise(width, height, depth, 3 + alpha + round % 2, ColourMode::rgb,
                                      alpha, uint32_t(round));
    // Halves and the size itself among them.
    const int32_t lowWidth = round % 5 ? 1 + int32_t(random() % uint32_t(width)) : width;
    const int32_t lowHeight =
        round % 7 ? 1 + int32_t(random() % uint32_t(height)) : (height + 1) / 2;
    const Document low = host::reduced(d, lowWidth, lowHeight);
    ASSERT_EQ(low.channels(), d.channels());
    ASSERT_EQ(low.hasTransparency(), alpha);
    for (int32_t y = 0; y < lowHeight; y++)
      for (int32_t x = 0; x < lowWidth; x++)
        for (int32_t c = 0; c < d.channels(); c++) {
          double sum = 0, weights = 0;
          for (int32_t sy = 0; sy < height; sy++)
            for (int32_t sx = 0; sx < width; sx++) {
              double w = double(share(x, sx, width, lowWidth) * share(y, sy, height, lowHeight));
              if (alpha && c < 3)
                w *= sampleAt(d, sx, sy, 3);
              sum += w * sampleAt(d, sx, sy, c);
              weights += w;
            }
          const double tolerance = depth == 32 ? 1e-6 : alpha ? 0.51 : 0.5000001;
          ASSERT_NEAR(sampleAt(low, x, y, c), weights ? sum / weights : 0, tolerance)
              << "round " << round << " at " << x << ", " << y << ", " << c;
        }
  }
}

TEST(Reduced, KeepsOddSamplesFromSpreading) {
  Document d(4, 4, 3, 32);
  fixture::fill(d, [](int, int, int) { return 0.5; });
  fixture::setSample(d, 1, 1, 1, NAN);
  fixture::setSample(d, 3, 3, 0, INFINITY);
  const Document low = host::reduced(d, 2, 2);
  EXPECT_EQ(low.nonFiniteSamples(), 0);
  EXPECT_FLOAT_EQ(float(sampleAt(low, 0, 0, 1)), 0.375f); // as if it were 0
  EXPECT_FLOAT_EQ(float(sampleAt(low, 1, 0, 1)), 0.5f);
  EXPECT_THROW(host::reduced(d, 5, 1), std::invalid_argument);
  EXPECT_THROW(host::reduced(d, 1, 0), std::invalid_argument);
}

} // namespace
