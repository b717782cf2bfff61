// WebP by libwebp: directly between the file's bytes and the document's rows, with alpha as in the
// file. (The image library multiplies the colours by alpha at 8 bits, which cannot be reversed.)
#pragma once

#include "apps/photo/Picture.h"

namespace photo {

// Decodes to a document of at least `minimumBits`. Throws std::runtime_error with the reason,
// std::bad_alloc.
Picture readWebp(const Source& source, int minimumBits, int threads, const Watch& watch);

// Encodes; lossless at quality 100; with profile, Exif and XMP. Throws like readWebp, and Stopped.
Bytes writeWebp(const Picture& picture, const Encoding& encoding, const MetadataBlocks& blocks,
                const Watch& watch);

// Decodes the file to a picture of an eighth of its size. Throws std::runtime_error,
// std::bad_alloc.
Shape checkWebp(const Bytes& file, int threads);

} // namespace photo
