// A picture's samples as colours of the screen, through the picture's profile and the screen's.
//
// Without a profile a picture is taken as sRGB, or as linear light with the primaries of sRGB where
// its format says so. Floats are multiplied by the exposure, and limited to 0 to 1 first. Alpha
// stays beside the colours, multiplied with them as Qt's premultiplied images have it.
#pragma once

#include <cstdint>
#include <vector>

#include "apps/photo/Picture.h"

namespace desktop {

struct ColourSource {
  photo::Bytes profile; // ICC; empty, broken or not of RGB: none
  bool isLinear = false;
  int channels = 3;
  int depth = 8; // 8 or 32
  bool hasAlpha = false;
};

// Callable from several threads at a time.
class Colours {
public:
  // screen: the ICC profile of the screen; empty: sRGB. exposure: a factor.
  Colours(const ColourSource& source, const photo::Bytes& screen, double exposure);
  ~Colours();
  Colours(const Colours&) = delete;

  double exposure() const { return exposure_; }

  // `count` pixels into 0xAARRGGBB.
  void convert(const void* samples, int count, uint32_t* out) const;

private:
  const void* limited(const float* samples, int count, std::vector<uint16_t>& room) const;

  ColourSource source_;
  double exposure_;
  void* transform_ = nullptr; // null: the samples are the screen's
};

} // namespace desktop
