// The formats for results, and how to recognise the format of a file.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "apps/photo/Picture.h"

namespace photo {

// What writes metadata into a result: Exiv2 into the encoded file, the codec while it encodes, or
// nobody because the format cannot store it (it may still store a profile).
enum class Carrier { exiv2, codec, nobody };

struct Format {
  const char* name;       // for users
  const char* codec;      // name of a codec in the program (see Codecs.cpp) or in the image library
  const char* extensions; // lower case, separated by blanks, most common first
  unsigned depths;        // supported bits per channel: 8, 16 and 32, combined with or
  int64_t longestSide;    // pixels
  int64_t shortestSide;   // pixels; the codec cannot encode fewer
  bool transparency;      // stores an alpha channel
  bool premultiplied;     // stores colours multiplied with alpha
  bool extraChannels;     // stores channels after alpha
  Carrier metadata;
};

const Format* formatOfExtension(std::string_view extension); // without the dot, any case; or null
const Format* formatOfBytes(const uint8_t* bytes, size_t size); // by its first bytes; or null
std::string_view usualExtension(const Format& format);
std::string formatNames(); // most common extensions, for messages and help

// Bits per channel for a result: the input's if the format supports them, otherwise the highest
// supported below them, otherwise its lowest.
int depthFor(const Format& format, int inputBits);
int leastDepth(const Format& format);

// Empty if the format can store the picture at these bits, otherwise a sentence that says why not.
std::string whyNotHeld(const Format& format, const Picture& picture, int bits);

} // namespace photo
