// What the toolkit asks of the desktop, in one table, so that tests can stand in for it.
#pragma once

#include <string>

#include "ui/toolkit/Windows.h"

struct ToolkitServices {
  intptr_t (*dialogBox)(const DialogTemplate*, void* owner, DialogProc, intptr_t parameter);
  void (*messagePosted)(); // DispatchPostedMessage is to be called once, later
  void* (*activeWindow)(); // a QWidget*, or null
  WindowRect (*desktop)(); // the primary screen
  int32_t (*captionHeight)();
  bool (*keyHeld)(uintptr_t key);
  void (*beep)();
  int (*messageBox)(Window owner, const std::string& text, uint32_t style);
  bool (*openClipboard)(); // false: somebody else has it
  std::string (*clipboardText)();
  void (*openAddress)(const std::string& address);
  void (*busy)(bool); // calls nest
};

// The desktop's own; without an application none of them does anything.
extern const ToolkitServices desktopServices;

extern const ToolkitServices* gServices; // &desktopServices, until a test puts others in its place
