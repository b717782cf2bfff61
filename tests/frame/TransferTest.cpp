// The conversion of samples against its rules, value by value.
#include "frame/record/Bands.h"

#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <vector>

namespace {

// The rule for writing, in the widest types.
uint32_t slowSample(float f, double scale) {
  const double scaled = double(f) * scale + 0.5;
  const bool fits = scaled > -9.2e18 && scaled < 9.2e18; // false for NaN
  return std::min(fits ? uint32_t(int64_t(scaled)) : 0, uint32_t(scale));
}

// Each byte has its own level; 16-bit samples have one level per 128.5 values: 128 is still 0.
template <class Sample> void everySample() {
  constexpr size_t values = (size_t(1) << 8 * sizeof(Sample)) + 45; // not a whole number of vectors
  std::vector<Sample> in(values * 3);
  for (size_t k = 0; k < in.size(); ++k)
    in[k] = Sample(k / 3 + k % 3 * 85);
  std::vector<float> image(values * 4);
  ReadBand(in.data(), 8 * sizeof(Sample), values, image.data());
  for (size_t k = 0; k < in.size(); ++k) {
    const int level = sizeof(Sample) == 1 ? in[k] : in[k] * 10 / 1285;
    ASSERT_EQ(image[k / 3 * 4 + k % 3], float(level / 255.0));
    ASSERT_EQ(image[k / 3 * 4 + 3], 1.0f);
  }
}

TEST(Transfer, EverySample) {
  everySample<uint8_t>();
  everySample<uint16_t>();
  const float in[6] = {-5.0f, 7.5f, INFINITY, 1e-42f, -0.0f, 3e38f};
  float image[8], out[7] = {9, 9, 9, 9, 9, 9, 9};
  ReadBand(in, 32, 2, image); // floats pass unchanged
  WriteBand(image, 32, 2, out);
  EXPECT_EQ(std::memcmp(in, out, sizeof in), 0);
  EXPECT_EQ(std::tuple(image[3], image[7], out[6]), std::tuple(1.0f, 1.0f, 9.0f));
  ReadBand(in, 24, 2, image); // no such depth
  WriteBand(image, 24, 2, out);
  EXPECT_THAT(image, testing::Each(0.0f));
  EXPECT_EQ(std::memcmp(in, out, sizeof in), 0);
}

// Below 0 wraps to the top, except values that round to 0; above 1 gives the top; values beyond 32
// bits give their low half. Runs of ordinary and of extreme values, of every length; nothing is
// written beyond the band.
TEST(Transfer, WriteRule) {
  std::vector<float> values = {-0.001f, -0.0019f, -0.002f, 131072.0f, 16843010.0f, 1e7f,
                               -7e4f,   3e4f,     -3e4f,   4e4f,      -4e4f,       1e10f,
                               3e14f,   1e16f,    1e20f,   -INFINITY, NAN,         1e-40f};
  for (int i = -4000; i <= 4000; ++i)
    values.push_back(float(i) * 0.37e-3f);
  for (size_t pixels : {1, 2, 3, 5, 8})
    for (size_t first = 0; first + 3 * pixels <= values.size(); first += 3 * pixels) {
      std::vector<float> image(4 * pixels, 1.0f);
      for (size_t k = 0; k < 3 * pixels; ++k)
        image[k / 3 * 4 + k % 3] = values[first + k];
      std::vector<uint8_t> bytes(3 * pixels + 4, 0xa5);
      std::vector<uint16_t> words(3 * pixels + 4, 0xa5a5);
      WriteBand(image.data(), 8, pixels, bytes.data());
      WriteBand(image.data(), 16, pixels, words.data());
      for (size_t k = 0; k < bytes.size(); ++k) {
        const bool inside = k < 3 * pixels;
        ASSERT_EQ(bytes[k], inside ? slowSample(values[first + k], 255.0) : 0xa5);
        ASSERT_EQ(words[k], inside ? slowSample(values[first + k], 32768.0) : 0xa5a5);
      }
    }
}

} // namespace
