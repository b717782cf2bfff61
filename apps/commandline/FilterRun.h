// The filter's runs over a document: the estimate where one is wanted, then the correction.
#pragma once

#include <functional>
#include <optional>

#include "apps/commandline/Look.h"
#include "apps/photo/Picture.h"
#include "host/module/FilterModule.h"

namespace commandline {

// The photograph's own intensities, 0 to 1.
struct Estimate {
  float foreground, background;
};

struct FilterReport {
  std::optional<Estimate> estimate; // of the reduced copy; none if it was not needed
  double estimateSeconds = 0, filterSeconds = 0;
  Parameters used{};
  int64_t lostSamples = 0; // that the filter made no finite number of; they are 0
};

// Corrects the document with the look. Throws std::runtime_error with the reason, photo::Stopped.
FilterReport runFilter(const host::Module& module, host::Document& document, const Look& look,
                       int threads, const photo::Watch& watch);

// Opens the filter's dialog on the document. `used` tells what was set. Throws the same, and
// std::runtime_error("cancelled") when the person leaves by Cancel.
FilterReport runDialog(const host::Module& module, host::Document& document, int threads,
                       const photo::Watch& watch);

// Shows the filter's about box.
void runAbout(const host::Module& module);

} // namespace commandline
