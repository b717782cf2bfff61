// A whole filtering run: reads the filter rectangle in bands into one float image, corrects it with
// the haze core, and writes it back in bands.
#include <limits>

#include "frame/contract/Limits.h"
#include "frame/record/Bands.h"
#include "frame/record/Globals.h"
#include "frame/record/Rects.h"
#include "frame/selectors/Selectors.h"
#include "haze/Haze.h"
#include "primitives/base/HeapBlock.h"
#include "primitives/base/ParallelRegion.h"

namespace {

constexpr Fixed fullRate = 0x10000;

struct Extent {
  int32_t width, height; // pixels of the filter rectangle
};

void traceAdvanceError() { TRACE("%s :: Error with advanceState (%d)\n", "DoFilter", *gResult); }

// Requests full resolution and colour planes only; the host applies the selection itself.
void askForColourPlanes(const VRect& kept, const VRect& filter, int32_t planes) {
  gFilterRecord->maskRate = fullRate;
  gFilterRecord->inputRate = fullRate;
  SetInRect(kept.top, filter.left, kept.bottom, filter.right);
  if (gFilterRecord->haveMask)
    SetMaskRect(kept.top, filter.left, kept.bottom, filter.right);
  gFilterRecord->inLoPlane = gFilterRecord->outLoPlane = 0;
  gFilterRecord->inHiPlane = gFilterRecord->outHiPlane = int16_t(planes - 1);
}

// An image beyond the limit requests more than any heap has, and so throws std::bad_alloc.
HeapArray<float> allocateFloatImage(const Extent& size) {
  const int64_t pixels = int64_t(size.width) * size.height;
  const size_t floats = size_t(pixels) * floatsPerPixel;
  TRACE("%s (%d) - try to allocate main haze buffer (%ld pixels)\n", "DoFilter", __LINE__,
        long(floats >> 10));
  HeapArray<float> image =
      allocateArray<float>(pixels <= mostPixels ? floats : std::numeric_limits<size_t>::max());
  touchPages(image.get(), floats * sizeof(float), gThreadCount);
  TRACE("%s (%d) - allocation out of PS: %ld KBytes\n", "DoFilter", __LINE__,
        long(floats * sizeof(float) >> 10));
  return image;
}

// Moves the image in bands; transfer gets a band of the image and its number of pixels. False: the
// host failed, and *gResult holds its code.
template <class SetRect, class Transfer>
bool moveImage(const VRect& filter, float* image, SetRect setRect, Transfer transfer) {
  const size_t rowPixels = size_t(RectWidth(filter));
  const bool moved = forEachBand(filter, setRect, [&](int32_t first, int32_t rows) {
    transfer(image + size_t(first) * rowPixels * floatsPerPixel, size_t(rows) * rowPixels);
  });
  if (!moved)
    traceAdvanceError();
  return moved;
}

bool readImage(const VRect& filter, float* image) {
  return moveImage(filter, image, SetInRect, [](float* band, size_t pixels) {
    ReadBand(gFilterRecord->inData, gFilterRecord->depth, pixels, band);
  });
}

bool writeImage(const VRect& filter, float* image) {
  return moveImage(filter, image, SetOutRect, [](const float* band, size_t pixels) {
    WriteBand(band, gFilterRecord->depth, pixels, gFilterRecord->outData);
  });
}

// A failure or a cancel does not stop the run: the image keeps what the core left in it.
void correct(float* image, const VRect& filter) {
  int32_t failure = hazeNoError;
  DoFogdissolve(image, gFilterRecord->maskData, filter, gFilterRecord->depth, true,
                gFilterRecord->outRowBytes, gParams->outputMap, &failure);
  if (failure != hazeNoError && *gResult == noErr)
    *gResult = memFullErr;
  TRACE("%s (%d) - float buffer processed\n", "DoFilter", __LINE__);
}

} // namespace

void DoFilter() {
  TRACE("%s :: enter\n", "DoFilter");
  const VRect kept = GetInRect();
  const VRect filter = GetFilterRect();
  TraceRect("DO FILTER filter rect", filter);
  const Extent size = {RectWidth(filter), RectHeight(filter)};
  TRACE("%s (%d) filterRect %ldx%ld\n", "DoFilter", __LINE__, long(size.width), long(size.height));

  const int32_t planes = CSPlanesFromMode(gFilterRecord->imageMode, 0);
  if (planes != rgbPlanes || size.width < 0 || size.height < 0) {
    *gResult = filterBadParameters; // the property list prevents such images
    return;
  }
  askForColourPlanes(kept, filter, planes);

  HeapArray<float> image = allocateFloatImage(size);
  if (!readImage(filter, image.get()))
    return;
  TRACE("%s (%d) - float buffer ready\n", "DoFilter", __LINE__);
  correct(image.get(), filter);
  if (!writeImage(filter, image.get()))
    return;
  TRACE("%s (%d) - filtering done, release buffer\n", "DoFilter", __LINE__);
  image.reset();

  SetOutRect(filter.top, filter.left, filter.bottom, filter.right);
  *gResult = gFilterRecord->advanceState();
  if (*gResult != noErr)
    traceAdvanceError();
}
