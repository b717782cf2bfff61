// A dialog on the screen, whose controls are found by their ids, and dialogs made from a few rows.
#pragma once

#include <QPushButton>

#include <string>

#include "tests/support/ShownDialog.h"
#include "ui/toolkit/WindowRecord.h"
#include "ui/toolkit/qt/QtControl.h"

namespace fixture {

struct OpenDialog : Shown {
  Window record = nullptr;

  explicit OpenDialog(const Shown& shown) : Shown(shown) {
    for (QObject* child : shown.dialog->findChild<QPushButton*>()->children())
      if (auto* control = dynamic_cast<QtControl*>(child))
        record = GetParent(control->window());
  }
  QWidget* at(int id) const {
    return static_cast<QtControl*>(GetDlgItem(record, id)->peer)->widget();
  }
  std::string text(int id) const { return at(id)->property("text").toString().toStdString(); }
  bool ticked(int id) const { return at(id)->property("checked").toBool(); }
  void focus(int id) const { at(id)->setFocus(Qt::TabFocusReason); } // selects the text
  void click(int id, Qt::KeyboardModifiers held = {}, QPoint where = {}) const {
    Shown::click(at(id), held, where);
  }
  QImage look(int id) const { return picture(at(id)->geometry()); }
};

// Ends with a click on any button, with its id as the result.
inline intptr_t endAtButton(Window dialog, uint32_t message, uintptr_t word, intptr_t) {
  if (message == WM_COMMAND && HighWord(word) == BN_CLICKED)
    EndDialog(dialog, LowWord(word));
  return 0;
}

// Runs the script on a dialog with these rows; the script must end it. Returns the dialog's result.
template <size_t count>
intptr_t runRows(const DialogControl (&rows)[count],
                 const std::function<void(const OpenDialog&)>& script,
                 DialogProc proc = endAtButton, uint32_t style = 0, intptr_t parameter = 0) {
  const DialogTemplate table = {"Test", 170, 120, 8, style, rows, int(count)};
  intptr_t result = -7;
  whileShown([&](const Shown& shown) { script(OpenDialog(shown)); },
             [&] { result = DialogBoxParam(&table, nullptr, proc, parameter); });
  return result;
}

} // namespace fixture
