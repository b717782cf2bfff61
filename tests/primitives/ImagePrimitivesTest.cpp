// Resampling and minimum filter against plain loops in double over the definitions.
#include "primitives/image/ImagePrimitives.h"

#include <gmock/gmock.h>
#include <sys/mman.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <tuple>
#include <vector>

namespace {

constexpr float untouched = -77.0f;
constexpr uint8_t canary = 0xA5;

// Rows are a few floats longer than the pixels, and those must stay as they are.
struct Image {
  int32_t width, height, step;
  std::vector<float> samples;

  Image(int32_t w, int32_t h, int32_t spareFloats = 3)
      : width(w), height(h), step((w * 4 + spareFloats) * 4),
        samples(size_t(step / 4) * h, untouched) {}

  PrimitiveSize size() const { return {width, height}; }
  PrimitiveRect all() const { return {0, 0, width, height}; }
  float& at(int64_t x, int64_t y, int c) { return samples[y * (step / 4) + x * 4 + c]; }
  float at(int64_t x, int64_t y, int c) const { return samples[y * (step / 4) + x * 4 + c]; }
};

Image randomImage(int32_t width, int32_t height, unsigned seed) {
  Image image(width, height);
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> value(-0.5f, 2.5f);
  for (int32_t y = 0; y < height; ++y)
    for (int32_t k = 0; k < width * 4; ++k)
      image.samples[size_t(y) * (image.step / 4) + k] = value(random);
  return image;
}

// A work buffer of the told size at an odd address, with a fence behind it.
struct WorkBuffer {
  std::vector<uint8_t> bytes;
  explicit WorkBuffer(int32_t size) : bytes(size_t(size) + 9, canary) {}
  uint8_t* data() { return bytes.data() + 1; }
  bool isIntact() const {
    return bytes.front() == canary &&
           std::all_of(bytes.end() - 8, bytes.end(), [](uint8_t b) { return b == canary; });
  }
};

struct Resize {
  PrimitiveRect from, to;
  double xFactor, yFactor, xShift = 0, yShift = 0;
  int32_t mode;
};

Resize wholeImage(const Image& from, const Image& to, int32_t mode) {
  return {from.all(), to.all(), double(to.width) / from.width, double(to.height) / from.height, 0,
          0,          mode};
}

int32_t resize(const Image& source, Image& destination, const Resize& r) {
  int32_t bytes = -1;
  EXPECT_EQ(ResizeGetBufSize(r.from, r.to, 4, r.mode, &bytes), primitiveOk);
  WorkBuffer work(bytes);
  const int32_t status = ippiResizeSqrPixel_32f_C4R(
      source.samples.data(), source.size(), source.step, r.from, destination.samples.data(),
      destination.step, r.to, r.xFactor, r.yFactor, r.xShift, r.yShift, r.mode, work.data());
  EXPECT_TRUE(work.isIntact());
  return status;
}

// Share of a destination pixel that source pixel k of an axis has.
double weightOf(int32_t k, int32_t i, double factor, double shift, int32_t length, int32_t mode) {
  if (mode == resizeSuperSampling) {
    const double begin = std::max(i / factor + shift, 0.0);
    const double end = std::min((i + 1) / factor + shift, double(length));
    return std::max(0.0, std::min(end, k + 1.0) - std::max(begin, double(k))) / (end - begin);
  }
  const double centre = std::min(std::max((i + 0.5) / factor - 0.5 + shift, 0.0), length - 1.0);
  return std::max(0.0, 1.0 - std::abs(centre - k));
}

void expectDefinition(const Image& source, const Image& destination, const Resize& r) {
  for (int32_t y = 0; y < destination.height; ++y)
    for (int32_t x = 0; x < destination.width; ++x)
      for (int c = 0; c < 4; ++c) {
        const int32_t i = x - r.to.x, j = y - r.to.y;
        if (i < 0 || j < 0 || i >= r.to.width || j >= r.to.height) {
          ASSERT_EQ(destination.at(x, y, c), untouched) << x << ' ' << y;
          continue;
        }
        double sum = 0;
        for (int32_t l = 0; l < r.from.height; ++l)
          for (int32_t k = 0; k < r.from.width; ++k)
            sum += weightOf(k, i, r.xFactor, r.xShift, r.from.width, r.mode) *
                   weightOf(l, j, r.yFactor, r.yShift, r.from.height, r.mode) *
                   source.at(r.from.x + k, r.from.y + l, c);
        ASSERT_NEAR(destination.at(x, y, c), sum, 2e-6) << x << ' ' << y << ' ' << c;
      }
}

void expectSpareFloatsUntouched(const Image& image) {
  for (int32_t y = 0; y < image.height; ++y)
    for (int c = 0; c < 3; ++c)
      ASSERT_EQ(image.at(image.width, y, c), untouched) << "behind row " << y;
}

bool sameBits(const Image& a, const Image& b) {
  return a.samples.size() == b.samples.size() &&
         std::memcmp(a.samples.data(), b.samples.data(), a.samples.size() * sizeof(float)) == 0;
}

using Sizes = std::tuple<int32_t, int32_t, int32_t, int32_t>;

class WholeImages : public testing::TestWithParam<Sizes> {
protected:
  void check(int32_t mode) {
    const auto [width, height, toWidth, toHeight] = GetParam();
    const Image source = randomImage(width, height, 11);
    Image one(toWidth, toHeight);
    const Resize r = wholeImage(source, one, mode);
    setPrimitiveThreads(1);
    ASSERT_EQ(resize(source, one, r), primitiveOk);
    expectDefinition(source, one, r);
    expectSpareFloatsUntouched(one);
    for (int threads : {2, 4}) {
      Image many(toWidth, toHeight);
      setPrimitiveThreads(threads);
      setPrimitiveThreads(0); // ignored
      ASSERT_EQ(resize(source, many, r), primitiveOk);
      EXPECT_TRUE(sameBits(one, many)) << threads << " threads";
    }
    setPrimitiveThreads(1);
  }
};
class Reductions : public WholeImages {};

TEST_P(Reductions, SuperSampledAreAreaMeans) { check(resizeSuperSampling); }
TEST_P(WholeImages, LinearAreBilinearAtTheCentres) { check(resizeLinear); }
TEST_P(Reductions, LinearAreBilinearAtTheCentres) { check(resizeLinear); }

INSTANTIATE_TEST_SUITE_P(Sizes, Reductions,
                         testing::Values(Sizes{1, 1, 1, 1}, Sizes{7, 5, 3, 2}, Sizes{13, 1, 4, 1},
                                         Sizes{1, 17, 1, 5}, Sizes{31, 23, 31, 23},
                                         Sizes{40, 30, 39, 29}, Sizes{64, 33, 63, 1},
                                         Sizes{101, 3, 1, 1}, Sizes{90, 60, 6, 4},
                                         Sizes{97, 61, 33, 41}));
INSTANTIATE_TEST_SUITE_P(Enlarged, WholeImages,
                         testing::Values(Sizes{1, 1, 5, 3}, Sizes{5, 7, 13, 3}, Sizes{1, 9, 4, 4},
                                         Sizes{8, 1, 3, 6}, Sizes{10, 10, 31, 31}));

TEST(Resampling, RectanglesAndShiftsAreHonoured) {
  const Image source = randomImage(40, 30, 5);
  for (int32_t mode : {resizeLinear, resizeSuperSampling})
    for (const auto& [xShift, yShift] : {std::pair{0.0, 0.0}, {1.25, -0.5}, {-3.0, 2.75}}) {
      const Resize r{{5, 3, 21, 17}, {2, 4, 6, 7}, 0.31, 0.46, xShift, yShift, mode};
      Image destination(11, 13);
      ASSERT_EQ(resize(source, destination, r), primitiveOk);
      expectDefinition(source, destination, r);
    }
}

TEST(Resampling, ShiftedWhollyOutsideTheNearestEdgePixelCounts) {
  const Image source = randomImage(9, 6, 8);
  for (int32_t mode : {resizeLinear, resizeSuperSampling})
    for (double shift : {-1e30, -50.0, 50.0, 1e30}) {
      Image destination(3, 2);
      const Resize r{source.all(), destination.all(), 1.0 / 3, 1.0 / 3, shift, -shift, mode};
      ASSERT_EQ(resize(source, destination, r), primitiveOk);
      EXPECT_EQ(destination.at(1, 1, 2), source.at(shift < 0 ? 0 : 8, shift < 0 ? 5 : 0, 2));
    }
}

TEST(Resampling, SuperSamplingByOneKeepsEveryBit) {
  Image source = randomImage(19, 7, 3);
  source.at(4, 2, 0) = -0.0f;
  source.at(5, 2, 1) = std::numeric_limits<float>::infinity();
  source.at(6, 3, 2) = std::numeric_limits<float>::denorm_min();
  source.at(7, 4, 3) = std::numeric_limits<float>::quiet_NaN();
  source.at(8, 5, 0) = std::numeric_limits<float>::max();
  Image destination(19, 7);
  ASSERT_EQ(resize(source, destination, wholeImage(source, destination, resizeSuperSampling)),
            primitiveOk);
  EXPECT_TRUE(sameBits(source, destination));
}

// A photograph's size: the rounding of i / factor adds up along the axis, sums are long.
TEST(Resampling, FlatImagesStayFlat) {
  for (int32_t mode : {resizeLinear, resizeSuperSampling})
    for (const auto& [width, toWidth, tolerance] :
         {std::tuple{6000, 387, 1e-6f}, {4999, 4998, 1e-6f}, {6000, 1, 1e-4f}}) {
      Image source(width, 3), destination(toWidth, 2);
      std::fill(source.samples.begin(), source.samples.end(), 0.7f);
      ASSERT_EQ(resize(source, destination, wholeImage(source, destination, mode)), primitiveOk);
      for (int32_t y = 0; y < 2; ++y)
        for (int32_t x = 0; x < toWidth; ++x)
          ASSERT_NEAR(destination.at(x, y, x % 4), 0.7f, tolerance) << width << " at " << x;
    }
}

// Every second area begins and ends with one: the rounding of i / factor must not let it leak.
// The reciprocal of 1/49 is not 49.
TEST(Resampling, SamplesThatAreNotFiniteStayInTheirAreas) {
  for (int32_t areas = 2; areas < 60; ++areas)
    for (int32_t side : {2, 3, 15, 49}) {
      Image source = randomImage(areas * side, 1, 9), destination(areas, 1);
      for (int32_t x = 0; x < areas; x += 2)
        source.at(x * side, 0, 1) = source.at(x * side + side - 1, 0, 1) = std::nanf("");
      ASSERT_EQ(resize(source, destination, wholeImage(source, destination, resizeSuperSampling)),
                primitiveOk);
      for (int32_t x = 0; x < areas; ++x)
        for (int c = 0; c < 4; ++c)
          ASSERT_EQ(std::isnan(destination.at(x, 0, c)), c == 1 && x % 2 == 0)
              << x << " of " << areas << " by " << side;
    }
}

TEST(Resampling, FaultyArgumentsAreRefused) {
  struct Call {
    const float* source;
    PrimitiveSize size{8, 6};
    int32_t step = 8 * 16;
    Resize r{{0, 0, 8, 6}, {0, 0, 4, 3}, 0.5, 0.5, 0, 0, resizeSuperSampling};
    float* destination;
    int32_t toStep = 4 * 16;
    uint8_t* work;
  };
  const double nan = std::nan(""), infinity = std::numeric_limits<double>::infinity();
  const std::vector<std::pair<int32_t, std::function<void(Call&)>>> faults = {
      {primitiveNullPointer, [](Call& c) { c.source = nullptr; }},
      {primitiveNullPointer, [](Call& c) { c.destination = nullptr; }},
      {primitiveNullPointer, [](Call& c) { c.work = nullptr; }},
      {primitiveBadSize, [](Call& c) { c.size.width = 0; }},
      {primitiveBadSize, [](Call& c) { c.r.from.height = 0; }},
      {primitiveBadSize, [](Call& c) { c.r.from.x = -1; }},
      {primitiveBadSize, [](Call& c) { c.r.from.x = 1; }},
      {primitiveBadSize, [](Call& c) { c.r.from.y = std::numeric_limits<int32_t>::max(); }},
      {primitiveBadSize, [](Call& c) { c.r.to.width = -4; }},
      {primitiveBadSize, [](Call& c) { c.r.to.y = -1; }},
      {primitiveBadStep, [](Call& c) { c.step = 7 * 16; }},
      {primitiveBadStep, [](Call& c) { c.step += 2; }},
      {primitiveBadStep, [](Call& c) { c.toStep = 3 * 16; }},
      {primitiveBadStep, [](Call& c) { c.r.to.x = 1; }},
      {primitiveBadMode, [](Call& c) { c.r.mode = 3; }},
      {primitiveBadFactor, [](Call& c) { c.r.xFactor = 0; }},
      {primitiveBadFactor, [](Call& c) { c.r.yFactor = -0.5; }},
      {primitiveBadFactor, [](Call& c) { c.r.xFactor = 1.01; }},
      {primitiveBadFactor, [nan](Call& c) { c.r.xFactor = nan; }},
      {primitiveBadFactor, [infinity](Call& c) { c.r.yShift = infinity; }}};
  const Image source = randomImage(8, 6, 2);
  for (size_t k = 0; k < faults.size(); ++k) {
    std::vector<float> destination(4 * 4 * 3, untouched);
    std::vector<uint8_t> work(1000);
    Call c{.source = source.samples.data(), .destination = destination.data(), .work = work.data()};
    faults[k].second(c);
    EXPECT_EQ(ippiResizeSqrPixel_32f_C4R(c.source, c.size, c.step, c.r.from, c.destination,
                                         c.toStep, c.r.to, c.r.xFactor, c.r.yFactor, c.r.xShift,
                                         c.r.yShift, c.r.mode, c.work),
              faults[k].first)
        << "fault " << k;
    EXPECT_THAT(destination, testing::Each(untouched)) << "fault " << k;
  }
  int32_t bytes = 123;
  EXPECT_EQ(ResizeGetBufSize({0, 0, 8, 6}, {0, 0, 4, 3}, 3, resizeLinear, &bytes),
            primitiveBadChannels);
  EXPECT_EQ(ResizeGetBufSize({0, 0, 8, 6}, {0, 0, 4, 3}, 4, 1, &bytes), primitiveBadMode);
  EXPECT_EQ(ResizeGetBufSize({0, 0, 8, 6}, {0, 0, 0, 3}, 4, resizeLinear, &bytes),
            primitiveBadSize);
  EXPECT_EQ(ResizeGetBufSize({0, 0, 8, 6}, {0, 0, std::numeric_limits<int32_t>::max(), 3}, 4,
                             resizeLinear, &bytes),
            primitiveBadSize);
  EXPECT_EQ(bytes, 123);
}

// The window's minimum by looking at every pixel of it.
float windowMinimum(const Image& source, int64_t x, int64_t y, int c, PrimitiveSize mask,
                    PrimitivePoint anchor) {
  float smallest = std::numeric_limits<float>::infinity();
  for (int64_t j = std::max<int64_t>(y - anchor.y, 0);
       j <= std::min<int64_t>(y - anchor.y + mask.height - 1, source.height - 1); ++j)
    for (int64_t i = std::max<int64_t>(x - anchor.x, 0);
         i <= std::min<int64_t>(x - anchor.x + mask.width - 1, source.width - 1); ++i)
      smallest = std::min(smallest, source.at(i, j, c));
  return smallest;
}

int32_t filter(const Image& source, Image& destination, PrimitiveSize mask, PrimitivePoint anchor) {
  int32_t bytes = -1;
  EXPECT_EQ(MinFilterGetBufferSize(source.width, mask, &bytes), primitiveOk);
  WorkBuffer work(bytes);
  const int32_t status = MinFilterBorderReplicate_32f_C4R(
      source.samples.data(), source.step, destination.samples.data(), destination.step,
      source.size(), mask, anchor, work.data());
  EXPECT_TRUE(work.isIntact());
  return status;
}

class MinimumFilter : public testing::TestWithParam<std::pair<int32_t, int32_t>> {};

// A window too long for the image on the one axis is not on the other.
TEST_P(MinimumFilter, IsTheMinimumOfEveryWindow) {
  const auto [width, height] = GetParam();
  const Image source = randomImage(width, height, 21);
  constexpr int32_t sides[] = {1, 2, 3, 5, 8, 17, 40, std::numeric_limits<int32_t>::max()};
  for (int32_t across : sides)
    for (int32_t down : sides)
      for (int place = 0; place < 4; ++place) {
        const PrimitiveSize mask{across, down};
        const PrimitivePoint anchor{place == 3 ? across - 1 : across / 2 * (place % 2),
                                    place == 3   ? 0
                                    : place == 2 ? down - 1
                                                 : down / 2};
        Image destination(width, height, 5);
        ASSERT_EQ(filter(source, destination, mask, anchor), primitiveOk);
        for (int32_t y = 0; y < height; ++y)
          for (int32_t x = 0; x < width; ++x)
            for (int c = 0; c < 4; ++c)
              ASSERT_EQ(destination.at(x, y, c), windowMinimum(source, x, y, c, mask, anchor))
                  << across << " x " << down << " from " << anchor.x << ' ' << anchor.y << " at "
                  << x << ' ' << y << ' ' << c;
        expectSpareFloatsUntouched(destination);
      }
}

INSTANTIATE_TEST_SUITE_P(Sizes, MinimumFilter,
                         testing::Values(std::pair{1, 1}, std::pair{1, 19}, std::pair{23, 1},
                                         std::pair{4, 3}, std::pair{16, 9}, std::pair{21, 26}));

TEST(MinimumFilterAlone, ANotANumberSpoilsOnlyTheWindowsThatHoldIt) {
  Image source = randomImage(20, 20, 4);
  source.at(10, 10, 2) = std::nanf("");
  Image destination(20, 20);
  ASSERT_EQ(filter(source, destination, {5, 5}, {2, 2}), primitiveOk);
  for (int32_t y = 0; y < 20; ++y)
    for (int32_t x = 0; x < 20; ++x)
      if (std::abs(x - 10) > 2 || std::abs(y - 10) > 2) {
        EXPECT_EQ(destination.at(x, y, 2), windowMinimum(source, x, y, 2, {5, 5}, {2, 2}));
      }
}

TEST(MinimumFilterAlone, FaultyArgumentsAreRefused) {
  const Image source = randomImage(6, 5, 1);
  Image destination(6, 5);
  std::vector<uint8_t> work(1000);
  const auto run = [&](PrimitiveSize region, PrimitiveSize mask, PrimitivePoint anchor,
                       int32_t step, uint8_t* buffer) {
    return MinFilterBorderReplicate_32f_C4R(source.samples.data(), step, destination.samples.data(),
                                            destination.step, region, mask, anchor, buffer);
  };
  const int32_t step = source.step;
  EXPECT_EQ(run({6, 5}, {3, 3}, {1, 1}, step, nullptr), primitiveNullPointer);
  EXPECT_EQ(run({0, 5}, {3, 3}, {1, 1}, step, work.data()), primitiveBadSize);
  EXPECT_EQ(run({6, 5}, {3, 0}, {1, 0}, step, work.data()), primitiveBadSize);
  EXPECT_EQ(run({6, 5}, {3, 3}, {1, 1}, 6 * 16 - 4, work.data()), primitiveBadStep);
  EXPECT_EQ(run({6, 5}, {3, 3}, {1, 1}, step + 1, work.data()), primitiveBadStep);
  EXPECT_EQ(run({6, 5}, {3, 3}, {3, 1}, step, work.data()), primitiveBadAnchor);
  EXPECT_EQ(run({6, 5}, {3, 3}, {1, -1}, step, work.data()), primitiveBadAnchor);
  EXPECT_THAT(destination.samples, testing::Each(untouched));
  int32_t bytes = 0;
  EXPECT_EQ(MinFilterGetBufferSize(6, {3, 3}, nullptr), primitiveNullPointer);
  EXPECT_EQ(MinFilterGetBufferSize(0, {3, 3}, &bytes), primitiveBadSize);
  EXPECT_EQ(MinFilterGetBufferSize(std::numeric_limits<int32_t>::max(), {3, 3}, &bytes),
            primitiveBadSize);
}

// Rows of 2000000 pixels: the 68th already lies beyond what 32 bits count. Only the pages of the
// few pixels that are touched come into being.
TEST(LargeImages, OffsetsBeyond32BitsAreReached) {
  constexpr int32_t width = 2000000, rows = 150, step = width * 16;
  constexpr size_t bytes = size_t(step) * rows;
  const auto map = [] {
    return static_cast<float*>(mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                                    MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
  };
  float *source = map(), *destination = map();
  if (source == MAP_FAILED || destination == MAP_FAILED)
    GTEST_SKIP() << "no address space";
  const auto pixel = [](float* image, int64_t x, int64_t y) { return image + (y * width + x) * 4; };
  constexpr int32_t left = width - 8;
  for (int32_t y = 0; y < rows; ++y)
    for (int32_t x = 0; x < 8 * 4; ++x)
      pixel(source, left, y)[x] = float(y + 1);

  const PrimitiveRect from{left, 0, 8, rows}, to{width - 4, 0, 4, rows / 2};
  std::vector<uint8_t> work(size_t(width) * 16);
  ASSERT_EQ(ippiResizeSqrPixel_32f_C4R(source, {width, rows}, step, from, destination, step, to,
                                       0.5, 0.5, 0, 0, resizeSuperSampling, work.data()),
            primitiveOk);
  EXPECT_EQ(*pixel(destination, width - 1, rows / 2 - 1), rows - 0.5f);

  ASSERT_EQ(MinFilterBorderReplicate_32f_C4R(pixel(source, left, 0), step, pixel(destination, 0, 0),
                                             step, {8, rows}, {3, 3}, {1, 1}, work.data()),
            primitiveOk);
  EXPECT_EQ(*pixel(destination, 7, rows - 1), float(rows - 1));
  munmap(source, bytes);
  munmap(destination, bytes);
}

} // namespace
