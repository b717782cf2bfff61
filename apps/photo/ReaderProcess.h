// Photographs read by a process of its own, so that a hostile or broken file can do no harm.
//
// The process decodes pixels and metadata behind the bounds of Confinement.h. What it finds comes
// back in one message, which is checked, and the samples are copied out of its memory, which costs
// less than sharing small pages; then it is ended. It is a fork, which needs no start and has the
// codecs loaded; where the caller has threads, which a fork may not bring, it is the program
// fogdissolver-reader, which lies beside the module with the image library.
#pragma once

#include "apps/photo/Photograph.h"

namespace photo {

// As readPicture and readMetadata give them. Throws std::runtime_error with the reason, also when
// the decoder crashes or takes too long, std::bad_alloc, Stopped.
Photograph readApart(Source source, int minimumBits, int threads, const Watch& watch);

// The whole of fogdissolver-reader.
int beReaderProgram(int argc, char** argv);

} // namespace photo
