// Dialogs with real widgets. Input events follow each other immediately, as on a busy machine: no
// event is handled between two of them unless a test calls settle().
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

// The program's only application object. Never destroyed: the platform's devices do not outlive
// main.
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
  // Types a text in which <Tab>, <Alt+D>, <Shift+Home> represent these keys.
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

// Calls run(), which opens a modal dialog, and calls the script when the dialog is active. The test
// fails if the dialog does not appear, or if the script leaves it open.
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
      timer.stop(); // the script may wait for events
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
