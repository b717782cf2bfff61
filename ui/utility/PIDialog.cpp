// The generic dialog procedure, its dialog class, and the about box of that class.
#include "ui/utility/PIDialog.h"

#include <map>
#include <string>

#include "frame/text/Strings.h"
#include "frame/utility/HostSuites.h"
#include "hostapi/UtilitySuites.h"
#include "ui/dialog/CentreDialog.h"

namespace {

PIDialog* currentDialog = nullptr;

std::map<int32_t, const DialogTemplate*>& registeredDialogs() {
  static std::map<int32_t, const DialogTemplate*> dialogs;
  return dialogs;
}

// Controls of the about box.
constexpr int aboutText = 3, aboutFirstAddress = 4, aboutSecondAddress = 5;
constexpr size_t longestAboutText = 254, longestAddress = 255; // bytes

constexpr uintptr_t characterEnter = 13, characterEsc = 27;

// Ids of a dialog's own buttons, which end it.
constexpr int buttonOK = 1, buttonCancel = 2;

} // namespace

void PIDialog::HandleCommand(int) {}
void PIDialog::HandleMessage(uint32_t, uintptr_t, intptr_t) {}

void PIDialog::RunModal(void* reference, void*, int32_t resource) {
  resourceId = resource;
  pluginRef = reference;
  const auto found = registeredDialogs().find(resource);
  DialogBoxParam(found == registeredDialogs().end() ? nullptr : found->second, GetActiveWindow(),
                 GenericProc, reinterpret_cast<intptr_t>(this));
}

void PIAboutBox::InitDialog() {
  SetDlgItemText(dialogWindow, aboutText,
                 LoadStringResource(resourceId).substr(0, longestAboutText));
}

void PIAboutBox::HandleCommand(int itemId) {
  if (itemId != aboutFirstAddress && itemId != aboutSecondAddress)
    return;
  const std::string address =
      "http://" + GetDlgItemText(dialogWindow, itemId).substr(0, longestAddress);
  GetHostSuite<FileListSuite>(HostSuiteId::fileList)->openAddress(address.c_str());
}

void PIAboutBox::HandleMessage(uint32_t message, uintptr_t wParam, intptr_t) {
  if (message == WM_LBUTTONDOWN ||
      (message == WM_CHAR && (wParam == characterEsc || wParam == characterEnter)))
    EndDialog(dialogWindow, 0);
}

__attribute__((visibility("default"), symver("_GenericProc@16"))) intptr_t
GenericProc(Window dialog, uint32_t message, uintptr_t wParam, intptr_t lParam) {
  switch (message) {
  case WM_INITDIALOG:
    CentreDialog(dialog);
    currentDialog = reinterpret_cast<PIDialog*>(lParam);
    if (!currentDialog)
      return 0;
    currentDialog->dialogWindow = dialog;
    currentDialog->InitDialog();
    return 1;
  case WM_DESTROY:
    currentDialog = nullptr;
    return 0;
  case WM_COMMAND: {
    const int id = LowWord(wParam);
    if (currentDialog)
      currentDialog->HandleCommand(id);
    if ((id == buttonOK || id == buttonCancel) && HighWord(wParam) == BN_CLICKED)
      EndDialog(dialog, id);
    return 1;
  }
  default:
    if (currentDialog)
      currentDialog->HandleMessage(message, wParam, lParam);
    else
      DefWindowProc(dialog, message, wParam, lParam);
    return 0;
  }
}

void RegisterDialog(int32_t resourceId, const DialogTemplate* dialogTemplate) {
  if (dialogTemplate)
    registeredDialogs()[resourceId] = dialogTemplate;
  else
    registeredDialogs().erase(resourceId);
}
