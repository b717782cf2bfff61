// Counts the memory that a run takes from the host's buffer suite; takes and releases such memory.
//
// Only the trace reads memoryInUse and memoryPeak. Heap blocks do not count. The counters wrap as
// 32-bit numbers.
#pragma once

#include <cstdint>

#include "frame/record/Globals.h"

// A locked block of the host's buffer suite. It owns nothing: its users decide which paths release
// a block and which leave it to the host.
struct HostBuffer {
  BufferID id = 0;
  void* data = nullptr; // null: the host had no memory
};

HostBuffer TakeHostBuffer(int32_t size); // bytes; not counted
void ReleaseHostBuffer(BufferID id);     // unlocks and frees; not counted

// The counters; the caller updates them together with the block.
void CountTaken(int32_t size);
void CountReleased(int32_t size);

// Prints the "memory in use" line of the trace, with the caller's name and source line.
void TraceMemory(const char* function, int line);
