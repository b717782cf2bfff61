// What a control can ask of its dialog.
#pragma once

#include <cstdint>

#include "ui/toolkit/WindowMessages.h"

class QWidget;

class ControlOwner {
public:
  virtual Window window() const = 0;
  virtual QWidget* surface() = 0; // parent of the controls' widgets

  // For Enter or Esc that no control handled: presses the corresponding button.
  virtual void pressKey(uintptr_t key) = 0;

  // Runs code that may throw inside an event. An exception ends the dialog, and its run() throws it
  // again, so that no exception passes through the event loop.
  template <typename Function> void guarded(Function&& function) {
    try {
      function();
    } catch (...) {
      keepException();
    }
  }

protected:
  ~ControlOwner() = default;
  virtual void keepException() = 0; // keeps the exception that is being handled
};
