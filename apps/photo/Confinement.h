// A process that gives away what decoding a file does not need: opening files, the network, other
// processes, more memory and more time than the file can ask for.
#pragma once

#include <cstdint>
#include <string>

namespace photo {

int64_t mappedBytes(); // address space that the process has taken; 0: unknown

// Bounds of the calling process from here on, never wider than those that it began with. Under the
// sanitizers, which reserve terabytes, the memory is not bounded.
void limitMemory(int64_t bytes);    // of address space
void limitSeconds(int64_t seconds); // of the processor, in all

// For the rest of the process's life; threads that it has already are held by the filter of system
// calls alone. It opens no file but this
// one and those in memory, writes none, reaches no network, starts no process and signals none.
// Gives what this kernel does not have of that, as a sentence; empty: nothing.
std::string confine(const std::string& readable);

} // namespace photo
