// Metadata as Exiv2's types, for the files that read, write and compare it; and the differences
// between Exiv2 0.27 and 0.28.
#pragma once

#include <cstdint>
#include <set>
#include <string>

#include <exiv2/exiv2.hpp>

#include "apps/photo/Metadata.h"

namespace photo {

// Kinds of metadata that are damaged in a file, combined with or.
enum Damage : uint8_t { inExif = 1, inXmp = 2, inIptc = 4, inProfile = 8, somewhere = 16 };

struct Metadata::State {
  Exiv2::ExifData exif;
  Exiv2::IptcData iptc;
  Exiv2::XmpData xmp;
  Bytes icc;
  std::string comment;
  Exiv2::ByteOrder order = Exiv2::littleEndian;
  std::string openExrOnly;          // a phrase for what no other format can store; or empty
  std::set<std::string> attributes; // names of an OpenEXR file's attributes, without groups
  uint8_t damage = 0;               // of the photograph's file
  std::string lost;                 // a phrase for what the last result does not have; or empty
  std::string failure;              // a sentence if the last result has no metadata; or empty
};

#if EXIV2_TEST_VERSION(0, 28, 0)
using ExivImage = Exiv2::Image::UniquePtr;

inline Bytes bytesOf(const Exiv2::DataBuf& buffer) { return Bytes(buffer.begin(), buffer.end()); }

inline Bytes profileOf(Exiv2::Image& image) { return bytesOf(image.iccProfile()); }

inline void setProfile(Exiv2::Image& image, const Bytes& icc) {
  image.setIccProfile(Exiv2::DataBuf(icc.data(), icc.size()), false);
}
#else
using ExivImage = Exiv2::Image::AutoPtr;

inline Bytes bytesOf(const Exiv2::DataBuf& buffer) {
  return Bytes(buffer.pData_, buffer.pData_ + buffer.size_);
}

inline Bytes profileOf(Exiv2::Image& image) { return bytesOf(*image.iccProfile()); }

inline void setProfile(Exiv2::Image& image, const Bytes& icc) {
  Exiv2::DataBuf profile(icc.data(), long(icc.size()));
  image.setIccProfile(profile, false);
}
#endif

inline void muteLibrary() { Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute); }

template <class Data, class Unwanted> void eraseWhere(Data& data, Unwanted unwanted) {
  for (auto datum = data.begin(); datum != data.end();)
    datum = unwanted(*datum) ? data.erase(datum) : std::next(datum);
}

} // namespace photo
