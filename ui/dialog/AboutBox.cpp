#include "ui/dialog/AboutBox.h"

#include "frame/record/Globals.h"
#include "ui/dialog/CentreDialog.h"
#include "ui/dialog/DialogParts.h"
#include "ui/dialog/DialogTables.h"

__attribute__((visibility("default"), symver("_FogdissolverAboutProc@16"))) intptr_t
FogdissolverAboutProc(Window dialog, uint32_t message, uintptr_t wParam, intptr_t lParam) {
  switch (message) {
  case WM_INITDIALOG:
    CentreDialog(dialog);
    SetWindowText(dialog, DialogCaption());
    break;
  case WM_NOTIFY:
    OpenLink(*reinterpret_cast<const NotifyHeader*>(lParam), idAboutHomePage);
    break;
  case WM_COMMAND:
    if (LowWord(wParam) != idAboutOk || HighWord(wParam) != BN_CLICKED)
      break;
    EndDialog(dialog, intptr_t(wParam));
    return 1;
  }
  return 0;
}

void DoAbout() {
  // During the about selector, gFilterRecord is an AboutRecord.
  const PlatformData* platform = reinterpret_cast<AboutRecord*>(gFilterRecord)->platformData;
  DialogBoxParam(&FOGDISSOLVER_ABOUT_DIALOG, platform ? platform->window : nullptr,
                 FogdissolverAboutProc, 0);
}
