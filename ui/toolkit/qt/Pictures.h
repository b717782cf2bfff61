// The pictures of the dialogs, embedded as PNG in several sizes. Their source is drawn in ui/art.
#pragma once

#include <cstddef>
#include <cstdint>

struct EmbeddedPicture {
  int number;        // as the dialogs' tables name it
  int width, height; // pixels
  const unsigned char* png;
  size_t size; // bytes
};

// The smallest one of that number that covers width by height pixels, or else the largest; null
// for an unknown number.
const EmbeddedPicture* FindPicture(int number, int width, int height);
