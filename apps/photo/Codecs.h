// Decodes and encodes pictures in any format.
//
// The program contains the codecs for JPEG and WebP. All other formats use the image library
// (OpenImageIO), which is in a separate module: it depends on some 250 libraries and takes two
// tenths of a second to start, so it is loaded only when a picture needs it.
#pragma once

#include <filesystem>
#include <stdexcept>

#include "apps/photo/Picture.h"

namespace photo {

constexpr char notRgb[] = "not an RGB picture, and the filter works on RGB images";
constexpr int32_t longestSide = 2000000; // pixels; documents of an editor are not longer

// Document for a picture whose file has these bits, or `minimumBits` if that is more; calls the
// watch first. Throws std::runtime_error for a picture beyond the filter's limits; std::bad_alloc.
host::Document makeDocument(int64_t width, int64_t height, int channels, int bits, int minimumBits,
                            bool alpha, const Watch& watch);

// Sets the folder of the module with the image library and of the reader; once, before the first
// picture.
void setFormatsFolder(const std::filesystem::path& folder);
const std::filesystem::path& formatsFolder();

// Whether the program contains the format's codec and does not need the image library.
bool isBuiltIn(const Format& format);

// Throws std::runtime_error for a picture of this size like makeDocument.
void refuseBeyondFilter(int64_t width, int64_t height);

// Loads the module with the image library if this file needs it. Throws std::runtime_error.
void loadCodecFor(const Source& source);

// Decodes to a document for the file's bits, or for `minimumBits` if that is more. Throws
// std::runtime_error with the reason, std::bad_alloc, Stopped.
Picture readPicture(const Source& source, int minimumBits, int threads, const Watch& watch);

// Encodes with the metadata blocks that the format's codec writes: the profile and, if Exiv2 does
// not write the format, the others. Throws like readPicture.
Bytes encodePicture(const Picture& picture, const Encoding& encoding, const MetadataBlocks& blocks,
                    const Watch& watch);

struct BrokenResult : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Decodes a result again, row by row and as cheaply as its format allows. Throws BrokenResult if it
// is not a complete picture of the encoded size and depth.
void checkResult(const Bytes& file, const Picture& picture, const Encoding& encoding);

// The metadata in a result that the image library has written.
MetadataBlocks blocksOfResult(const Bytes& file, const Format& format);

// A codec of the program or of the module.
struct Codec {
  Picture (*read)(const Source&, int minimumBits, int threads, const Watch&);
  Bytes (*encode)(const Picture&, const Encoding&, const MetadataBlocks&, const Watch&);
  Shape (*check)(const Bytes&, int threads); // throws if a row does not decode
  MetadataBlocks (*blocks)(const Bytes&);    // or null if Exiv2 reads them
};
constexpr char libraryCodecSymbol[] = "fogdissolverLibraryCodec"; // a Codec

} // namespace photo
