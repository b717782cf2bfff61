// Counts host memory in wrapping 32-bit arithmetic, and traces it.
#include "frame/record/Memory.h"

#include <algorithm>

#include "primitives/base/Conversions.h"

HostBuffer TakeHostBuffer(int32_t size) {
  const BufferProcs* procs = gFilterRecord->bufferProcs;
  HostBuffer buffer;
  // A failed request leaves the id at 0, for which the lock returns null.
  procs->allocateProc(size, &buffer.id);
  buffer.data = procs->lockProc(buffer.id, 1);
  return buffer;
}

void ReleaseHostBuffer(BufferID id) {
  const BufferProcs* procs = gFilterRecord->bufferProcs;
  procs->unlockProc(id);
  procs->freeProc(id);
}

void CountTaken(int32_t size) {
  gData->memoryInUse = wrappingAdd(gData->memoryInUse, size);
  gData->memoryPeak = std::max(gData->memoryPeak, gData->memoryInUse);
}

void CountReleased(int32_t size) {
  gData->memoryInUse = wrappingSubtract(gData->memoryInUse, size);
}

void TraceMemory(const char* function, int line) {
  TRACE("%s (%d) - memory in use %ld KBytes (peak: %ld KBytes)\n", function, line,
        long(gData->memoryInUse / 1024), long(gData->memoryPeak / 1024));
}
