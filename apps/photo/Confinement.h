// Removes a process's rights that decoding a file does not need: opening files, network, other
// processes, and more memory and time than the file can need.
#pragma once

#include <cstdint>
#include <string>

namespace photo {

int64_t mappedBytes(); // address space in use; 0: unknown

// Limits of the calling process from now on, never above the limits with which it started. Under
// the sanitizers, which reserve terabytes, memory is not limited.
void limitMemory(int64_t bytes);    // of address space
void limitSeconds(int64_t seconds); // total processor time

// For the rest of the process's life; threads that exist already are bound only by the system call
// filter. The process can open only this file and files in memory, cannot write files, use the
// network, start processes or signal them. Returns a sentence about what this kernel does not
// support; empty: nothing is missing.
std::string confine(const std::string& readable);

} // namespace photo
