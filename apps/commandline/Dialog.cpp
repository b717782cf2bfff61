#include "apps/commandline/Dialog.h"

#include <cstdlib>

#include <QApplication>

#include "apps/commandline/Terminal.h"

namespace commandline {
namespace {

const std::string* photograph;
int status;

// Qt ends the process by an abort where it finds no display. Its other remarks are not for the user
// of a command line.
void onMessage(QtMsgType type, const QMessageLogContext&, const QString&) {
  if (type != QtFatalMsg)
    return;
  say(*photograph, "--dialog and --about need a display, and none can be opened");
  std::_Exit(status);
}

} // namespace

void startWindows(const std::string& about, int statusWithoutDisplay) {
  photograph = &about;
  status = statusWithoutDisplay;
  qInstallMessageHandler(onMessage);
  static int argc = 1;
  static char name[] = "fogdissolver";
  static char* argv[] = {name, nullptr};
  static const QApplication application(argc, argv);
}

} // namespace commandline
