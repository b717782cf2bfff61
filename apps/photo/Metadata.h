// Carries Exif, XMP, IPTC, comment and colour profile from the photograph to the result, with
// Exiv2.
#pragma once

#include <memory>
#include <string>

#include "apps/photo/Formats.h"
#include "apps/photo/Message.h"
#include "apps/photo/Picture.h"

namespace photo {

// A photograph's metadata. Movable; Exiv2's types stay inside.
class Metadata {
public:
  Metadata();
  Metadata(Metadata&&) noexcept;
  Metadata& operator=(Metadata&&) noexcept;
  ~Metadata();

  struct State;
  State& state() { return *state_; }
  const State& state() const { return *state_; }

private:
  std::unique_ptr<State> state_;
};

// Reads the metadata of a file; for a format that Exiv2 does not read, from the decoder's blocks;
// of a damaged file, the kinds that can be read. The orientation is 1 if the decoder has turned the
// picture upright.
Metadata readMetadata(const Bytes& file, const Picture& picture);

// All metadata for another process, and back. unpack throws std::runtime_error.
void pack(const Metadata& metadata, Packer& to);
Metadata unpackMetadata(Unpacker& from);

int orientationOf(const Metadata& metadata); // from Exif, 1 to 8; 1 if there is none

// Adapts the metadata for a result: sets the program as the software, drops thumbnails (they show
// the hazy picture) and tags about the old file's storage. The picture gets the Exif's resolution
// if there is one.
void adaptToResult(Metadata& metadata, Picture& picture, const std::string& program);

// The blocks for codecs that write metadata themselves.
MetadataBlocks blocksOf(const Metadata& metadata);

// The encoded file with the metadata inserted, if Exiv2 writes this format. Omits what cannot be
// written. Compares what the file then has with the photograph, for leftBehind. Throws
// std::bad_alloc.
Bytes withMetadata(Bytes file, Metadata& metadata, const Format& format);

// Sentences about metadata of the photograph that is damaged, that the format has no place for, or
// that the file from withMetadata does not have; empty: none.
std::string leftBehind(const Metadata& metadata, const Format& format);

} // namespace photo
