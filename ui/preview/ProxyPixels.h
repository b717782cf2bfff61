// Converts the host's samples to the proxy's bytes.
#pragma once

#include <cstddef>
#include <cstdint>

// Host samples as bytes: 8 bits unchanged; 16 bits (0 to 32768) with 256 levels, truncated; floats
// are clamped to 0..1 in place, then truncated. Any other depth writes nothing.
void HostSamplesToBytes(void* samples, int32_t depth, size_t count, uint8_t* bytes);
