// Counting of what a run takes from the host's buffer suite, and the two ways of taking it.
//
// memoryInUse and memoryPeak are only read for the trace; heap blocks never count. The counters
// wrap as 32-bit numbers.
#pragma once

#include <cstdint>

#include "frame/record/Globals.h"

// A locked block of the host's buffer suite. Owns nothing: which paths give a block back, and which
// leave it to the host, is decided where it is used.
struct HostBuffer {
  BufferID id = 0;
  void* data = nullptr; // null: the host had no memory
};

HostBuffer TakeHostBuffer(int32_t size); // bytes; not counted
void ReleaseHostBuffer(BufferID id);     // unlocks and frees; not counted

// The counters; each follows the block that it counts.
void CountTaken(int32_t size);
void CountReleased(int32_t size);

// "memory in use" line of the trace, with the caller's name and source line.
void TraceMemory(const char* function, int line);
