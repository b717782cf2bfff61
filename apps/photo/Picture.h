// A photograph between its file and the filter: the document that the filter works on, and what the
// file says about its samples.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/document/Document.h"

namespace photo {

using Bytes = std::vector<uint8_t>;

// Metadata as the blocks that files carry; empty: none.
struct MetadataBlocks {
  Bytes exif;      // TIFF structure, without the "Exif" mark before it
  Bytes iptc;      // IIM records
  std::string xmp; // packet
  Bytes icc;       // colour profile
};

// Pixels for each unit of length, as printing programs read it; 0: unknown.
struct Resolution {
  double x = 0, y = 0;
  bool perCentimetre = false; // else per inch
};

struct Picture {
  host::Document document;        // RGB, perhaps alpha, perhaps further channels
  int fileBits = 8;               // bits a channel in the file: 8, 16 or 32
  bool half = false;              // the file's 32-bit channels were 16-bit floats
  bool premultiplied = false;     // the document's colours are multiplied with alpha
  bool upright = false;           // the decoder has applied the orientation itself
  Resolution resolution;          //
  MetadataBlocks blocks;          // the decoder's reading of them, where it keeps one
  Bytes decoderRecord;            // the decoder's own header, for its encoder; or none
  std::vector<std::string> notes; // what a person should know, one sentence each
  std::string openExrOnly;        // what no other format has a place for, in words; or nothing
};

// Bytes of a file, and its name, which decides about the format where the bytes do not.
struct Source {
  std::string path;
  Bytes bytes;
};

struct Format;

// What to make of a picture.
struct Encoding {
  const Format* format = nullptr;
  int bits = 8;      // bits a channel in the file; at most the document's depth
  bool half = false; // 32-bit channels are stored as 16-bit floats
  int quality = 95;  // of formats that lose, 1 to 100
  int threads = 1;
};

// What is in a file.
struct Shape {
  int64_t width, height;
  int bits; // a channel
  bool operator==(const Shape&) const = default;
};

// What a picture will be, known from the head of its file.
struct Claim {
  int64_t width, height;
  int channels, depth; // of the document
  bool alpha;
};

// How a long piece of work is watched. `progress` gets the share that is done, 0 to 1; both may be
// called often. Whoever sees `stopped` give true throws Stopped.
struct Watch {
  std::function<void(double)> progress = [](double) {};
  std::function<bool()> stopped = [] { return false; };
  // Hears of a picture before memory is taken for it; throws where that is not to be had.
  std::function<void(const Claim&)> claimed = [](const Claim&) {};
  // Hears of rows from the top on that are as they will stay, where a decoder makes them so.
  std::function<void(const host::Document&, int32_t rows)> decoded = [](const auto&, int32_t) {};
};

struct Stopped {};

} // namespace photo
