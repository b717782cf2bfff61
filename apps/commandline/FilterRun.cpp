// Silent runs through the host's session.

#include "apps/commandline/FilterRun.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "apps/commandline/Editing.h"

namespace commandline {
namespace {

constexpr double estimatePixels = 100000; // what the filter itself estimates from
constexpr double estimateShare = 0.3;     // of the progress, for a photograph of middle size
constexpr FourCharCode keyOutputMap = fourCharCode("oMap"); // the filter's export flag

// A silent run tells the size that it reduces the photograph to in 32 bits, and leaves the
// photograph as it was where there is none.
void refuseShapesBeyondTheFilter(const host::Document& document) {
  constexpr int32_t widest = 21474;
  if (document.width() > widest)
    throw std::runtime_error(
        "wider than 21474 pixels, which the filter corrects from its dialog only");
  if (document.height() > estimatePixels * document.width())
    throw std::runtime_error("too high for its width: the filter finds nothing to estimate from");
}

// A copy reduced to the size that the filter estimates at; never enlarged.
host::Document reducedForEstimate(const host::Document& document) {
  const double width = document.width(), height = document.height();
  int32_t low = int32_t(std::sqrt(width * estimatePixels / height));
  low = std::clamp(low, 1, document.width());
  const int64_t lowHeight = int64_t(low) * document.height() / document.width();
  return host::reduced(document, low, int32_t(std::max<int64_t>(lowHeight, 1)));
}

Estimate estimate(const host::Module& module, const host::Document& document, int threads,
                  const photo::Watch& watch) {
  host::Document low = reducedForEstimate(document);
  host::Session session(module, low, sessionOptions(threads, watch, 0, estimateShare));
  settingsOf(session);
  throwUnlessDone(session.playSilently({}), watch);
  const Parameters& found = settingsOf(session);
  return {found.foregroundIntensity, found.backgroundIntensity};
}

// The share of an estimate that the look uses.
float softened(float value, double strength) {
  return std::clamp(float(value * strength), 0.0f, 1.0f);
}

} // namespace

FilterReport runFilter(const host::Module& module, host::Document& document, const Look& look,
                       int threads, const photo::Watch& watch) {
  refuseShapesBeyondTheFilter(document);
  FilterReport report;
  const double strength = strengthOf(look);
  const bool bothGiven = look.foreground && look.background;
  const bool ownEstimate = strength == 1 && !look.foreground && !look.background;
  const Stopwatch estimateWatch;
  if (!bothGiven && !ownEstimate)
    report.estimate = strength > 0 ? estimate(module, document, threads, watch) : Estimate{0, 0};
  report.estimateSeconds = estimateWatch.seconds();

  const Stopwatch runWatch;
  host::Session session(module, document,
                        sessionOptions(threads, watch, report.estimate ? estimateShare : 0.0, 1.0));
  Parameters& settings = settingsOf(session);
  if (report.estimate) {
    settings.foregroundIntensity = softened(report.estimate->foreground, strength);
    settings.backgroundIntensity = softened(report.estimate->background, strength);
  }
  apply(look, settings);
  const host::RunOutcome outcome =
      session.playSilently({{keyOutputMap, look.mask.value_or(false)}});
  throwUnlessDone(outcome, watch);
  report.lostSamples = outcome.lostSamples;
  report.used = settingsOf(session);
  report.filterSeconds = runWatch.seconds();
  return report;
}

} // namespace commandline
