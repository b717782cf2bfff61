// What the toolkit asks of the desktop, in one table: filled by whoever shows windows, replaced by
// tests. The toolkit itself links without a desktop, and then every service does nothing.
#pragma once

#include <string>

#include "ui/toolkit/Windows.h"

struct ToolkitServices {
  intptr_t (*dialogBox)(const DialogTemplate*, void* owner, DialogProc, intptr_t parameter);
  void (*messagePosted)(); // asks for a call of DispatchPostedMessage, later
  void* (*activeWindow)(); // a QWidget*, or null
  WindowRect (*desktop)(); // the primary screen
  int32_t (*captionHeight)();
  bool (*keyHeld)(uintptr_t key);
  void (*beep)();
  int (*messageBox)(Window owner, const std::string& text, uint32_t style);
  bool (*openClipboard)(); // false: another program has it
  std::string (*clipboardText)();
  void (*openAddress)(const std::string& address);
  void (*busy)(bool); // calls nest
};

extern const ToolkitServices noServices; // show nothing, hear nothing

extern const ToolkitServices* gServices; // &noServices until a desktop registers its own
