// Exif, XMP, IPTC, comment and colour profile from the photograph to the result, by Exiv2.
#pragma once

#include <memory>
#include <string>

#include "apps/photo/Formats.h"
#include "apps/photo/Message.h"
#include "apps/photo/Picture.h"

namespace photo {

// What a photograph carries beside its pixels. Movable; its insides are Exiv2's.
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

// Reads the metadata of a file; of a format that Exiv2 does not read, from the decoder's blocks.
// The orientation is 1 when the decoder has turned the picture upright.
Metadata readMetadata(const Bytes& file, const Picture& picture);

// All of it for another process, and back. The second throws std::runtime_error.
void pack(const Metadata& metadata, Packer& to);
Metadata unpackMetadata(Unpacker& from);

int orientationOf(const Metadata& metadata); // of Exif, 1 to 8; 1 if there is none

// Makes it that of a result: names the program as the software, drops thumbnails (they show the
// hazy picture) and what describes the old file's storage.
// The picture's resolution becomes that of the Exif if there is one.
void adaptToResult(Metadata& metadata, Picture& picture, const std::string& program);

// The blocks for codecs that write metadata themselves.
MetadataBlocks blocksOf(const Metadata& metadata);

// The encoded file with the metadata in it, where that is Exiv2's task. What cannot be written
// stays behind, and leftBehind tells it. Throws std::bad_alloc.
Bytes withMetadata(Bytes file, Metadata& metadata, const Format& format);

// What the photograph carries and the format has no place for, as a sentence; empty: nothing.
std::string leftBehind(const Metadata& metadata, const Format& format);

} // namespace photo
