// The segments before the first scan of a JPEG file: markers, each with a length and data.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "apps/photo/Picture.h"

namespace photo {

using std::string_view_literals::operator""sv;

// Markers, and the texts at the start of the data that tell what a segment contains.
constexpr uint8_t app0 = 0xe0, app1 = 0xe1, app13 = 0xed, jpegComment = 0xfe;
constexpr std::string_view exifMark = "Exif\0\0"sv, xmpMark = "http://ns.adobe.com/xap/1.0/\0"sv,
                           resourcesMark = "Photoshop 3.0\0"sv;

// Calls visit(place, marker, data) for each segment, until it returns false.
using SegmentVisitor = std::function<bool(size_t, uint8_t, std::string_view)>;
void visitSegments(const Bytes& jpeg, const SegmentVisitor& visit);

// The first segment with this marker whose data starts with the mark: the data after it; or empty.
std::string_view segmentOf(const Bytes& jpeg, uint8_t marker, std::string_view mark = {});

} // namespace photo
