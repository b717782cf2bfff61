// One-line operations on the controls of a dialog: by dialog and id, or through a small view of one
// control. On a missing control they do nothing and return 0 or an empty text.
#pragma once

#include <string>

#include "ui/toolkit/Windows.h"

void ShowItem(Window dialog, int item);
void HideItem(Window dialog, int item);
void ShowOrHideItem(Window dialog, int item, bool shown);
void EnableItem(Window dialog, int item);
void DisableItem(Window dialog, int item);
void EnableOrDisableItem(Window dialog, int item, bool enabled);
bool ToggleCheckBox(Window dialog, int item);   // returns the new state
void SetDefaultButton(Window dialog, int item); // also gives it the focus
void SelectItemText(Window dialog, int item);   // all of it; gives it the focus
int FirstChecked(Window dialog, int first,
                 int last); // returns the id of the range's first checked button, or 0

// Views of one control; they own nothing.
class ControlView {
public:
  ControlView(Window dialog, int item) : control_(GetDlgItem(dialog, item)) {}

protected:
  intptr_t send(uint32_t message, uintptr_t wParam = 0, intptr_t lParam = 0) const {
    return SendMessage(control_, message, wParam, lParam);
  }
  // Text whose length one message returns and whose content another one returns.
  std::string text(uint32_t lengthMessage, uint32_t textMessage, uintptr_t index) const;

  Window control_;
};

class ComboBoxView : public ControlView {
public:
  using ControlView::ControlView;
  void Clear() { send(CB_RESETCONTENT); }
  void Add(const char* entry) { send(CB_ADDSTRING, 0, reinterpret_cast<intptr_t>(entry)); }
  void Select(int index) { send(CB_SETCURSEL, uintptr_t(index)); }
  std::string Current() const; // empty if nothing is selected
};

class ListBoxView : public ControlView {
public:
  using ControlView::ControlView;
  void Clear() { send(LB_RESETCONTENT); }
  void Add(const char* entry) { send(LB_ADDSTRING, 0, reinterpret_cast<intptr_t>(entry)); }
  void Select(int index) { send(LB_SETCURSEL, uintptr_t(index)); }
  int Index() const { return int(send(LB_GETCURSEL)); } // negative: nothing is selected
  intptr_t ItemData(int index) const { return send(LB_GETITEMDATA, uintptr_t(index)); }
  void SetItemData(int index, intptr_t data) { send(LB_SETITEMDATA, uintptr_t(index), data); }
  std::string Current() const; // empty if nothing is selected
};

class EditBoxView : public ControlView {
public:
  using ControlView::ControlView;
  void SetText(const char* value) { send(WM_SETTEXT, 0, reinterpret_cast<intptr_t>(value)); }
  std::string Text() const { return GetWindowText(control_); }
};

class CheckBoxView : public ControlView {
public:
  using ControlView::ControlView;
  void Set(bool checked) { send(BM_SETCHECK, checked); }
  bool Get() const { return send(BM_GETCHECK) != 0; }
};

// A group of buttons of which one is checked.
class RadioGroupView {
public:
  RadioGroupView(Window dialog, int first, int last)
      : dialog_(dialog), first_(first), last_(last) {}
  int Checked() const; // id, or -1

private:
  Window dialog_;
  int first_, last_;
};
