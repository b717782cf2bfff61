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

// Bits a channel of a file of the HEIF family; 0: not known.
int claimedBits(const Bytes& file);

} // namespace photo
