// XMP packets too long for one segment of a JPEG file, in the form that the XMP standard extends:
// a short packet that names the long one, and the long one in pieces, each with the name, the whole
// length and its place.
#pragma once

#include <string>

#include "apps/photo/Picture.h"

namespace photo {

constexpr size_t longestJpegXmp = 65000; // bytes of a packet in one segment; a little less than fit

// The file, which has no XMP yet, with the packet.
Bytes withLongXmp(const Bytes& jpeg, const std::string& packet);

// The long packet of a file; empty if there is none, or a piece of it is missing.
std::string longXmpOf(const Bytes& jpeg);

// The property of the short packet, which means nothing elsewhere.
constexpr char longXmpMark[] = "HasExtendedXMP";

} // namespace photo
