// Uses Little CMS. Floats go through 16 bits: whole-number transforms are several times faster, and
// the screen has 8 bits.

#include "apps/desktop/Colours.h"

#include <algorithm>
#include <memory>

#include <lcms2.h>

namespace desktop {
namespace {

constexpr float full16 = 65535.0f;
constexpr uint32_t opaque = 0xff000000u;

struct Closer {
  void operator()(void* profile) const { cmsCloseProfile(profile); }
};
using Profile = std::unique_ptr<void, Closer>;

Profile openProfile(const photo::Bytes& bytes) {
  if (bytes.empty())
    return nullptr;
  Profile profile(cmsOpenProfileFromMem(bytes.data(), cmsUInt32Number(bytes.size())));
  return profile && cmsGetColorSpace(profile.get()) == cmsSigRgbData ? std::move(profile) : nullptr;
}

Profile linearProfile() {
  const cmsCIExyY white = {0.3127, 0.3290, 1.0};
  const cmsCIExyYTRIPLE primaries = {{0.64, 0.33, 1}, {0.30, 0.60, 1}, {0.15, 0.06, 1}};
  cmsToneCurve* curve = cmsBuildGamma(nullptr, 1.0);
  cmsToneCurve* const curves[3] = {curve, curve, curve};
  Profile profile(cmsCreateRGBProfile(&white, &primaries, curves));
  cmsFreeToneCurve(curve);
  return profile;
}

// Converts a float of any kind to the screen's 8 bits.
uint8_t alphaOf(float value) { return uint8_t(std::clamp(value, 0.0f, 1.0f) * 255.0f + 0.5f); }

uint32_t multiplied(uint32_t colour, uint32_t alpha) {
  auto part = [&](int shift) { return ((colour >> shift & 0xff) * alpha + 127) / 255 << shift; };
  return alpha << 24 | part(16) | part(8) | part(0);
}

} // namespace

Colours::Colours(const ColourSource& source, const photo::Bytes& screen, double exposure)
    : source_(source), exposure_(exposure) {
  const Profile own = openProfile(source.profile), shown = openProfile(screen);
  if (!own && !shown && !source.isLinear)
    return;
  const Profile from =
      openProfile(source.profile)
          ? openProfile(source.profile)
          : Profile(source.isLinear ? linearProfile().release() : cmsCreate_sRGBProfile());
  const Profile to = shown ? openProfile(screen) : Profile(cmsCreate_sRGBProfile());
  const cmsUInt32Number in =
      source.depth == 8 ? COLORSPACE_SH(PT_RGB) | EXTRA_SH(cmsUInt32Number(source.channels - 3)) |
                              CHANNELS_SH(3) | BYTES_SH(1)
                        : TYPE_RGB_16;
  transform_ =
      cmsCreateTransform(from.get(), in, to.get(), TYPE_BGRA_8, INTENT_RELATIVE_COLORIMETRIC,
                         cmsFLAGS_BLACKPOINTCOMPENSATION | cmsFLAGS_NOCACHE);
}

Colours::~Colours() {
  if (transform_)
    cmsDeleteTransform(transform_);
}

// Only the colours, in 16 bits. NaN becomes 0.
const void* Colours::limited(const float* samples, int count, std::vector<uint16_t>& room) const {
  room.resize(size_t(count) * 3);
  const auto factor = float(exposure_);
  for (int i = 0; i < count; ++i, samples += source_.channels)
    for (int c = 0; c < 3; ++c) {
      const float v = samples[c] * factor;
      room[size_t(i) * 3 + size_t(c)] =
          uint16_t(v > 0.0f ? (v < 1.0f ? v * full16 + 0.5f : full16) : 0.0f);
    }
  return room.data();
}

void Colours::convert(const void* samples, int count, uint32_t* out) const {
  const auto* bytes = static_cast<const uint8_t*>(samples);
  const auto* floats = static_cast<const float*>(samples);
  thread_local std::vector<uint16_t> room;
  const void* colours = source_.depth == 8 ? samples : limited(floats, count, room);
  if (transform_) {
    std::fill_n(out, count, opaque);
    cmsDoTransform(transform_, colours, out, cmsUInt32Number(count));
    for (int i = 0; i < count; ++i)
      out[i] |= opaque;
  } else if (source_.depth == 8) {
    for (int i = 0; i < count; ++i, bytes += source_.channels)
      out[i] = opaque | uint32_t(bytes[0]) << 16 | uint32_t(bytes[1]) << 8 | bytes[2];
  } else {
    auto part = [](uint16_t v) { return (uint32_t(v) + 128 - (uint32_t(v) >> 8)) >> 8; };
    for (int i = 0; i < count; ++i) {
      const uint16_t* c = room.data() + size_t(i) * 3;
      out[i] = opaque | part(c[0]) << 16 | part(c[1]) << 8 | part(c[2]);
    }
  }
  if (!source_.hasAlpha)
    return;
  for (int i = 0; i < count; ++i) {
    const size_t alpha = size_t(i) * size_t(source_.channels) + 3;
    const auto* first = static_cast<const uint8_t*>(samples);
    out[i] = multiplied(out[i], source_.depth == 8 ? first[alpha] : alphaOf(floats[alpha]));
  }
}

} // namespace desktop
