// The conversions of samples against exact arithmetic.

#include "apps/photo/Samples.h"

#include <cmath>
#include <limits>
#include <numeric>

#include <gtest/gtest.h>

namespace {

constexpr size_t all16 = 65536, all15 = 32769;

TEST(Samples, SixteenBitScalesAreRoundedBothWaysForEveryValue) {
  std::vector<uint16_t> samples(all16);
  std::iota(samples.begin(), samples.end(), 0);
  photo::toDocument16(samples.data(), samples.size());
  for (size_t v = 0; v < all16; ++v)
    ASSERT_EQ(samples[v], std::lround(double(v) * 32768 / 65535)) << v;

  std::vector<uint16_t> document(all15), file16(all15);
  std::vector<uint8_t> file8(all15);
  std::iota(document.begin(), document.end(), 0);
  photo::narrow(document.data(), all15, 16, 16, file16.data());
  photo::narrow(document.data(), all15, 16, 8, file8.data());
  for (size_t v = 0; v < all15; ++v) {
    ASSERT_EQ(file16[v], std::lround(double(v) * 65535 / 32768)) << v;
    ASSERT_EQ(file8[v], std::lround(double(v) * 255 / 32768)) << v;
  }
}

TEST(Samples, EightBitsSurviveEveryDeeperDocument) {
  std::vector<uint8_t> levels(256), back(256);
  std::iota(levels.begin(), levels.end(), 0);
  for (int depth : {8, 16, 32}) {
    std::vector<float> document(256); // room for any depth
    photo::widen(levels.data(), 256, depth, document.data());
    photo::narrow(document.data(), 256, depth, 8, back.data());
    EXPECT_EQ(back, levels) << depth;
  }
}

TEST(Samples, FloatsAreLimitedOnTheWayToWholeNumbers) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float infinity = std::numeric_limits<float>::infinity();
  const std::vector<float> real{nan, -infinity, -0.5f, 0.0f, 0.5f, 1.0f, 7.0f, infinity};
  std::vector<uint8_t> bytes(real.size());
  std::vector<uint16_t> words(real.size());
  photo::narrow(real.data(), real.size(), 32, 8, bytes.data());
  photo::narrow(real.data(), real.size(), 32, 16, words.data());
  EXPECT_EQ(bytes, (std::vector<uint8_t>{0, 0, 0, 0, 128, 255, 255, 255}));
  EXPECT_EQ(words, (std::vector<uint16_t>{0, 0, 0, 0, 32768, 65535, 65535, 65535}));
}

TEST(Samples, AlphaIsDividedOutAndMultipliedInAgain) {
  for (int depth : {8, 16, 32}) {
    const float white = depth == 8 ? 255 : depth == 16 ? 32768 : 1;
    host::Document document(3, 1, 4, depth, host::ColourMode::rgb, true);
    auto put = [&](int x, int c, float share) {
      std::byte* at = document.row(0) + size_t(x * 4 + c) * document.sampleBytes();
      if (depth == 8)
        *reinterpret_cast<uint8_t*>(at) = uint8_t(std::lround(share * white));
      else if (depth == 16)
        *reinterpret_cast<uint16_t*>(at) = uint16_t(std::lround(share * white));
      else
        *reinterpret_cast<float*>(at) = share;
    };
    auto get = [&](int x, int c) {
      const std::byte* at = document.row(0) + size_t(x * 4 + c) * document.sampleBytes();
      return depth == 8    ? float(*reinterpret_cast<const uint8_t*>(at)) / white
             : depth == 16 ? float(*reinterpret_cast<const uint16_t*>(at)) / white
                           : *reinterpret_cast<const float*>(at);
    };
    const float alphas[] = {0.0f, 0.4f, 1.0f};
    for (int x = 0; x < 3; ++x)
      for (int c = 0; c < 4; ++c)
        put(x, c, c == 3 ? alphas[x] : 0.2f);
    const float step = depth == 8 ? 1.0f / 255 : depth == 16 ? 1.0f / 32768 : 1e-6f;
    photo::divideByAlpha(document);
    EXPECT_NEAR(get(0, 1), 0.2f, step / 2) << "a transparent pixel keeps its colour";
    EXPECT_NEAR(get(1, 1), 0.5f, step) << depth;
    EXPECT_NEAR(get(2, 1), 0.2f, step / 2);
    photo::multiplyByAlpha(document);
    EXPECT_NEAR(get(1, 1), 0.2f, step) << depth;
    EXPECT_NEAR(get(1, 3), 0.4f, step / 2) << depth;
  }
}

TEST(Samples, WhatIsNotFiniteIsTakenOutAndGivenBack) {
  host::Document document(5, 4, 3, 32);
  auto* samples = reinterpret_cast<float*>(document.row(0));
  std::fill(samples, samples + 60, 0.25f);
  const float infinity = std::numeric_limits<float>::infinity();
  samples[7] = -infinity;
  samples[58] = infinity;
  samples[30] = std::numeric_limits<float>::quiet_NaN();
  samples[31] = std::numeric_limits<float>::max();
  const photo::NotFinite taken = photo::takeNotFinite(document);
  EXPECT_EQ(taken.size(), 3u);
  for (size_t place : {7u, 30u, 58u})
    EXPECT_EQ(samples[place], 0.0f);
  EXPECT_EQ(samples[31], std::numeric_limits<float>::max());
  photo::giveBack(document, taken);
  EXPECT_EQ(samples[7], -infinity);
  EXPECT_EQ(samples[58], infinity);
  EXPECT_TRUE(std::isnan(samples[30]));
}

} // namespace
