// Windows without a screen: a dialog built from its table out of plain records that answer as the
// stock controls do, and a desktop that takes notes.
#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ui/toolkit/DialogTemplate.h"
#include "ui/toolkit/WindowRecord.h"
#include "ui/toolkit/qt/QtServices.h"

struct StandInControl {
  ControlKind kind;
  std::string text;
  int32_t start = 0, end = 0; // selection of an edit box
  intptr_t least = 0, greatest = 100, position = 0;
  bool checked = false, shown = true;
  WindowRect rect = {}; // on the screen
};

class StandInDialog {
public:
  // One dialog unit is a pixel; the dialog's client area begins at (100, 50) of the screen.
  StandInDialog(const DialogTemplate& dialogTemplate, DialogProc proc) {
    rect = {100, 50, 100 + dialogTemplate.width, 50 + dialogTemplate.height};
    window = NewWindow(nullptr, 0, dialogTemplate.style, dialogBehaviour, this);
    window->dialogProc = proc;
    for (int i = 0; i < dialogTemplate.controlCount; ++i) {
      const DialogControl& row = dialogTemplate.controls[i];
      auto control = std::make_unique<StandInControl>();
      control->kind = row.kind;
      control->text = row.english;
      control->rect = {100 + row.place.x, 50 + row.place.y, 100 + row.place.x + row.place.width,
                       50 + row.place.y + row.place.height};
      NewWindow(window, row.id, 0, controlBehaviour, control.get());
      if (row.id >= 0)
        byId[row.id] = control.get();
      controls.push_back(std::move(control));
    }
  }
  ~StandInDialog() { DestroyWindow(window); }
  StandInDialog(const StandInDialog&) = delete;

  StandInControl& operator[](int id) { return *byId.at(id); }
  Window item(int id) const { return GetDlgItem(window, id); }

  Window window;
  WindowRect rect;
  std::string caption;
  int focus = 0; // id
  bool ended = false;
  intptr_t result = -1;
  std::vector<WindowRect> invalidated;
  std::vector<BlitRequest> blits;      // pixels only valid during the message
  std::vector<uint32_t> picture;       // pixels of the last blit
  static inline std::string clipboard; // of the stand-in desktop

private:
  static intptr_t give(const std::string& text, uintptr_t capacity, intptr_t buffer) {
    const size_t length = std::min(text.size(), size_t(capacity) - 1);
    std::copy_n(text.data(), length, reinterpret_cast<char*>(buffer));
    reinterpret_cast<char*>(buffer)[length] = '\0';
    return intptr_t(length);
  }

  static intptr_t dialogBehaviour(Window w, uint32_t message, uintptr_t, intptr_t lParam) {
    auto& dialog = *static_cast<StandInDialog*>(w->peer);
    switch (message) {
    case WM_SETTEXT:
      dialog.caption = reinterpret_cast<const char*>(lParam);
      return 1;
    case TKM_GETRECT:
    case TKM_GETCLIENTRECT:
      *reinterpret_cast<WindowRect*>(lParam) = dialog.rect;
      return 1;
    case TKM_SETRECT:
      dialog.rect = *reinterpret_cast<const WindowRect*>(lParam);
      return 1;
    case TKM_INVALIDATE:
      dialog.invalidated.push_back(*reinterpret_cast<const WindowRect*>(lParam));
      return 0;
    case TKM_BLIT: {
      const auto& blit = *reinterpret_cast<const BlitRequest*>(lParam);
      dialog.blits.push_back(blit);
      dialog.picture.clear();
      for (int32_t y = 0; y < blit.height; ++y)
        dialog.picture.insert(dialog.picture.end(), blit.pixels + y * blit.pixelsPerRow,
                              blit.pixels + y * blit.pixelsPerRow + blit.width);
      return 1;
    }
    case TKM_ENDDIALOG:
      if (!dialog.ended)
        dialog.result = lParam;
      dialog.ended = true;
      return 1;
    }
    return 0;
  }

  static intptr_t controlBehaviour(Window w, uint32_t message, uintptr_t wParam, intptr_t lParam) {
    auto& c = *static_cast<StandInControl*>(w->peer);
    switch (message) {
    case WM_SETTEXT:
      c.text = reinterpret_cast<const char*>(lParam);
      c.start = c.end = 0;
      return 1;
    case WM_GETTEXTLENGTH:
      return intptr_t(c.text.size());
    case WM_GETTEXT:
      return give(c.text, wParam, lParam);
    case BM_SETCHECK:
      c.checked = wParam != 0;
      return 0;
    case BM_GETCHECK:
      return c.checked;
    case TKM_SHOW:
      c.shown = wParam != SW_HIDE;
      return 0;
    case TKM_GETRECT:
      *reinterpret_cast<WindowRect*>(lParam) = c.rect;
      return 1;
    case TKM_SETFOCUS:
      static_cast<StandInDialog*>(w->parent->peer)->focus = w->id;
      return 0;
    }
    if (c.kind == ControlKind::trackBar)
      return trackBar(w, c, message, wParam, lParam);
    return c.kind == ControlKind::digitEdit ? edit(c, message, wParam, lParam) : 0;
  }

  static intptr_t trackBar(Window w, StandInControl& c, uint32_t message, uintptr_t wParam,
                           intptr_t lParam) {
    switch (message) {
    case TBM_SETRANGE:
      c.least = LowWord(uintptr_t(lParam));
      c.greatest = HighWord(uintptr_t(lParam));
      return 0;
    case TBM_SETPOS:
      c.position = std::clamp(lParam, c.least, c.greatest);
      return 0;
    case TBM_GETPOS:
      return c.position;
    case WM_KEYDOWN:
      c.position += wParam == VK_DOWN ? 1 : wParam == VK_UP ? -1 : 0;
      SendMessage(w->parent, WM_HSCROLL, 0, reinterpret_cast<intptr_t>(w));
      return 7;
    case WM_MOUSEWHEEL:
      c.position += int16_t(HighWord(wParam)) < 0 ? 1 : -1;
      return intptr_t(wParam);
    }
    return 0;
  }

  static intptr_t edit(StandInControl& c, uint32_t message, uintptr_t wParam, intptr_t lParam) {
    const auto replace = [&](const std::string& with) {
      c.text.erase(size_t(c.start), size_t(c.end - c.start));
      c.text.insert(size_t(c.start), with);
      c.start = c.end = c.start + int32_t(with.size());
    };
    switch (message) {
    case EM_GETSEL:
      *reinterpret_cast<int32_t*>(wParam) = c.start;
      *reinterpret_cast<int32_t*>(lParam) = c.end;
      return 0;
    case WM_CHAR:
      if (wParam == 8 && c.start == c.end)
        c.start = std::max(c.start - 1, 0);
      if (wParam == 8 || (wParam >= '0' && wParam <= '9'))
        replace(wParam == 8 ? "" : std::string(1, char(wParam)));
      return 7;
    case WM_KEYDOWN:
      if (wParam == VK_DELETE) {
        if (c.start == c.end)
          c.end = std::min(c.end + 1, int32_t(c.text.size()));
        replace("");
      }
      return 7;
    case WM_PASTE:
      replace(clipboard);
      return 7;
    case WM_KEYUP:
    case WM_KILLFOCUS:
    case WM_MOUSEWHEEL:
    case WM_COPY:
      return 7;
    case WM_GETDLGCODE:
      return DLGC_WANTARROWS;
    }
    return 0;
  }

  std::vector<std::unique_ptr<StandInControl>> controls;
  std::map<int, StandInControl*> byId;
};

// What the stand-in desktop notes and what it is told.
struct DesktopState {
  int posted = 0, beeps = 0, clipboardOpened = 0, busy = 0;
  bool control = false, clipboardBusy = false;
  WindowRect screen = {0, 0, 1600, 900};
  std::vector<std::string> opened;
  std::function<void(StandInDialog&)> script; // what a user does in the dialog; none: no screen
};

// Stands in for the desktop's services for as long as it lives.
class StandInDesktop {
public:
  StandInDesktop() {
    state = DesktopState();
    StandInDialog::clipboard.clear();
    services = desktopServices;
    services.messagePosted = [] { ++state.posted; };
    services.desktop = [] { return state.screen; };
    services.captionHeight = [] { return int32_t(20); };
    services.keyHeld = [](uintptr_t key) { return key == VK_CONTROL && state.control; };
    services.beep = [] { ++state.beeps; };
    services.openClipboard = [] {
      ++state.clipboardOpened;
      return !state.clipboardBusy;
    };
    services.clipboardText = [] { return StandInDialog::clipboard; };
    services.openAddress = [](const std::string& address) { state.opened.push_back(address); };
    services.busy = [](bool on) { state.busy += on ? 1 : 0; };
    services.dialogBox = [](const DialogTemplate* dialogTemplate, void*, DialogProc proc,
                            intptr_t parameter) -> intptr_t {
      if (!state.script)
        return -1;
      StandInDialog dialog(*dialogTemplate, proc);
      SendMessage(dialog.window, WM_INITDIALOG, 0, parameter);
      SendMessage(dialog.window, WM_ACTIVATE, 1, 0);
      state.script(dialog);
      SendMessage(dialog.window, WM_DESTROY, 0, 0);
      return dialog.result;
    };
    gServices = &services;
  }
  ~StandInDesktop() {
    gServices = &desktopServices;
    state = DesktopState();
  }

  static inline DesktopState state;

private:
  ToolkitServices services;
};

inline void dispatchAll() {
  while (DispatchPostedMessage()) {
  }
}
