// Resampling and minimum filter of float images with four interleaved channels (16 bytes per
// pixel).
//
// Steps are bytes from one row to the next. Every operation returns 0 or a negative status: for a
// null pointer, a size below 1, a step that is too small or not a multiple of 4, an anchor outside
// the mask, an unknown mode, or an invalid factor. The destination is then unchanged. All channels
// get the same, independent treatment. Samples may be any float: one that is not finite spoils only
// the pixels made from it. Source and destination must not overlap.
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
constexpr int32_t primitiveBadFactor = -23; // not above 0, not finite, or above 1 in super-sampling
constexpr int32_t primitiveBadChannels = -53; // other than 4

// Sets the threads of later resamplings from this thread, initially 1; ignores a count below 1. The
// result is the same, bit for bit, for every count.
void setPrimitiveThreads(int count);

// Bytes of the work buffer for resampling these rectangles in this mode. The buffer may have any
// alignment.
int32_t ResizeGetBufSize(PrimitiveRect sourceRect, PrimitiveRect destinationRect, int32_t channels,
                         int32_t mode, int32_t* bytes);

// Fills the destination rectangle from the source rectangle, which lies inside the source.
// Destination pixel i covers the source interval i / factor + shift to (i + 1) / factor + shift,
// both counted from the edges of their rectangles. Beyond the source rectangle, super-sampling cuts
// the interval off, and linear mode uses the nearest edge pixel.
//   source, destination  first pixel of the whole images; destinationRect lies inside destination
int32_t ippiResizeSqrPixel_32f_C4R(const float* source, PrimitiveSize sourceSize,
                                   int32_t sourceStep, PrimitiveRect sourceRect, float* destination,
                                   int32_t destinationStep, PrimitiveRect destinationRect,
                                   double xFactor, double yFactor, double xShift, double yShift,
                                   int32_t mode, uint8_t* work);

// Bytes of the work buffer for the minimum filter of rows of this width: 64 per pixel for every
// mask.
int32_t MinFilterGetBufferSize(int32_t width, PrimitiveSize mask, int32_t* bytes);

// Smallest value over a window, per channel; beyond the edges the nearest edge pixel counts. The
// cost per pixel does not grow with the window. The window of pixel (x, y) begins at (x - anchor.x,
// y - anchor.y). Runs on the calling thread.
int32_t MinFilterBorderReplicate_32f_C4R(const float* source, int32_t sourceStep,
                                         float* destination, int32_t destinationStep,
                                         PrimitiveSize region, PrimitiveSize mask,
                                         PrimitivePoint anchor, uint8_t* work);
