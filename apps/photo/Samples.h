// Samples between the scales of files and of documents.
//
// Files: 8 bits 0 to 255, 16 bits 0 to 65535, float. Documents: 8 bits 0 to 255, 16 bits 0 to
// 32768, float; float samples pass unscaled, whole numbers are rounded to the nearest.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "host/document/Document.h"

namespace photo {

// `count` samples of a file at 16 bits become a document's, in place.
void toDocument16(uint16_t* samples, size_t count);

// `count` 8-bit samples become a document's at depth 8, 16 or 32.
void widen(const uint8_t* samples, size_t count, int depth, void* out);

// `count` samples of a document at `depth` become a file's at `bits`, which is at most the depth.
// Float samples are limited to 0..1 on the way to whole numbers; not a number becomes 0.
void narrow(const void* samples, size_t count, int depth, int bits, void* out);

// Divides the colours of the document's pixels by their alpha, and multiplies them again. Pixels
// whose alpha is 0 stay. Without alpha neither does anything.
void divideByAlpha(host::Document& document);
void multiplyByAlpha(host::Document& document);

// Samples of a float document that are not finite, by their place in it.
using NotFinite = std::vector<std::pair<size_t, float>>;

NotFinite takeNotFinite(host::Document& document); // puts 0 in their place
void giveBack(host::Document& document, const NotFinite& samples);

} // namespace photo
