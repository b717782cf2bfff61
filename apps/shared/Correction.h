// The filter's runs over a document: one that estimates and corrects, or both apart.
#pragma once

#include <functional>
#include <optional>

#include "apps/photo/Picture.h"
#include "apps/shared/Look.h"
#include "host/module/FilterModule.h"

namespace shared {

// The photograph's own intensities, 0 to 1.
struct Estimate {
  float foreground, background;
};

struct CorrectionReport {
  std::optional<Estimate> estimate; // none if it was not needed
  // Until the estimate was known, and from then on; without the time that a dialog is open.
  double estimateSeconds = 0, filterSeconds = 0;
  Parameters used{};
  int64_t lostSamples = 0; // that the filter made no finite number of; they are 0
};

// Both correct the document in place and throw std::runtime_error with the reason, std::bad_alloc
// or photo::Stopped. The document is then not to be used.

CorrectionReport correct(const host::Module& module, host::Document& document, const Look& look,
                         int threads, const photo::Watch& watch);

// Opens the filter's dialog on the document; the caller has made a QApplication. `used` holds what
// was set. `window`, a QWidget or null, owns the dialog, which shows `start`, but for the mask: the
// filter remembers that by itself. Throws Cancelled when the person leaves by Cancel.
CorrectionReport correctInDialog(const host::Module& module, host::Document& document, int threads,
                                 const photo::Watch& watch, void* window = nullptr,
                                 const Look& start = {});

// Opens the same dialog for what is set in it alone: the document stays as it is, for a run
// elsewhere.
Parameters setInDialog(const host::Module& module, host::Document& document, int threads,
                       void* window = nullptr, const Look& start = {});

// What a person has set in a dialog that showed `start`: intensities that start leaves to the
// photograph's estimate and that nobody has moved stay with it.
Look lookSetInDialog(const Parameters& used, const Look& start);

// Runs any filter from its menu, dialog and all; nothing is known of its settings. Else as above.
CorrectionReport runAnyFilter(const host::Module& module, host::Document& document, int threads,
                              const photo::Watch& watch, void* window = nullptr);

// Shows the filter's about box; the caller has made a QApplication.
void showAbout(const host::Module& module, void* window = nullptr);

} // namespace shared
