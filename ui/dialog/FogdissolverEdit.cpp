#include "ui/dialog/FogdissolverEdit.h"

#include <algorithm>
#include <clocale>
#include <cstdlib>

#include "primitives/base/Conversions.h"
#include "ui/dialog/ControlMap.h"

namespace {

constexpr uintptr_t backspace = 8, enter = 13;

intptr_t EditSubclassProc(Window window, uint32_t message, uintptr_t wParam, intptr_t lParam,
                          uintptr_t, uintptr_t) {
  return static_cast<FogdissolverEdit*>(controlMap.at(window))
      ->HandleMessage(message, wParam, lParam);
}

// The leading number of a text, rounded toward zero. Independent of the locale, which may use a
// decimal comma.
int32_t wholeNumber(const std::string& text) {
  static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
  return truncateToInt32(strtod_l(text.c_str(), nullptr, plain));
}

// A copy of a box's text: applies a coming edit to it, to know the effect before the box itself
// acts.
struct WorkingCopy {
  std::string text;
  int32_t start = 0, end = 0; // selection

  explicit WorkingCopy(Window window) : text(GetWindowText(window)) {
    SendMessage(window, EM_GETSEL, reinterpret_cast<uintptr_t>(&start),
                reinterpret_cast<intptr_t>(&end));
  }

  bool hasSelection() const { return start != end; }
  void remove(int32_t index, int32_t count) { text.erase(place(index), size_t(count)); }
  void removeSelection() { remove(start, std::max(end - start, 0)); }
  void insert(int32_t index, const std::string& what) { text.insert(place(index), what); }

private:
  size_t place(int32_t index) const { return std::min(size_t(std::max(index, 0)), text.size()); }
};

} // namespace

FogdissolverEdit::FogdissolverEdit(Window window, int32_t minimum, int32_t maximum, int32_t step)
    : minimum(minimum), maximum(maximum), step(step), window(window) {
  controlMap[window] = this;
  SetWindowSubclass(window, EditSubclassProc, 0, 0);
}

void FogdissolverEdit::Detach() {
  if (IsWindow(window))
    RemoveWindowSubclass(window, EditSubclassProc, 0);
  controlMap.erase(window);
  window = nullptr;
}

void FogdissolverEdit::SetValue(int32_t newValue) {
  value = std::max(minimum, std::min(maximum, newValue));
  SetWindowText(window, std::to_string(value));
}

void FogdissolverEdit::StepUp() {
  SetValue(wrappingAdd(value, step));
  PostValueChanged();
}

void FogdissolverEdit::StepDown() {
  SetValue(wrappingSubtract(value, step));
  PostValueChanged();
}

void FogdissolverEdit::PostValueChanged() {
  PostMessage(GetParent(window), WM_COMMAND,
              MakeWords(uint16_t(GetDlgCtrlID(window)), EDIT_VALUE_CHANGED),
              reinterpret_cast<intptr_t>(window));
}

void FogdissolverEdit::ParseValue(const std::string& text) { value = wholeNumber(text); }

intptr_t FogdissolverEdit::HandleMessage(uint32_t message, uintptr_t wParam, intptr_t lParam) {
  const auto forward = [&] { return DefSubclassProc(window, message, wParam, lParam); };
  switch (message) {
  case WM_KILLFOCUS:
    SetValue(value);
    PostValueChanged();
    return forward();
  case WM_GETDLGCODE: {
    const auto* coming = reinterpret_cast<const InputMessage*>(lParam);
    const bool enterComes = coming && coming->message == WM_KEYDOWN && coming->wParam == VK_RETURN;
    return forward() | (enterComes ? DLGC_WANTALLKEYS : 0);
  }
  case WM_KEYDOWN:
    return KeyDown(wParam, lParam);
  case WM_KEYUP:
    if (wParam != VK_UP && wParam != VK_DOWN)
      return forward();
    PostValueChanged();
    return 1;
  case WM_CHAR:
    return Character(wParam, lParam);
  case WM_MOUSEWHEEL:
    if (int16_t(HighWord(wParam)) > 0)
      StepUp();
    else
      StepDown();
    return forward();
  case WM_COPY:
    if (OpenClipboard(window))
      CloseClipboard();
    return forward();
  case WM_PASTE:
    return Paste(wParam, lParam);
  default:
    return forward();
  }
}

intptr_t FogdissolverEdit::KeyDown(uintptr_t key, intptr_t lParam) {
  switch (key) {
  case VK_UP:
    StepUp();
    return 1;
  case VK_DOWN:
    StepDown();
    return 1;
  case VK_DELETE: {
    WorkingCopy copy(window);
    if (copy.hasSelection())
      copy.removeSelection();
    else
      copy.remove(copy.start, 1);
    ParseValue(copy.text);
    DefSubclassProc(window, WM_KEYDOWN, key, lParam);
    return 1;
  }
  default:
    return DefSubclassProc(window, WM_KEYDOWN, key, lParam);
  }
}

intptr_t FogdissolverEdit::Character(uintptr_t character, intptr_t lParam) {
  if (GetKeyState(VK_CONTROL) < 0)
    return DefSubclassProc(window, WM_CHAR, character, lParam);
  WorkingCopy copy(window);
  copy.removeSelection();
  if (character == enter) {
    PostValueChanged();
    return 1;
  }
  if (character == backspace) {
    if (!copy.hasSelection())
      copy.remove(copy.start - 1, 1);
  } else if (character >= '0' && character <= '9') {
    copy.insert(copy.start, std::string(1, char(character)));
  } else {
    MessageBeep(0);
    return 1;
  }
  ParseValue(copy.text);
  DefSubclassProc(window, WM_CHAR, character, lParam);
  return 1;
}

// Only the number's range decides; the value does not change.
intptr_t FogdissolverEdit::Paste(uintptr_t wParam, intptr_t lParam) {
  WorkingCopy copy(window);
  copy.removeSelection();
  std::string pasted;
  if (OpenClipboard(nullptr)) {
    pasted = GetClipboardText();
    CloseClipboard();
  }
  copy.insert(copy.start, pasted);
  const int32_t number = wholeNumber(copy.text);
  if (number >= minimum && number <= maximum)
    DefSubclassProc(window, WM_PASTE, wParam, lParam);
  return 1;
}
