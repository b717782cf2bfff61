// The table of formats. JPEG has its own codec: loading the image library with all its dependencies
// takes longer than correcting a small photograph.

#include "apps/photo/Formats.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <cstring>

#include "apps/photo/Codecs.h"

namespace photo {
namespace {

constexpr int64_t noLimit = longestSide;
constexpr int64_t jpegLimit = 65500;   // of libjpeg
constexpr int64_t webpLimit = 16383;   // of the file's 14-bit fields
constexpr int64_t word16Limit = 65535; // formats with 16-bit sizes
constexpr int64_t wavelets = 32;       // of JPEG 2000, halves five times

// clang-format off
constexpr Format formats[] = {
  // name        codec       extensions          depths        sides        alpha  premul extra  metadata
  {"JPEG",      "jpeg",       "jpg jpeg jpe jfif", 8,            jpegLimit, 1, false, false, false, Carrier::exiv2},
  {"PNG",       "png",      "png",               8 | 16,       noLimit, 1,   true,  false, false, Carrier::exiv2},
  {"TIFF",      "tiff",     "tif tiff",          8 | 16 | 32,  noLimit, 1,   true,  false, true,  Carrier::exiv2},
  {"OpenEXR",   "openexr",  "exr",               32,           noLimit, 1,   true,  true,  true,  Carrier::codec},
  {"WebP",      "webp",     "webp",              8,            webpLimit, 1, true,  false, false, Carrier::codec},
  {"JPEG 2000", "jpeg2000", "jp2",               8 | 16,       noLimit, wavelets,   true,  false, false, Carrier::exiv2},
  {"BMP",       "bmp",      "bmp",               8,            noLimit, 1,   true,  false, false, Carrier::nobody},
  {"PPM",       "pnm",      "ppm",               8,            noLimit, 1,   false, false, false, Carrier::nobody},
  {"Targa",     "targa",    "tga",               8,            word16Limit, 1, true, false, false, Carrier::nobody},
  {"Radiance",  "hdr",      "hdr",               32,           noLimit, 1,   false, false, false, Carrier::nobody},
};

struct Signature { const char* extension; size_t offset; std::string_view bytes; };
constexpr Signature signatures[] = {
  {"jpg",  0, "\xff\xd8\xff"},
  {"png",  0, "\x89PNG\r\n\x1a\n"},
  {"tif",  0, std::string_view("II*\0", 4)},
  {"tif",  0, std::string_view("MM\0*", 4)},
  {"tif",  0, std::string_view("II+\0", 4)},
  {"tif",  0, std::string_view("MM\0+", 4)},
  {"exr",  0, "\x76\x2f\x31\x01"},
  {"webp", 8, "WEBP"},
  {"jp2",  4, "jP  \r\n"},
  {"bmp",  0, "BM"},
  {"ppm",  0, "P6\n"},
  {"ppm",  0, "P3\n"},
  {"hdr",  0, "#?R"},
};
// clang-format on

bool sameIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](unsigned char x, unsigned char y) {
    return std::tolower(x) == std::tolower(y);
  });
}

// Calls the function with each of the blank-separated words until it returns true.
template <class F> bool anyWord(std::string_view words, F matches) {
  while (!words.empty()) {
    const size_t end = std::min(words.find(' '), words.size());
    if (matches(words.substr(0, end)))
      return true;
    words.remove_prefix(std::min(end + 1, words.size()));
  }
  return false;
}

} // namespace

const Format* formatOfExtension(std::string_view extension) {
  for (const Format& format : formats)
    if (anyWord(format.extensions,
                [&](std::string_view word) { return sameIgnoringCase(word, extension); }))
      return &format;
  return nullptr;
}

const Format* formatOfBytes(const uint8_t* bytes, size_t size) {
  for (const Signature& s : signatures)
    if (size >= s.offset + s.bytes.size() &&
        std::memcmp(bytes + s.offset, s.bytes.data(), s.bytes.size()) == 0)
      return formatOfExtension(s.extension);
  return nullptr;
}

std::string_view usualExtension(const Format& format) {
  const std::string_view words = format.extensions;
  return words.substr(0, words.find(' '));
}

std::string formatNames() {
  std::string names;
  for (const Format& format : formats)
    names.append(names.empty() ? "" : ", ").append(usualExtension(format));
  return names;
}

int depthFor(const Format& format, int inputBits) {
  for (int bits = inputBits; bits >= 8; bits /= 2)
    if (format.depths & unsigned(bits))
      return bits;
  return leastDepth(format);
}

int leastDepth(const Format& format) { return 1 << std::countr_zero(format.depths); }

std::string whyNotHeld(const Format& format, const Picture& picture, int bits) {
  const host::Document& document = picture.document;
  const std::string name = format.name;
  if (bits > document.depth())
    return "decoded to fewer bits than are asked for";
  if (!(format.depths & unsigned(bits)))
    return name + " cannot hold " + std::to_string(bits) + " bits a channel";
  if (std::max(document.width(), document.height()) > format.longestSide)
    return name + " holds at most " + std::to_string(format.longestSide) + " pixels a side";
  if (std::min(document.width(), document.height()) < format.shortestSide)
    return name + " needs at least " + std::to_string(format.shortestSide) + " pixels a side here";
  if (document.hasTransparency() && !format.transparency)
    return name + " cannot hold transparency";
  if (document.channels() > 3 + document.hasTransparency() && !format.extraChannels)
    return name + " cannot hold " + std::to_string(document.channels()) + " channels";
  return {};
}

} // namespace photo
