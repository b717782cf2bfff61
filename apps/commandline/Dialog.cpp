#include "apps/commandline/Dialog.h"

#include <utility>

#include <QApplication>

namespace commandline {
namespace {

std::function<void(const std::string&)> endProcess;

// Qt aborts the process if it finds no display. Its other messages are not for users of a command
// line.
void onMessage(QtMsgType type, const QMessageLogContext&, const QString&) {
  if (type == QtFatalMsg)
    endProcess("--dialog and --about need a display, and none can be opened");
}

} // namespace

void startWindows(std::function<void(const std::string&)> end) {
  endProcess = std::move(end);
  qInstallMessageHandler(onMessage);
  static int argc = 1;
  static char name[] = "fogdissolver";
  static char* argv[] = {name, nullptr};
  static const QApplication application(argc, argv);
}

} // namespace commandline
