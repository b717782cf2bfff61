#include "apps/gimp/Windows.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include <memory>

#include <QApplication>
#include <QEvent>
#include <QWidget>
#include <QWindow>
#include <libgimp/gimp.h>

namespace gimp {
namespace {

// Qt aborts the process if it finds no display. Its other messages are not for users.
void onMessage(QtMsgType type, const QMessageLogContext&, const QString&) {
  if (type != QtFatalMsg)
    return;
  gimp_message("Fogdissolver's dialog needs a display, and none can be opened.");
  std::exit(EXIT_FAILURE);
}

// GIMP identifies its window by its X window number.
class InFrontOfGimp : public QObject {
public:
  bool eventFilter(QObject* object, QEvent* event) override {
    const auto* widget = qobject_cast<QWidget*>(object);
    if (event->type() == QEvent::Show && widget && widget->isWindow() && widget->windowHandle())
      widget->windowHandle()->setTransientParent(gimpWindow_.get());
    return false;
  }

private:
  static QWindow* find() {
    const auto id = WId(gimp_progress_get_window_handle());
    return id && QGuiApplication::platformName() == "xcb" ? QWindow::fromWinId(id) : nullptr;
  }
  const std::unique_ptr<QWindow> gimpWindow_{find()};
};

} // namespace

bool mayHaveDisplay() {
  const char* names[] = {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"};
  return std::any_of(std::begin(names), std::end(names),
                     [](const char* name) { return g_getenv(name) != nullptr; });
}

void withWindows(const std::function<void()>& work) {
  qInstallMessageHandler(onMessage);
  int argc = 1;
  char name[] = "fogdissolver";
  char* argv[] = {name, nullptr};
  QApplication application(argc, argv);
  InFrontOfGimp filter;
  application.installEventFilter(&filter);
  work();
}

} // namespace gimp
