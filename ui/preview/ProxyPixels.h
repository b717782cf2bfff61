// Conversion of the host's samples to the proxy's bytes.
#pragma once

#include <cstddef>
#include <cstdint>

// Samples of the host as bytes: 8 bits as they are; 16 bits (0 to 32768) in 256 levels, truncated;
// floats truncated after they have been clamped to 0..1, in place. Any other depth writes nothing.
void HostSamplesToBytes(void* samples, int32_t depth, size_t count, uint8_t* bytes);
