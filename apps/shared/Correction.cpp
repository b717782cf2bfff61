// Runs the filter in a host session, and explains what it cannot process.

#include "apps/shared/Correction.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "apps/shared/Errors.h"
#include "frame/contract/Limits.h"
#include "frame/contract/ScriptKeys.h"
#include "frame/contract/Sliders.h"
#include "host/scripting/Registry.h"
#include "host/session/Session.h"

namespace shared {
namespace {

using Clock = std::chrono::steady_clock;

constexpr double estimateShare = 0.3; // of the progress, for a photograph of medium size

[[noreturn]] void refuse(const char* reason) { throw std::runtime_error(reason); }

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Maps the run's progress to a part of the watch's. The watch must outlive the run.
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

void throwUnlessDone(const host::RunOutcome& outcome, const photo::Watch& watch) {
  if (watch.stopped())
    throw photo::Stopped();
  if (outcome.ok())
    return;
  if (outcome.cancelled)
    throw Cancelled();
  if (outcome.result == memFullErr || outcome.unfinished)
    throw std::bad_alloc();
  throw std::runtime_error(outcome.message);
}

// The session's settings, created with the filter's defaults if there are none.
Parameters& settingsOf(host::Session& session) {
  host::RunOutcome outcome;
  void* block = session.parameters(&outcome);
  if (!block && outcome.result == memFullErr)
    throw std::bad_alloc();
  if (!block)
    throw std::runtime_error(outcome.message); // the filter refuses the document
  return *static_cast<Parameters*>(block);
}

// Without a dialog the filter computes the size of the image that it estimates from. If there is no
// such size, it leaves the photograph unchanged.
void refuseWithoutEstimate(const host::Document& document) {
  if (tooWideForEstimate(document.width()))
    throw std::runtime_error("wider than " + std::to_string(widestWithoutDialog) +
                             " pixels, which the filter corrects from its dialog only");
  if (tooHighForEstimate(document.width(), document.height()))
    refuse("too high for its width: the filter finds nothing to estimate from");
}

// The dialog estimates from its preview, which needs a row and a column. The dialog's layout gives
// the preview's frame 433 by 292 units, and a unit has at least one pixel.
void refuseWithoutPreview(const host::Document& document) {
  constexpr int64_t frameWidth = 433, frameHeight = 292;
  const int64_t width = document.width(), height = document.height();
  if (height * frameWidth < width)
    refuse("too wide for its height: nothing is left of it in the dialog's preview");
  if (width * frameHeight < height)
    refuse("too high for its width: nothing is left of it in the dialog's preview");
}

// A copy reduced to the size that the filter estimates from; never enlarged.
host::Document reducedForEstimate(const host::Document& document) {
  const EstimateSize size = estimateSize(document.width(), document.height());
  return host::reduced(document, std::clamp(size.width, 1, document.width()),
                       std::clamp(size.height, 1, document.height()));
}

// If the light is zero, the haze map is NaN. The estimates then keep their start values, where the
// foreground's is above the background's, and all samples become 0.
constexpr char noLight[] = "no haze light found";

void refuseWithoutLight(const Estimate& found) {
  if (!(found.foreground <= found.background))
    refuse(noLight);
}

template <class Sample> bool anyLight(const host::Document& document) {
  for (int32_t y = 0; y < document.height(); ++y) {
    const auto* pixel = reinterpret_cast<const Sample*>(document.row(y));
    for (int32_t x = 0; x < document.width(); ++x, pixel += document.channels())
      if (pixel[0] > 0 || pixel[1] > 0 || pixel[2] > 0)
        return true;
  }
  return false;
}

// Runs the filter in the session, and keeps the settings that it used.
void run(host::Session& session, const std::function<host::RunOutcome()>& play,
         const host::Document& document, const photo::Watch& watch, CorrectionReport& report) {
  const host::RunOutcome outcome = play();
  throwUnlessDone(outcome, watch);
  report.lostSamples = outcome.lostSamples;
  report.used = settingsOf(session);
  const Parameters& used = report.used;
  const bool light =
      document.depth() == 32 ? anyLight<float>(document) : anyLight<uint8_t>(document);
  // A mask is nowhere darker than the foreground's intensity, so only a mask whose intensity is 0
  // may be black.
  const bool mayBeBlack = used.outputMap && used.foregroundIntensity < 1.0f / 255;
  if (!light && !mayBeBlack)
    refuse(noLight);
}

// Applies the look's strength to the estimates.
void soften(Parameters& settings, const Estimate& found, double strength) {
  const auto share = [strength](float value) {
    return std::clamp(float(value * strength), 0.0f, 1.0f);
  };
  settings.foregroundIntensity = share(found.foreground);
  settings.backgroundIntensity = share(found.background);
}

Estimate estimatesIn(const Parameters& settings) {
  return {settings.foregroundIntensity, settings.backgroundIntensity};
}

// A separate run, on a reduced copy.
Estimate estimate(const host::Module& module, const host::Document& document, int threads,
                  const photo::Watch& watch) {
  host::Document low = reducedForEstimate(document);
  host::Session session(module, low, sessionOptions(threads, watch, 0, estimateShare));
  settingsOf(session);
  throwUnlessDone(session.playSilently({}), watch);
  return estimatesIn(settingsOf(session));
}

// Settings with which the dialog opens at the look. The dialog truncates a value to its slider's
// position, and the float for 0.35, which is slightly lower, would show as 34: given values are
// therefore raised by a millionth. The dialog softens the intensities that it finds, like its own
// estimate.
void openAt(const Look& look, const Estimate& found, Parameters& settings) {
  constexpr float lift = 1e-6f;
  apply(look, settings);
  if (look.foregroundPosition)
    settings.foregroundPosition += lift;
  if (look.backgroundPosition)
    settings.backgroundPosition += lift;
  if (look.balance)
    settings.power *= 1 + lift;
  const auto before = [](const std::optional<double>& given, float estimated) {
    return given ? (ValueOfPosition(*given) + lift) / estimateSoftening : estimated;
  };
  settings.foregroundIntensity = before(look.foreground, found.foreground);
  settings.backgroundIntensity = before(look.background, found.background);
}

// The dialog estimates both intensities or none: if one is given, a short run finds the other.
Estimate estimateBeside(const Look& look, const host::Module& module,
                        const host::Document& document, int threads, const photo::Watch& watch) {
  if (!look.foreground == !look.background)
    return {intensityUnset, intensityUnset};
  refuseWithoutEstimate(document);
  photo::Watch quiet; // the run itself reports the progress
  quiet.stopped = watch.stopped;
  return estimate(module, document, threads, quiet);
}

} // namespace

// The filter uses its own estimates only if both intensities are unset: the session then softens
// them in the same run. If one intensity is given, the estimates need a separate run first.
CorrectionReport correct(const host::Module& module, host::Document& document, const Look& look,
                         int threads, const photo::Watch& watch) {
  refuseWithoutEstimate(document);
  CorrectionReport report;
  const double strength = strengthOf(look);
  const bool noneGiven = !look.foreground && !look.background;
  const bool oneGiven = !noneGiven && !(look.foreground && look.background);
  auto start = Clock::now();
  const auto takeEstimate = [&](const Estimate& found) {
    report.estimate = found;
    report.estimateSeconds = secondsSince(std::exchange(start, Clock::now()));
  };
  if (oneGiven) {
    takeEstimate(strength > 0 ? estimate(module, document, threads, watch) : Estimate{0, 0});
    refuseWithoutLight(*report.estimate);
  }

  host::SessionOptions options = sessionOptions(threads, watch, oneGiven ? estimateShare : 0, 1);
  if (noneGiven)
    options.adjustSettings = [&](void* block) {
      Parameters& settings = *static_cast<Parameters*>(block);
      if (settings.foregroundIntensity == intensityUnset)
        return false;
      takeEstimate(estimatesIn(settings));
      soften(settings, *report.estimate, strength);
      return true;
    };
  host::Session session(module, document, options);
  Parameters& settings = settingsOf(session);
  if (report.estimate)
    soften(settings, *report.estimate, strength);
  apply(look, settings);
  run(
      session,
      [&] {
        return session.playSilently({{keyOutputMap, look.mask.value_or(false)}});
      },
      document, watch, report);
  if (noneGiven)
    refuseWithoutLight(report.estimate.value());
  report.filterSeconds = secondsSince(start);
  return report;
}

// The dialog neither reports progress nor asks for an abort: the first of either comes from the run
// after it.
CorrectionReport correctInDialog(const host::Module& module, host::Document& document, int threads,
                                 const photo::Watch& watch, void* window, const Look& start) {
  refuseWithoutPreview(document);
  const Estimate found = estimateBeside(start, module, document, threads, watch);
  host::Registry registry(host::Registry::defaultFile());
  host::SessionOptions options = sessionOptions(threads, watch, 0, 1);
  options.registry = &registry;
  options.window = window;
  std::atomic<bool> begun = false;
  auto runBegan = Clock::now();
  options.abort = [&] {
    if (!begun.exchange(true))
      runBegan = Clock::now();
    return watch.stopped();
  };
  host::Session session(module, document, options);
  openAt(start, found, settingsOf(session));
  CorrectionReport report;
  run(
      session, [&session] { return session.repeat(); }, document, watch, report);
  report.filterSeconds = secondsSince(runBegan);
  return report;
}

// The run after the dialog is stopped when it first asks for an abort.
Parameters setInDialog(const host::Module& module, host::Document& document, int threads,
                       void* window, const Look& start) {
  refuseWithoutPreview(document);
  const Estimate found = estimateBeside(start, module, document, threads, {});
  host::Registry registry(host::Registry::defaultFile());
  host::SessionOptions options;
  options.threads = threads;
  options.registry = &registry;
  options.window = window;
  std::atomic<bool> isSet = false;
  options.abort = [&isSet] { return isSet = true; };
  host::Session session(module, document, options);
  openAt(start, found, settingsOf(session));
  const host::RunOutcome outcome = session.repeat();
  if (!isSet)
    throwUnlessDone(outcome, {});
  return settingsOf(session);
}

CorrectionReport runAnyFilter(const host::Module& module, host::Document& document, int threads,
                              const photo::Watch& watch, void* window) {
  host::Registry registry(host::Registry::defaultFile());
  host::SessionOptions options = sessionOptions(threads, watch, 0, 1);
  options.registry = &registry;
  options.window = window;
  host::Session session(module, document, options);
  const host::RunOutcome outcome = session.runFromMenu();
  throwUnlessDone(outcome, watch);
  CorrectionReport report;
  report.lostSamples = outcome.lostSamples;
  return report;
}

Look lookSetInDialog(const Parameters& used, const Look& start) {
  Look look = lookOf(used);
  // A slider's position is a whole number, but that of an estimate hardly ever is.
  const auto unmoved = [](float value) {
    return value != ValueOfPosition(std::round(value * double(greatestPosition)));
  };
  if (!start.foreground && unmoved(used.foregroundIntensity))
    look.foreground.reset();
  if (!start.background && unmoved(used.backgroundIntensity))
    look.background.reset();
  return look;
}

void showAbout(const host::Module& module, void* window) {
  host::Document nothing(1, 1, 3, 8);
  host::SessionOptions options;
  options.window = window;
  host::Session session(module, nothing, options);
  throwUnlessDone(session.about(), photo::Watch{});
}

} // namespace shared
