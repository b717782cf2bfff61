// What a control knows of the dialog that it belongs to.
#pragma once

#include <cstdint>

#include "ui/toolkit/WindowMessages.h"

class QWidget;

class ControlOwner {
public:
  virtual Window window() const = 0;
  virtual QWidget* surface() = 0; // parent of the controls' widgets

  // Enter or Esc that no control wanted: presses the button that stands for it.
  virtual void pressKey(uintptr_t key) = 0;

  // Runs what may throw from within an event. An exception ends the dialog, whose run() throws it
  // again: none passes through the event loop.
  template <typename Function> void guarded(Function&& function) {
    try {
      function();
    } catch (...) {
      keepException();
    }
  }

protected:
  ~ControlOwner() = default;
  virtual void keepException() = 0; // keeps the one that is being handled
};
