// XMP packets that are too long for one segment of a JPEG file, in the extended form of the XMP
// standard: a short packet with the name of the long one, and the long packet in pieces, each with
// the name, the total length and its position.
#pragma once

#include <string>

#include "apps/photo/Picture.h"

namespace photo {

constexpr size_t longestJpegXmp = 65000; // bytes of a packet in one segment; the maximum is higher

// Adds the packet to a file that has no XMP yet.
Bytes withLongXmp(const Bytes& jpeg, const std::string& packet);

// The long packet of a file; empty if there is none, or if a piece is missing.
std::string longXmpOf(const Bytes& jpeg);

// The property of the short packet, which has no meaning elsewhere.
constexpr char longXmpMark[] = "HasExtendedXMP";

} // namespace photo
