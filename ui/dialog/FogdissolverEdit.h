// A whole number in an edit box: a value of its own behind the text, stepping by arrow keys and
// wheel, filters for typed and pasted text, and a notification to the dialog.
//
// The value can differ from what the box shows, and can lie outside the range while the user types:
// it follows each typed digit at once and is clamped when the box loses the focus. Pasted text
// stays in the box only; the value does not take it over.
#pragma once

#include <cstdint>
#include <string>

#include "ui/toolkit/Windows.h"

// Notification code of WM_COMMAND, posted to the dialog: read GetValue anew.
constexpr uint16_t EDIT_VALUE_CHANGED = 0x1122;

class FogdissolverEdit {
public:
  // Takes its place in front of the edit box; the text stays as it is.
  FogdissolverEdit(Window window, int32_t minimum, int32_t maximum, int32_t step);
  ~FogdissolverEdit() { Detach(); }
  FogdissolverEdit(const FogdissolverEdit&) = delete;
  FogdissolverEdit& operator=(const FogdissolverEdit&) = delete;

  void Detach();

  void SetValue(int32_t newValue); // clamped; writes the text; notifies nobody
  int32_t GetValue() const { return value; }
  void StepUp();
  void StepDown();
  void PostValueChanged();
  void ParseValue(const std::string& text); // not clamped; what is no number gives 0

  intptr_t HandleMessage(uint32_t message, uintptr_t wParam, intptr_t lParam);

private:
  intptr_t KeyDown(uintptr_t key, intptr_t lParam);
  intptr_t Character(uintptr_t character, intptr_t lParam);
  intptr_t Paste(uintptr_t wParam, intptr_t lParam);

  int32_t minimum, maximum, step;
  int32_t value{};
  Window window; // null once detached
};
