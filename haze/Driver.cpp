// The driver of the haze core: chooses the map and the reduced size, and runs the stages in order.
//
// A haze map depends on the image alone, and the run record keeps one for the proxy and one for the
// filter. Only the correction uses the user's values; a second call with the same map runs nothing
// else.
#include <algorithm>

#include "frame/contract/Limits.h"
#include "frame/record/Globals.h"
#include "frame/record/Memory.h"
#include "frame/record/Rects.h"
#include "haze/Progress.h"
#include "haze/Stages.h"
#include "primitives/base/Conversions.h"
#include "primitives/base/HeapBlock.h"
#include "primitives/image/ImagePrimitives.h"

namespace {

constexpr int32_t pixelBytes = 4 * sizeof(float);
constexpr int32_t mapPixelBytes = sizeof(float);

// Steps of the dark channel stage; a run with a kept map skips them.
constexpr int32_t skippedSteps = 4;

// Above this number of pixels, the map and the guides take more memory than the matting did. The
// driver then first returns the heap memory of the matting's many small blocks to the system.
constexpr size_t pixelsToTrimFor = size_t(10) << 20;

// Host memory of one call; id and size are 0 if not taken.
struct ReducedBuffers {
  HostBuffer image; // the reduced image, if it is not the proxy itself
  HostBuffer map;   // the reduced map
  int32_t mapSize = 0;
};

SHaze viewOf(float* data, int32_t width, int32_t height) {
  return {data, width, height, wrappingMultiply(width, pixelBytes), pixelBytes};
}

bool proxyExists() { return gData->proxyBuffer != nullptr; }

// Exactly the proxy's size if there is a proxy.
EstimateSize reducedSize(int32_t width, int32_t height) {
  if (proxyExists())
    return {gData->proxyWidth, gData->proxyHeight};
  return estimateSize(width, height);
}

// A host buffer for whole pixels, or none for an invalid size.
HostBuffer takePixels(const EstimateSize& size, int32_t bytesPerPixel, int32_t* bytes) {
  const int64_t wanted = int64_t(size.width) * size.height * bytesPerPixel;
  if (size.width < 1 || size.height < 1 || wanted > INT32_MAX)
    return {};
  *bytes = int32_t(wanted);
  return TakeHostBuffer(*bytes);
}

// Resamples the image into the reduced one; the work buffer stays with the host. False: no memory
// for it.
bool reduceImage(const SHaze& image, const SHaze& low) {
  const PrimitiveRect from = {0, 0, image.width, image.height};
  const PrimitiveRect to = {0, 0, low.width, low.height};
  const double xFactor = double(low.width) / image.width;
  const double yFactor = double(low.height) / image.height;
  const int32_t mode = xFactor > 1.0 || yFactor > 1.0 ? resizeLinear : resizeSuperSampling;
  int32_t workBytes = 0;
  ResizeGetBufSize(from, to, 4, mode, &workBytes);
  const HostBuffer work = TakeHostBuffer(workBytes);
  if (!work.data)
    return false;
  setPrimitiveThreads(gThreadCount);
  ippiResizeSqrPixel_32f_C4R(image.data, {image.width, image.height}, image.rowBytes, from,
                             low.data, low.rowBytes, to, xFactor, yFactor, 0.0, 0.0, mode,
                             static_cast<uint8_t*>(work.data));
  TRACE("%s :: ippiResizeSqrPixel_32f_C4R %dx%d (%d bytes/line) -> %dx%d (%d bytes/line), ipp "
        "buffer: %p (%d bytes)\n",
        "DoFogdissolve", image.width, image.height, image.rowBytes, low.width, low.height,
        low.rowBytes, work.data, workBytes);
  return true;
}

// The reduced image: the proxy itself if the call corrects the proxy, otherwise a resampled copy.
// False: out of memory; the host keeps a copy that was already made.
bool makeReducedImage(const SHaze& image, const EstimateSize& size, bool isFilter,
                      ReducedBuffers& buffers, SHaze& low) {
  float* data = image.data;
  const bool ownImage = isFilter || !proxyExists();
  if (ownImage) {
    int32_t bytes = 0;
    buffers.image = takePixels(size, pixelBytes, &bytes);
    if (!buffers.image.data)
      return false;
    data = static_cast<float*>(buffers.image.data);
    CountTaken(bytes);
    TraceMemory("DoFogdissolve", __LINE__);
  }
  low = viewOf(data, size.width, size.height);
  if (ownImage && !reduceImage(image, low))
    return false;
  TRACE("%s :: compute haze dark map and light (low buffer %dx%d)\n", "DoFogdissolve", low.width,
        low.height);
  TRACE("%s (%d) hazeLowInput buffer %p (%dx%d)\n", "DoFogdissolve", __LINE__,
        static_cast<void*>(low.data), low.width, low.height);
  return true;
}

void releaseReducedImage(const ReducedBuffers& buffers) {
  if (!buffers.image.data)
    return;
  ReleaseHostBuffer(buffers.image.id); // its size stays counted
  TraceMemory("DoFogdissolve", __LINE__);
}

// The common exit for every failure. After a finished map it releases the reduced map a second
// time, and the host refuses that.
void releaseAfterFailure(const ReducedBuffers& buffers) {
  ReleaseHostBuffer(buffers.map.id);
  CountReleased(buffers.mapSize);
  TraceMemory("DoFogdissolve", __LINE__);
  releaseReducedImage(buffers);
}

// Replaces both intensities by the estimates if the user has not set them; only the foreground's
// value is checked.
void takeEstimates(float fmin, float bmax) {
  if (gParams->foregroundIntensity != intensityUnset)
    return;
  gParams->foregroundIntensity = std::clamp(fmin, 0.0f, 1.0f);
  gParams->backgroundIntensity = std::clamp(bmax, 0.0f, 1.0f);
  TRACE("%s (%d) - fmin: %d - bmax: %d\n", "DoFogdissolve", __LINE__, truncateToInt32(fmin),
        truncateToInt32(bmax));
}

void keepMap(HeapArray<float> map, size_t pixels, bool isFilter) {
  float*& kept = isFilter ? gData->filterHazeMap : gData->proxyHazeMap;
  int32_t& size = isFilter ? gData->filterHazeMapSize : gData->proxyHazeMapSize;
  kept = map.release();
  size = int32_t(uint32_t(pixels * mapPixelBytes));
}

enum class Outcome { mapReady, failed, failedLeavingBuffers };

// Estimates, refines and upsamples the haze map of the image, and keeps it in the run record.
Outcome computeMap(const SHaze& image, bool isFilter, ReducedBuffers& buffers, int32_t* error) {
  const EstimateSize size = reducedSize(image.width, image.height);
  if (isFilter && size.width > 0)
    resetProgressProc(size.width, size.height, image.width, image.height);
  gFilterRunning = isFilter;

  SHaze low;
  if (!makeReducedImage(image, size, isFilter, buffers, low)) {
    *error = hazeOutOfMemory;
    return Outcome::failedLeavingBuffers;
  }
  buffers.map = takePixels(size, mapPixelBytes, &buffers.mapSize);
  if (!buffers.map.data) {
    releaseReducedImage(buffers);
    *error = hazeOutOfMemory;
    return Outcome::failedLeavingBuffers;
  }
  CountTaken(buffers.mapSize);
  TraceMemory("DoFogdissolve", __LINE__);

  float* dark = static_cast<float*>(buffers.map.data);
  // A stopped stage may leave the map unwritten, and the next stage may not stop.
  std::fill_n(dark, size_t(low.width) * size_t(low.height), 0.0f);
  estimateDarkChannel(gData->light, &low, dark, error);
  if (*error)
    return Outcome::failed;
  float fmin = gParams->foregroundIntensity, bmax = gParams->backgroundIntensity;
  computeMatting(dark, &low, &fmin, &bmax, error);
  if (*error)
    return Outcome::failed;
  takeEstimates(fmin, bmax);

  const size_t pixels = size_t(image.width) * size_t(image.height);
  if (pixels > pixelsToTrimFor)
    trimHeap();
  HeapArray<float> map = tryAllocateArray<float>(pixels);
  if (!map) {
    *error = hazeOutOfMemory;
    return Outcome::failedLeavingBuffers;
  }
  TRACE("%s (%d) - allocation out of PS: %ld KBytes\n", "DoFogdissolve", __LINE__,
        long(pixels * mapPixelBytes >> 10));
  upsampleSolutionBySteps(dark, &low, &image, map.get(), error);
  if (*error)
    return Outcome::failed;
  keepMap(std::move(map), pixels, isFilter);

  ReleaseHostBuffer(buffers.map.id);
  // Counts the proxy's size, even if the reduced map had another one.
  CountReleased(
      wrappingMultiply(wrappingMultiply(gData->proxyWidth, gData->proxyHeight), mapPixelBytes));
  TraceMemory("DoFogdissolve", __LINE__);
  return Outcome::mapReady;
}

// True if the user wants to stop a filter run; sets the global result to -128.
bool aborted(bool isFilter) {
  if (!isFilter || !gFilterRecord->abortProc())
    return false;
  *gResult = userCanceledErr;
  return true;
}

// False: the stage failed, or the user wants to stop before or after it.
bool correct(const float* map, const SHaze& image, bool isFilter, int32_t showMap, int32_t* error) {
  if (aborted(isFilter))
    return false;
  TRACE("%s :: hazeCorrection (dark: %p, light=[%f %f %f], data %p) fore:%f back:%f, power:%f\n",
        "DoFogdissolve", static_cast<const void*>(map), gData->light[0], gData->light[1],
        gData->light[2], static_cast<void*>(image.data), gParams->foregroundIntensity,
        gParams->backgroundIntensity, gParams->power);
  hazeCorrection(map, gData->light, &image, gParams->foregroundPosition,
                 gParams->backgroundPosition, gParams->foregroundIntensity,
                 gParams->backgroundIntensity, gParams->power, showMap != 0, error);
  return *error == hazeNoError && !aborted(isFilter);
}

} // namespace

void DoFogdissolve(float* data, const void*, VRect rect, int32_t, bool isFilter, int32_t,
                   int32_t showMap, int32_t* error) {
  const SHaze image = viewOf(data, RectWidth(rect), RectHeight(rect));
  TRACE("%s :: enter [%s] %dx%d\n", "DoFogdissolve", isFilter ? "FILTER" : "PROXY", image.width,
        image.height);

  ReducedBuffers buffers;
  float* const& map = isFilter ? gData->filterHazeMap : gData->proxyHazeMap;
  if (map) {
    gProgressStep = wrappingAdd(gProgressStep, skippedSteps);
  } else {
    const Outcome outcome = computeMap(image, isFilter, buffers, error);
    if (outcome == Outcome::failed)
      releaseAfterFailure(buffers);
    if (outcome != Outcome::mapReady)
      return;
  }
  if (correct(map, image, isFilter, showMap, error))
    releaseReducedImage(buffers);
  else
    releaseAfterFailure(buffers);
}
