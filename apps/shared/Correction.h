// Runs the filter on a document: one run that estimates and corrects, or two separate ones.
#pragma once

#include <functional>
#include <optional>

#include "apps/photo/Picture.h"
#include "apps/shared/Look.h"
#include "host/module/FilterModule.h"

namespace shared {

// The photograph's estimated intensities, 0 to 1.
struct Estimate {
  float foreground, background;
};

struct CorrectionReport {
  std::optional<Estimate> estimate; // empty if it was not needed
  // Time until the estimate was known, and after it; without the time that a dialog is open.
  double estimateSeconds = 0, filterSeconds = 0;
  Parameters used{};
  int64_t lostSamples = 0; // non-finite samples from the filter; they are 0
};

// Both correct the document in place and throw std::runtime_error with the reason, std::bad_alloc
// or photo::Stopped. The document is then unusable.

CorrectionReport correct(const host::Module& module, host::Document& document, const Look& look,
                         int threads, const photo::Watch& watch);

// Opens the filter's dialog on the document; the caller has created a QApplication. `used` gets the
// chosen settings. `window`, a QWidget or null, is the parent of the dialog, which opens with
// `start`, except for the mask, which the filter itself remembers. Throws Cancelled if the user
// cancels.
CorrectionReport correctInDialog(const host::Module& module, host::Document& document, int threads,
                                 const photo::Watch& watch, void* window = nullptr,
                                 const Look& start = {});

// Opens the same dialog only for its settings: the document does not change; the run happens
// elsewhere.
Parameters setInDialog(const host::Module& module, host::Document& document, int threads,
                       void* window = nullptr, const Look& start = {});

// The user's choice in a dialog that opened with `start`: intensities that `start` leaves to the
// estimate and that the user did not move remain estimates.
Look lookSetInDialog(const Parameters& used, const Look& start);

// Runs any filter from its menu, with its dialog; its settings are unknown. Otherwise as above.
CorrectionReport runAnyFilter(const host::Module& module, host::Document& document, int threads,
                              const photo::Watch& watch, void* window = nullptr);

// Shows the filter's about box; the caller has created a QApplication.
void showAbout(const host::Module& module, void* window = nullptr);

} // namespace shared
