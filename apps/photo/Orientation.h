// Documents turned upright, as the Exif orientation asks.
//
// Orientations as Exif numbers them: 1 upright, 2 mirrored, 3 upside down, 4 both, 5 to 8 with rows
// and columns exchanged; 6 needs a quarter clockwise and 8 one the other way.
#pragma once

#include "host/document/Document.h"

namespace photo {

// The document upright, when its file has the orientation. Without the selection.
host::Document turned(const host::Document& document, int orientation);

// The orientation by which `turned` undoes a turn by the given one.
constexpr int turnedBack(int orientation) {
  return orientation == 6 ? 8 : orientation == 8 ? 6 : orientation;
}

} // namespace photo
