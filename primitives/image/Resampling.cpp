// Resampling of float images: area mean (super-sampling) and bilinear.
//
// For each axis, the code computes which source pixels contribute with which weights: once per
// destination column, into the work buffer, and once per destination row. The pixels then pass in
// one sweep over the source: one thread makes each destination row from the source rows that it
// covers.
#include <algorithm>
#include <cmath>
#include <limits>

#include "primitives/image/ImagePrimitives.h"
#include "primitives/image/Pixel.h"

namespace {

thread_local int primitiveThreads = 1;

// An interval end this close to a pixel's edge counts as on the edge, so that the rounding of i /
// factor does not include a neighbour. Far above the rounding error at 2000000 pixels, far below
// the precision of a float weight.
constexpr double edgeTolerance = 1e-7;

// The mean over an interval of one axis: the weights of the first pixel, of the inner pixels and of
// the last pixel. They sum to 1.
struct Coverage {
  int32_t first;
  int32_t count; // pixels touched; 1: only firstWeight is used
  float firstWeight, innerWeight, lastWeight;
};

// The two neighbours of a position on one axis, and its distance from the left one (0 to 1).
struct Neighbours {
  int32_t left, right;
  float fraction;
};

double onEdge(double position) {
  const double nearest = std::round(position);
  return std::abs(position - nearest) < edgeTolerance ? nearest : position;
}

Coverage coverageOf(int32_t i, double factor, double shift, int32_t length) {
  const double begin = std::clamp(onEdge(i / factor + shift), 0.0, double(length));
  const double end = std::clamp(onEdge((i + 1.0) / factor + shift), 0.0, double(length));
  if (end <= begin) // completely outside
    return {std::min(int32_t(begin), length - 1), 1, 1, 0, 0};
  const int32_t first = int32_t(begin);
  const int32_t last = int32_t(std::ceil(end)) - 1;
  const double area = end - begin;
  if (first == last)
    return {first, 1, 1, 0, 0};
  return {first, last - first + 1, float((first + 1 - begin) / area), float(1 / area),
          float((end - last) / area)};
}

Neighbours neighboursOf(int32_t i, double factor, double shift, int32_t length) {
  const double centre = std::clamp((i + 0.5) / factor - 0.5 + shift, 0.0, length - 1.0);
  const int32_t left = int32_t(centre);
  return {left, std::min(left + 1, length - 1), float(centre - left)};
}

// out = (or +=, after the first row) weight times the means of the columns over one source row. One
// row at a time reads the source as one stream; in measurements this is faster than several rows.
void addRow(const float* source, float weight, const Coverage* columns, int32_t width, float* out,
            bool isFirst) {
  for (int32_t x = 0; x < width; ++x) {
    const Coverage c = columns[x];
    const float* pixels = source + 4 * int64_t(c.first);
    Pixel mean = loadPixel(pixels, 0) * c.firstWeight;
    if (c.count > 1) {
      const int32_t last = c.count - 1;
      Pixel inner = {};
      for (int32_t k = 1; k < last; ++k)
        inner += loadPixel(pixels, k);
      mean += inner * c.innerWeight + loadPixel(pixels, last) * c.lastWeight;
    }
    storePixel(out, x, isFirst ? mean * weight : loadPixel(out, x) + mean * weight);
  }
}

void superSampleRow(const float* source, int32_t step, const Coverage& rows,
                    const Coverage* columns, int32_t width, float* out) {
  for (int32_t k = 0; k < rows.count; ++k) {
    const float weight = k == 0               ? rows.firstWeight
                         : k < rows.count - 1 ? rows.innerWeight
                                              : rows.lastWeight;
    addRow(rowOf(source, step, int64_t(rows.first) + k), weight, columns, width, out, k == 0);
  }
}

Pixel between(Pixel a, Pixel b, float fraction) { return a + (b - a) * fraction; }

void linearRow(const float* source, int32_t step, const Neighbours& rows, const Neighbours* columns,
               int32_t width, float* out) {
  const float* upper = rowOf(source, step, rows.left);
  const float* lower = rowOf(source, step, rows.right);
  for (int32_t x = 0; x < width; ++x) {
    const Neighbours c = columns[x];
    const Pixel left = between(loadPixel(upper, c.left), loadPixel(lower, c.left), rows.fraction);
    const Pixel right =
        between(loadPixel(upper, c.right), loadPixel(lower, c.right), rows.fraction);
    storePixel(out, x, between(left, right, c.fraction));
  }
}

// Calls makeRow(first source pixel, its step, the row's axis entry, the columns' entries, width,
// destination row) for every destination row.
template <typename Entry, typename AxisEntry, typename MakeRow>
void resample(const float* source, int32_t sourceStep, PrimitiveRect sourceRect, float* destination,
              int32_t destinationStep, PrimitiveRect destinationRect, double xFactor,
              double yFactor, double xShift, double yShift, uint8_t* work, AxisEntry axisEntry,
              MakeRow makeRow) {
  Entry* columns = alignedStart<Entry>(work);
  for (int32_t x = 0; x < destinationRect.width; ++x)
    columns[x] = axisEntry(x, xFactor, xShift, sourceRect.width);
  const float* from = rowOf(source, sourceStep, sourceRect.y) + 4 * int64_t(sourceRect.x);
  float* to =
      rowOf(destination, destinationStep, destinationRect.y) + 4 * int64_t(destinationRect.x);
  const int threads = primitiveThreads;
#pragma omp parallel for num_threads(threads) schedule(static) if (threads > 1)
  for (int32_t y = 0; y < destinationRect.height; ++y)
    makeRow(from, sourceStep, axisEntry(y, yFactor, yShift, sourceRect.height), columns,
            destinationRect.width, rowOf(to, destinationStep, y));
}

int64_t workBytes(int32_t columns, int32_t mode) {
  return mode == resizeLinear ? columns * int64_t(sizeof(Neighbours)) + alignof(Neighbours) - 1
                              : columns * int64_t(sizeof(Coverage)) + alignof(Coverage) - 1;
}

bool hasArea(PrimitiveRect rect) {
  return rect.x >= 0 && rect.y >= 0 && rect.width >= 1 && rect.height >= 1;
}

bool holds(PrimitiveSize size, PrimitiveRect rect) {
  return int64_t(rect.x) + rect.width <= size.width && int64_t(rect.y) + rect.height <= size.height;
}

bool isMode(int32_t mode) { return mode == resizeLinear || mode == resizeSuperSampling; }

bool isUsable(double factor, double shift, int32_t mode) {
  return factor > 0 && std::isfinite(factor) && std::isfinite(shift) &&
         (mode != resizeSuperSampling || factor <= 1);
}

} // namespace

void setPrimitiveThreads(int count) {
  if (count >= 1)
    primitiveThreads = count;
}

int32_t ResizeGetBufSize(PrimitiveRect sourceRect, PrimitiveRect destinationRect, int32_t channels,
                         int32_t mode, int32_t* bytes) {
  if (!bytes)
    return primitiveNullPointer;
  if (!hasArea(sourceRect) || !hasArea(destinationRect))
    return primitiveBadSize;
  if (channels != 4)
    return primitiveBadChannels;
  if (!isMode(mode))
    return primitiveBadMode;
  const int64_t needed = workBytes(destinationRect.width, mode);
  if (needed > std::numeric_limits<int32_t>::max())
    return primitiveBadSize;
  *bytes = int32_t(needed);
  return primitiveOk;
}

int32_t ippiResizeSqrPixel_32f_C4R(const float* source, PrimitiveSize sourceSize,
                                   int32_t sourceStep, PrimitiveRect sourceRect, float* destination,
                                   int32_t destinationStep, PrimitiveRect destinationRect,
                                   double xFactor, double yFactor, double xShift, double yShift,
                                   int32_t mode, uint8_t* work) {
  if (!source || !destination || !work)
    return primitiveNullPointer;
  if (sourceSize.width < 1 || sourceSize.height < 1 || !hasArea(sourceRect) ||
      !hasArea(destinationRect) || !holds(sourceSize, sourceRect))
    return primitiveBadSize;
  if (!stepHolds(sourceStep, sourceSize.width) ||
      !stepHolds(destinationStep, int64_t(destinationRect.x) + destinationRect.width))
    return primitiveBadStep;
  if (!isMode(mode))
    return primitiveBadMode;
  if (!isUsable(xFactor, xShift, mode) || !isUsable(yFactor, yShift, mode))
    return primitiveBadFactor;
  if (mode == resizeLinear)
    resample<Neighbours>(source, sourceStep, sourceRect, destination, destinationStep,
                         destinationRect, xFactor, yFactor, xShift, yShift, work, neighboursOf,
                         linearRow);
  else
    resample<Coverage>(source, sourceStep, sourceRect, destination, destinationStep,
                       destinationRect, xFactor, yFactor, xShift, yShift, work, coverageOf,
                       superSampleRow);
  return primitiveOk;
}
