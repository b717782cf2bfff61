// The formats that results can be written in, and how to recognise the format of a file.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "apps/photo/Picture.h"

namespace photo {

// Who puts metadata into a result: Exiv2 into the encoded file, the codec while it encodes, or
// nobody because the format has no place for it (a profile may still find one).
enum class Carrier { exiv2, codec, nobody };

struct Format {
  const char* name;       // for people
  const char* codec;      // one of the program, see Codecs.cpp, or of the image library
  const char* extensions; // lower case, separated by blanks, the usual one first
  unsigned depths;        // which of 8, 16 and 32 bits a channel it holds, or-ed together
  int64_t longestSide;    // pixels
  int64_t shortestSide;   // pixels; fewer cannot be encoded
  bool transparency;      // holds an alpha channel
  bool premultiplied;     // stores colours multiplied with alpha
  bool extraChannels;     // holds channels behind alpha
  Carrier metadata;
};

const Format* formatOfExtension(std::string_view extension); // without the dot, any case; or null
const Format* formatOfBytes(const uint8_t* bytes, size_t size); // by its first bytes; or null
std::string_view usualExtension(const Format& format);
std::string formatNames(); // usual extensions, for messages and help

// Bits a channel for a result: the input's if the format holds them, else the most below them that
// it holds, else its least.
int depthFor(const Format& format, int inputBits);
int leastDepth(const Format& format);

// Empty if the format can hold the picture at these bits, else a sentence that says why not.
std::string whyNotHeld(const Format& format, const Picture& picture, int bits);

} // namespace photo
