// JPEG by libjpeg: straight between the file's bytes and the document's rows.
#pragma once

#include "apps/photo/Picture.h"

namespace photo {

// Decodes to a document of at least `minimumBits`. Throws std::runtime_error with the reason when
// the file is broken, ends too early or is not RGB; std::bad_alloc; Stopped.
Picture readJpeg(const Source& source, int minimumBits, int threads, const Watch& watch);

// Encodes without chroma subsampling, with the profile and the resolution and no other metadata.
// Throws as readJpeg does.
Bytes writeJpeg(const Picture& picture, const Encoding& encoding, const MetadataBlocks& blocks,
                const Watch& watch);

// Where the first scan of a file that writeJpeg has made begins.
size_t scanPlace(const Bytes& file);

// Decodes all of the file and keeps nothing. Throws std::runtime_error.
Shape checkJpeg(const Bytes& file, int threads);

} // namespace photo
