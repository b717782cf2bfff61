// A photograph between its file and the filter: the document for the filter, and what the file says
// about its samples.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/document/Document.h"

namespace photo {

using Bytes = std::vector<uint8_t>;

// Metadata in the blocks that files contain; empty: none.
struct MetadataBlocks {
  Bytes exif;      // TIFF structure, without the "Exif" mark before it
  Bytes iptc;      // IIM records
  std::string xmp; // packet
  Bytes icc;       // colour profile
};

// Pixels per unit of length, for printing programs; 0: unknown.
struct Resolution {
  double x = 0, y = 0;
  bool perCentimetre = false; // otherwise per inch
};

struct Picture {
  host::Document document;        // RGB, optionally alpha and further channels
  int fileBits = 8;               // bits per channel in the file: 8, 16 or 32
  bool half = false;              // the file's 32-bit channels were 16-bit floats
  bool premultiplied = false;     // the document's colours are multiplied by alpha
  bool upright = false;           // the decoder has applied the orientation itself
  Resolution resolution;          //
  MetadataBlocks blocks;          // the decoder's version of them, for some formats
  Bytes decoderRecord;            // the decoder's own header, for its encoder; or none
  std::vector<std::string> notes; // messages for the user, one sentence each
  std::string openExrOnly;        // a phrase for what no other format can store; or empty
};

// Bytes of a file, and its name, which decides the format if the bytes do not.
struct Source {
  std::string path;
  Bytes bytes;
};

struct Format;

// How to encode a picture.
struct Encoding {
  const Format* format = nullptr;
  int bits = 8;      // bits per channel in the file; at most the document's depth
  bool half = false; // 32-bit channels are stored as 16-bit floats
  int quality = 95;  // of lossy formats, 1 to 100
  int threads = 1;
};

// The content of a file.
struct Shape {
  int64_t width, height;
  int bits; // per channel
  bool operator==(const Shape&) const = default;
};

// A picture's properties, known from the header of its file.
struct Claim {
  int64_t width, height;
  int channels, depth; // of the document
  bool alpha;
};

// How to watch a long operation. `progress` gets the finished share, 0 to 1; both functions may be
// called often. Code for which `stopped` returns true throws Stopped.
struct Watch {
  std::function<void(double)> progress = [](double) {};
  std::function<bool()> stopped = [] { return false; };
  // Called before a picture's memory is allocated; throws if the memory is not available.
  std::function<void(const Claim&)> claimed = [](const Claim&) {};
  // Called while decoding, with the number of finished rows from the top, if the decoder delivers
  // finished rows.
  std::function<void(const host::Document&, int32_t rows)> decoded = [](const auto&, int32_t) {};
  // Called before at least this many bytes of a file are in memory, again while a stream grows;
  // throws if the memory is not available.
  std::function<void(int64_t)> sized = [](int64_t) {};
};

struct Stopped {};

} // namespace photo
