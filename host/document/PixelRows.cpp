#include "host/document/PixelRows.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

namespace host {

namespace {

// NaN fails the comparison, too.
bool isFinite(float v) { return std::abs(v) <= std::numeric_limits<float>::max(); }
float finiteOrZero(float v) { return isFinite(v) ? v : 0.0f; }

// True for most pixels of most pictures with transparency: they pass unchanged in both directions.
// False for an infinite alpha: like every non-finite alpha, it counts as 0.
template <class Sample> bool isOpaque(Sample alpha) {
  return alpha >= whiteOf<Sample>() && alpha <= std::numeric_limits<Sample>::max();
}

// What the filter gets for a colour sample with this alpha.
uint8_t matte(uint8_t c, uint8_t a) {
  return uint8_t((uint32_t(c) * a + 255u * (255u - a) + 127u) / 255u);
}
uint16_t matte(uint16_t c, uint16_t alpha) {
  const uint32_t a = std::min<uint32_t>(alpha, 32768);
  return uint16_t((uint32_t(c) * a + 32768u * (32768u - a) + 16384u) >> 15);
}
float matte(float c, float alpha) {
  const float a = std::clamp(finiteOrZero(alpha), 0.0f, 1.0f);
  return finiteOrZero(c) * a + (1.0f - a);
}

// The colour that appears as `seen` with an alpha above 0.
uint8_t unmatte(uint8_t seen, uint8_t a) {
  const uint32_t below = (255u * (255u - seen) + a / 2) / a; // distance from white
  return uint8_t(255u - std::min(below, 255u));
}
uint16_t unmatte(uint16_t seen, uint16_t alpha) {
  const uint32_t a = std::min<uint32_t>(alpha, 32768);
  const uint32_t below = (32768u * (32768u - std::min<uint32_t>(seen, 32768)) + a / 2) / a;
  return uint16_t(32768u - std::min(below, 32768u));
}
float unmatte(float seen, float alpha) { return 1.0f - (1.0f - seen) / std::min(alpha, 1.0f); }

template <class Sample> Sample blend(Sample old, Sample now, uint8_t weight) {
  if constexpr (std::is_floating_point_v<Sample>)
    return weight == 255 ? now : weight == 0 ? old : old + (now - old) * (float(weight) / 255.0f);
  else
    return Sample((uint32_t(old) * (255u - weight) + uint32_t(now) * weight + 127u) / 255u);
}

// Number of planes in the range that the alpha mattes; these come first.
int32_t mattedPlanes(const PlaneRange& range) {
  return range.alpha < 0 ? 0 : std::clamp(range.alpha - range.low, 0, range.planes);
}

// Loops over the pixels of one layout; a fixed count of 0 means that the range has the count.
template <class Sample, int fixedPlanes, int fixedChannels, bool hasMatte>
void fetchRun(const Sample* document, const PlaneRange& range, int64_t count, Sample* seen) {
  const int32_t planes = fixedPlanes ? fixedPlanes : range.planes;
  const int32_t channels = fixedChannels ? fixedChannels : range.channels;
  const int32_t low = range.low, alpha = range.alpha;
  const int32_t matted = fixedPlanes ? planes : mattedPlanes(range);
  for (int64_t x = 0; x < count; x++, document += channels, seen += planes) {
    const bool seesThrough = hasMatte && matted && !isOpaque(document[alpha]);
    for (int32_t p = 0; p < planes; p++) {
      if (seesThrough && p < matted)
        seen[p] = matte(document[low + p], document[alpha]);
      else if constexpr (std::is_floating_point_v<Sample>)
        seen[p] = finiteOrZero(document[low + p]);
      else
        seen[p] = document[low + p];
    }
  }
}

// The new value of a colour sample. alpha: null if the filter got the colour without matting.
template <class Sample> Sample stored(Sample old, Sample seen, const Sample* alpha, int64_t& lost) {
  // `!(a > 0)` is true for NaN, too.
  if (alpha && (!(*alpha > Sample(0)) || *alpha > std::numeric_limits<Sample>::max()))
    return old;
  if constexpr (std::is_floating_point_v<Sample>) {
    if (!isFinite(seen)) {
      lost++;
      return 0;
    }
  }
  if (!alpha)
    return seen;
  if (seen == matte(old, *alpha))
    return old;
  const Sample now = unmatte(seen, *alpha);
  if constexpr (std::is_floating_point_v<Sample>)
    if (!isFinite(now))
      return old;
  return now;
}

// Copies the layout to locals: the compiler must assume that storing a byte may change the range.
template <class Sample, int fixedPlanes, int fixedChannels>
int64_t storeRun(const Sample* seen, const uint8_t* weights, const PlaneRange& range, int64_t count,
                 Sample* document) {
  const int32_t planes = fixedPlanes ? fixedPlanes : range.planes;
  const int32_t channels = fixedChannels ? fixedChannels : range.channels;
  const int32_t low = range.low, alpha = range.alpha, matted = mattedPlanes(range);
  const bool hasAlpha = alpha >= low && alpha < low + planes;
  int64_t lost = 0;
  for (int64_t x = 0; x < count; x++, document += channels, seen += planes) {
    const uint8_t weight = weights ? weights[x] : 255;
    if (weight == 0)
      continue;
    const bool seesThrough = matted && !isOpaque(document[alpha]);
    if (weight == 255 && !seesThrough && !hasAlpha && !std::is_floating_point_v<Sample>) {
      for (int32_t p = 0; p < planes; p++)
        document[low + p] = seen[p];
      continue;
    }
    for (int32_t p = 0; p < planes; p++) {
      Sample& old = document[low + p];
      if (low + p == alpha)
        continue;
      if constexpr (std::is_floating_point_v<Sample>)
        if (!isFinite(old))
          continue;
      const Sample now =
          stored(old, seen[p], seesThrough && p < matted ? document + alpha : nullptr, lost);
      old = weight == 255 ? now : blend(old, now, weight);
    }
  }
  return lost;
}

} // namespace

bool plainBytes(const PlaneRange& range, bool isFloat) {
  return !isFloat && range.alpha < 0 && range.planes == range.channels;
}

void copyFinite(const float* from, int64_t count, float* to) {
  for (int64_t i = 0; i < count; i++)
    to[i] = finiteOrZero(from[i]);
}

template <class Sample>
void fetchPixels(const Sample* document, const PlaneRange& range, int64_t count, Sample* seen) {
  const bool whole = range.planes == range.channels;
  const bool hasMatte = mattedPlanes(range) > 0;
  if (whole && !hasMatte) {
    if constexpr (std::is_floating_point_v<Sample>)
      copyFinite(document, count * range.channels, seen);
    else
      std::memcpy(seen, document, size_t(count) * size_t(range.channels) * sizeof(Sample));
  } else if (range.planes == 3 && range.channels == 4 && mattedPlanes(range) == 3) {
    fetchRun<Sample, 3, 4, true>(document, range, count, seen);
  } else if (range.planes == 3 && range.channels == 4 && !hasMatte) {
    fetchRun<Sample, 3, 4, false>(document, range, count, seen);
  } else {
    fetchRun<Sample, 0, 0, true>(document, range, count, seen);
  }
}

int64_t zeroNotFinite(float* samples, int64_t count) {
  int64_t zeroed = 0;
  for (int64_t i = 0; i < count; i++) {
    zeroed += !isFinite(samples[i]);
    samples[i] = finiteOrZero(samples[i]);
  }
  return zeroed;
}

template <class Sample>
int64_t storePixels(const Sample* seen, const uint8_t* weights, const PlaneRange& range,
                    int64_t count, Sample* document) {
  if (range.planes == 3 && range.channels == 3)
    return storeRun<Sample, 3, 3>(seen, weights, range, count, document);
  if (range.planes == 3 && range.channels == 4)
    return storeRun<Sample, 3, 4>(seen, weights, range, count, document);
  return storeRun<Sample, 0, 0>(seen, weights, range, count, document);
}

template void fetchPixels(const uint8_t*, const PlaneRange&, int64_t, uint8_t*);
template void fetchPixels(const uint16_t*, const PlaneRange&, int64_t, uint16_t*);
template void fetchPixels(const float*, const PlaneRange&, int64_t, float*);
template int64_t storePixels(const uint8_t*, const uint8_t*, const PlaneRange&, int64_t, uint8_t*);
template int64_t storePixels(const uint16_t*, const uint8_t*, const PlaneRange&, int64_t,
                             uint16_t*);
template int64_t storePixels(const float*, const uint8_t*, const PlaneRange&, int64_t, float*);

} // namespace host
