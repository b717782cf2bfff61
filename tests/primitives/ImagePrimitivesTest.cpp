// Resampling and minimum filter against plain loops in double over the definitions, the 3 by 3
// operations against Eigen in double, and the ground that all primitives stand on.
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

// Rows are a few floats longer than the pixels, and those must stay as they are.
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
  PrimitiveSize size() const { return {width, height}; }
  PrimitiveRect all() const { return {0, 0, width, height}; }
  float& at(int64_t x, int64_t y, int64_t c) { return samples[y * (step / 4) + x * 4 + c]; }
  float at(int64_t x, int64_t y, int64_t c) const { return samples[y * (step / 4) + x * 4 + c]; }
};

// A work buffer of the size that was told, at an odd address, with a fence on both sides.
struct Work {
  std::vector<uint8_t> bytes;
  explicit Work(int32_t size) : bytes(size_t(size) + 9, 0xA5) {}
  uint8_t* data() { return bytes.data() + 1; }
  ~Work() {
    EXPECT_EQ(bytes.front(), 0xA5);
    EXPECT_EQ(std::count(bytes.end() - 8, bytes.end(), 0xA5), 8);
  }
};

// All arguments of a resampling, by default of the whole of one image to the whole of another.
struct Resize {
  PrimitiveSize size;
  PrimitiveRect from, to;
  int32_t mode, step, toStep;
  double xFactor, yFactor, xShift = 0, yShift = 0;
  const float* source;
  float* destination;
  uint8_t* work = nullptr;

  Resize(const Image& a, Image& b, int32_t m)
      : size(a.size()), from(a.all()), to(b.all()), mode(m), step(a.step), toStep(b.step),
        xFactor(double(b.width) / a.width), yFactor(double(b.height) / a.height),
        source(a.samples.data()), destination(b.samples.data()) {}
  int32_t call() const {
    return ippiResizeSqrPixel_32f_C4R(source, size, step, from, destination, toStep, to, xFactor,
                                      yFactor, xShift, yShift, mode, work);
  }
  int32_t bufferSize(int32_t* bytes) const { return ResizeGetBufSize(from, to, 4, mode, bytes); }
};

// The same of a minimum filter.
struct Filter {
  PrimitiveSize size, mask;
  PrimitivePoint anchor;
  int32_t step, toStep;
  const float* source;
  float* destination;
  uint8_t* work = nullptr;

  Filter(const Image& a, Image& b, PrimitiveSize m, PrimitivePoint p)
      : size(a.size()), mask(m), anchor(p), step(a.step), toStep(b.step), source(a.samples.data()),
        destination(b.samples.data()) {}
  int32_t call() const {
    return MinFilterBorderReplicate_32f_C4R(source, step, destination, toStep, size, mask, anchor,
                                            work);
  }
  int32_t bufferSize(int32_t* bytes) const {
    return MinFilterGetBufferSize(size.width, mask, bytes);
  }
};

template <class Operation> void run(Operation operation) {
  int32_t bytes = -1;
  ASSERT_EQ(operation.bufferSize(&bytes), primitiveOk);
  Work work(bytes);
  operation.work = work.data();
  ASSERT_EQ(operation.call(), primitiveOk);
}

// Calls with one faulty argument after the other.
template <class Operation, class Argument, class Fault>
void expectRefused(Operation& operation, int32_t status, Argument& argument, Fault fault) {
  const Argument before = std::exchange(argument, fault);
  EXPECT_EQ(operation.call(), status) << fault;
  argument = before;
}

// Share of a destination pixel that source pixel k of an axis has.
double weightOf(int32_t k, int32_t i, double factor, double shift, int32_t length, int32_t mode) {
  double begin = std::clamp(i / factor + shift, 0.0, length - 1.0);
  double end = std::clamp((i + 1) / factor + shift, begin, double(length));
  if (mode == resizeSuperSampling && end > begin)
    return std::max(0.0, std::min(end, k + 1.0) - std::max(begin, double(k))) / (end - begin);
  if (mode == resizeLinear)
    begin = std::clamp((i + 0.5) / factor - 0.5 + shift, 0.0, length - 1.0);
  return std::max(0.0, 1.0 - std::abs(begin - k));
}

void expectDefinition(const Image& source, const Image& result, const Resize& r) {
  Image expected(result.width, result.height);
  for (int32_t j = 0; j < r.to.height; ++j)
    for (int32_t i = 0; i < r.to.width; ++i)
      for (int c = 0; c < 4; ++c) {
        double sum = 0;
        for (int32_t l = 0; l < r.from.height; ++l)
          for (int32_t k = 0; k < r.from.width; ++k)
            sum += weightOf(k, i, r.xFactor, r.xShift, r.from.width, r.mode) *
                   weightOf(l, j, r.yFactor, r.yShift, r.from.height, r.mode) *
                   source.at(r.from.x + k, r.from.y + l, c);
        expected.at(r.to.x + i, r.to.y + j, c) = float(sum);
      }
  EXPECT_THAT(result.samples, testing::Pointwise(testing::FloatNear(2e-6f), expected.samples));
}

// Of whole images, and with shifts of rectangles in them, which may lie wholly outside: then the
// nearest edge pixel counts.
TEST(Resampling, IsTheAreaMeanOrTheBilinearValueAtTheCentre) {
  constexpr int32_t sizes[][4] = {{1, 1, 1, 1},   {7, 5, 3, 2},     {13, 1, 4, 1},
                                  {1, 17, 1, 5},  {31, 23, 31, 23}, {40, 21, 39, 1},
                                  {60, 40, 4, 3}, {47, 31, 16, 21}, {1, 1, 5, 3},
                                  {5, 7, 13, 3},  {1, 9, 4, 4},     {10, 10, 31, 31}};
  for (const auto& [width, height, toWidth, toHeight] : sizes)
    for (const int32_t mode : {resizeLinear, resizeSuperSampling})
      for (const double shift : {0.0, 0.75, -1.25, 100.0, -1e30}) {
        const Image source(width, height, 11);
        Image one(toWidth + 3, toHeight + 5), many = one;
        Resize r(source, one, mode);
        if (shift != 0 && std::min(width, height) > 10)
          r.from = {5, 3, width - 6, height - 4};
        r.to = {2, 4, std::min(toWidth, r.from.width), std::min(toHeight, r.from.height)};
        if (mode == resizeLinear)
          r.to = {2, 4, toWidth, toHeight};
        r.xFactor = double(r.to.width) / r.from.width, r.xShift = shift;
        r.yFactor = double(r.to.height) / r.from.height, r.yShift = -shift / 2;
        setPrimitiveThreads(1);
        run(r);
        expectDefinition(source, one, r);
        setPrimitiveThreads(3);
        setPrimitiveThreads(0); // ignored
        r.destination = many.samples.data();
        run(r);
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
    run(Resize(source, result, resizeSuperSampling));
    for (int32_t k = 0; k < 4 * areas; ++k) {
      ASSERT_EQ(std::isnan(result.at(k / 4, 0, k % 4)), k % 8 == 1) << k << " by " << side;
      ASSERT_TRUE(side > 1 || k % 8 == 1 || result.samples[k] == source.samples[k]) << k;
    }
  }
}

TEST(Resampling, FaultyArgumentsAreRefused) {
  const Image source(8, 6, 2);
  Image result(4, 3);
  Work work(1000);
  Resize r(source, result, resizeSuperSampling);
  r.work = work.data();
  expectRefused(r, primitiveNullPointer, r.source, nullptr);
  expectRefused(r, primitiveNullPointer, r.destination, nullptr);
  expectRefused(r, primitiveNullPointer, r.work, nullptr);
  const std::tuple<int32_t, int32_t*, int32_t> faults[] = {
      {primitiveBadSize, &r.size.width, 0},    {primitiveBadSize, &r.size.height, 0},
      {primitiveBadSize, &r.from.height, 0},   {primitiveBadSize, &r.from.x, -1},
      {primitiveBadSize, &r.from.x, 1},        {primitiveBadSize, &r.from.y, highest},
      {primitiveBadSize, &r.to.width, -4},     {primitiveBadSize, &r.to.y, -1},
      {primitiveBadStep, &r.step, 8 * 16 - 4}, {primitiveBadStep, &r.step, 8 * 16 + 2},
      {primitiveBadStep, &r.toStep, 60},       {primitiveBadStep, &r.to.x, 1},
      {primitiveBadMode, &r.mode, 3}};
  for (const auto& [status, argument, fault] : faults)
    expectRefused(r, status, *argument, fault);
  for (double* factor : {&r.xFactor, &r.yFactor})
    for (const double fault : {0.0, -0.5, 1.01, HUGE_VAL, double(nan)})
      expectRefused(r, primitiveBadFactor, *factor, fault);
  expectRefused(r, primitiveBadFactor, r.xShift, HUGE_VAL);
  expectRefused(r, primitiveBadFactor, r.yShift, double(nan));
  EXPECT_THAT(result.samples, testing::Each(untouched));
  EXPECT_EQ(r.call(), primitiveOk);

  int32_t bytes = 123;
  EXPECT_EQ(r.bufferSize(nullptr), primitiveNullPointer);
  EXPECT_EQ(ResizeGetBufSize(r.from, r.to, 3, resizeLinear, &bytes), primitiveBadChannels);
  EXPECT_EQ(ResizeGetBufSize(r.from, r.to, 4, 1, &bytes), primitiveBadMode);
  EXPECT_EQ(ResizeGetBufSize({0, 0, 8, 0}, r.to, 4, 2, &bytes), primitiveBadSize);
  for (const int32_t width : {0, highest})
    EXPECT_EQ(ResizeGetBufSize(r.from, {0, 0, width, 3}, 4, 2, &bytes), primitiveBadSize);
  EXPECT_EQ(bytes, 123);
}

Image slowMinimum(const Image& source, PrimitiveSize mask, PrimitivePoint anchor) {
  Image result(source.width, source.height);
  for (int64_t k = 0; k < int64_t(source.width) * source.height * 4; ++k) {
    const int64_t c = k % 4, x = k / 4 % source.width, y = k / 4 / source.width;
    const int64_t left = x - anchor.x, right = std::min<int64_t>(left + mask.width, source.width);
    const int64_t top = y - anchor.y, end = std::min<int64_t>(top + mask.height, source.height);
    float least = HUGE_VALF;
    for (int64_t j = std::max<int64_t>(top, 0); j < end; ++j)
      for (int64_t i = std::max<int64_t>(left, 0); i < right; ++i)
        least = std::min(least, source.at(i, j, c));
    result.at(x, y, c) = least;
  }
  return result;
}

// A window too long for the image on the one axis is not on the other.
TEST(MinimumFilter, IsTheMinimumOfEveryWindow) {
  constexpr int32_t sides[] = {1, 2, 3, 5, 8, 17, highest};
  for (const auto& [width, height] : {std::pair{1, 1}, {1, 19}, {23, 1}, {4, 3}, {21, 26}})
    for (const int32_t across : sides)
      for (const int32_t down : sides)
        for (const PrimitivePoint anchor :
             {PrimitivePoint{0, down / 2}, {across / 2, down - 1}, {across - 1, 0}}) {
          const Image source(width, height, 21);
          Image result(width, height);
          run(Filter(source, result, {across, down}, anchor));
          ASSERT_EQ(result.samples, slowMinimum(source, {across, down}, anchor).samples)
              << across << " x " << down << " from " << anchor.x << ' ' << anchor.y;
        }
}

TEST(MinimumFilter, FaultyArgumentsAreRefused) {
  const Image source(6, 5, 1);
  Image result(6, 5);
  Work work(1000);
  Filter f(source, result, {3, 3}, {1, 1});
  f.work = work.data();
  expectRefused(f, primitiveNullPointer, f.source, nullptr);
  expectRefused(f, primitiveNullPointer, f.destination, nullptr);
  expectRefused(f, primitiveNullPointer, f.work, nullptr);
  const std::tuple<int32_t, int32_t*, int32_t> faults[] = {
      {primitiveBadSize, &f.size.width, 0},  {primitiveBadSize, &f.size.height, 0},
      {primitiveBadSize, &f.mask.width, 0},  {primitiveBadSize, &f.mask.height, 0},
      {primitiveBadStep, &f.step, 92},       {primitiveBadStep, &f.step, f.step + 1},
      {primitiveBadStep, &f.toStep, 92},     {primitiveBadStep, &f.toStep, f.step + 2},
      {primitiveBadAnchor, &f.anchor.x, 3},  {primitiveBadAnchor, &f.anchor.y, 3},
      {primitiveBadAnchor, &f.anchor.x, -1}, {primitiveBadAnchor, &f.anchor.y, -1}};
  for (const auto& [status, argument, fault] : faults)
    expectRefused(f, status, *argument, fault);
  EXPECT_THAT(result.samples, testing::Each(untouched));
  int32_t bytes = 0;
  EXPECT_EQ(f.bufferSize(nullptr), primitiveNullPointer);
  for (const auto& [width, mask] : {std::pair{0, 3}, {highest, 3}, {6, 0}}) {
    EXPECT_EQ(MinFilterGetBufferSize(width, {mask, 3}, &bytes), primitiveBadSize);
    EXPECT_EQ(MinFilterGetBufferSize(width, {3, mask}, &bytes), primitiveBadSize);
  }
}

// Rows of 2000000 pixels: the 68th already lies beyond what 32 bits count. Only the pages of the
// few pixels that are touched come into being.
TEST(LargeImages, OffsetsBeyond32BitsAreReached) {
  constexpr int32_t width = 2000000, rows = 150, step = width * 16, left = width - 8;
  constexpr size_t bytes = size_t(step) * rows;
  const auto map = [] {
    return static_cast<float*>(mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                                    MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
  };
  const auto row = [](float* image, int64_t y) { return image + (y * width + left) * 4; };
  float *source = map(), *result = map();
  for (int32_t y = 0; y < rows; ++y)
    std::fill_n(row(source, y), 8 * 4, float(y + 1));
  std::vector<uint8_t> work(size_t(width) * 16);
  ippiResizeSqrPixel_32f_C4R(source, {width, rows}, step, {left, 0, 8, rows}, result, step,
                             {left, 0, 4, rows / 2}, 0.5, 0.5, 0, 0, 8, work.data());
  EXPECT_EQ(*row(result, rows / 2 - 1), rows - 0.5f);
  MinFilterBorderReplicate_32f_C4R(row(source, 0), step, row(result, 0), step, {8, rows}, {3, 3},
                                   {1, 1}, work.data());
  EXPECT_EQ(*row(result, rows - 1), float(rows - 1));
  munmap(source, bytes);
  munmap(result, bytes);
}

// Elements some floats apart; what lies between stays. Every second matrix is a covariance of
// colours that are nearly alike, as a smooth photograph gives.
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
  EXPECT_FALSE(std::isfinite(inverse[0])); // as the division leaves it
  for (const float bad : {0.0f, nan, HUGE_VALF})
    EXPECT_EQ(status({bad, 0, 0, 0, 1, 0, 0, 0, 1}), smallMatrixSingular);
  // The smallest regular floats: the determinant lies far below a float's range.
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

TEST(ParallelRegion, EachThreadHasItsShareAndOneExceptionComesOut) {
  std::vector<int> visits(1000);
  std::atomic<int> ended = 0;
  const auto body = [&](int thread, int team) {
    const Share share = shareOf(1000, thread, team);
    std::for_each(&visits[share.begin], visits.data() + share.end, [](int& v) { ++v; });
    throw ++ended;
  };
  EXPECT_THROW(runOnTeam(3, body), int);
  EXPECT_EQ(ended, 3);
  EXPECT_THAT(visits, testing::Each(1));
}

} // namespace
