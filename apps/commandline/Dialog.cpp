// The filter's dialogs, for which alone the program starts a window system.

#include <cstdlib>
#include <stdexcept>

#include <QApplication>

#include "apps/commandline/Editing.h"
#include "apps/commandline/FilterRun.h"
#include "host/scripting/Registry.h"

namespace commandline {
namespace {

// Qt ends the process when it finds no display, so look before it does.
void needDisplay() {
  if (!std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY") && !std::getenv("QT_QPA_PLATFORM"))
    throw std::runtime_error("the dialog needs a display, and there is none");
}

QApplication& application() {
  needDisplay();
  static int argc = 1;
  static char name[] = "fogdissolver";
  static char* argv[] = {name, nullptr};
  static QApplication application(argc, argv);
  return application;
}

} // namespace

FilterReport runDialog(const host::Module& module, host::Document& document, int threads,
                       const photo::Watch& watch) {
  application();
  host::Registry registry(host::Registry::defaultFile());
  host::SessionOptions options = sessionOptions(threads, watch, 0, 1);
  options.registry = &registry;
  host::Session session(module, document, options);
  const Stopwatch stopwatch;
  const host::RunOutcome outcome = session.runFromMenu();
  throwUnlessDone(outcome, watch);
  FilterReport report;
  report.lostSamples = outcome.lostSamples;
  report.filterSeconds = stopwatch.seconds();
  report.used = settingsOf(session);
  return report;
}

void runAbout(const host::Module& module) {
  application();
  host::Document nothing(1, 1, 3, 8);
  host::Session session(module, nothing, host::SessionOptions{});
  throwUnlessDone(session.about(), photo::Watch{});
}

} // namespace commandline
