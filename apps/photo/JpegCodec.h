// JPEG by libjpeg: directly between the file's bytes and the document's rows.
#pragma once

#include "apps/photo/Picture.h"

namespace photo {

// Decodes to a document of at least `minimumBits`. Throws std::runtime_error with the reason if the
// file is damaged, incomplete or not RGB; std::bad_alloc; Stopped.
Picture readJpeg(const Source& source, int minimumBits, int threads, const Watch& watch);

// Encodes without chroma subsampling, with the profile and the resolution but no other metadata.
// Throws like readJpeg.
Bytes writeJpeg(const Picture& picture, const Encoding& encoding, const MetadataBlocks& blocks,
                const Watch& watch);

// Position of the first scan in a file from writeJpeg.
size_t scanPlace(const Bytes& file);

// Decodes the whole file and keeps nothing. Throws std::runtime_error.
Shape checkJpeg(const Bytes& file, int threads);

} // namespace photo
