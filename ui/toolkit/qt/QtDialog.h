// A modal dialog: a QDialog and its window record, built from a table; runs until EndDialog.
//
// Every posted message is handled before the next key, click or focus change: that input may end
// the dialog, and earlier input must count.
#pragma once

#include <QDialog>
#include <QEventLoop>
#include <QImage>

#include <cstdint>
#include <exception>
#include <optional>
#include <vector>

#include "ui/toolkit/DialogTemplate.h"
#include "ui/toolkit/WindowRecord.h"
#include "ui/toolkit/qt/ControlOwner.h"

class QKeyEvent;
class QtControl;

class QtDialog : public QObject, public ControlOwner {
public:
  QtDialog(const DialogTemplate& dialogTemplate, QWidget* owner, DialogProc proc);
  ~QtDialog() override;

  intptr_t run(intptr_t parameter);

  Window window() const override { return window_; }
  QWidget* surface() override { return &widget_; }
  void pressKey(uintptr_t key) override;

  void dispatchPosted(); // all posted messages

  static QtDialog* innermost(); // the innermost running dialog, or null

protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

private:
  static intptr_t behaviour(Window, uint32_t message, uintptr_t wParam, intptr_t lParam);
  intptr_t behave(uint32_t message, uintptr_t wParam, intptr_t lParam);
  void buildControls(const DialogTemplate& dialogTemplate);
  bool filterApplicationKey(const QKeyEvent& event);
  void endAltUnlessHeld(Qt::KeyboardModifiers held);
  bool callHooks(uintptr_t key, bool wasDown, bool goesUp);
  void paint(const QRegion& region);
  void closeFromDesktop();
  void end(intptr_t result);
  void keepException() override;

  Window owner_; // represents the owner's widget; null without one
  Window window_;
  QDialog widget_;
  std::vector<QtControl*> controls_;
  QEventLoop loop_;
  std::optional<intptr_t> result_;
  std::exception_ptr thrown_;
  QImage drawn_;      // the procedure's last drawing, shown again until it draws a new one
  QPoint drawnPlace_; // its corner, in client coordinates
  // Scan code of Alt (0 if there is none) after the hooks have seen the press but not the release.
  std::optional<quint32> altHeldAt_;
  QtDialog* outer_;
};
