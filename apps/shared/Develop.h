// One photograph from its file to its result.
#pragma once

#include <functional>
#include <string>

#include "apps/photo/Picture.h"
#include "apps/shared/Correction.h"
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
};

// Throws std::exception with the reason, photo::Stopped, Cancelled; no file is left behind then.
CorrectionReport develop(const Job& job, const Request& request, const Corrector& corrector,
                         const Listener& listener, const photo::Watch& watch);

} // namespace shared
