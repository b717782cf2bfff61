// The steps for one photograph, from its file to its result.
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

// Corrects a document in place.
struct Corrector {
  std::function<CorrectionReport(host::Document&, const photo::Watch&)> run;
  bool isSeen = false; // the user sees the document, so it must be upright
};

enum class Need { file, all };

// Receives messages about the work, one sentence at a time.
struct Listener {
  std::function<void(const std::string&)> note = [](const std::string&) {};   // important
  std::function<void(const std::string&)> detail = [](const std::string&) {}; // details
  // Whether the photograph may use this many bytes of memory; may wait for them. It asks at least
  // once for all that it needs, and before that for its file alone if that is large.
  std::function<bool(int64_t, Need)> grant = [](int64_t bytes, Need) {
    return bytes <= memoryOfMachine();
  };
};

// Throws std::exception with the reason, photo::Stopped, Cancelled; leaves no file behind then.
CorrectionReport develop(const Job& job, const Request& request, const Corrector& corrector,
                         const Listener& listener, const photo::Watch& watch);

// ---- Its steps, for callers that keep a photograph between them. Each throws like develop.

using Loaded = photo::Photograph; // the document's colours are not multiplied by alpha

// At least this many bits per channel. From any thread.
Loaded load(const std::string& path, int minimumBits, int threads, const photo::Watch& watch);

// Corrects a document; turns it upright meanwhile if the user sees it and it has that orientation.
CorrectionReport correctWith(const Corrector& corrector, host::Document& document, int orientation,
                             const photo::Watch& watch);

// How to write the picture in the format. Uses the request's bits, quality and threads.
photo::Encoding encodingFor(const photo::Format& format, const Request& request,
                            const photo::Picture& picture);

// The result's file. Adapts the picture and the metadata to it; if the format stores colours
// multiplied by alpha, the picture's colours are multiplied, too.
photo::Bytes encode(photo::Picture& picture, photo::Metadata& metadata,
                    const photo::Encoding& encoding, const photo::Watch& watch);

// Writes to the job's output, completely or not at all. Makes its folder, which a failure removes.
void store(const Job& job, bool replace, const photo::Bytes& bytes);

} // namespace shared
