#include "ui/toolkit/qt/QtKeys.h"

#include <QString>

namespace {

struct KeyPair {
  int qt;
  VirtualKey key;
};

constexpr KeyPair keyTable[] = {
    {Qt::Key_Backspace, VK_BACK}, {Qt::Key_Tab, VK_TAB},       {Qt::Key_Backtab, VK_TAB},
    {Qt::Key_Return, VK_RETURN},  {Qt::Key_Enter, VK_RETURN},  {Qt::Key_Escape, VK_ESCAPE},
    {Qt::Key_Space, VK_SPACE},    {Qt::Key_Shift, VK_SHIFT},   {Qt::Key_Control, VK_CONTROL},
    {Qt::Key_Alt, VK_MENU},       {Qt::Key_PageUp, VK_PRIOR},  {Qt::Key_PageDown, VK_NEXT},
    {Qt::Key_Home, VK_HOME},      {Qt::Key_End, VK_END},       {Qt::Key_Left, VK_LEFT},
    {Qt::Key_Up, VK_UP},          {Qt::Key_Right, VK_RIGHT},   {Qt::Key_Down, VK_DOWN},
    {Qt::Key_Insert, VK_INSERT},  {Qt::Key_Delete, VK_DELETE},
};

// X11 names a key by its level, too: with Shift down, Alt is called Meta. The key with the window
// symbol is another key, which Qt also calls Meta.
bool isAltCalledMeta(const QKeyEvent& event) {
  constexpr quint32 keysymMetaLeft = 0xffe7, keysymMetaRight = 0xffe8;
  return event.key() == Qt::Key_Meta && (event.nativeVirtualKey() == keysymMetaLeft ||
                                         event.nativeVirtualKey() == keysymMetaRight);
}

} // namespace

VirtualKey VirtualKeyOf(const QKeyEvent& event) {
  if (isAltCalledMeta(event))
    return VK_MENU;
  for (const KeyPair& pair : keyTable)
    if (pair.qt == event.key())
      return pair.key;
  return VK_OTHER;
}

int QtKeyOf(uintptr_t virtualKey) {
  for (const KeyPair& pair : keyTable)
    if (pair.key == virtualKey)
      return pair.qt;
  return 0;
}

std::vector<char32_t> CharactersOf(const QKeyEvent& event) {
  switch (VirtualKeyOf(event)) {
  case VK_BACK:
    return {8};
  case VK_RETURN:
    return {13};
  case VK_ESCAPE:
    return {27};
  case VK_SPACE:
  case VK_OTHER:
    break;
  default:
    return {};
  }
  if (event.modifiers().testFlag(Qt::ControlModifier)) {
    if (event.key() >= Qt::Key_A && event.key() <= Qt::Key_Z)
      return {char32_t(event.key() - Qt::Key_A + 1)};
    return {}; // for some of these, X11 delivers the text that they have without Ctrl
  }
  std::vector<char32_t> characters;
  for (uint unit : event.text().toUcs4())
    characters.push_back(unit);
  return characters;
}

bool AltIsPartOf(const QKeyEvent& event) {
  return VirtualKeyOf(event) == VK_MENU || event.modifiers().testFlag(Qt::AltModifier);
}
