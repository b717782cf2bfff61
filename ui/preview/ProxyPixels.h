// Conversions between the host's samples, the proxy's bytes and the float image.
#pragma once

#include <cstddef>
#include <cstdint>

// Samples of the host as bytes: 8 bits as they are; 16 bits (0 to 32768) in 256 levels, truncated;
// floats truncated after they have been clamped to 0..1, in place. Any other depth writes nothing.
void HostSamplesToBytes(void* samples, int32_t depth, size_t count, uint8_t* bytes);

// Each pixel of `planes` bytes as that many floats, 0 to 1, and an alpha of 1 behind them.
void BytesToFloatImage(const uint8_t* bytes, size_t pixels, int32_t planes, float* image);

// Back, rounded; the alpha is left out. Values beyond 0..1 are taken as 0 or 1.
void FloatImageToBytes(const float* image, size_t pixels, int32_t planes, uint8_t* bytes);
