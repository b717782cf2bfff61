// The sample conversions against their rules, one value at a time.
#include "frame/record/Bands.h"

#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <vector>

namespace {

using testing::ElementsAre;

// The write rule in the widest types there are.
uint32_t slowSample(float f, double scale) {
  const double scaled = double(f) * scale + 0.5;
  uint64_t bits = uint64_t(1) << 63; // what does not fit, and NaN
  if (scaled > -9.2e18 && scaled < 9.2e18)
    bits = uint64_t(int64_t(scaled));
  return std::min(uint32_t(bits), uint32_t(scale));
}

TEST(Transfer, EveryByteComesBack) {
  std::vector<uint8_t> in(256 * 3), out(256 * 3);
  for (size_t k = 0; k < in.size(); ++k)
    in[k] = uint8_t(k / 3 + k % 3 * 85);
  std::vector<float> image(256 * 4);
  ReadBand(in.data(), 8, 256, image.data());
  for (size_t k = 0; k < 256; ++k) {
    ASSERT_EQ(image[4 * k], float(in[3 * k] / 255.0));
    ASSERT_EQ(image[4 * k + 3], 1.0f);
  }
  WriteBand(image.data(), 8, 256, out.data());
  EXPECT_EQ(in, out);
}

// 16 bits are cut to 256 levels of 128.5 on the way in: 128 is still 0, 1000 comes back as 900.
TEST(Transfer, EveryWordComesInCoarse) {
  std::vector<uint16_t> in(65536 * 3), out(in.size());
  for (size_t k = 0; k < in.size(); ++k)
    in[k] = uint16_t(k / 3 + k % 3 * 1000);
  std::vector<float> image(65536 * 4);
  ReadBand(in.data(), 16, 65536, image.data());
  for (size_t k = 0; k < 65536; ++k)
    for (size_t c = 0; c < 3; ++c)
      ASSERT_EQ(image[4 * k + c], float((in[3 * k + c] * 10 / 1285) / 255.0));
  WriteBand(image.data(), 16, 65536, out.data());
  EXPECT_EQ(out[0], 0);
  EXPECT_EQ(out[3 * 128], 0);
  EXPECT_EQ(out[3 * 1000], 900);
  EXPECT_EQ(out[3 * 32768], 32768);
  EXPECT_EQ(out[3 * 65535], 32768);
}

// Below 0 wraps to the top, but for what rounds to 0; above 1 is the top; what leaves 32 bits shows
// its low half.
TEST(Transfer, WriteRule) {
  std::vector<float> values = {0.0f,  -0.0f,  -0.001f, -0.0019f, -0.002f,   -0.0059f,  -1.0f,
                               1.0f,  1.001f, 1.5f,    0.5f,     0.00196f,  131072.0f, 16843010.0f,
                               1e7f,  -1e7f,  7e4f,    3e4f,     -3e4f,     4e4f,      -4e4f,
                               2e7f,  1e10f,  -1e10f,  3e14f,    1e16f,     -1e16f,    4e16f,
                               1e20f, -1e20f, 3e38f,   INFINITY, -INFINITY, NAN,       1e-40f};
  for (int i = -4000; i <= 4000; ++i)
    values.push_back(float(i) * 0.37e-3f);
  for (size_t pixels : {1, 2, 3, 4, 5, 8}) { // runs of ordinary and of extreme values
    for (size_t first = 0; first + 3 * pixels <= values.size(); first += 3 * pixels) {
      std::vector<float> image;
      for (size_t k = 0; k < 3 * pixels; ++k) {
        image.push_back(values[first + k]);
        if (k % 3 == 2)
          image.push_back(1.0f);
      }
      std::vector<uint8_t> bytes(3 * pixels + 4, 0xa5);
      std::vector<uint16_t> words(3 * pixels + 4, 0xa5a5);
      WriteBand(image.data(), 8, pixels, bytes.data());
      WriteBand(image.data(), 16, pixels, words.data());
      for (size_t k = 0; k < 3 * pixels; ++k) {
        ASSERT_EQ(bytes[k], slowSample(values[first + k], 255.0)) << values[first + k];
        ASSERT_EQ(words[k], slowSample(values[first + k], 32768.0)) << values[first + k];
      }
      for (size_t k = 3 * pixels; k < bytes.size(); ++k) { // nothing behind the band
        ASSERT_EQ(bytes[k], 0xa5);
        ASSERT_EQ(words[k], 0xa5a5);
      }
    }
  }
}

TEST(Transfer, FloatsPassAndOtherDepthsDoNot) {
  const float in[6] = {-5.0f, 7.5f, INFINITY, 1e-42f, -0.0f, 3e38f};
  float image[8], out[7] = {9, 9, 9, 9, 9, 9, 9};
  ReadBand(in, 32, 2, image);
  EXPECT_THAT(image, ElementsAre(-5.0f, 7.5f, INFINITY, 1.0f, 1e-42f, -0.0f, 3e38f, 1.0f));
  WriteBand(image, 32, 2, out);
  EXPECT_EQ(std::memcmp(in, out, sizeof in), 0);
  EXPECT_EQ(out[6], 9.0f);
  WriteBand(image, 24, 2, out);
  EXPECT_EQ(std::memcmp(in, out, sizeof in), 0);
  ReadBand(in, 24, 2, image);
  EXPECT_THAT(image, testing::Each(0.0f));
}

} // namespace
