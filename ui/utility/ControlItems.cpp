// Operations on controls that take more than one message.
#include "ui/utility/ControlItems.h"

void ShowItem(Window dialog, int item) { ShowOrHideItem(dialog, item, true); }
void HideItem(Window dialog, int item) { ShowOrHideItem(dialog, item, false); }
void ShowOrHideItem(Window dialog, int item, bool shown) {
  ShowWindow(GetDlgItem(dialog, item), shown ? SW_SHOW : SW_HIDE);
}

void EnableItem(Window dialog, int item) { EnableOrDisableItem(dialog, item, true); }
void DisableItem(Window dialog, int item) { EnableOrDisableItem(dialog, item, false); }
void EnableOrDisableItem(Window dialog, int item, bool enabled) {
  EnableWindow(GetDlgItem(dialog, item), enabled);
}

bool ToggleCheckBox(Window dialog, int item) {
  const bool checked = !IsDlgButtonChecked(dialog, item);
  CheckDlgButton(dialog, item, checked);
  return checked;
}

void SetDefaultButton(Window dialog, int item) {
  SendDlgItemMessage(dialog, item, BM_SETSTYLE, BS_DEFPUSHBUTTON);
  SetFocus(GetDlgItem(dialog, item));
}

void SelectItemText(Window dialog, int item) {
  SendDlgItemMessage(dialog, item, EM_SETSEL, 0, -1);
  SetFocus(GetDlgItem(dialog, item));
}

int FirstChecked(Window dialog, int first, int last) {
  for (int item = first; item <= last; ++item)
    if (IsDlgButtonChecked(dialog, item))
      return item;
  return 0;
}

std::string ControlView::text(uint32_t lengthMessage, uint32_t textMessage, uintptr_t index) const {
  const intptr_t length = send(lengthMessage, index);
  if (length <= 0)
    return {};
  std::string text(size_t(length), '\0'); // plus the final zero
  send(textMessage, index, reinterpret_cast<intptr_t>(text.data()));
  return text;
}

std::string ComboBoxView::Current() const {
  const intptr_t index = send(CB_GETCURSEL);
  return index < 0 ? std::string() : text(CB_GETLBTEXTLEN, CB_GETLBTEXT, uintptr_t(index));
}

std::string ListBoxView::Current() const {
  const int index = Index();
  return index < 0 ? std::string() : text(LB_GETTEXTLEN, LB_GETTEXT, uintptr_t(index));
}

int RadioGroupView::Checked() const {
  const int item = FirstChecked(dialog_, first_, last_);
  return item == 0 ? -1 : item;
}
