// The pictures of the dialogs, embedded as PNG in several sizes. ui/art contains the drawings.
#pragma once

#include <cstddef>
#include <cstdint>

struct EmbeddedPicture {
  int number;        // its number in the dialogs' tables
  int width, height; // pixels
  const unsigned char* png;
  size_t size; // bytes
};

// The smallest picture with this number that covers width by height pixels, otherwise the largest;
// null for an unknown number.
const EmbeddedPicture* FindPicture(int number, int width, int height);
