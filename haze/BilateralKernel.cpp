// The product of the three densities is one exponential of the sum of the squared differences,
// which is a whole number and exact in float. The spatial kernel and the densities' peaks are added
// to its exponent as logarithms. The compiler may contract floating-point operations here
// (haze/CMakeLists.txt). This affects only the exponent, its polynomial and the two sums; the
// tests' error bound against the table includes it.
#include "haze/BilateralKernel.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include <immintrin.h>

#include "primitives/base/Vector.h"

namespace {

constexpr double deviation = double(rangeScale) * rangeDeviation; // in thousandths
constexpr float exponentScale = float(-std::numbers::log2e / (2.0 * deviation * deviation));

// From this sum of squares on, a weight is 0 in float.
constexpr float largestSquares = 3.1e6f;

// Binary logarithms of the spatial kernel times the peaks of the three densities.
struct TapLogarithms {
  float of[kernelSide][kernelSide];
  TapLogarithms() {
    const double peak = 1.0 / (rangeDeviation * std::sqrt(2.0 * std::numbers::pi));
    for (int32_t dy = -kernelRadius; dy <= kernelRadius; ++dy)
      for (int32_t dx = -kernelRadius; dx <= kernelRadius; ++dx)
        of[dy + kernelRadius][dx + kernelRadius] =
            float(std::log2(spatialWeight(dx, dy) * peak * peak * peak));
  }
};

// Rounds to whole numbers with one of the processor's rounding modes (_MM_FROUND_...).
template <int mode> FloatV whole(FloatV v) {
#if defined(__AVX512F__)
  return _mm512_roundscale_ps(v, mode);
#elif defined(__AVX__)
  return _mm256_round_ps(v, mode);
#else
  return _mm_round_ps(v, mode);
#endif
}

// 2^y for y from -226 to 15, relative error below 2e-7. A result below float's normal range is
// rounded once.
FloatV exp2(FloatV y) {
  const FloatV exponent = whole<_MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC>(y);
  const FloatV f = y - exponent; // -0.5 to 0.5
  FloatV p = f * 1.3400432e-3f + 9.6760371e-3f;
  p = p * f + 5.5503272e-2f;
  p = p * f + 2.4022107e-1f;
  p = p * f + 6.9314721e-1f;
  p = p * f + 1.0f;
#ifdef __AVX512F__
  return _mm512_scalef_ps(p, exponent);
#else
  // `raised` keeps the exponent in the normal range.
  constexpr int32_t raised = 110, mantissaBits = 23;
  constexpr float lowered = 0x1p-110f;
  const IntV bits = __builtin_convertvector(exponent, IntV) + raised;
  return FloatV(IntV(p) + (bits << mantissaBits)) * lowered;
#endif
}

// Difference of two colours in whole thousandths, clamped to the table's end; NaN gives the end,
// too.
template <bool unit> FloatV thousandths(FloatV a, FloatV b) {
  FloatV d = (a - b) * rangeScale;
  if constexpr (!unit) {
    const FloatV end = splat<FloatV>(float(rangeEnd));
    d = d < end ? d : end;
    d = d > -end ? d : -end;
  }
  return whole<_MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC>(d);
}

// One channel of `widestLanes` pixels.
FloatV channel(const float* pixels, int32_t c) {
  constexpr int32_t half = widestLanes / 2;
  IntV every, halves; // the channel in two vectors; their first halves
  for (int32_t i = 0; i < widestLanes; ++i) {
    every[i] = 4 * (i % half) + c;
    halves[i] = i < half ? i : i + half;
  }
  const auto at = [&](int32_t v) { return loadVector<FloatV>(pixels + v * widestLanes); };
  return __builtin_shuffle(__builtin_shuffle(at(0), at(1), every),
                           __builtin_shuffle(at(2), at(3), every), halves);
}

// The means of a vector of pixels from column x on, for `count` rows at once, which share the
// values read from the low grid.
template <int count, bool unit>
void vectorMeans(const LowRows& low, const TapLogarithms& taps, const HighRows& high, int32_t x) {
  FloatV red[count], green[count], blue[count], sumW[count] = {}, sum[count] = {};
  for (int r = 0; r < count; ++r) {
    const float* pixels = high.pixels[r] + 4 * size_t(x);
    red[r] = channel(pixels, LowRows::red);
    green[r] = channel(pixels, LowRows::green);
    blue[r] = channel(pixels, LowRows::blue);
  }
  const int32_t lx = high.lowColumns[x];
  const IntV step = loadVector<IntV>(high.lowColumns + x) - lx;
  for (int32_t dy = high.first; dy <= high.last; ++dy)
    for (int32_t dx = -kernelRadius; dx <= kernelRadius; ++dx) {
      const auto at = [&](LowRows::Plane plane) {
        const float* from = low.plane(high.lowRow + dy, plane) + lx + dx;
        return __builtin_shuffle(loadVector<FloatV>(from), step);
      };
      const FloatV lowRed = at(LowRows::red), lowGreen = at(LowRows::green),
                   lowBlue = at(LowRows::blue), solution = at(LowRows::solution);
      const float logarithm = taps.of[dy + kernelRadius][dx + kernelRadius];
      for (int r = 0; r < count; ++r) {
        const FloatV dRed = thousandths<unit>(red[r], lowRed);
        const FloatV dGreen = thousandths<unit>(green[r], lowGreen);
        const FloatV dBlue = thousandths<unit>(blue[r], lowBlue);
        FloatV squares = dRed * dRed + dGreen * dGreen + dBlue * dBlue;
        if constexpr (!unit)
          squares = squares < largestSquares ? squares : splat<FloatV>(largestSquares);
        const FloatV w = exp2(squares * exponentScale + logarithm);
        sumW[r] += w;
        sum[r] += w * solution;
      }
    }
  for (int r = 0; r < count; ++r)
    storeVector(high.means[r] + x, sumW[r] == 0.0f ? FloatV{} : sum[r] / sumW[r]);
}

} // namespace

Content contentOf(const float* row, int32_t width) {
  int outside = 0, clear = 0;
  for (size_t i = 0; i < 4 * size_t(width); ++i)
    outside |= !(row[i] >= 0.0f && row[i] <= 1.0f); // true for NaN
  for (size_t i = 3; i < 4 * size_t(width); i += 4)
    clear |= row[i] == 0.0f;
  return clear ? Content::transparent : outside ? Content::opaque : Content::unit;
}

LowRows::LowRows(const SHaze& low, const float* solution)
    : low_(low), solution_(solution),
      stride_(size_t(low.width) + widestLanes), // keeps a vector load at the last pixel inside
      values_(size_t(kernelSide) * planes * stride_) {}

Content LowRows::load(int32_t first, int32_t last) {
  for (next_ = std::max(next_, first); next_ <= last; ++next_)
    split(next_);
  Content worst = Content::unit;
  for (int32_t row = first; row <= last; ++row)
    worst = std::max(worst, content_[row % kernelSide]);
  return worst;
}

void LowRows::split(int32_t row) {
  float* out = &values_[size_t(row % kernelSide) * planes * stride_];
  const float* p = pixelAt(low_, 0, row);
  for (size_t x = 0; x < size_t(low_.width); ++x)
    for (size_t c = red; c <= blue; ++c)
      out[c * stride_ + x] = p[4 * x + c];
  std::copy_n(solution_ + size_t(row) * size_t(low_.width), low_.width, out + solution * stride_);
  content_[row % kernelSide] = contentOf(p, low_.width);
}

void fastMeans(const LowRows& low, const HighRows& rows, int32_t begin, int32_t end, bool unit) {
  static const TapLogarithms taps;
  const auto means = rows.pixels[1] ? unit ? vectorMeans<2, true> : vectorMeans<2, false>
                     : unit ? vectorMeans<1, true>
                                    : vectorMeans<1, false>;
  for (int32_t x = begin; x < end; x += widestLanes)
    means(low, taps, rows, std::min(x, end - widestLanes)); // the last vector ends at `end`
}
