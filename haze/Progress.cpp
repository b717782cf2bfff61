// The total number of steps of a computation, and the single step.
//
// Several threads use the counters; relaxed loads and stores are defined behaviour and cost no more
// than plain ones.
#include "haze/Progress.h"

#include <atomic>

#include "frame/record/Globals.h"
#include "primitives/base/Conversions.h"

bool gFilterRunning = false;
int32_t gProgressStep = 0;
int32_t gProgressTotal = 0;

namespace {

constexpr int32_t darkChannelSteps = 4;

// Rows of all rounds of the upsampling except the last.
int32_t intermediateRows(int32_t lowWidth, int32_t lowHeight, int32_t width) {
  int32_t rows = 0, factor = 2;
  for (float ratio = float(width / lowWidth); ratio > 2.0f; ratio *= 0.5f) {
    rows = wrappingAdd(rows, wrappingMultiply(factor, lowHeight));
    factor = wrappingMultiply(factor, 2);
  }
  return rows;
}

} // namespace

void resetProgressProc(int32_t lowWidth, int32_t lowHeight, int32_t width, int32_t height) {
  const int32_t mattingSteps = wrappingAdd(wrappingMultiply(3, lowHeight), 1);
  TRACE("%s (%d) - estimateDarkChannel : %d progress steps\n", "resetProgressProc", __LINE__,
        darkChannelSteps);
  TRACE("%s (%d) - computteMatting : %d progress steps\n", "resetProgressProc", __LINE__,
        mattingSteps);
  TRACE("%s (%d) - hazeCorrection : %d progress steps\n", "resetProgressProc", __LINE__, height);
  int32_t total = wrappingAdd(darkChannelSteps, mattingSteps);
  total = wrappingAdd(total, height);                                       // correction
  total = wrappingAdd(total, intermediateRows(lowWidth, lowHeight, width)); // upsampling
  total = wrappingAdd(total, height);                                       // its last round
  TRACE("%s (%d) - total progress steps: %d\n", "resetProgressProc", __LINE__, total);
  gProgressTotal = total;
  gProgressStep = 0;
}

bool stepProgress() {
  if (!gFilterRunning)
    return true;
  if (gFilterRecord->abortProc()) {
    std::atomic_ref<int16_t>(*gResult).store(userCanceledErr, std::memory_order_relaxed);
    return false;
  }
  std::atomic_ref<int32_t> step(gProgressStep);
  const int32_t done = step.load(std::memory_order_relaxed);
  if (done <= gProgressTotal) {
    gFilterRecord->progressProc(done, gProgressTotal);
    step.store(done + 1, std::memory_order_relaxed);
  }
  return true;
}
