// Memory: how much a photograph needs, computed from its size, and how much there is.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "apps/photo/Formats.h"
#include "apps/photo/Picture.h"

namespace shared {

constexpr int64_t megabyte = 1000 * 1000;

// "not enough memory (812 MB were needed at 6000 x 4000 pixels)", or "... to read 600 MB)"
struct NotEnoughMemory : std::runtime_error {
  NotEnoughMemory(int64_t bytes, const photo::Claim& claim);
  NotEnoughMemory(int64_t bytes, int64_t fileSize);
};

// Whether a library's message says that memory has run out.
bool tellsOfMemory(const std::string& text);

// Maximum of bytes that a process needs for a photograph whose file has this many bytes.
int64_t memoryFor(const photo::Claim& claim, const photo::Format& result, int64_t fileSize);

// The same with the address space that it only reserves.
int64_t addressSpaceFor(const photo::Claim& claim, const photo::Format& result, int64_t fileSize);

// Minimum of bytes that a process needs for a photograph whose file has this many bytes, whatever
// its size in pixels. 0 for files that are so small that nobody has to be asked before.
int64_t memoryForFile(int64_t fileSize);

// Whether the encoder of this format may leave a broken file instead of an error when a limit of
// this process refuses memory.
bool leavesBrokenFile(const photo::Format& format);

// Bytes still available to all processes together: of the machine, or of their control group.
int64_t memoryOfMachine();

// Bytes still available to this process within its own limits.
int64_t memoryOfProcess();

} // namespace shared
