// The desktop functions that the toolkit needs, in one table: the code that shows windows fills it,
// tests replace it. The toolkit itself links without a desktop; every service then does nothing.
#pragma once

#include <string>

#include "ui/toolkit/Windows.h"

struct ToolkitServices {
  intptr_t (*dialogBox)(const DialogTemplate*, void* owner, DialogProc, intptr_t parameter);
  void (*messagePosted)(); // requests a later call of DispatchPostedMessage
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

extern const ToolkitServices noServices; // services without any effect

extern const ToolkitServices* gServices; // &noServices until a desktop registers its own
