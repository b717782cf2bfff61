// The size and the depth that a file's header claims, read without a decoder.
//
// For the formats whose decoders allocate, or decode, the whole picture before they tell its size.
#pragma once

#include "apps/photo/Picture.h"

namespace photo {

struct ClaimedSize {
  int64_t width = 0, height = 0; // 0: not known without the decoder
};

// Of PNG, JPEG 2000 and the HEIF family (HEIC, AVIF); of several pictures the largest.
ClaimedSize claimedSize(const Bytes& file);

// What a file of the HEIF family says of its pictures.
struct HeifClaim {
  int bits = 0;       // a channel; 0: not known
  bool alpha = false; // in a picture of its own
  bool turned = false;
};
HeifClaim heifClaim(const Bytes& file);

} // namespace photo
