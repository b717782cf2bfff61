// A class for dialogs that use the generic dialog procedure, and an about box of this kind. Only
// one such dialog can be open at a time.
#pragma once

#include <cstdint>

#include "ui/toolkit/DialogTemplate.h"
#include "ui/toolkit/Windows.h"

class PIDialog {
public:
  virtual ~PIDialog() = default;
  virtual void InitDialog() {}
  virtual void HandleCommand(int itemId);
  virtual void HandleMessage(uint32_t message, uintptr_t wParam, intptr_t lParam);
  // Runs the dialog registered under the number, with the active window as its owner, until it
  // ends.
  virtual void RunModal(void* pluginRef, void* ignored, int32_t resourceId);

  int32_t resourceId = 0;
  Window dialogWindow = nullptr; // while the dialog is open
  void* pluginRef = nullptr;     // from the host, for GetDLLInstance
};

// Shows the string with its resource number; has two addresses to open, and closes with a click,
// Esc or Enter.
class PIAboutBox : public PIDialog {
public:
  void InitDialog() override;
  void HandleCommand(int itemId) override; // throws int32 if the host cannot open addresses
  void HandleMessage(uint32_t message, uintptr_t wParam, intptr_t lParam) override;
};

// The procedure of all these dialogs; the parameter of its first message is the PIDialog.
extern "C" intptr_t GenericProc(Window dialog, uint32_t message, uintptr_t wParam, intptr_t lParam);

// Registers a template for RunModal under a number. It must outlive its last use; null removes it.
void RegisterDialog(int32_t resourceId, const DialogTemplate* dialogTemplate);
