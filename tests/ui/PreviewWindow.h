// A dialog without a screen, for the preview alone: a client area and the frame in it.
#pragma once

#include <vector>

#include "ui/preview/Proxy.h"
#include "ui/toolkit/WindowRecord.h"

namespace fixture {

class PreviewWindow {
public:
  // The frame's place in the client area, which begins at (100, 50) of the screen.
  explicit PreviewWindow(const WindowRect& frame) {
    frame_ = {frame.left + 100, frame.top + 50, frame.right + 100, frame.bottom + 50};
    window = NewWindow(nullptr, 0, 0, behaviour, this);
    NewWindow(window, idFrame, 0, behaviour, this);
    offscreenContext = CreateCompatibleDC(nullptr);
    bitmap_ = CreateCompatibleBitmap(nullptr, frame.width(), frame.height());
    SelectObject(offscreenContext, bitmap_);
  }
  ~PreviewWindow() {
    DeleteDC(offscreenContext);
    DeleteObject(bitmap_);
    offscreenContext = nullptr;
    DestroyWindow(window);
  }
  PreviewWindow(const PreviewWindow&) = delete;

  Window window;
  int refreshed = 0;             // times that the frame was invalidated
  BlitRequest drawn = {};        // place of the last picture; its pixels are gone
  std::vector<uint32_t> picture; // 0xffRRGGBB, rows packed

private:
  static intptr_t behaviour(Window window, uint32_t message, uintptr_t, intptr_t value) {
    auto& self = *static_cast<PreviewWindow*>(window->peer);
    if (message == TKM_GETRECT)
      *reinterpret_cast<WindowRect*>(value) = self.frame_;
    if (message == TKM_GETCLIENTRECT)
      *reinterpret_cast<WindowRect*>(value) = {100, 50, 1000, 800};
    if (message == TKM_INVALIDATE)
      ++self.refreshed;
    if (message == TKM_BLIT) {
      self.drawn = *reinterpret_cast<const BlitRequest*>(value);
      self.picture.clear();
      for (int32_t y = 0; y < self.drawn.height; ++y) {
        const uint32_t* row = self.drawn.pixels + ptrdiff_t(y) * self.drawn.pixelsPerRow;
        self.picture.insert(self.picture.end(), row, row + self.drawn.width);
      }
    }
    return 0;
  }

  WindowRect frame_;
  Bitmap bitmap_;
};

} // namespace fixture
