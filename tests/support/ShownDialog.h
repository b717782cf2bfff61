// Dialogs as a user finds them: real widgets, and input sent back to back, as
// it arrives on a machine that was busy: between two events nothing is handled
// unless a test says settle().
#pragma once

#include <gmock/gmock.h>

#include <QApplication>
#include <QDialog>
#include <QKeySequence>
#include <QTest>
#include <QTimer>
#include <QWindow>

#include <functional>

namespace fixture {

// The one application of a program. Never destroyed: the platform's devices do not outlive main.
inline void needApplication() {
  static int argc = 1;
  static char name[] = "test", *argv[] = {name, nullptr};
  static const auto* application = new QApplication(argc, argv);
  (void)application;
}

inline void settle() { QCoreApplication::processEvents(); }

struct Shown {
  QDialog* dialog;

  QWindow* window() const { return dialog->windowHandle(); }

  void keyEvent(QEvent::Type type, int key, Qt::KeyboardModifiers held = {}) const {
    const bool types = key < Qt::Key_Escape && !(held & ~Qt::ControlModifier); // as on X11
    qt_handleKeyEvent(window(), type, key, held, types ? QString(QChar(key)).toLower() : "");
  }
  void press(int key, Qt::KeyboardModifiers held = {}) const {
    keyEvent(QEvent::KeyPress, key, held);
  }
  void release(int key) const { keyEvent(QEvent::KeyRelease, key); }
  // Types a text in which <Tab>, <Alt+D>, <Shift+Home> stand for those keys.
  void keys(const QString& text) const {
    for (qsizetype i = 0; i < text.size(); ++i) {
      const qsizetype end = text[i] == '<' ? text.indexOf('>', i) : i;
      const QKeySequence keys(end > i ? text.mid(i + 1, end - i - 1) : text.mid(i, 1));
      press(keys[0].key(), keys[0].keyboardModifiers());
      keyEvent(QEvent::KeyRelease, keys[0].key(), keys[0].keyboardModifiers());
      i = end;
    }
  }

  void mouse(QEvent::Type type, QPoint at, Qt::KeyboardModifiers held = {}) const {
    static int time = 0;
    time += 1000; // milliseconds: too slow for double clicks
    const auto down = type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
    const auto changed = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
    qt_handleMouseEvent(window(), at, window()->mapToGlobal(at), down, changed, type, held, time);
  }
  void click(QWidget* widget, Qt::KeyboardModifiers held = {}, QPoint where = {}) const {
    const QPoint at = widget->mapTo(dialog, where.isNull() ? widget->rect().center() : where);
    mouse(QEvent::MouseButtonPress, at, held);
    mouse(QEvent::MouseButtonRelease, at, held);
  }

  QImage picture(QRect part = {}) const {
    return dialog->grab(part.isNull() ? dialog->rect() : part).toImage();
  }
};

// Calls run(), which opens a modal dialog, and the script once the dialog is
// active. A dialog that does not come, or that the script leaves open, fails
// the test.
inline void whileShown(const std::function<void(const Shown&)>& script,
                       const std::function<void()>& run) {
  needApplication();
  bool ran = false;
  int patience = 1000; // timeouts
  QTimer timer;
  QObject::connect(&timer, &QTimer::timeout, [&] {
    auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
    if (ran || --patience == 0) {
      ADD_FAILURE() << (dialog ? "the dialog is still open" : "there is no dialog");
      QCoreApplication::exit();
    } else if (dialog && dialog->isActiveWindow()) {
      timer.stop(); // the script may wait
      ran = true;
      script(Shown{dialog});
      timer.start(2);
    }
  });
  timer.start(2); // milliseconds
  run();
  EXPECT_TRUE(ran);
}

} // namespace fixture
