#include "ui/preview/ProxyPixels.h"

#include <array>
#include <cstring>

#include "primitives/base/Conversions.h"

namespace {

constexpr std::array<float, 256> levels = [] {
  std::array<float, 256> table = {};
  for (int level = 0; level < 256; ++level)
    table[size_t(level)] = float(level / 255.0);
  return table;
}();

uint8_t roundedByte(float value) {
  const double scaled = value * 255.0 + 0.5;
  return uint8_t(int32_t(scaled > 0.0 ? (scaled < 255.5 ? scaled : 255.5) : 0.0));
}

// The pixel loops with the number of planes known to the compiler.
template <int planes> void toFloat(const uint8_t* bytes, size_t pixels, float* image) {
  for (size_t i = 0; i < pixels; ++i) {
    for (int c = 0; c < planes; ++c)
      image[c] = levels[bytes[c]];
    image[planes] = 1.0f;
    bytes += planes;
    image += planes + 1;
  }
}

template <int planes> void toBytes(const float* image, size_t pixels, uint8_t* bytes) {
  for (size_t i = 0; i < pixels; ++i) {
    for (int c = 0; c < planes; ++c)
      bytes[c] = roundedByte(image[c]);
    bytes += planes;
    image += planes + 1;
  }
}

uint8_t byteOfFloat(float& sample) {
  if (sample > 1.0f)
    sample = 1.0f;
  if (sample < 0.0f)
    sample = 0.0f;
  return uint8_t(truncateToInt32(sample * 255.0));
}

} // namespace

void HostSamplesToBytes(void* samples, int32_t depth, size_t count, uint8_t* bytes) {
  if (count == 0)
    return;
  switch (depth) {
  case 8:
    std::memcpy(bytes, samples, count);
    break;
  case 16:
    for (size_t i = 0; i < count; ++i)
      bytes[i] = uint8_t(static_cast<const uint16_t*>(samples)[i] * 10 / 1285);
    break;
  case 32:
    for (size_t i = 0; i < count; ++i)
      bytes[i] = byteOfFloat(static_cast<float*>(samples)[i]);
    break;
  default:
    break;
  }
}

void BytesToFloatImage(const uint8_t* bytes, size_t pixels, int32_t planes, float* image) {
  switch (planes) {
  case 1:
    return toFloat<1>(bytes, pixels, image);
  case 3:
    return toFloat<3>(bytes, pixels, image);
  default:
    break;
  }
}

void FloatImageToBytes(const float* image, size_t pixels, int32_t planes, uint8_t* bytes) {
  switch (planes) {
  case 1:
    return toBytes<1>(image, pixels, bytes);
  case 3:
    return toBytes<3>(image, pixels, bytes);
  default:
    break;
  }
}
