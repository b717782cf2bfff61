// A control of a dialog: a Qt widget and its window record.
//
// The object is an event filter on its widget. It converts input to messages for the window.
// Messages that no procedure stops come back to behave(), which acts like the stock control, mostly
// by delivering the original event to the widget.
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

  // Handles messages that no procedure stopped.
  virtual intptr_t behave(uint32_t message, uintptr_t wParam, intptr_t lParam);

protected:
  virtual std::string text() const { return {}; }
  virtual void setText(const std::string&) {}

  // An event for the widget; true: the widget does not get it.
  virtual bool onEvent(QEvent*) { return false; }
  bool eventFilter(QObject* watched, QEvent* event) final;

  // Sends input as messages to the window; true: the widget does not get the event.
  bool sendKeyPress(QKeyEvent& event);
  bool sendKeyRelease(QKeyEvent& event);
  bool sendWheel(QEvent* event);
  void sendFor(QEvent& event, uint32_t message, uintptr_t wParam = 0);

  void deliver(QEvent& event) { static_cast<QObject*>(widget_)->event(&event); }
  void deliverCurrent(); // delivers the event behind the current message, if there is one
  QEvent* current() const { return current_; }

  void sendToDialog(uint32_t message, uintptr_t wParam, intptr_t lParam); // for a widget's signal
  void sendCommand(uint32_t code); // WM_COMMAND with this notification code
  ControlOwner& owner() const { return owner_; }

private:
  ControlOwner& owner_;
  ControlKind kind_;
  QWidget* widget_;
  Window window_;
  QEvent* current_ = nullptr;
  int wheelRest_ = 0; // rest of a turn below a whole notch
};

WindowRect RectOnScreen(const QWidget& widget); // without a frame

// Copies UTF-8 text like WM_GETTEXT: at most `capacity` bytes with the final zero.
intptr_t CopyText(const std::string& text, uintptr_t capacity, intptr_t buffer);
