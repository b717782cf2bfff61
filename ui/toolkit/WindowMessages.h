// The messages that windows, controls and dialog procedures exchange, and their keys and codes.
//
// A message carries two parameters, "word" and "long"; the comment on each message describes them.
// Only explicitly written numbers have a meaning outside this program.
#pragma once

#include <cstdint>

using Window = struct ToolkitWindow*; // a dialog or a control; null is no window

// Two 16-bit numbers in one parameter.
constexpr uint16_t LowWord(uintptr_t v) { return uint16_t(v & 0xffff); }
constexpr uint16_t HighWord(uintptr_t v) { return uint16_t((v >> 16) & 0xffff); }
constexpr uintptr_t MakeWords(uint16_t low, uint16_t high) {
  return uintptr_t(low) | uintptr_t(high) << 16;
}

enum WindowMessage : uint32_t {
  // The life of a dialog.
  WM_INITDIALOG = 1, // long: the parameter of DialogBoxParam. All controls exist, none is visible
  WM_DESTROY,        // the dialog is hidden and ends; its controls still exist
  WM_ACTIVATE,       // it became the active window or is no longer active
  WM_PAINT,          // draw between BeginPaint and EndPaint
  WM_SYSCOMMAND,     // word: SC_...

  // From controls to their dialog.
  WM_COMMAND, // word: id of the control, notification code; long: the control
  WM_NOTIFY,  // long: a NotifyHeader
  WM_HSCROLL, // word: SB_..., position; long: the trackbar
  WM_VSCROLL,

  // Input of the control that has the focus, or lies below the pointer. No keys while Alt is held.
  WM_KEYDOWN, // word: VK_...
  WM_KEYUP,
  WM_CHAR,        // word: the character
  WM_MOUSEWHEEL,  // word: (unused, signed turn in 1/120 of a notch, forward positive)
  WM_LBUTTONDOWN, // to a dialog: a press outside all controls
  WM_CUT,
  WM_COPY,
  WM_PASTE,
  WM_KILLFOCUS,
  WM_GETDLGCODE, // long: null or the next InputMessage; result: DLGC_...

  // For every window.
  WM_SETTEXT,       // long: const char*, UTF-8
  WM_GETTEXT,       // word: bytes with the final zero; long: char*; result: bytes without it
  WM_GETTEXTLENGTH, // result: bytes, without the final zero

  // For one kind of control.
  TBM_SETRANGE, // word: redraw; long: two signed words, least and greatest position
  TBM_SETPOS,   // word: redraw; long: position, clamped to the range; sends no scroll message
  TBM_GETPOS,
  BM_SETCHECK, // word: 1 checked, 0 not; sends no notification
  BM_GETCHECK,
  BM_SETSTYLE, // word: BS_DEFPUSHBUTTON or 0
  EM_SETSEL,   // word, long: first character, character after the last; 0 and -1: all
  EM_GETSEL,   // word, long: int32_t* each, for the same two; either may be null
  CB_ADDSTRING,
  CB_RESETCONTENT,
  CB_SETCURSEL,
  CB_GETCURSEL,
  CB_GETLBTEXT, // like WM_GETTEXT, but word: index
  CB_GETLBTEXTLEN,
  LB_ADDSTRING,
  LB_RESETCONTENT,
  LB_SETCURSEL,
  LB_GETCURSEL,
  LB_GETTEXT,
  LB_GETTEXTLEN,
  LB_SETITEMDATA, // word: index; long: any value
  LB_GETITEMDATA,

  // Used by the functions of Windows.h; a dialog procedure never gets them.
  TKM_FIRST,
  TKM_SHOW = TKM_FIRST, // word: SW_...
  TKM_ENABLE,           // word: boolean
  TKM_SETFOCUS,
  TKM_GETRECT,       // long: WindowRect*, outer rectangle on the screen
  TKM_GETCLIENTRECT, // long: WindowRect*, inner rectangle on the screen
  TKM_SETRECT,       // long: const WindowRect*, outer rectangle on the screen; dialogs only
  TKM_INVALIDATE,    // long: const WindowRect*, in client coordinates; dialogs only
  TKM_BLIT,          // long: const BlitRequest*
  TKM_ENDDIALOG,     // long: the result
};

constexpr uintptr_t SC_KEYMENU = 0xF100; // Alt alone opens the window's menu

enum VirtualKey : uintptr_t {
  VK_BACK = 1,
  VK_TAB,
  VK_RETURN,
  VK_ESCAPE,
  VK_SPACE,
  VK_SHIFT,
  VK_CONTROL,
  VK_MENU, // Alt
  VK_PRIOR,
  VK_NEXT,
  VK_HOME,
  VK_END,
  VK_LEFT,
  VK_UP,
  VK_RIGHT,
  VK_DOWN,
  VK_INSERT,
  VK_DELETE,
  VK_OTHER, // any key without a name here
};

enum NotificationCode : uint32_t {
  BN_CLICKED = 0, // WM_COMMAND: a check box sends it, too, after it changed
  EN_CHANGE,      // WM_COMMAND: user or program changed the text of an edit box
  NM_CLICK,       // WM_NOTIFY: click on a link
  NM_RETURN,      // WM_NOTIFY: a link opened with the keyboard
};

enum ScrollCode : uint16_t {
  SB_LINELEFT,
  SB_LINERIGHT,
  SB_PAGELEFT,
  SB_PAGERIGHT,
  SB_THUMBTRACK, // the pointer moved the thumb
  SB_LEFT,
  SB_RIGHT,
  SB_ENDSCROLL, // the key or the button was released
};

constexpr intptr_t DLGC_WANTARROWS = 1;  // arrows do not move the focus
constexpr intptr_t DLGC_WANTALLKEYS = 2; // Enter and Esc do not press the dialog's buttons

// Parameter of WM_NOTIFY.
struct NotifyHeader {
  Window windowFrom;
  uintptr_t idFrom;
  uint32_t code; // NM_...
};

// A message to a window.
struct InputMessage {
  Window window;
  uint32_t message;
  uintptr_t wParam;
  intptr_t lParam;
};

// Styles of a push button (BM_SETSTYLE): Enter presses the default one from any control.
constexpr uintptr_t BS_DEFPUSHBUTTON = 1;
