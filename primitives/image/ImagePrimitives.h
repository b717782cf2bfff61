// Resampling and minimum filter of float images with four interleaved channels (16 bytes a pixel).
//
// Steps are bytes from one row to the next. Every operation returns 0, or a negative status for a
// null pointer, a size below 1, a step too small or not a multiple of 4, an anchor outside the
// mask, an unknown mode, a factor that cannot be used, and then leaves the destination as it is.
// The channels are treated alike and independently. Samples may be any float: one that is not
// finite spoils only the pixels made from it. Source and destination do not overlap.
#pragma once

#include <cstdint>

struct PrimitiveSize {
  int32_t width, height;
};
struct PrimitiveRect {
  int32_t x, y, width, height;
};
struct PrimitivePoint {
  int32_t x, y;
};

constexpr int32_t resizeLinear = 2;        // bilinear at the centre of each destination pixel
constexpr int32_t resizeSuperSampling = 8; // area mean, for reductions only

constexpr int32_t primitiveOk = 0;
constexpr int32_t primitiveBadSize = -6;
constexpr int32_t primitiveNullPointer = -8;
constexpr int32_t primitiveBadStep = -14;
constexpr int32_t primitiveBadAnchor = -34;
constexpr int32_t primitiveBadMode = -51;
constexpr int32_t primitiveBadFactor = -23;   // not above 0, not finite, above 1 in super-sampling
constexpr int32_t primitiveBadChannels = -53; // other than 4

// Threads of later resamplings called from this thread, 1 at first; a count below 1 is ignored.
// The result is bit for bit the same for every count.
void setPrimitiveThreads(int count);

// Bytes of work buffer for the resampling of the same rectangles and mode. It may have any
// alignment.
int32_t ResizeGetBufSize(PrimitiveRect sourceRect, PrimitiveRect destinationRect, int32_t channels,
                         int32_t mode, int32_t* bytes);

// Fills the destination rectangle from the source rectangle, which lies inside the source.
// Destination pixel i covers the source interval i / factor + shift to (i + 1) / factor + shift,
// both counted from the edges of their rectangles. What reaches beyond the source rectangle is cut
// off in super-sampling, and is the nearest edge pixel in linear mode.
//   source, destination  first pixel of the whole images; destinationRect lies in the latter
int32_t ippiResizeSqrPixel_32f_C4R(const float* source, PrimitiveSize sourceSize,
                                   int32_t sourceStep, PrimitiveRect sourceRect, float* destination,
                                   int32_t destinationStep, PrimitiveRect destinationRect,
                                   double xFactor, double yFactor, double xShift, double yShift,
                                   int32_t mode, uint8_t* work);

// Bytes of work buffer for the minimum filter of rows of this width: 64 a pixel, whatever the mask.
int32_t MinFilterGetBufferSize(int32_t width, PrimitiveSize mask, int32_t* bytes);

// Smallest value over a window, per channel; beyond the edges the nearest edge pixel counts. The
// cost per pixel does not grow with the window. The window of pixel (x, y) begins at
// (x - anchor.x, y - anchor.y). Runs on the calling thread.
int32_t MinFilterBorderReplicate_32f_C4R(const float* source, int32_t sourceStep,
                                         float* destination, int32_t destinationStep,
                                         PrimitiveSize region, PrimitiveSize mask,
                                         PrimitivePoint anchor, uint8_t* work);
