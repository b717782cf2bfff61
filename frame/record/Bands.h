// Conversion of bands of samples to the float image and back.
//
// Samples are interleaved RGB, rows packed; the float image has four floats a pixel, the fourth
// always 1. depth: 8 (0 to 255), 16 (0 to 32768) or 32 (float, as it stands); at any other depth
// the float image becomes zero and no sample is written.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr int32_t rgbPlanes = 3;
constexpr int32_t floatsPerPixel = 4;

void ReadBand(const void* samples, int32_t depth, size_t pixels, float* image);
void WriteBand(const float* image, int32_t depth, size_t pixels, void* samples);
