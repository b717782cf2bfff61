// One photograph from its file to its result.
#pragma once

#include <functional>
#include <string>

#include "apps/photo/Formats.h"
#include "apps/photo/Metadata.h"
#include "apps/photo/Picture.h"
#include "apps/photo/ReaderProcess.h"
#include "apps/shared/Correction.h"
#include "apps/shared/Memory.h"
#include "apps/shared/Plan.h"

namespace shared {

// What corrects a document in place.
struct Corrector {
  std::function<CorrectionReport(host::Document&, const photo::Watch&)> run;
  bool isSeen = false; // a person sees the document, which must be upright then
};

// Who hears of the work, a sentence at a time.
struct Listener {
  std::function<void(const std::string&)> note = [](const std::string&) {};   // to be known
  std::function<void(const std::string&)> detail = [](const std::string&) {}; // for the curious
  // Whether the photograph may take so many bytes of memory; may wait until it may.
  std::function<bool(int64_t)> grant = [](int64_t bytes) { return bytes <= memoryOfMachine(); };
};

// Throws std::exception with the reason, photo::Stopped, Cancelled; no file is left behind then.
CorrectionReport develop(const Job& job, const Request& request, const Corrector& corrector,
                         const Listener& listener, const photo::Watch& watch);

// ---- Its steps, for who keeps a photograph between them. Each throws as develop does.

using Loaded = photo::Photograph; // the document's colours are not multiplied with alpha

// At least so many bits a channel. From any thread.
Loaded load(const std::string& path, int minimumBits, int threads, const photo::Watch& watch);

// Corrects a document, upright in between if it is seen and has that orientation.
CorrectionReport correctWith(const Corrector& corrector, host::Document& document, int orientation,
                             const photo::Watch& watch);

// How to write the picture in the format. The request's bits, quality and threads count.
photo::Encoding encodingFor(const photo::Format& format, const Request& request,
                            const photo::Picture& picture);

// The result's file. Adapts the picture and the metadata to it; where the format stores colours
// multiplied with alpha, the picture's are then.
photo::Bytes encode(photo::Picture& picture, photo::Metadata& metadata,
                    const photo::Encoding& encoding, const photo::Watch& watch);

// To the job's output, whole or not at all.
void store(const Job& job, bool replace, const photo::Bytes& bytes);

} // namespace shared
