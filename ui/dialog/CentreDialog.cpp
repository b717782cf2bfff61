#include "ui/dialog/CentreDialog.h"

#include <algorithm>

void CentreDialog(Window dialog) {
  const Window owner = GetParent(dialog);
  const WindowRect parent = GetClientRectOnScreen(owner ? owner : GetDesktopWindow());
  const WindowRect own = GetWindowRect(dialog);

  // The caption's height moves the dialog to the left, not up.
  int32_t adjust = GetSystemMetrics(SM_CYCAPTION);
  if (!(GetWindowStyle(dialog) & WS_SYSMENU))
    adjust -= adjust / 3;

  const int32_t roomX = std::max(parent.width() - own.width(), 0);
  int32_t x = roomX / 2 - adjust + parent.left;
  const int32_t screenWidth = GetSystemMetrics(SM_CXSCREEN);
  if (x + own.width() > screenWidth)
    x = std::max(screenWidth - own.width(), 0);

  const int32_t roomY = std::max(parent.height() - own.height(), 0);
  int32_t y = roomY / 3 + parent.top;
  const int32_t screenHeight = GetSystemMetrics(SM_CYSCREEN);
  if (y + own.height() > screenHeight)
    y = std::max(screenHeight - own.height(), 0);

  SetWindowPos(dialog, x, y, own.width(), own.height());
}
