// Conversion of samples to floats with a full scale of 1.0, and of floats to samples.
//
// 8- and 16-bit samples are read to 256 levels, to which 16-bit samples are deliberately reduced:
// 8-bit samples by an exact formula, four pixels at a time, the rest through a table. Writing
// rounds to the nearest in double precision, four floats at a time. A negative result, read as
// unsigned, lies above the range and so becomes the maximum.
#include "frame/record/Bands.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "primitives/base/Conversions.h"
#include "primitives/base/Vector.h"

namespace {

// Samples above the host's range of 0 to 32768 have an entry, too.
constexpr int32_t tableLength = levelOf16(65535) + 1;

constexpr std::array<float, tableLength> makeLevelTable() {
  std::array<float, tableLength> table{};
  for (int32_t i = 0; i < tableLength; ++i)
    table[i] = float(i / 255.0);
  return table;
}
constexpr std::array<float, tableLength> levelTable = makeLevelTable();

float floatOf(uint8_t v) { return levelTable[v]; }
float floatOf(uint16_t v) { return levelTable[levelOf16(v)]; }

template <class Sample> void readEach(const Sample* in, size_t pixels, float* out) {
  for (size_t i = 0; i < pixels; ++i, in += rgbPlanes, out += floatsPerPixel) {
    out[0] = floatOf(in[0]);
    out[1] = floatOf(in[1]);
    out[2] = floatOf(in[2]);
    out[3] = 1.0f;
  }
}

void readLevels(const uint16_t* in, size_t pixels, float* out) { readEach(in, pixels, out); }

// The sum of two products gives i / 255 for 0 to 255 exactly: 255 * 0x10101 is 2^24 - 1, so the
// first product is exact, and the second, the rest, is small.
constexpr float mostOfLevel = 0x10101 / 16777216.0f, restOfLevel = float(1 / 255.0 / 16777216.0);
static_assert([] {
  for (size_t i = 0; i < 256; ++i)
    if (float(i) * mostOfLevel + float(i) * restOfLevel != levelTable[i])
      return false;
  return true;
}());

// Converts four 8-bit pixels at a time, and reads four bytes beyond them. Each pixel's bytes become
// the low bytes of four numbers; the fourth number is 255. The shuffle of the first pixel serves
// the other pixels, too: each starts three bytes later.
void readLevels(const uint8_t* in, size_t pixels, float* out) {
  constexpr size_t together = 4;
  constexpr Byte16 beside = {255, 0, 0, 255, 0, 0, 255, 0, 0, 255}; // byte indices from 16 on
  constexpr Byte16 places = {0, 17, 17, 17, 1, 17, 17, 17, 2, 17, 17, 17, 16, 17, 17, 17};
  for (; pixels * rgbPlanes >= sizeof(Byte16); pixels -= together) {
    const auto samples = loadVector<Byte16>(in);
#pragma GCC unroll 4
    for (uint8_t first = 0; first < together * rgbPlanes; first += rgbPlanes) {
      const Int4 level = Int4(__builtin_shuffle(samples, beside, places + first));
      const Float4 v = __builtin_convertvector(level, Float4);
      storeVector(out, v * mostOfLevel + v * restOfLevel);
      out += floatsPerPixel;
    }
    in += together * rgbPlanes;
  }
  readEach(in, pixels, out);
}

void readFloats(const float* in, size_t pixels, float* out) {
  for (size_t i = 0; i < pixels; ++i, in += rgbPlanes, out += floatsPerPixel) {
    std::memcpy(out, in, rgbPlanes * sizeof(float));
    out[3] = 1.0f;
  }
}

// Scaled floats below this magnitude fit 32 bits, so that the 32-bit conversion gives the low half
// of the 64-bit conversion.
constexpr float safeMagnitude = 32768.0f;

// False for NaN.
bool allSafe(const float* image, size_t pixels) {
  int unsafe = 0;
  for (size_t i = 0; i < pixels * floatsPerPixel; ++i)
    unsafe |= !(std::fabs(image[i]) < safeMagnitude);
  return !unsafe;
}

template <class Sample> Sample sampleOf(float f, double scale) {
  const uint32_t n = uint32_t(uint64_t(truncateToInt64(double(f) * scale + 0.5)));
  const uint32_t top = uint32_t(scale);
  return Sample(n > top ? top : n);
}

template <class Sample>
void writeAny(const float* image, size_t pixels, double scale, Sample* out) {
  for (size_t i = 0; i < pixels; ++i, image += floatsPerPixel, out += rgbPlanes)
    for (int32_t plane = 0; plane < rgbPlanes; ++plane)
      out[plane] = sampleOf<Sample>(image[plane], scale);
}

// Stores the low bytes of four numbers next to each other.
template <class Sample> void storeFour(UInt4 n, Sample* out) {
  constexpr Byte16 order =
      sizeof(Sample) == 1 ? Byte16{0, 4, 8, 12} : Byte16{0, 1, 4, 5, 8, 9, 12, 13};
  const Byte16 samples = __builtin_shuffle(Byte16(n), order);
  std::memcpy(out, &samples, 4 * sizeof(Sample));
}

// Writes four samples per pixel; the fourth lands on the next pixel's first, which then overwrites
// it. The last pixel is written separately.
template <class Sample>
void writeSafe(const float* image, size_t pixels, double scale, Sample* out) {
  const UInt4 top = splat<UInt4>(uint32_t(scale));
  size_t i = 0;
  for (; i + 1 < pixels; ++i, image += floatsPerPixel, out += rgbPlanes) {
    const auto f = loadVector<Float4>(image);
    const Double4 scaled = __builtin_convertvector(f, Double4) * scale + 0.5;
    const UInt4 n = UInt4(__builtin_convertvector(scaled, Int4));
    storeFour(n > top ? top : n, out);
  }
  writeAny(image, pixels - i, scale, out);
}

// In pieces that stay in the nearest cache between the magnitude test and the conversion.
constexpr size_t piece = 256; // pixels

template <class Sample>
void writeLevels(const float* image, size_t pixels, double scale, void* samples) {
  auto* out = static_cast<Sample*>(samples);
  for (size_t count; pixels > 0; pixels -= count) {
    count = std::min(pixels, piece);
    if (allSafe(image, count))
      writeSafe(image, count, scale, out);
    else
      writeAny(image, count, scale, out);
    image += count * floatsPerPixel;
    out += count * rgbPlanes;
  }
}

void writeFloats(const float* image, size_t pixels, float* out) {
  for (size_t i = 0; i < pixels; ++i, image += floatsPerPixel, out += rgbPlanes)
    std::memcpy(out, image, rgbPlanes * sizeof(float));
}

constexpr double scale8 = 255.0;
constexpr double scale16 = 32768.0;

} // namespace

void ReadBand(const void* samples, int32_t depth, size_t pixels, float* image) {
  if (depth == 8)
    readLevels(static_cast<const uint8_t*>(samples), pixels, image);
  else if (depth == 16)
    readLevels(static_cast<const uint16_t*>(samples), pixels, image);
  else if (depth == 32)
    readFloats(static_cast<const float*>(samples), pixels, image);
  else
    std::fill_n(image, pixels * floatsPerPixel, 0.0f);
}

void WriteBand(const float* image, int32_t depth, size_t pixels, void* samples) {
  if (depth == 8)
    writeLevels<uint8_t>(image, pixels, scale8, samples);
  else if (depth == 16)
    writeLevels<uint16_t>(image, pixels, scale16, samples);
  else if (depth == 32)
    writeFloats(image, pixels, static_cast<float*>(samples));
}
