// Converts a picture's samples to colours of the screen, with the picture's profile and the
// screen's.
//
// A picture without a profile counts as sRGB, or as linear light with the primaries of sRGB if its
// format says so. Floats are multiplied by the exposure and limited to 0 to 1 first. Alpha is kept,
// and the colours are multiplied by it, as in Qt's premultiplied images.
#pragma once

#include <cstdint>
#include <vector>

#include "apps/photo/Picture.h"

namespace desktop {

struct ColourSource {
  photo::Bytes profile; // ICC; empty, damaged or not RGB: no profile
  bool isLinear = false;
  int channels = 3;
  int depth = 8; // 8 or 32
  bool hasAlpha = false;
};

// Safe from several threads at a time.
class Colours {
public:
  // screen: the ICC profile of the screen; empty: sRGB. exposure: a factor.
  Colours(const ColourSource& source, const photo::Bytes& screen, double exposure);
  ~Colours();
  Colours(const Colours&) = delete;

  double exposure() const { return exposure_; }

  // Converts `count` pixels to 0xAARRGGBB.
  void convert(const void* samples, int count, uint32_t* out) const;

private:
  const void* limited(const float* samples, int count, std::vector<uint16_t>& room) const;

  ColourSource source_;
  double exposure_;
  void* transform_ = nullptr; // null: the samples already have the screen's colours
};

} // namespace desktop
