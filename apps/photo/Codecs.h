// Pictures from bytes and to bytes, whatever the format.
//
// JPEG and WebP have their codecs in the program. All other formats are the image library's
// (OpenImageIO), which sits in a module of its own: its start alone, with some 250 libraries behind
// it, takes two tenths of a second, so that it is loaded when a picture needs it.
#pragma once

#include <filesystem>

#include "apps/photo/Picture.h"

namespace photo {

constexpr char notRgb[] = "not an RGB picture, and the filter works on RGB images";
constexpr int32_t longestSide = 2000000; // pixels; an editor's documents have no longer ones

// Document for a picture whose file has these bits, or `minimumBits` if that is more; the watch
// hears of it first. Throws std::runtime_error for a picture beyond what the filter takes;
// std::bad_alloc.
host::Document makeDocument(int64_t width, int64_t height, int channels, int bits, int minimumBits,
                            bool alpha, const Watch& watch);

// Folder of the module with the image library and of the reader; set once, before the first
// picture.
void setFormatsFolder(const std::filesystem::path& folder);
const std::filesystem::path& formatsFolder();

// Whether the codec of the format is in the program, and the image library is not needed for it.
bool isBuiltIn(const Format& format);

// Throws std::runtime_error for a picture of this size as makeDocument does.
void refuseBeyondFilter(int64_t width, int64_t height);

// Loads the module with the image library if this file needs it. Throws std::runtime_error.
void loadCodecFor(const Source& source);

// Decodes to a document for the file's bits, or for `minimumBits` if that is more. Throws
// std::runtime_error with the reason, std::bad_alloc, Stopped.
Picture readPicture(const Source& source, int minimumBits, int threads, const Watch& watch);

// Encodes with the blocks that the format's codec writes: the profile and, where Exiv2 does not
// write the format, the others. Throws as readPicture does.
Bytes encodePicture(const Picture& picture, const Encoding& encoding, const MetadataBlocks& blocks,
                    const Watch& watch);

// Decodes a result again, row by row and as cheaply as its format allows. Throws
// std::runtime_error when it is not a whole picture of the size and depth that was encoded.
void checkResult(const Bytes& file, const Picture& picture, const Encoding& encoding);

// A codec: of the program, or what the module offers.
struct Codec {
  Picture (*read)(const Source&, int minimumBits, int threads, const Watch&);
  Bytes (*encode)(const Picture&, const Encoding&, const MetadataBlocks&, const Watch&);
  Shape (*check)(const Bytes&, int threads); // throws when a row does not decode
};
constexpr char libraryCodecSymbol[] = "fogdissolverLibraryCodec"; // a Codec

} // namespace photo
