#include "ui/dialog/MainDialog.h"

#include <memory>

#include "frame/contract/Sliders.h"
#include "frame/record/Globals.h"
#include "frame/text/Strings.h"
#include "ui/dialog/CentreDialog.h"
#include "ui/dialog/DialogParts.h"
#include "ui/dialog/DialogTables.h"
#include "ui/dialog/FogdissolverEdit.h"
#include "ui/dialog/FogdissolverTrackBar32.h"
#include "ui/preview/Proxy.h"

namespace {

constexpr int32_t editStep = 1; // of every edit box

// State of the dialog, from WM_INITDIALOG to WM_DESTROY.
Window dialogWindow = nullptr; // for the hook
Hook keyboardHook = nullptr;
Bitmap offscreenBitmap = nullptr; // frame-sized, selected in offscreenContext
Bitmap previousBitmap = nullptr;  // the bitmap that it replaced there
bool resetMode = false;           // Cancel shows Reset and resets
bool skipScroll = false;          // the next scroll message of a paired slider is ignored
std::unique_ptr<FogdissolverEdit> foregroundPositionEdit, foregroundIntensityEdit,
    backgroundPositionEdit, backgroundIntensityEdit;
std::unique_ptr<FogdissolverTrackBar32> trackBars[5];
int32_t initialForegroundPosition, initialForegroundIntensity, initialBackgroundPosition,
    initialBackgroundIntensity, initialBalance;

// A slider with an edit box, and the setting that they control.
struct PairedControl {
  int slider, edit;
  float Parameters::*value;
  std::unique_ptr<FogdissolverEdit>& object;
  int32_t& initial; // position when the dialog opened
};

enum PairIndex { foregroundPosition, foregroundIntensity, backgroundPosition, backgroundIntensity };

const PairedControl pairs[] = {
    {idForegroundPosition, idForegroundPositionEdit, &Parameters::foregroundPosition,
     foregroundPositionEdit, initialForegroundPosition},
    {idForegroundIntensity, idForegroundIntensityEdit, &Parameters::foregroundIntensity,
     foregroundIntensityEdit, initialForegroundIntensity},
    {idBackgroundPosition, idBackgroundPositionEdit, &Parameters::backgroundPosition,
     backgroundPositionEdit, initialBackgroundPosition},
    {idBackgroundIntensity, idBackgroundIntensityEdit, &Parameters::backgroundIntensity,
     backgroundIntensityEdit, initialBackgroundIntensity},
};

// The position that a change of this position pushes along; null for the intensities.
const PairedControl* partnerOf(const PairedControl& pair) {
  if (&pair == &pairs[foregroundPosition])
    return &pairs[backgroundPosition];
  return &pair == &pairs[backgroundPosition] ? &pairs[foregroundPosition] : nullptr;
}

const PairedControl* findPair(int PairedControl::*id, int wanted) {
  for (const PairedControl& pair : pairs)
    if (pair.*id == wanted)
      return &pair;
  return nullptr;
}

void setSlider(Window dialog, int id, int32_t position) {
  SendDlgItemMessage(dialog, id, TBM_SETPOS, true, position);
}

void initSlider(Window dialog, int id, int32_t position) {
  SendDlgItemMessage(dialog, id, TBM_SETRANGE, true,
                     intptr_t(MakeWords(leastPosition, greatestPosition)));
  setSlider(dialog, id, position);
}

// The foreground's position must not exceed the background's. If it now does, the other control
// gets the same number; its edit object writes it into the box, which a slider's move does once
// more. True means that the change ends here: the other control's setting and the preview
// deliberately do not change until the next event.
bool pushPartner(Window dialog, const PairedControl& moved, int32_t number, bool writeText) {
  const PairedControl* partner = partnerOf(moved);
  if (!partner || foregroundPositionEdit->GetValue() <= backgroundPositionEdit->GetValue())
    return false;
  partner->object->SetValue(number);
  setSlider(dialog, partner->slider, number);
  if (writeText)
    SetDlgItemInt(dialog, partner->edit, number, false);
  return true;
}

void makeOffscreen(Window dialog) {
  const Window frame = GetDlgItem(dialog, idFrame);
  ShowWindow(frame, SW_HIDE);
  const WindowRect rect = GetWindowRect(frame);
  DeviceContext* context = BeginPaint(dialog);
  offscreenContext = CreateCompatibleDC(context);
  offscreenBitmap = CreateCompatibleBitmap(context, rect.width(), rect.height());
  previousBitmap = SelectObject(offscreenContext, offscreenBitmap);
  EndPaint(dialog, context);
}

// The first refresh reads the image, computes the haze map and sets the estimates.
void openPreview(Window dialog) {
  GetProxyItemRect(dialog);
  SetupFilterRecordForProxy();
  CreateProxyBuffer();
  RefreshProxy(dialog);
  gParams->foregroundIntensity *= estimateSoftening;
  gParams->backgroundIntensity *= estimateSoftening;
  RefreshProxy(dialog);
}

void showSettings(Window dialog) {
  for (const PairedControl& pair : pairs) {
    const int32_t position = PositionOfValue(gParams->*pair.value);
    initSlider(dialog, pair.slider, position);
    SetDlgItemInt(dialog, pair.edit, position, false);
    pair.initial = position;
  }
  for (const PairedControl& pair : pairs) {
    pair.object = std::make_unique<FogdissolverEdit>(GetDlgItem(dialog, pair.edit), leastPosition,
                                                     greatestPosition, editStep);
    pair.object->SetValue(PositionOfValue(gParams->*pair.value));
  }
  int slider = 0;
  for (const PairedControl& pair : pairs)
    trackBars[slider++] = std::make_unique<FogdissolverTrackBar32>(GetDlgItem(dialog, pair.slider));
  trackBars[slider] = std::make_unique<FogdissolverTrackBar32>(GetDlgItem(dialog, idBalance));

  initialBalance = PositionOfPower(gParams->power);
  initSlider(dialog, idBalance, initialBalance);
  CheckDlgButton(dialog, idPreview, gParams->preview != 0);
  CheckDlgButton(dialog, idExport, gParams->outputMap != 0);
  CheckDlgButton(dialog, idDisplay, gParams->displayMap != 0);
}

void openDialog(Window dialog) {
  dialogWindow = dialog;
  resetMode = skipScroll = false;
  CentreDialog(dialog);
  makeOffscreen(dialog);
  openPreview(dialog);
  showSettings(dialog);
  SetFocus(GetDlgItem(dialog, idForegroundPositionEdit));
  SetWindowText(dialog, DialogCaption());
}

void closeDialog() {
  UnhookWindowsHookEx(keyboardHook);
  keyboardHook = nullptr;
  SelectObject(offscreenContext, previousBitmap);
  DeleteDC(offscreenContext);
  DeleteObject(offscreenBitmap);
  offscreenContext = nullptr;
  offscreenBitmap = previousBitmap = nullptr;
  for (const PairedControl& pair : pairs)
    pair.object.reset();
  for (auto& trackBar : trackBars)
    trackBar.reset();
  dialogWindow = nullptr;
}

void pairScrolled(Window dialog, const PairedControl& pair, int32_t position) {
  // Ignores every second scroll message, counted over all four sliders.
  skipScroll = !skipScroll;
  if (!skipScroll)
    return;
  gParams->*pair.value = ValueOfPosition(position);
  pair.object->SetValue(position);
  SetDlgItemInt(dialog, pair.edit, position, false);
  if (!pushPartner(dialog, pair, position, true))
    RefreshProxy(dialog);
}

void scrolled(Window dialog, Window slider) {
  const int id = GetDlgCtrlID(slider);
  const int32_t position = int32_t(SendMessage(slider, TBM_GETPOS));
  if (const PairedControl* pair = findPair(&PairedControl::slider, id)) {
    pairScrolled(dialog, *pair, position);
  } else if (id == idBalance) {
    gParams->power = PowerOfPosition(position);
    RefreshProxy(dialog);
  }
}

// Takes the edit object's value: after Enter it is not clamped yet.
void edited(Window dialog, const PairedControl& pair) {
  const int32_t value = pair.object->GetValue();
  gParams->*pair.value = ValueOfPosition(value);
  setSlider(dialog, pair.slider, value);
  if (!pushPartner(dialog, pair, value, false))
    RefreshProxy(dialog);
}

// Back to the positions at the opening; an intensity becomes a whole hundredth.
void reset(Window dialog) {
  for (const PairedControl& pair : pairs) {
    gParams->*pair.value = ValueOfPosition(pair.initial);
    pair.object->SetValue(pair.initial);
    SetDlgItemInt(dialog, pair.edit, pair.initial, true); // -69 if there was no estimate
    setSlider(dialog, pair.slider, pair.initial);
  }
  gParams->power = PowerOfPosition(initialBalance);
  setSlider(dialog, idBalance, initialBalance);
  RefreshProxy(dialog);
}

intptr_t clicked(Window dialog, int id) {
  switch (id) {
  case idOk:
    EndDialog(dialog, idOk); // keeps the proxy: its size is that of the filter's reduced image
    return 1;
  case idCancel:
    if (resetMode) {
      reset(dialog);
      break;
    }
    DeleteProxyBuffer();
    EndDialog(dialog, idCancel);
    return 1;
  case idExport:
    gParams->outputMap = IsDlgButtonChecked(dialog, idExport);
    break;
  case idPreview:
    gParams->preview = IsDlgButtonChecked(dialog, idPreview);
    RefreshProxy(dialog);
    break;
  case idDisplay:
    gParams->displayMap = IsDlgButtonChecked(dialog, idDisplay);
    RefreshProxy(dialog);
    break;
  }
  return 0;
}

intptr_t command(Window dialog, int id, uint32_t code) {
  if (id == idHelp)
    ShellExecute(LoadStringResource(stringHelpPage));
  else if (code == EDIT_VALUE_CHANGED) {
    if (const PairedControl* pair = findPair(&PairedControl::edit, id))
      edited(dialog, *pair);
  } else if (code == BN_CLICKED)
    return clicked(dialog, id);
  return 0;
}

void leaveResetMode(Window dialog) {
  SetButtonText(dialog, idCancel, stringCancel);
  resetMode = false;
}

void showMask(Window dialog, bool shown) {
  gParams->displayMap = shown;
  CheckDlgButton(dialog, idDisplay, shown);
  RefreshProxy(dialog);
}

} // namespace

void SetButtonText(Window dialog, int itemId, int stringId) {
  SetDlgItemText(dialog, itemId, LoadStringResource(stringId));
}

__attribute__((visibility("default"), symver("_FogdissolverProc@16"))) intptr_t
FogdissolverProc(Window dialog, uint32_t message, uintptr_t wParam, intptr_t lParam) {
  switch (message) {
  case WM_INITDIALOG:
    openDialog(dialog);
    break; // 0 means that the focus is already set
  case WM_HSCROLL:
  case WM_VSCROLL:
    scrolled(dialog, reinterpret_cast<Window>(lParam));
    break;
  case WM_COMMAND:
    return command(dialog, LowWord(wParam), HighWord(wParam));
  case WM_NOTIFY:
    OpenLink(*reinterpret_cast<const NotifyHeader*>(lParam), idHomePage);
    break;
  case WM_SYSCOMMAND:
    return wParam == SC_KEYMENU; // we handle Alt ourselves
  case WM_ACTIVATE:
    leaveResetMode(dialog);
    break;
  case WM_PAINT:
    if (*gResult == 0)
      PaintProxy(dialog);
    break;
  case WM_DESTROY:
    closeDialog();
    break;
  }
  return 0;
}

intptr_t DialogKeyboardHook(int code, uintptr_t key, intptr_t flags) {
  if (code < 0)
    return CallNextHookEx(keyboardHook, code, key, flags);
  if (code != 0 || key != VK_MENU)
    return 0;
  const bool wasDown = flags >> 30 & 1, goesUp = flags >> 31 & 1;
  if (wasDown != goesUp)
    return 0; // auto-repeat
  resetMode = !goesUp;
  SetButtonText(dialogWindow, idCancel, resetMode ? stringReset : stringCancel);
  showMask(dialogWindow, resetMode);
  return 0;
}

bool DoUI() {
  const PlatformData* platform = gFilterRecord->platformData;
  keyboardHook = SetWindowsHookEx(DialogKeyboardHook);
  const intptr_t result = DialogBoxParam(
      &FOGDISSOLVER_DIALOG, platform ? platform->window : nullptr, FogdissolverProc, 0);
  UnhookWindowsHookEx(keyboardHook); // already removed, unless the dialog could not be shown
  keyboardHook = nullptr;
  *gResult = 0;
  return result == idOk;
}
