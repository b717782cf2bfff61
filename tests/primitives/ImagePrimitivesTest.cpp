// Resampling and minimum filter against plain loops in double precision, the 3 by 3 operations
// against Eigen in double precision, and the base of all primitives.
#include "primitives/image/ImagePrimitives.h"

#include <gmock/gmock.h>
#include <sys/mman.h>

#include <Eigen/LU>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "primitives/base/HeapBlock.h"
#include "primitives/base/ParallelRegion.h"
#include "primitives/image/SmallMatrix.h"

namespace {

constexpr float untouched = -77.0f, nan = std::numeric_limits<float>::quiet_NaN();
constexpr int32_t highest = std::numeric_limits<int32_t>::max();

// Rows have a few more floats than the pixels need; these must not change.
struct Image {
  static constexpr int32_t spare = 3;
  int32_t width, height, step;
  std::vector<float> samples;

  Image(int32_t w, int32_t h, unsigned seed = 0)
      : width(w), height(h), step((w * 4 + spare) * 4), samples(size_t(step / 4) * h, untouched) {
    std::mt19937 random(seed);
    for (int64_t k = 0; seed && k < int64_t(w) * h * 4; ++k)
      at(k / 4 % w, k / 4 / w, k % 4) = std::uniform_real_distribution<float>(-0.5f, 2.5f)(random);
  }
  PrimitiveRect all() const { return {0, 0, width, height}; }
  float& at(int64_t x, int64_t y, int64_t c) { return samples[y * (step / 4) + x * 4 + c]; }
  float at(int64_t x, int64_t y, int64_t c) const { return samples[y * (step / 4) + x * 4 + c]; }
};

constexpr int32_t minimum = 0; // in addition to the modes of a resampling

// The arguments of a resampling (by default the whole of one image to the whole of another), or of
// a minimum filter.
struct Operation {
  PrimitiveSize size, mask;
  PrimitivePoint anchor;
  PrimitiveRect from, to;
  int32_t mode, step, toStep;
  double xFactor, yFactor, xShift = 0, yShift = 0;
  const float* source;
  float* destination;
  uint8_t spare[1000], *work = spare;

  Operation(const Image& a, Image& b, int32_t mode, PrimitiveSize mask = {}, PrimitivePoint p = {})
      : size{a.width, a.height}, mask(mask), anchor(p), from(a.all()), to(b.all()), mode(mode),
        step(a.step), toStep(b.step), xFactor(double(b.width) / a.width),
        yFactor(double(b.height) / a.height), source(a.samples.data()),
        destination(b.samples.data()) {}
  int32_t call() const {
    if (mode == minimum)
      return MinFilterBorderReplicate_32f_C4R(source, step, destination, toStep, size, mask, anchor,
                                              work);
    return ippiResizeSqrPixel_32f_C4R(source, size, step, from, destination, toStep, to, xFactor,
                                      yFactor, xShift, yShift, mode, work);
  }
  int32_t bufferSize(int32_t* bytes) const {
    return mode == minimum ? MinFilterGetBufferSize(size.width, mask, bytes)
                           : ResizeGetBufSize(from, to, 4, mode, bytes);
  }

  // With a work buffer of the reported size, at an odd address, with a fence on both sides.
  void run() {
    int32_t bytes = -1;
    ASSERT_EQ(bufferSize(&bytes), primitiveOk);
    std::vector<uint8_t> buffer(size_t(bytes) + 9, 0xA5);
    work = buffer.data() + 1;
    ASSERT_EQ(call(), primitiveOk);
    EXPECT_EQ(buffer.front(), 0xA5);
    EXPECT_EQ(std::count(buffer.end() - 8, buffer.end(), 0xA5), 8);
  }

  // Calls with one invalid argument at a time.
  template <class T = int32_t>
  void expectRefused(int32_t status, std::initializer_list<std::pair<T*, T>> faults) {
    for (const auto& [argument, fault] : faults) {
      const T before = std::exchange(*argument, fault);
      EXPECT_EQ(call(), status) << fault;
      *argument = before;
    }
  }
  void expectSharedFaultsRefused() {
    expectRefused<const float*>(primitiveNullPointer, {{&source, nullptr}});
    expectRefused<float*>(primitiveNullPointer, {{&destination, nullptr}});
    expectRefused<uint8_t*>(primitiveNullPointer, {{&work, nullptr}});
    expectRefused(primitiveBadSize, {{&size.width, 0}, {&size.height, 0}});
    expectRefused(primitiveBadStep, {{&step, from.width * 16 - 4}, {&step, step + 2}});
    expectRefused(primitiveBadStep, {{&toStep, to.width * 16 - 4}, {&toStep, toStep + 2}});
    EXPECT_EQ(bufferSize(nullptr), primitiveNullPointer);
  }
};

// Joins, for each destination sample, the source samples that have a share in it. `share` gets the
// axis (0 is x), the source's place on it and the destination's.
template <class Share, class Join>
Image plainly(const Image& source, PrimitiveRect from, Image result, PrimitiveRect to, double start,
              Share share, Join join) {
  for (int64_t n = 0; n < int64_t(to.width) * to.height * 4; ++n) {
    const int64_t i = n / 4 % to.width, j = n / 4 / to.width;
    double value = start;
    for (int32_t l = 0; l < from.height; ++l)
      if (const double row = share(1, l, j); row > 0)
        for (int32_t k = 0; k < from.width; ++k)
          if (const double both = row * share(0, k, i); both > 0)
            value = join(value, both, source.at(from.x + k, from.y + l, n % 4));
    result.at(to.x + i, to.y + j, n % 4) = float(value);
  }
  return result;
}

// Share of source pixel k of an axis in a destination pixel.
double weightOf(int64_t k, int64_t i, double factor, double shift, int32_t length, int32_t mode) {
  double begin = std::clamp(i / factor + shift, 0.0, length - 1.0);
  double end = std::clamp((i + 1) / factor + shift, begin, double(length));
  if (mode == resizeSuperSampling && end > begin)
    return std::max(0.0, std::min(end, k + 1.0) - std::max(begin, double(k))) / (end - begin);
  if (mode == resizeLinear)
    begin = std::clamp((i + 0.5) / factor - 0.5 + shift, 0.0, length - 1.0);
  return std::max(0.0, 1.0 - std::abs(begin - k));
}

// Whole images, and rectangles with shifts, which may lie completely outside: then the nearest edge
// pixel counts.
TEST(Resampling, IsTheAreaMeanOrTheBilinearValueAtTheCentre) {
  constexpr int32_t sizes[][4] = {{1, 1, 1, 1},   {7, 5, 3, 2},     {13, 1, 4, 1},
                                  {1, 17, 1, 5},  {31, 23, 31, 23}, {40, 21, 39, 1},
                                  {60, 40, 4, 3}, {47, 31, 16, 21}, {1, 1, 5, 3},
                                  {5, 7, 13, 3},  {1, 9, 4, 4},     {10, 10, 31, 31}};
  for (const auto& [width, height, toWidth, toHeight] : sizes)
    for (const int32_t mode : {resizeLinear, resizeSuperSampling})
      for (const double shift : {0.0, 0.75, -1.25, 100.0, -1e30}) {
        const Image source(width, height, 11), blank(toWidth + 3, toHeight + 5);
        Image one = blank, many = blank;
        Operation r(source, one, mode);
        if (shift != 0 && std::min(width, height) > 10)
          r.from = {5, 3, width - 6, height - 4};
        r.to = {2, 4, toWidth, toHeight};
        if (mode == resizeSuperSampling)
          r.to = {2, 4, std::min(toWidth, r.from.width), std::min(toHeight, r.from.height)};
        r.xFactor = double(r.to.width) / r.from.width, r.xShift = shift;
        r.yFactor = double(r.to.height) / r.from.height, r.yShift = -shift / 2;
        setPrimitiveThreads(1);
        r.run();
        const auto share = [&r](int axis, int64_t k, int64_t i) {
          return axis ? weightOf(k, i, r.yFactor, r.yShift, r.from.height, r.mode)
                      : weightOf(k, i, r.xFactor, r.xShift, r.from.width, r.mode);
        };
        const auto add = [](double sum, double share, double v) { return sum + share * v; };
        const Image expected = plainly(source, r.from, blank, r.to, 0, share, add);
        EXPECT_THAT(one.samples, testing::Pointwise(testing::FloatNear(2e-6f), expected.samples));
        setPrimitiveThreads(3);
        setPrimitiveThreads(0); // ignored
        r.destination = many.samples.data();
        r.run();
        EXPECT_EQ(one.samples, many.samples);
      }
}

// A photograph's width: the rounding of i / factor adds up along the axis. Every second area begins
// and ends with a NaN, which must not leak; the reciprocal of 1/49 is not 49. A factor of 1 keeps
// every bit.
TEST(Resampling, AreasEndWhereTheyShould) {
  for (const auto& [areas, side] : {std::pair{387, 15}, {59, 49}, {6000, 1}, {1999, 3}}) {
    Image source(areas * side, 1, 9), result(areas, 1);
    for (int32_t x = 0; x < areas; x += 2)
      source.at(x * side, 0, 1) = source.at(x * side + side - 1, 0, 1) = nan;
    Operation(source, result, resizeSuperSampling).run();
    for (int32_t k = 0; k < 4 * areas; ++k) {
      ASSERT_EQ(std::isnan(result.at(k / 4, 0, k % 4)), k % 8 == 1) << k << " by " << side;
      ASSERT_TRUE(side > 1 || k % 8 == 1 || result.samples[k] == source.samples[k]) << k;
    }
  }
}

// A window that is too long for the image on one axis is not too long on the other.
TEST(MinimumFilter, IsTheMinimumOfEveryWindow) {
  constexpr int32_t sides[] = {1, 2, 3, 5, 8, 17, highest};
  for (const auto& [width, height] : {std::pair{1, 1}, {1, 19}, {23, 1}, {4, 3}, {21, 26}})
    for (const int32_t across : sides)
      for (const int32_t down : sides)
        for (const PrimitivePoint anchor :
             {PrimitivePoint{0, down / 2}, {across / 2, down - 1}, {across - 1, 0}}) {
          const Image source(width, height, 21), blank(width, height);
          Image result = blank;
          Operation(source, result, minimum, {across, down}, anchor).run();
          const auto share = [&](int axis, int64_t k, int64_t i) {
            const int64_t first = i - (axis ? anchor.y : anchor.x);
            return k >= first && k < first + (axis ? down : across);
          };
          const auto least = [](double low, double, double v) { return std::min(low, v); };
          const Image expected =
              plainly(source, source.all(), blank, source.all(), HUGE_VAL, share, least);
          ASSERT_EQ(result.samples, expected.samples) << across << " x " << down;
        }
}

TEST(ImagePrimitives, FaultyArgumentsAreRefused) {
  const Image source(8, 6, 2);
  Image result(4, 3), same(8, 6);
  Operation r(source, result, resizeSuperSampling), f(source, same, minimum, {3, 3}, {1, 1});
  r.expectSharedFaultsRefused();
  f.expectSharedFaultsRefused();
  f.expectRefused(primitiveBadSize, {{&f.mask.width, 0}, {&f.mask.height, 0}});
  f.expectRefused(primitiveBadAnchor, {{&f.anchor.x, 3}, {&f.anchor.x, -1}});
  f.expectRefused(primitiveBadAnchor, {{&f.anchor.y, 3}, {&f.anchor.y, -1}});
  EXPECT_THAT(same.samples, testing::Each(untouched));
  r.expectRefused(primitiveBadSize, {{&r.from.height, 0}, {&r.from.x, -1}, {&r.from.x, 1}});
  r.expectRefused(primitiveBadSize, {{&r.from.y, highest}, {&r.to.width, -4}, {&r.to.y, -1}});
  r.expectRefused(primitiveBadStep, {{&r.to.x, 1}});
  r.expectRefused(primitiveBadMode, {{&r.mode, 3}});
  for (double* factor : {&r.xFactor, &r.yFactor})
    for (const double fault : {0.0, -0.5, 1.01, HUGE_VAL, double(nan)})
      r.expectRefused<double>(primitiveBadFactor, {{factor, fault}});
  r.expectRefused<double>(primitiveBadFactor, {{&r.xShift, HUGE_VAL}, {&r.yShift, nan}});
  EXPECT_THAT(result.samples, testing::Each(untouched));
  EXPECT_EQ(r.call(), primitiveOk);

  int32_t bytes = 123;
  EXPECT_EQ(ResizeGetBufSize(r.from, r.to, 3, resizeLinear, &bytes), primitiveBadChannels);
  EXPECT_EQ(ResizeGetBufSize(r.from, r.to, 4, 1, &bytes), primitiveBadMode);
  EXPECT_EQ(ResizeGetBufSize({0, 0, 8, 0}, r.to, 4, 2, &bytes), primitiveBadSize);
  for (const int32_t width : {0, highest})
    EXPECT_EQ(ResizeGetBufSize(r.from, {0, 0, width, 3}, 4, 2, &bytes), primitiveBadSize);
  for (const auto& [width, mask] : {std::pair{0, 3}, {highest, 3}, {6, 0}}) {
    EXPECT_EQ(MinFilterGetBufferSize(width, {mask, 3}, &bytes), primitiveBadSize);
    EXPECT_EQ(MinFilterGetBufferSize(width, {3, mask}, &bytes), primitiveBadSize);
  }
  EXPECT_EQ(bytes, 123);
}

// Rows of 2000000 pixels: the 68th row is beyond 32-bit offsets. The system allocates only the
// pages of the few pixels that are accessed.
TEST(LargeImages, OffsetsBeyond32BitsAreReached) {
  constexpr int32_t width = 2000000, rows = 150, step = width * 16, left = width - 8;
  constexpr size_t bytes = size_t(step) * rows;
  void* both = mmap(nullptr, 2 * bytes, PROT_READ | PROT_WRITE,
                    MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  float *source = static_cast<float*>(both), *result = source + bytes / 4;
  const auto row = [](float* image, int64_t y) { return image + (y * width + left) * 4; };
  for (int32_t y = 0; y < rows; ++y)
    std::fill_n(row(source, y), 8 * 4, float(y + 1));
  std::vector<uint8_t> work(size_t(width) * 16);
  ippiResizeSqrPixel_32f_C4R(source, {width, rows}, step, {left, 0, 8, rows}, result, step,
                             {left, 0, 4, rows / 2}, 0.5, 0.5, 0, 0, 8, work.data());
  EXPECT_EQ(*row(result, rows / 2 - 1), rows - 0.5f);
  MinFilterBorderReplicate_32f_C4R(row(source, 0), step, row(result, 0), step, {8, rows}, {3, 3},
                                   {1, 1}, work.data());
  EXPECT_EQ(*row(result, rows - 1), float(rows - 1));
  munmap(both, 2 * bytes);
}

// Elements some floats apart; the floats between them must not change. Every second matrix is a
// covariance of nearly equal colours, as a smooth photograph gives.
TEST(SmallMatrix, InverseAndProductAreThoseOfDoublePrecision) {
  using Strided = Eigen::Map<Eigen::Matrix3f, 0, Eigen::Stride<-1, -1>>;
  float work[13];
  for (const auto& [across, down] : {std::pair{12, 4}, {4, 12}, {20, 4}, {36, 8}})
    for (int round = 0; round < 100; ++round) {
      const Eigen::Vector3f v = Eigen::Vector3f::Random();
      std::vector<float> stored(40, nan), inverse = stored, product = stored;
      const Eigen::Stride<-1, -1> strides(down / 4, across / 4);
      Strided matrix(stored.data(), strides);
      matrix = Eigen::Matrix3f::Random() + 0.5f * Eigen::Matrix3f::Identity();
      if (round % 2)
        matrix = v * v.transpose() * 1e-4f + Eigen::Matrix3f::Identity() * 1e-8f;
      const Eigen::Matrix3d wide = matrix.cast<double>(), expected = wide.inverse();
      ASSERT_EQ(invert3x3(&stored[0], across, down, work, &inverse[0], across, down, 3), 0);
      const Eigen::Matrix3d found = Strided(inverse.data(), strides).cast<double>();
      EXPECT_LT((found - expected).norm(), 1e-6 * expected.norm());
      EXPECT_EQ(std::count_if(inverse.begin(), inverse.end(), isnanf), 40 - 9);
      const float spread[] = {v[0], nan, v[1], nan, v[2]};
      ASSERT_EQ(multiply3x3Vector(&stored[0], across, down, 3, 3, spread, 8, 3, &product[0], 12),
                0);
      for (int k = 0; k < 3; ++k)
        EXPECT_NEAR(product[3 * k], wide.row(k).dot(v.cast<double>()), 1e-6);
    }
}

TEST(SmallMatrix, WhatHasNoInverseIsReported) {
  float work[13], inverse[9];
  const auto status = [&](std::array<float, 9> m, int32_t size = 3) {
    return invert3x3(m.data(), 12, 4, work, inverse, 12, 4, size);
  };
  EXPECT_EQ(status({1, 2, 3, 4, 5, 6, 7, 8, 9}), smallMatrixSingular);
  EXPECT_FALSE(std::isfinite(inverse[0])); // the result of the division
  for (const float bad : {0.0f, nan, HUGE_VALF})
    EXPECT_EQ(status({bad, 0, 0, 0, 1, 0, 0, 0, 1}), smallMatrixSingular);
  // The smallest regular floats: the determinant is far below a float's range.
  EXPECT_EQ(status({1e-30f, 0, 0, 0, 1e-30f, 0, 0, 0, 1e-30f}), smallMatrixOk);
  EXPECT_FLOAT_EQ(inverse[4], 1e30f);
  EXPECT_EQ(status({1, 0, 0, 0, 1, 0, 0, 0, 1}, 4), smallMatrixBadSize);
  EXPECT_EQ(multiply3x3Vector(work, 12, 4, 3, 2, work, 4, 3, inverse, 4), smallMatrixBadSize);
}

TEST(HeapBlock, IsAlignedForVectorsAndHugePages) {
  for (const size_t size : {size_t(0), size_t(100), 2 * hugePageBytes}) {
    const HeapArray<char> block = allocateArray<char>(size);
    const size_t alignment = size > 100 ? hugePageBytes : vectorAlignment;
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block.get()) % alignment, 0u);
    std::memset(block.get(), 1, size);
  }
  void* block = mkl_malloc(100, 4096);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 4096, 0u);
  mkl_free(block);
  EXPECT_EQ(mkl_malloc(0, 128), nullptr);
  for (const int alignment : {0, 24, -128, 1 << 22})
    EXPECT_EQ(mkl_malloc(16, alignment), nullptr);
  EXPECT_THROW(allocateArray<double>(SIZE_MAX / 8 + 2), std::bad_alloc);
}

TEST(ParallelRegion, OneExceptionComesOutWhenAllThreadsHaveEnded) {
  std::atomic<int> ended = 0;
  EXPECT_THROW(runOnTeam(3, [&](int, int) { throw ++ended; }), int);
  EXPECT_EQ(ended, 3);
}

} // namespace
