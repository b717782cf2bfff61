// What a window consists of. For those that make windows: the widgets behind them, and tests.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "ui/toolkit/Windows.h"

// A window's own behaviour: gets the messages that no procedure has stopped.
using WindowProc = intptr_t (*)(Window window, uint32_t message, uintptr_t wParam, intptr_t lParam);

struct WindowSubclass {
  SubclassProc proc;
  uintptr_t id, refData;
};

struct ToolkitWindow {
  int id{};
  Window parent = nullptr;                // dialog of a control, owner of a dialog
  std::vector<Window> children;           // in the order of creation
  uint32_t style{};                       // WS_...
  WindowProc behaviour = nullptr;         // null: ignores everything
  void* peer = nullptr;                   // what the behaviour works on
  DialogProc dialogProc = nullptr;        // dialogs: sees messages first, but for the TKM_ ones
  std::vector<WindowSubclass> subclasses; // newest last
  size_t below{}; // subclasses that DefSubclassProc has yet to ask, while a message is handled
};

// Makes a window, which IsWindow and its parent's GetDlgItem find until DestroyWindow.
Window NewWindow(Window parent, WindowProc behaviour, void* peer, int id = 0, uint32_t style = 0);
// Destroys the window and its children, without a message to them. Their posted messages go too.
void DestroyWindow(Window window);

// Hands the oldest posted message to its window. False if there is none.
bool DispatchPostedMessage();

// Hands a key event to the newest keyboard hook, which may call the next. True: the key stops here.
bool CallKeyboardHooks(uintptr_t key, intptr_t flags);

struct ToolkitBitmap {
  int32_t width, height;
  std::vector<uint32_t> pixels; // rows packed
};

// Parameter of TKM_BLIT: pixels for a rectangle of the window, in client coordinates. Rows packed.
struct BlitRequest {
  int32_t x, y, width, height;
  const uint32_t* pixels;
};
