// Memory: what a photograph takes, which its size tells, and what there is.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "apps/photo/Formats.h"
#include "apps/photo/Picture.h"

namespace shared {

constexpr int64_t megabyte = 1000 * 1000;

// "not enough memory (812 MB were needed at 6000 x 4000 pixels)"
struct NotEnoughMemory : std::runtime_error {
  NotEnoughMemory(int64_t bytes, const photo::Claim& claim);
};

// Whether a library's words say that memory has run out.
bool tellsOfMemory(const std::string& text);

// Bytes that a process takes at most for a photograph of so many bytes in its file.
int64_t memoryFor(const photo::Claim& claim, const photo::Format& result, int64_t fileSize);

// Bytes that processes can still have together: of the machine, or of the control group that they
// run in.
int64_t memoryOfMachine();

// Bytes that this process can still have within its own limits.
int64_t memoryOfProcess();

} // namespace shared
