#include "ui/preview/ProxyPixels.h"

#include <cstring>

#include "frame/record/Bands.h"
#include "primitives/base/Conversions.h"

namespace {

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
      bytes[i] = uint8_t(levelOf16(static_cast<const uint16_t*>(samples)[i]));
    break;
  case 32:
    for (size_t i = 0; i < count; ++i)
      bytes[i] = byteOfFloat(static_cast<float*>(samples)[i]);
    break;
  default:
    break;
  }
}
