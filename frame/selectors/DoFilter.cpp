// A whole filtering run: the filter rectangle is read in bands into one float image, corrected by
// the haze core, and written back in bands.
#include <algorithm>
#include <limits>

#include "frame/record/Bands.h"
#include "frame/record/Globals.h"
#include "frame/record/Rects.h"
#include "frame/selectors/Selectors.h"
#include "haze/Haze.h"
#include "primitives/base/Conversions.h"
#include "primitives/base/HeapBlock.h"

namespace {

constexpr int32_t bandRows = 10; // rows that the host has to prepare at a time
constexpr Fixed fullRate = 0x10000;

struct Extent {
  int32_t width, height; // pixels of the filter rectangle
};

void traceRect(const char* name, const VRect& r) {
  TRACE("Rect '%s': [%d %d %d %d]\n", name, r.left, r.right, r.top, r.bottom);
}

// False: the host could not, and its code stands in *gResult.
bool advance() {
  *gResult = gFilterRecord->advanceState();
  if (*gResult == noErr)
    return true;
  TRACE("%s :: Error with advanceState (%d)\n", "DoFilter", *gResult);
  return false;
}

// Full resolution, colour planes only; the selection is left to the host's own masking.
void askForColourPlanes(const VRect& kept, const VRect& filter, int32_t planes) {
  gFilterRecord->maskRate = fullRate;
  gFilterRecord->inputRate = fullRate;
  SetInRect(kept.top, filter.left, kept.bottom, filter.right);
  if (gFilterRecord->haveMask)
    SetMaskRect(kept.top, filter.left, kept.bottom, filter.right);
  gFilterRecord->inLoPlane = gFilterRecord->outLoPlane = 0;
  gFilterRecord->inHiPlane = gFilterRecord->outHiPlane = int16_t(planes - 1);
}

// The byte count is a 32-bit number; what does not fit is asked for as more than any heap has, and
// so throws std::bad_alloc.
HeapArray<float> allocateFloatImage(const Extent& size) {
  const uint64_t floats = uint64_t(size.width) * uint64_t(size.height) * floatsPerPixel;
  TRACE("%s (%d) - try to allocate main haze buffer (%ld pixels)\n", "DoFilter", __LINE__,
        long(floats >> 10));
  const bool fits = floats * sizeof(float) <= std::numeric_limits<uint32_t>::max();
  HeapArray<float> image =
      allocateArray<float>(fits ? size_t(floats) : std::numeric_limits<size_t>::max());
  TRACE("%s (%d) - allocation out of PS: %ld KBytes\n", "DoFilter", __LINE__,
        long(floats * sizeof(float) >> 10));
  return image;
}

// Calls `transfer` with the host's samples and the matching part of the image, band by band.
// `setRect` tells the host the band. False: the host failed.
template <class SetRect, class Transfer>
bool forEachBand(const VRect& filter, const Extent& size, float* image, SetRect setRect,
                 Transfer transfer) {
  for (int32_t done = 0, rows; done < size.height; done += rows) {
    rows = std::min(size.height - done, bandRows);
    const int32_t top = wrappingAdd(filter.top, done);
    setRect(top, filter.left, wrappingAdd(top, rows), filter.right);
    if (!advance())
      return false;
    const size_t rowPixels = size_t(size.width);
    transfer(image + size_t(done) * rowPixels * floatsPerPixel, rowPixels * size_t(rows));
  }
  return true;
}

bool readImage(const VRect& filter, const Extent& size, float* image) {
  return forEachBand(filter, size, image, SetInRect, [](float* band, size_t pixels) {
    ReadBand(gFilterRecord->inData, gFilterRecord->depth, pixels, band);
  });
}

bool writeImage(const VRect& filter, const Extent& size, float* image) {
  return forEachBand(filter, size, image, SetOutRect, [](const float* band, size_t pixels) {
    WriteBand(band, gFilterRecord->depth, pixels, gFilterRecord->outData);
  });
}

// A failure or a cancel does not stop the run: the image holds what the core left in it.
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
  traceRect("DO FILTER filter rect", filter);
  const Extent size = {wrappingSubtract(filter.right, filter.left),
                       wrappingSubtract(filter.bottom, filter.top)};
  TRACE("%s (%d) filterRect %ldx%ld\n", "DoFilter", __LINE__, long(size.width), long(size.height));

  const int32_t planes = CSPlanesFromMode(gFilterRecord->imageMode, 0);
  if (planes != rgbPlanes || size.width < 0 || size.height < 0) {
    *gResult = filterBadParameters; // the property list keeps such images from arriving
    return;
  }
  askForColourPlanes(kept, filter, planes);

  HeapArray<float> image = allocateFloatImage(size);
  if (!readImage(filter, size, image.get()))
    return;
  TRACE("%s (%d) - float buffer ready\n", "DoFilter", __LINE__);
  correct(image.get(), filter);
  if (!writeImage(filter, size, image.get()))
    return;
  TRACE("%s (%d) - filtering done, release buffer\n", "DoFilter", __LINE__);
  image.reset();

  SetOutRect(filter.top, filter.left, filter.bottom, filter.right);
  advance();
}
