// Converts samples between the scales of files and of documents.
//
// Files: 8 bits 0 to 255, 16 bits 0 to 65535, float. Documents: 8 bits 0 to 255, or float. A 16-bit
// file becomes a float document, because the filter processes 16-bit documents with 256 levels
// only. Float samples are not scaled; whole numbers are rounded to the nearest.
#pragma once

#include <cstdint>

#include "host/document/Document.h"

namespace photo {

// Converts `count` 8-bit samples to a document's samples at depth 8 or 32.
void widen(const uint8_t* samples, size_t count, int depth, void* out);

// Converts `count` samples of a document at `depth` to a file's at `bits`, at most the depth. Float
// samples are limited to 0..1 on conversion to whole numbers; NaN becomes 0.
void narrow(const void* samples, size_t count, int depth, int bits, void* out);

// Divides the colours of a float document's pixels by their alpha, or multiplies them again. Pixels
// with alpha 0 do not change. Without alpha neither has an effect.
void divideByAlpha(host::Document& document);
void multiplyByAlpha(host::Document& document);

} // namespace photo
