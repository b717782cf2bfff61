// A control of a dialog: a Qt widget behind a window record.
//
// The object is an event filter in front of its widget. Input becomes messages to the window; what
// the procedures in front of it let through comes back to behave(), which does what the stock
// control does, mostly by handing the widget the event that it would have got at once.
#pragma once

#include <QObject>
#include <QWidget>

#include "ui/toolkit/DialogTemplate.h"
#include "ui/toolkit/WindowRecord.h"
#include "ui/toolkit/qt/ControlOwner.h"

class QKeyEvent;

class QtControl : public QObject {
public:
  // The widget is a child of the owner's surface; this object is the widget's child.
  QtControl(ControlOwner& owner, const DialogControl& control, QWidget* widget);

  Window window() const { return window_; }
  QWidget* widget() const { return widget_; }
  ControlKind kind() const { return kind_; }

  // Messages that no procedure stopped.
  virtual intptr_t behave(uint32_t message, uintptr_t wParam, intptr_t lParam);

protected:
  virtual std::string text() const { return {}; }
  virtual void setText(const std::string&) {}

  // An event for the widget; true: it is not to see it.
  virtual bool onEvent(QEvent*) { return false; }
  bool eventFilter(QObject* watched, QEvent* event) final;

  // Input as messages to the window; true: the widget is not to see the event as well.
  bool sendKeyPress(QKeyEvent& event);
  bool sendKeyRelease(QKeyEvent& event);
  bool sendWheel(QEvent* event);
  void sendFor(QEvent& event, uint32_t message, uintptr_t wParam = 0);

  void deliver(QEvent& event) { static_cast<QObject*>(widget_)->event(&event); }
  void deliverCurrent(); // the event that the present message came from, if it came from one
  QEvent* current() const { return current_; }

  void sendToDialog(uint32_t message, uintptr_t wParam, intptr_t lParam); // from a widget's signal
  void sendCommand(uint32_t code); // WM_COMMAND with this notification code
  ControlOwner& owner() const { return owner_; }

private:
  ControlOwner& owner_;
  ControlKind kind_;
  QWidget* widget_;
  Window window_;
  QEvent* current_ = nullptr;
  int wheelRest_{}; // turn that has not made a whole notch yet
};

WindowRect RectOnScreen(const QWidget& widget); // without a frame

// Copies UTF-8 text as WM_GETTEXT does: at most `capacity` bytes with the ending zero.
intptr_t CopyText(const std::string& text, uintptr_t capacity, intptr_t buffer);
