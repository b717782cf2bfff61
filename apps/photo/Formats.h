// The formats that results can be written in, and how files tell theirs.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "apps/photo/Picture.h"

namespace photo {

struct Format {
  const char* name;       // for people
  const char* codec;      // name at the image library; "" for the built-in JPEG codec
  const char* extensions; // lower case, separated by blanks, the usual one first
  unsigned depths;        // which of 8, 16 and 32 bits a channel it holds, or-ed together
  int64_t longestSide;    // pixels
  bool transparency;      // holds an alpha channel
  bool premultiplied;     // stores colours multiplied with alpha
  bool extraChannels;     // holds channels behind alpha
  bool exiv2;             // Exiv2 writes its metadata; else the image library does what it can
};

const Format* formatOfExtension(std::string_view extension); // without the dot, any case; or null
const Format* formatOfBytes(const uint8_t* bytes, size_t size); // by its first bytes; or null
std::string_view usualExtension(const Format& format);
std::string formatNames(); // usual extensions, for messages and help

// Depth for a result: the input's if the format holds it, else the next deeper, else its deepest.
int depthFor(const Format& format, int inputBits);

// Null if the format can hold the picture at these bits, else a sentence that says why not.
std::string whyNotHeld(const Format& format, const Picture& picture, int bits);

} // namespace photo
