// GIMP cancels a plug-in by killing it. The image is therefore changed only at the end, when the
// progress bar with its button is gone.

#include "apps/gimp/Run.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <thread>
#include <utility>

#include <gegl.h>
#include <omp.h>

#include "apps/gimp/Arguments.h"
#include "apps/gimp/Layers.h"
#include "apps/gimp/Windows.h"
#include "apps/photo/Room.h"
#include "apps/shared/Correction.h"
#include "apps/shared/Errors.h"
#include "apps/shared/Installation.h"

namespace gimp {
namespace {

using shared::Look;

struct Call {
  GimpRunMode mode;
  Layer layer;
  Look look; // requested, or last used
  bool dialog;
};

// The last settings. On the same layer they give exactly the same result again.
Look lastLook(const Layer& layer, bool forDialog) {
  Last last = gimp::last();
  if (!forDialog && last.layer == layer.id) {
    last.look.foreground = last.foreground;
    last.look.background = last.background;
  }
  return last.look;
}

Call readCall(const std::string& procedure, std::span<const GimpParam> arguments) {
  if (arguments.size() < 3)
    throw shared::UsageError("A run mode, an image and a layer are needed.");
  Call call{GimpRunMode(arguments[0].data.d_int32),
            {arguments[1].data.d_image, arguments[2].data.d_drawable},
            {},
            false};
  const bool correct = procedure == correctName;
  call.dialog = correct && call.mode == GIMP_RUN_INTERACTIVE;
  if (call.mode != GIMP_RUN_NONINTERACTIVE)
    call.look = lastLook(call.layer, call.dialog);
  else if (correct)
    call.look = lookOf(arguments);
  if (!correct)
    call.look.mask = true;
  if (const std::string reason = refusal(call.layer); !reason.empty())
    throw shared::UsageError(reason);
  if (call.dialog && !mayHaveDisplay())
    throw shared::UsageError("Fogdissolver's dialog needs a display, and there is none.");
  return call;
}

// GIMP's own setting, or the number of cores.
int threadsOfGimp() {
  gchar* text = gimp_gimprc_query("num-processors");
  const int set = text ? std::atoi(text) : 0;
  g_free(text);
  return photo::threadsForFilter(set > 0 ? set : int(std::thread::hardware_concurrency()));
}

// Updates GIMP's progress bar, which appears at once or, behind a dialog, with the first report.
// GIMP's library serves one thread only, but all of the filter's threads report.
photo::Watch bar(bool atOnce) {
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::milliseconds between(50); // each report waits for GIMP's answer
  static constexpr char text[] = "Removing haze";
  if (atOnce)
    gimp_progress_init(text);
  photo::Watch watch;
  watch.progress = [main = std::this_thread::get_id(), begun = atOnce,
                    last = Clock::time_point()](double share) mutable {
    const auto now = Clock::now();
    if (std::this_thread::get_id() != main || now - last < between)
      return;
    if (!std::exchange(begun, true))
      gimp_progress_init(text);
    last = now;
    gimp_progress_update(share);
  };
  return watch;
}

void tellLost(const shared::CorrectionReport& report) {
  if (report.lostSamples)
    g_message("%lld samples came out as no number; they are 0.", (long long)report.lostSamples);
}

// The filter's result, and whether it is the mask.
struct Result {
  host::Document document;
  bool isMask;
};

Result silently(const host::Module& module, const Layer& layer, const Look& look, int threads,
                const photo::Watch& watch) {
  Result result{documentOf(layer), look.mask.value_or(false)};
  if (result.isMask) // the transparency of its layer has the soft edges
    harden(result.document);
  tellLost(shared::correct(module, result.document, look, threads, watch));
  return result;
}

Result inDialog(const host::Module& module, const Call& call, int threads,
                const photo::Watch& watch) {
  Result result{documentOf(call.layer), false};
  Last set;
  withWindows([&] {
    const auto report =
        shared::correctInDialog(module, result.document, threads, watch, nullptr, call.look);
    tellLost(report);
    result.isMask = report.used.outputMap != 0;
    const Look used = shared::lookOf(report.used);
    set = {shared::lookSetInDialog(report.used, call.look), call.layer.id, *used.foreground,
           *used.background};
    if (result.isMask && !isHard(result.document)) // only now it is known to be a mask
      result = silently(module, call.layer, used, threads, watch);
  });
  keep(set);
  return result;
}

void work(const Call& call) {
  gegl_init(nullptr, nullptr); // takes a moment, so refusals come first
  const host::Module module = host::Module::openBest(shared::pluginFolder());
  const int threads = threadsOfGimp();
  omp_set_num_threads(threads);
  const photo::Watch watch = bar(!call.dialog);
  Result result = call.dialog ? inDialog(module, call, threads, watch)
                              : silently(module, call.layer, call.look, threads, watch);
  gimp_progress_end();
  if (const std::string reason = refusal(call.layer); !reason.empty())
    throw std::runtime_error(reason); // the image was closed or changed meanwhile
  if (result.isMask)
    addMaskLayer(call.layer, result.document);
  else
    replacePixels(call.layer, result.document);
  if (call.mode != GIMP_RUN_NONINTERACTIVE)
    gimp_displays_flush();
}

// Adds a capital and a full stop.
std::string sentence(std::string text) {
  if (!text.empty())
    text[0] = g_ascii_toupper(text[0]);
  return text.ends_with('.') ? text : text + '.';
}

} // namespace

End run(const std::string& procedure, std::span<const GimpParam> arguments) {
  try {
    work(readCall(procedure, arguments));
    return {};
  } catch (const shared::UsageError& error) {
    return {GIMP_PDB_CALLING_ERROR, error.what()};
  } catch (const shared::Cancelled&) {
    return {GIMP_PDB_CANCEL, ""};
  } catch (const std::exception& error) {
    return {GIMP_PDB_EXECUTION_ERROR, sentence(shared::reasonOf(error))};
  }
}

} // namespace gimp
