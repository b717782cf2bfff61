// Dialogs as tables: one row a control, in the order of creation and of the tab key.
//
// Places are in dialog units: a quarter of the font's average character across, an eighth of its
// height down. Texts mark a mnemonic with "&" and are UTF-8.
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
  digitEdit, // the same; digits are all that can be typed
  frame,     // invisible, for its place
  picture,   // bitmap, as large as the place allows
  banner,    // bitmap, stretched to the place
};

struct DialogPlace {
  int16_t x, y, width, height;
};

struct DialogControl {
  int id; // -1: nothing looks it up
  ControlKind kind;
  const char* english;
  const char* french; // null: as in English
  DialogPlace place;
  DialogPlace frenchPlace = {}; // width 0: as in English
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
