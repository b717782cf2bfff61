// WebP by libwebp: straight between the file's bytes and the document's rows, alpha as it is in
// the file. (The image library multiplies it into the colours at 8 bits, which cannot be undone.)
#pragma once

#include "apps/photo/Picture.h"

namespace photo {

// Decodes to a document of at least `minimumBits`. Throws std::runtime_error with the reason,
// std::bad_alloc.
Picture readWebp(const Source& source, int minimumBits, int threads, const Watch& watch);

// Encodes; at quality 100 without loss; with profile, Exif and XMP. Throws as readWebp does, and
// Stopped.
Bytes writeWebp(const Picture& picture, const Encoding& encoding, const MetadataBlocks& blocks,
                const Watch& watch);

// Decodes the file into a picture of an eighth. Throws std::runtime_error, std::bad_alloc.
Shape checkWebp(const Bytes& file, int threads);

} // namespace photo
