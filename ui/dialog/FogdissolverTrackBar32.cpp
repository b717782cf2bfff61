#include "ui/dialog/FogdissolverTrackBar32.h"

#include "ui/dialog/ControlMap.h"

namespace {

intptr_t TrackBarSubclassProc(Window window, uint32_t message, uintptr_t wParam, intptr_t lParam,
                              uintptr_t, uintptr_t) {
  return static_cast<FogdissolverTrackBar32*>(controlMap.at(window))
      ->HandleMessage(message, wParam, lParam);
}

uintptr_t swapUpAndDown(uintptr_t key) {
  return key == VK_UP ? VK_DOWN : key == VK_DOWN ? VK_UP : key;
}

// Negates the turn as a 16-bit number, so that the lowest value stays the same.
uintptr_t reverseTurn(uintptr_t words) {
  return MakeWords(LowWord(words), uint16_t(0u - HighWord(words)));
}

} // namespace

FogdissolverTrackBar32::FogdissolverTrackBar32(Window window) : window(window) {
  controlMap[window] = this;
  SetWindowSubclass(window, TrackBarSubclassProc, 0, 0);
}

FogdissolverTrackBar32::~FogdissolverTrackBar32() {
  if (IsWindow(window))
    RemoveWindowSubclass(window, TrackBarSubclassProc, 0);
  controlMap.erase(window);
  window = nullptr;
}

intptr_t FogdissolverTrackBar32::HandleMessage(uint32_t message, uintptr_t wParam,
                                               intptr_t lParam) {
  if (message == WM_KEYDOWN || message == WM_KEYUP)
    wParam = swapUpAndDown(wParam);
  else if (message == WM_MOUSEWHEEL)
    wParam = reverseTurn(wParam);
  return DefSubclassProc(window, message, wParam, lParam);
}
