// Turns documents upright according to the Exif orientation.
//
// Exif's orientations: 1 upright, 2 mirrored, 3 upside down, 4 both, 5 to 8 with rows and columns
// exchanged; 6 needs a quarter turn clockwise and 8 one counterclockwise.
#pragma once

#include "host/document/Document.h"

namespace photo {

// The upright document, for a file with this orientation. Without the selection.
host::Document turned(const host::Document& document, int orientation);

// The orientation with which `turned` reverses a turn by the given one.
constexpr int turnedBack(int orientation) {
  return orientation == 6 ? 8 : orientation == 8 ? 6 : orientation;
}

} // namespace photo
