// Dialogs as tables: one row per control, in the order of creation and of the tab key.
//
// Places are in dialog units: horizontally a quarter of the font's average character width,
// vertically an eighth of its height. Texts are UTF-8 and mark a mnemonic with "&".
#pragma once

#include <cstdint>

enum class ControlKind : uint8_t {
  pushButton,
  defaultPushButton,
  checkBox,
  groupBox,
  label,
  link,      // text shown as an anchor
  trackBar,  // horizontal, no tick marks
  edit,      // one line, bordered
  digitEdit, // the same, but accepts only digits
  frame,     // invisible, only defines a place
  picture,   // bitmap, as large as possible in its place
  banner,    // bitmap, stretched to the place
};

struct DialogPlace {
  int16_t x, y, width, height;
};

struct DialogControl {
  int id; // -1: never looked up
  ControlKind kind;
  const char* english;
  const char* french; // null: same as English
  DialogPlace place;
  DialogPlace frenchPlace = {}; // width 0: same as English
  int picture = 0;              // number of the bitmap
};

struct DialogTemplate {
  const char* caption;
  int16_t width, height; // dialog units, without the caption
  int16_t pointSize;     // of the desktop's dialog font
  uint32_t style;        // WS_...
  const DialogControl* controls;
  int controlCount;
};
