// Reads photographs in a separate process, so that a hostile or damaged file can do no harm.
//
// The process decodes pixels and metadata within the limits of Confinement.h. It returns one
// message, which the parent checks; the parent copies the samples out of the process's memory,
// which is cheaper than sharing small pages, and then kills it. The process is a fork, which needs
// no start-up and has the codecs loaded. If the caller has threads, it is the program
// fogdissolver-reader, in the folder of the module with the image library, because a process with
// threads should not fork.
#pragma once

#include "apps/photo/Photograph.h"

namespace photo {

// Returns what readPicture and readMetadata return. Throws std::runtime_error with the reason, also
// if the decoder crashes or takes too long, std::bad_alloc, Stopped.
Photograph readApart(Source source, int minimumBits, int threads, const Watch& watch);

// The main function of fogdissolver-reader.
int beReaderProgram(int argc, char** argv);

} // namespace photo
