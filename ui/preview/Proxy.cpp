#include "ui/preview/Proxy.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>

#include "frame/record/Bands.h"
#include "frame/record/Globals.h"
#include "frame/record/Memory.h"
#include "frame/record/Rects.h"
#include "haze/Haze.h"
#include "primitives/base/Conversions.h"
#include "ui/preview/ProxyPixels.h"

DeviceContext* offscreenContext = nullptr;

namespace {

constexpr int32_t floatPixelBytes = 16;
constexpr int16_t noPaddingWanted = -2; // a code of the host
constexpr Fixed fixedOne = 0x10000;

int32_t proxyPlanes() { return CSPlanesFromMode(gFilterRecord->imageMode, 0); }

int32_t proxyBytes() {
  return wrappingMultiply(wrappingMultiply(gData->proxyWidth, gData->proxyHeight), proxyPlanes());
}

size_t proxyPixels() {
  return size_t(std::max(gData->proxyWidth, 0)) * size_t(std::max(gData->proxyHeight, 0));
}

WindowRect frameInClient(Window dialog) {
  const WindowRect screen = GetWindowRect(GetDlgItem(dialog, idFrame));
  const WindowPoint from = ScreenToClient(dialog, {screen.left, screen.top});
  const WindowPoint to = ScreenToClient(dialog, {screen.right, screen.bottom});
  return {from.x, from.y, to.x, to.y};
}

int32_t scaledSide(int32_t side) { return truncateToInt32(double(side) / gData->scaleFactor); }

} // namespace

int32_t MapDisplayMode(int32_t imageMode) {
  switch (imageMode) {
  case plugInModeGray16:
  case plugInModeGray32:
    return plugInModeGrayScale;
  case plugInModeRGB48:
  case plugInModeRGB96:
    return plugInModeRGBColor;
  case plugInModeLab48:
    return plugInModeLabColor;
  case plugInModeCMYK64:
    return plugInModeCMYKColor;
  case plugInModeDeepMultichannel:
    return plugInModeMultichannel;
  case plugInModeDuotone16:
    return plugInModeDuotone;
  default:
    return imageMode;
  }
}

void GetProxyItemRect(Window dialog) {
  const WindowRect frame = frameInClient(dialog);
  VRect& r = gData->proxyRect;
  r = {int16_t(frame.top), int16_t(frame.left), int16_t(frame.bottom), int16_t(frame.right)};
  TRACE("%s :: PROXY rect (client space) [%d %d %d %d]\n", "GetProxyItemRect", r.left, r.right,
        r.top, r.bottom);
}

// The factor is a whole number, so a picture slightly larger than the frame shrinks to half and
// leaves a wide margin.
void CalcProxyScaleFactor() {
  const VRect filter = GetFilterRect();
  VRect& proxy = gData->proxyRect;
  const int32_t filterWidth = RectWidth(filter), filterHeight = RectHeight(filter);
  int32_t frameWidth = RectWidth(proxy), frameHeight = RectHeight(proxy);
  TraceRect("Proxy Rect", proxy);
  TRACE("%s (%d) filter %ldx%ld - proxy frame %dx%d\n", "CalcProxyScaleFactor", __LINE__,
        long(filterWidth), long(filterHeight), frameWidth, frameHeight);

  frameHeight = std::min(frameHeight, filterHeight); // never enlarged
  frameWidth = std::min(frameWidth, filterWidth);
  const float ratioX = float(double(filterWidth) / frameWidth);
  const float ratioY = float(double(filterHeight) / frameHeight);
  gData->scaleFactor = std::ceil(std::max(ratioX, ratioY));
  TRACE("%s (%d) scale factor %f\n", "CalcProxyScaleFactor", __LINE__, double(gData->scaleFactor));

  proxy = filter;
  TraceRect("proxy rect copied from filter", proxy);
  // Each side is scaled separately: at an odd origin the proxy can be a pixel wider or narrower
  // than its width says.
  proxy = {scaledSide(proxy.top), scaledSide(proxy.left), scaledSide(proxy.bottom),
           scaledSide(proxy.right)};
  TraceRect("proxy rect after resize", proxy);
}

void SetupFilterRecordForProxy() {
  CalcProxyScaleFactor();
  const VRect& proxy = gData->proxyRect;
  gData->proxyWidth = RectWidth(proxy);
  gData->proxyHeight = RectHeight(proxy);
  gData->proxyPlaneSize = wrappingMultiply(gData->proxyWidth, gData->proxyHeight);

  gFilterRecord->maskRate = truncateToInt32(double(gData->scaleFactor) * fixedOne + 0.5);
  gFilterRecord->inputRate = gFilterRecord->maskRate;
  TRACE("%s (%d) - rate: 0x%x\n", "SetupFilterRecordForProxy", __LINE__,
        unsigned(gFilterRecord->inputRate));
  gFilterRecord->maskPadding = noPaddingWanted;
  gFilterRecord->inputPadding = noPaddingWanted;
  SetInRect(proxy.top, proxy.left, proxy.bottom, proxy.right);
  SetMaskRect(proxy.top, proxy.left, proxy.bottom, proxy.right);
  TRACE("%s :: Proxy %ldx%ld, plane size: %ld\n", "SetupFilterRecordForProxy",
        long(gData->proxyWidth), long(gData->proxyHeight), long(gData->proxyPlaneSize));
}

// Also counts a refused block. ResetProxyBuffer reports it.
void CreateProxyBuffer() {
  if (gData->proxyBuffer)
    return;
  const int32_t size = proxyBytes();
  const HostBuffer shown = TakeHostBuffer(size);
  gData->proxyBufferID = shown.id;
  gData->proxyBuffer = static_cast<uint8_t*>(shown.data);
  CountTaken(size);
  const HostBuffer source = TakeHostBuffer(size);
  gData->proxySourceBufferID = source.id;
  gData->proxySourceBuffer = static_cast<uint8_t*>(source.data);
  CountTaken(size);
  TRACE("%s :: Proxy in buffer %p (%dx%d) - memory in use %d MBytes\n", "CreateProxyBuffer",
        static_cast<void*>(gData->proxyBuffer), gData->proxyWidth, gData->proxyHeight,
        gData->memoryInUse / 1024);
}

void DeleteProxyBuffer() {
  TRACE("%s :: enter\n", "DeleteProxyBuffer");
  const int32_t size = proxyBytes();
  if (gData->proxyBufferID) {
    ReleaseHostBuffer(gData->proxyBufferID);
    gData->proxyBufferID = 0;
    gData->proxyBuffer = nullptr;
    CountReleased(size);
    TraceMemory("DeleteProxyBuffer", __LINE__);
  }
  if (gData->proxySourceBufferID) {
    ReleaseHostBuffer(gData->proxySourceBufferID);
    gData->proxySourceBufferID = 0;
    gData->proxySourceBuffer = nullptr;
    gData->proxySourceValid = 0;
    CountReleased(size);
    TraceMemory("DeleteProxyBuffer", __LINE__);
  }
}

namespace {

// Reads the source from the host, band by band. On failure returns false, with the host's code in
// *gResult; the input rectangle then stays at the band.
bool readSource() {
  FilterRecord& record = *gFilterRecord;
  const int32_t planes = proxyPlanes();
  record.inLoPlane = record.outLoPlane = 0;
  record.inHiPlane = record.outHiPlane = int16_t(planes - 1);
  const VRect saved = GetInRect();
  const VRect filter = GetFilterRect();
  const int32_t top = scaledSide(filter.top);
  const VRect source = {top, scaledSide(filter.left), wrappingAdd(top, gData->proxyHeight),
                        scaledSide(filter.right)};
  const size_t rowSamples = size_t(std::max(gData->proxyWidth, 0)) * size_t(planes);
  const auto keep = [&](int32_t first, int32_t rows) {
    HostSamplesToBytes(record.inData, record.depth, size_t(rows) * rowSamples,
                       gData->proxySourceBuffer + size_t(first) * rowSamples);
  };
  if (!forEachBand(source, SetInRect, keep))
    return false;
  SetInRect(saved.top, saved.left, saved.bottom, saved.right);
  gData->proxySourceValid = 1;
  return true;
}

} // namespace

bool ResetProxyBuffer() {
  if (!gData->proxyBuffer || !gData->proxySourceBuffer) {
    *gResult = memFullErr;
    return false;
  }
  if (!gData->proxySourceValid && !readSource())
    return false;
  const int32_t size = proxyBytes();
  TRACE("%s (%d) - copy from backup (%d bytes)\n", "ResetProxyBuffer", __LINE__, size);
  std::memcpy(gData->proxyBuffer, gData->proxySourceBuffer, size_t(std::max(size, 0)));
  return true;
}

void UpdateProxyBuffer() {
  // A very flat picture shrinks to zero rows, so there is nothing to estimate from.
  if (gParams->preview == 0 || !gData->proxyBuffer || proxyPixels() == 0)
    return;
  const int32_t planes = proxyPlanes();
  if (planes != rgbPlanes) {
    *gResult = filterBadParameters; // the property list prevents such images
    return;
  }
  const int32_t size =
      wrappingMultiply(wrappingMultiply(gData->proxyWidth, gData->proxyHeight), floatPixelBytes);
  TRACE("%s (%d) - try to allocate proxy haze buffer (%d KBytes)\n", "UpdateProxyBuffer", __LINE__,
        size / 1024);
  const HostBuffer buffer = TakeHostBuffer(size);
  float* const image = static_cast<float*>(buffer.data);
  if (!image) {
    TRACE("%s (%d) - out of memory\n", "UpdateProxyBuffer", __LINE__);
    *gResult = memFullErr;
    return;
  }
  CountTaken(size);
  TraceMemory("UpdateProxyBuffer", __LINE__);

  ReadBand(gData->proxyBuffer, 8, proxyPixels(), image);
  int32_t error = hazeNoError;
  {
    std::optional<BusyCursor> busy; // the first computation of the haze map takes a while
    if (!gData->proxyHazeMap)
      busy.emplace();
    DoFogdissolve(image, gFilterRecord->maskData, gData->proxyRect, 8, false,
                  wrappingMultiply(gData->proxyWidth, planes), gParams->displayMap, &error);
  }
  if (error != hazeNoError) {
    // This path does not release the buffer: the host frees it when the plug-in ends.
    if (*gResult == 0)
      *gResult = memFullErr;
    return;
  }
  WriteBand(image, 8, proxyPixels(), gData->proxyBuffer);
  ReleaseHostBuffer(buffer.id);
  CountReleased(size);
  TraceMemory("UpdateProxyBuffer", __LINE__);
}

void RefreshProxy(Window dialog) {
  if (*gResult != 0)
    return;
  ResetProxyBuffer();
  UpdateProxyBuffer();
  InvalidateRect(dialog, frameInClient(dialog));
}

void PaintProxy(Window dialog) {
  if (!offscreenContext || !gData->proxyBuffer)
    return;
  DeviceContext* paint = BeginPaint(dialog);
  const WindowRect frame = GetWindowRect(GetDlgItem(dialog, idFrame));
  const WindowPoint origin = ClientToScreen(dialog, {0, 0});
  const int32_t frameLeft = frame.left - origin.x, frameTop = frame.top - origin.y;
  FillBitmap(offscreenContext, DKGRAY_BRUSH);

  const VRect r = GetInRect();
  const int32_t offsetX = wrappingSubtract(frame.width(), RectWidth(r)) / 2;
  const int32_t offsetY = wrappingSubtract(frame.height(), RectHeight(r)) / 2;
  const int32_t planes = proxyPlanes();
  PSPixelMap map = {};
  map.version = 1;
  map.bounds = r;
  map.imageMode = MapDisplayMode(gFilterRecord->imageMode);
  map.rowBytes = wrappingMultiply(gData->proxyWidth, planes);
  map.colBytes = planes;
  map.planeBytes = 1;
  map.baseAddr = gData->proxyBuffer;
  gFilterRecord->displayPixels(&map, &map.bounds, offsetY, offsetX, &offscreenContext->surface);

  BitBlt(paint, frameLeft, frameTop, offscreenContext);
  EndPaint(dialog, paint);
}
