// The size and the depth in a file's header, read without a decoder.
//
// For formats whose decoders allocate or decode the whole picture before they return its size.
#pragma once

#include "apps/photo/Picture.h"

namespace photo {

struct ClaimedSize {
  int64_t width = 0, height = 0; // 0: unknown without the decoder
};

// For PNG, JPEG 2000 and the HEIF family (HEIC, AVIF); with several pictures the largest.
ClaimedSize claimedSize(const Bytes& file);

bool isHeif(const Bytes& file);

// What the header of a HEIF file says about its pictures.
struct HeifClaim {
  int bits = 0;       // per channel; 0: unknown
  bool alpha = false; // in a separate picture
  bool turned = false;
};
HeifClaim heifClaim(const Bytes& file);

} // namespace photo
