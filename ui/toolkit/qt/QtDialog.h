// A modal dialog: a QDialog behind a window record, built from a table and run until EndDialog.
//
// Exceptions of the procedures do not pass through the toolkit's event loop: the first is kept,
// ends the dialog, and is thrown again by run().
#pragma once

#include <QDialog>
#include <QEventLoop>
#include <QImage>

#include <exception>
#include <optional>
#include <vector>

#include "ui/toolkit/DialogTemplate.h"
#include "ui/toolkit/WindowRecord.h"

class QtControl;

class QtDialog : public QObject {
public:
  QtDialog(const DialogTemplate& dialogTemplate, QWidget* owner, DialogProc proc);
  ~QtDialog() override;

  intptr_t run(intptr_t parameter);

  Window window() const { return window_; }
  QDialog* widget() { return &widget_; }

  // Enter or Esc that no control wanted: presses the button that stands for it.
  void pressKey(uintptr_t key);

  // Runs what may throw from within an event.
  template <typename Function> void guarded(Function&& function) {
    try {
      function();
    } catch (...) {
      keepException();
    }
  }

  static QtDialog* innermost(); // the dialog that runs now, or null

protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

private:
  static intptr_t behaviour(Window, uint32_t message, uintptr_t wParam, intptr_t lParam);
  intptr_t behave(uint32_t message, uintptr_t wParam, intptr_t lParam);
  void buildControls(const DialogTemplate& dialogTemplate);
  bool filterApplicationKey(QEvent* event);
  void paint(const QRegion& region);
  void closeFromDesktop();
  void end(intptr_t result);
  void keepException();

  Window owner_; // stands for the owner's widget; null without one
  Window window_;
  QDialog widget_;
  std::vector<QtControl*> controls_;
  QEventLoop loop_;
  std::optional<intptr_t> result_;
  std::exception_ptr thrown_;
  QImage drawn_;          // what the procedure last drew, shown again until it draws anew
  QPoint drawnPlace_;     // its corner, in client coordinates
  bool altAlone_ = false; // Alt is down, and no other key came since
  QtDialog* outer_;
};
