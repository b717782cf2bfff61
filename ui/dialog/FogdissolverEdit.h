// A whole number in an edit box: a value separate from the text, steps by arrow keys and wheel,
// filters for typed and pasted text, and a notification to the dialog.
//
// The value can differ from the displayed text, and can be out of range while the user types: it
// follows each typed digit at once and is clamped when the box loses the focus. Pasted text changes
// only the box, not the value.
#pragma once

#include <cstdint>
#include <string>

#include "ui/toolkit/Windows.h"

// Notification code of WM_COMMAND, posted to the dialog: the value has changed, call GetValue.
constexpr uint16_t EDIT_VALUE_CHANGED = 0x1122;

class FogdissolverEdit {
public:
  // Subclasses the edit box; its text does not change.
  FogdissolverEdit(Window window, int32_t minimum, int32_t maximum, int32_t step);
  ~FogdissolverEdit() { Detach(); }
  FogdissolverEdit(const FogdissolverEdit&) = delete;
  FogdissolverEdit& operator=(const FogdissolverEdit&) = delete;

  void Detach();

  void SetValue(int32_t newValue); // clamped; writes the text; sends no notification
  int32_t GetValue() const { return value; }
  void StepUp();
  void StepDown();
  void PostValueChanged();
  void ParseValue(const std::string& text); // not clamped; text that is not a number gives 0

  intptr_t HandleMessage(uint32_t message, uintptr_t wParam, intptr_t lParam);

private:
  intptr_t KeyDown(uintptr_t key, intptr_t lParam);
  intptr_t Character(uintptr_t character, intptr_t lParam);
  intptr_t Paste(uintptr_t wParam, intptr_t lParam);

  int32_t minimum, maximum, step;
  int32_t value = 0;
  Window window; // null after detaching
};
