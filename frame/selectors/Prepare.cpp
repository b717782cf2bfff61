// The parameters and prepare selectors: handles, and the memory budget of the run.
#include "frame/record/Globals.h"
#include "frame/record/Handles.h"
#include "frame/record/Rects.h"
#include "frame/selectors/Selectors.h"
#include "primitives/base/Conversions.h"

namespace {

// Memory that the plug-in asks the host to keep free: six bytes per pixel over an area of 172800
// pixels, scaled by the shape of the filter rectangle. This is a small minimum: the run needs far
// more, and takes it from the heap. Wraps as a 32-bit number.
constexpr int32_t budgetArea = 172800;
constexpr int32_t budgetBytesPerPixel = 6;

int32_t spaceToAskFor(const VRect& rect) {
  const int32_t height = RectHeight(rect), width = RectWidth(rect);
  if (width == 0)
    return 0;
  // Divides in 64 bits: the lowest product divided by -1 has no 32-bit quotient.
  const int64_t area = int64_t(wrappingMultiply(height, budgetArea)) / width;
  return wrappingMultiply(budgetBytesPerPixel, int32_t(uint32_t(area)));
}

} // namespace

void DoPrepare() {
  const int32_t csPlanes = CSPlanesFromMode(gFilterRecord->imageMode, 0);
  // Inside the trace, because only the trace needs the host's answer.
  TRACE("%s :: %d planes, %d cs planes, free space: %ld MBytes (sizeof(int32): %d)\n", "DoPrepare",
        gFilterRecord->planes, csPlanes, long(gFilterRecord->bufferProcs->spaceProc() / 1048576),
        int(sizeof(int32_t)));

  if (gFilterRecord->parameters && *gDataSlot != 0)
    LockHandles(); // a repeat keeps all settings
  else
    DoParameters();

  const int32_t ask = spaceToAskFor(GetFilterRect());
  if (ask > gFilterRecord->bufferProcs->spaceProc()) {
    TRACE("%s :: haze memory %ld KBytes > available %ld KBytes\n", "DoPrepare", long(ask / 1024),
          long(gFilterRecord->maxSpace / 1024));
    *gResult = memFullErr;
    return;
  }
  TRACE("%s :: maxspace %d bytes, ask for %d bytes\n", "DoPrepare", gFilterRecord->maxSpace, ask);
  gFilterRecord->bufferSpace = ask;
}

void DoParameters() {
  CreateMissingHandles();
  if (*gResult == noErr && LockHandles()) {
    InitParameters();
    InitData();
  }
}
