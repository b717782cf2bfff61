// The data of a window, for code that creates windows: the widgets, and tests.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "ui/toolkit/Windows.h"

// A window's own behaviour: gets the messages that no procedure has handled.
using WindowProc = intptr_t (*)(Window window, uint32_t message, uintptr_t wParam, intptr_t lParam);

struct WindowSubclass {
  SubclassProc proc;
  uintptr_t id, refData;
};

struct ToolkitWindow {
  int id = 0;
  Window parent = nullptr;                // a control's dialog, a dialog's owner
  std::vector<Window> children;           // in the order of creation
  uint32_t style = 0;                     // WS_...
  WindowProc behaviour = nullptr;         // null: ignores everything
  void* peer = nullptr;                   // the object that implements the behaviour
  DialogProc dialogProc = nullptr;        // dialogs: gets messages first, except the TKM_ ones
  std::vector<WindowSubclass> subclasses; // newest last
  size_t below = 0; // number of subclasses that DefSubclassProc has yet to call, while a message is
                    // handled
};

// Creates a window, which IsWindow and its parent's GetDlgItem find until DestroyWindow.
Window NewWindow(Window parent, WindowProc behaviour, void* peer, int id = 0, uint32_t style = 0);
// Destroys the window and its children, without sending them a message. Drops their posted
// messages.
void DestroyWindow(Window window);

// Delivers the oldest posted message to its window. False if there is none.
bool DispatchPostedMessage();

// Passes a key event to the newest keyboard hook, which may call the next. True: the event stops
// here.
bool CallKeyboardHooks(uintptr_t key, intptr_t flags);

struct ToolkitBitmap {
  int32_t width, height;
  std::vector<uint32_t> pixels; // rows packed
};

// Parameter of TKM_BLIT: pixels for a rectangle of the window, in client coordinates. Rows are
// packed.
struct BlitRequest {
  int32_t x, y, width, height;
  const uint32_t* pixels;
};
