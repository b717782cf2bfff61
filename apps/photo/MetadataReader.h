// Reads metadata with Exiv2, and from a damaged file what is whole.
#pragma once

#include "apps/photo/MetadataState.h"

namespace photo {

// The metadata of a file that this program has written. Throws std::exception.
Metadata::State metadataIn(const Bytes& file);
Metadata::State metadataInExr(const Bytes& file, const MetadataBlocks& blocks);

// Everything that can be read of a photograph's file: by Exiv2, otherwise each block separately.
// The state says which kinds are damaged.
Metadata::State readableMetadata(const Bytes& file, const MetadataBlocks& fromDecoder);

} // namespace photo
