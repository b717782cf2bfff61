// Minimum over a rectangular window, at a cost that does not depend on the window's size.
//
// M. van Herk, "A fast algorithm for local minimum and maximum filters on rectangular and octagonal
// kernels", Pattern Recognition Letters 13 (1992), and J. Gil, M. Werman, "Computing 2-D min,
// median and max filters", IEEE PAMI 15 (1993). Cut an axis into blocks as long as the window: a
// window is then the end of one block and the beginning of the next. Its minimum is the smaller of
// two running minima: from the window's start to the end of the first block ("suffix"), and from
// the start of the second block to the window's end ("prefix").
//
// The row pass runs on demand, row by row; the column pass works on whole rows. The column pass
// keeps its suffixes in the destination, where it later writes the result, so that the work buffer
// is only four rows.
#include <algorithm>
#include <limits>

#include "primitives/image/ImagePrimitives.h"
#include "primitives/image/Pixel.h"

namespace {

constexpr int64_t workRows = 4;

// The window on one axis.
struct Window {
  int64_t length; // of the image on this axis
  int64_t side;   // of the window
  int64_t anchor; // window pixels before the pixel itself
};

// The minimum of every pixel's window in a row. prefix and suffix are one row each; out may be
// prefix.
void minimumOfRow(const float* in, Window w, float* prefix, float* suffix, float* out) {
  for (int64_t begin = 0; begin < w.length; begin += w.side) {
    const int64_t end = std::min(begin + w.side, w.length);
    Pixel smallest = loadPixel(in, begin);
    for (int64_t x = begin; x < end; ++x)
      storePixel(prefix, x, smallest = smallerOf(loadPixel(in, x), smallest));
    smallest = loadPixel(in, end - 1);
    for (int64_t x = end - 1; x >= begin; --x)
      storePixel(suffix, x, smallest = smallerOf(loadPixel(in, x), smallest));
  }
  const int64_t last = w.length - 1;
  const int64_t lastBlock = last / w.side * w.side;
  // In this order: windows that begin before the image; that lie inside; that end behind it, in
  // another block; the same in one block.
  int64_t x = 0;
  for (; x < std::min(w.anchor, w.length); ++x)
    storePixel(out, x, loadPixel(prefix, std::min(x - w.anchor + w.side - 1, last)));
  for (; x - w.anchor + w.side - 1 <= last; ++x)
    storePixel(
        out, x,
        smallerOf(loadPixel(suffix, x - w.anchor), loadPixel(prefix, x - w.anchor + w.side - 1)));
  for (; x < std::min(lastBlock + w.anchor, w.length); ++x)
    storePixel(out, x, smallerOf(loadPixel(suffix, x - w.anchor), loadPixel(prefix, last)));
  for (; x < w.length; ++x)
    storePixel(out, x, loadPixel(suffix, x - w.anchor));
}

// inOut = the smaller of inOut and other, over `width` pixels.
void smallerRow(float* inOut, const float* other, int64_t width) {
#pragma omp simd
  for (int64_t i = 0; i < 4 * width; ++i)
    inOut[i] = other[i] < inOut[i] ? other[i] : inOut[i];
}

void copyRow(float* to, const float* from, int64_t width) { std::copy(from, from + 4 * width, to); }

// The column pass. Row r of the row pass is the top of the window of destination row r + anchor.
// The pass writes it there, turns it there into the suffix from r to its block's end, and forms the
// result there. Rows that are not the top of a window count only for `tail`, their minimum.
struct ColumnPass {
  const float* source;
  int32_t sourceStep;
  float* destination;
  int32_t destinationStep;
  Window across, down;
  float* prefix; // minimum from the beginning of the newest row's block
  float* tail;   // minimum of those rows of the newest block that have no place
  float *rowPrefix, *rowSuffix;

  int64_t blockOf(int64_t r) const { return r / down.side * down.side; }
  bool hasPlace(int64_t r) const { return r + down.anchor < down.length; }
  float* placeOf(int64_t r) const { return rowOf(destination, destinationStep, r + down.anchor); }

  void takeRow(int64_t r) {
    const int64_t block = blockOf(r);
    const bool startsTail = !hasPlace(r) && (r == block || hasPlace(r - 1));
    // A row without a place may overwrite its prefixes: each is read before it is written.
    float* row = hasPlace(r) ? placeOf(r) : startsTail ? tail : rowPrefix;
    minimumOfRow(rowOf(source, sourceStep, r), across, rowPrefix, rowSuffix, row);
    if (r == block)
      copyRow(prefix, row, across.length);
    else
      smallerRow(prefix, row, across.length);
    if (!hasPlace(r) && !startsTail)
      smallerRow(tail, row, across.length);
    if (r == block + down.side - 1 || r == down.length - 1)
      closeBlock(block, r);
  }

  // Turns the rows of a block into suffixes.
  void closeBlock(int64_t block, int64_t last) {
    const int64_t lastPlace = std::min(last, down.length - 1 - down.anchor);
    if (lastPlace < block)
      return;
    if (lastPlace < last)
      smallerRow(placeOf(lastPlace), tail, across.length);
    for (int64_t r = lastPlace - 1; r >= block; --r)
      smallerRow(placeOf(r), placeOf(r + 1), across.length);
  }

  void run() {
    int64_t newest = -1;
    for (int64_t y = 0; y < down.length; ++y) {
      const int64_t top = y - down.anchor;
      const int64_t bottom = std::min(top + down.side - 1, down.length - 1);
      while (newest < bottom)
        takeRow(++newest);
      float* out = rowOf(destination, destinationStep, y);
      if (top < 0)
        copyRow(out, prefix, across.length);
      else if (blockOf(top) != blockOf(bottom))
        smallerRow(out, prefix, across.length);
    }
  }
};

} // namespace

int32_t MinFilterGetBufferSize(int32_t width, PrimitiveSize mask, int32_t* bytes) {
  if (!bytes)
    return primitiveNullPointer;
  if (width < 1 || mask.width < 1 || mask.height < 1)
    return primitiveBadSize;
  const int64_t needed = workRows * width * pixelBytes + alignof(float) - 1;
  if (needed > std::numeric_limits<int32_t>::max())
    return primitiveBadSize;
  *bytes = int32_t(needed);
  return primitiveOk;
}

int32_t MinFilterBorderReplicate_32f_C4R(const float* source, int32_t sourceStep,
                                         float* destination, int32_t destinationStep,
                                         PrimitiveSize region, PrimitiveSize mask,
                                         PrimitivePoint anchor, uint8_t* work) {
  if (!source || !destination || !work)
    return primitiveNullPointer;
  if (region.width < 1 || region.height < 1 || mask.width < 1 || mask.height < 1)
    return primitiveBadSize;
  if (!stepHolds(sourceStep, region.width) || !stepHolds(destinationStep, region.width))
    return primitiveBadStep;
  if (anchor.x < 0 || anchor.x >= mask.width || anchor.y < 0 || anchor.y >= mask.height)
    return primitiveBadAnchor;
  float* row[workRows];
  for (int64_t k = 0; k < workRows; ++k)
    row[k] = alignedStart<float>(work) + 4 * k * region.width;
  ColumnPass{source,
             sourceStep,
             destination,
             destinationStep,
             {region.width, mask.width, anchor.x},
             {region.height, mask.height, anchor.y},
             row[0],
             row[1],
             row[2],
             row[3]}
      .run();
  return primitiveOk;
}
