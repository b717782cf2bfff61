// Samples between the scales of files and of documents.
//
// Files: 8 bits 0 to 255, 16 bits 0 to 65535, float. Documents: 8 bits 0 to 255, or float. A file
// of 16 bits becomes a float document: the filter works on a 16-bit document in 256 levels only.
// Float samples pass unscaled, whole numbers are rounded to the nearest.
#pragma once

#include <cstdint>

#include "host/document/Document.h"

namespace photo {

// `count` 8-bit samples become a document's at depth 8 or 32.
void widen(const uint8_t* samples, size_t count, int depth, void* out);

// `count` samples of a document at `depth` become a file's at `bits`, which is at most the depth.
// Float samples are limited to 0..1 on the way to whole numbers; not a number becomes 0.
void narrow(const void* samples, size_t count, int depth, int bits, void* out);

// Divides the colours of a float document's pixels by their alpha, and multiplies them again.
// Pixels whose alpha is 0 stay. Without alpha neither does anything.
void divideByAlpha(host::Document& document);
void multiplyByAlpha(host::Document& document);

} // namespace photo
