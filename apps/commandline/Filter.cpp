// Silent runs through the host's session.

#include "apps/commandline/Filter.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <new>
#include <stdexcept>

#include "apps/commandline/SessionOutcome.h"
#include "host/Session.h"

namespace commandline {
namespace {

using Clock = std::chrono::steady_clock;

constexpr double estimatePixels = 100000; // what the filter itself estimates from
constexpr double estimateShare = 0.3;     // of the progress, for a photograph of middle size
constexpr FourCharCode keyOutputMap = fourCharCode("oMap"); // the filter's export flag

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

host::SessionOptions sessionOptions(int threads, const photo::Watch& watch, double from,
                                    double to) {
  host::SessionOptions options;
  options.threads = threads;
  options.abort = watch.stopped;
  options.progress = [&watch, from, to](int32_t done, int32_t total) {
    if (total > 0)
      watch.progress(from + (to - from) * std::min(1.0, double(done) / total));
  };
  return options;
}

Parameters& settingsOf(host::Session& session) {
  void* block = session.parameters();
  if (!block)
    throw std::bad_alloc();
  return *static_cast<Parameters*>(block);
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

void throwUnlessDone(const host::RunOutcome& outcome, const photo::Watch& watch) {
  if (watch.stopped())
    throw photo::Stopped();
  if (outcome.ok())
    return;
  if (outcome.cancelled)
    throw std::runtime_error("cancelled");
  if (outcome.result == memFullErr)
    throw std::bad_alloc();
  throw std::runtime_error(outcome.message.empty()
                               ? "the filter failed with code " + std::to_string(outcome.result)
                               : outcome.message);
}

FilterReport runFilter(const host::Module& module, host::Document& document, const Look& look,
                       int threads, const photo::Watch& watch) {
  FilterReport report;
  const double strength = strengthOf(look);
  const bool bothGiven = look.foreground && look.background;
  const bool ownEstimate = strength == 1 && !look.foreground && !look.background;
  const Clock::time_point start = Clock::now();
  if (!bothGiven && !ownEstimate)
    report.estimate = strength > 0 ? estimate(module, document, threads, watch) : Estimate{0, 0};
  report.estimateSeconds = secondsSince(start);

  const Clock::time_point runStart = Clock::now();
  host::Session session(module, document,
                        sessionOptions(threads, watch, report.estimate ? estimateShare : 0.0, 1.0));
  Parameters& settings = settingsOf(session);
  if (report.estimate) {
    settings.foregroundIntensity = softened(report.estimate->foreground, strength);
    settings.backgroundIntensity = softened(report.estimate->background, strength);
  }
  apply(look, settings);
  throwUnlessDone(session.playSilently({{keyOutputMap, look.mask.value_or(false)}}), watch);
  report.used = settingsOf(session);
  report.filterSeconds = secondsSince(runStart);
  return report;
}

} // namespace commandline
