// Windows for the dialogs' logic: opaque handles that receive messages, and a few operations on
// them. A table of services connects them to the code that shows them; tests can replace it.
//
// Texts are UTF-8. Rectangles are in device-independent pixels. A window may be null or destroyed:
// an operation on it then does nothing and returns 0. Everything runs on the user interface's
// thread.
#pragma once

#include <cstdint>
#include <string>

#include "hostapi/FilterRecord.h"
#include "ui/toolkit/WindowMessages.h"

struct WindowRect {
  int32_t left, top, right, bottom;
  constexpr int32_t width() const { return right - left; }
  constexpr int32_t height() const { return bottom - top; }
};
struct WindowPoint {
  int32_t x, y;
};

// Handles the messages of a dialog; 0: not handled.
using DialogProc = intptr_t (*)(Window dialog, uint32_t message, uintptr_t wParam, intptr_t lParam);

// Runs before a window's own behaviour.
using SubclassProc = intptr_t (*)(Window window, uint32_t message, uintptr_t wParam,
                                  intptr_t lParam, uintptr_t id, uintptr_t refData);

// Messages. A posted message waits until the current one is handled, and is lost if its window is
// destroyed.
intptr_t SendMessage(Window window, uint32_t message, uintptr_t wParam = 0, intptr_t lParam = 0);
void PostMessage(Window window, uint32_t message, uintptr_t wParam = 0, intptr_t lParam = 0);
intptr_t SendDlgItemMessage(Window dialog, int id, uint32_t message, uintptr_t wParam = 0,
                            intptr_t lParam = 0);
intptr_t DefWindowProc(Window window, uint32_t message, uintptr_t wParam, intptr_t lParam);

// Subclassing: the newest procedure gets each message first. It calls DefSubclassProc to pass the
// message to the next one, and finally to the window itself.
void SetWindowSubclass(Window window, SubclassProc proc, uintptr_t id, uintptr_t refData);
void RemoveWindowSubclass(Window window, SubclassProc proc, uintptr_t id);
intptr_t DefSubclassProc(Window window, uint32_t message, uintptr_t wParam, intptr_t lParam);

// Relations.
bool IsWindow(Window window);
Window GetParent(Window window); // a control's dialog; a dialog's owner, or null
Window GetDlgItem(Window dialog, int id);
int GetDlgCtrlID(Window control);
Window GetDesktopWindow(); // the screen

// Texts and states.
void SetWindowText(Window window, const std::string& text);
std::string GetWindowText(Window window);
void SetDlgItemText(Window dialog, int id, const std::string& text);
std::string GetDlgItemText(Window dialog, int id);
void SetDlgItemInt(Window dialog, int id, int32_t value, bool isSigned);
void CheckDlgButton(Window dialog, int id, bool checked);
bool IsDlgButtonChecked(Window dialog, int id);
constexpr int SW_HIDE = 0;
constexpr int SW_SHOW = 1;
void ShowWindow(Window window, int how);
void EnableWindow(Window window, bool enabled);
void SetFocus(Window window);

// Geometry.
WindowRect GetWindowRect(Window window);         // outer, on the screen
WindowRect GetClientRectOnScreen(Window window); // inner, on the screen
WindowPoint ScreenToClient(Window window, WindowPoint point);
WindowPoint ClientToScreen(Window window, WindowPoint point);
// The outer rectangle on the screen. A dialog keeps the size of its template.
void SetWindowPos(Window dialog, int32_t x, int32_t y, int32_t width, int32_t height);
void InvalidateRect(Window window, const WindowRect& clientRect); // WM_PAINT comes later, once
constexpr uint32_t WS_SYSMENU = 1; // the caption has a menu and a closing button
uint32_t GetWindowStyle(Window window);
enum SystemMetric { SM_CYCAPTION, SM_CXSCREEN, SM_CYSCREEN };
int32_t GetSystemMetrics(SystemMetric metric);

// Dialogs. The owner is a QWidget*, or null.
struct DialogTemplate; // ui/toolkit/DialogTemplate.h
// Runs the dialog until EndDialog and returns its result; -1 if it cannot be shown: no template, no
// application, or not the thread of the user interface.
intptr_t DialogBoxParam(const DialogTemplate* dialogTemplate, void* owner, DialogProc proc,
                        intptr_t parameter);
void EndDialog(Window dialog, intptr_t result); // takes effect after the current message
void* GetActiveWindow();                        // a QWidget*, or null

// Drawing. A bitmap has 32 bits per pixel, 0xffRRGGBB; a context draws into its selected bitmap,
// or, between BeginPaint and EndPaint, represents a window.
using Bitmap = struct ToolkitBitmap*;
struct DeviceContext {
  DisplaySurface surface = {}; // for the host's displayPixels; empty without a bitmap
  Bitmap bitmap = nullptr;
  Window window = nullptr;
};
DeviceContext* BeginPaint(Window window); // also outside WM_PAINT, for compatible bitmaps
void EndPaint(Window window, DeviceContext* context);
DeviceContext* CreateCompatibleDC(DeviceContext* like);
Bitmap CreateCompatibleBitmap(DeviceContext* like, int32_t width, int32_t height);
Bitmap SelectObject(DeviceContext* context, Bitmap bitmap); // returns the previous one, or null
void DeleteDC(DeviceContext* context);
void DeleteObject(Bitmap bitmap);
constexpr uint32_t DKGRAY_BRUSH = 0xff404040;
void FillBitmap(DeviceContext* context, uint32_t brush);
void BitBlt(DeviceContext* to, int32_t x, int32_t y, DeviceContext* from); // the whole bitmap

// The keyboard hook: gets each key event of the thread before any window. code is 0; bit 30 of
// flags is set if the key was down before, bit 31 if it was released.
using HookProc = intptr_t (*)(int code, uintptr_t key, intptr_t flags);
using Hook = struct ToolkitHook*;
Hook SetWindowsHookEx(HookProc proc);
void UnhookWindowsHookEx(Hook hook);
intptr_t CallNextHookEx(Hook hook, int code, uintptr_t key, intptr_t flags);

// The desktop.
int16_t GetKeyState(uintptr_t key); // VK_CONTROL, VK_SHIFT or VK_MENU; negative: held
constexpr uint32_t MB_OK = 0;
constexpr uint32_t MB_ICONHAND = 1;
constexpr uint32_t MB_ICONEXCLAMATION = 2;
void MessageBeep(uint32_t kind); // MB_...; every kind has the same sound
int MessageBox(Window owner, const std::string& text, uint32_t style); // 1: confirmed, 0: not shown
bool OpenClipboard(Window window);
std::string GetClipboardText(); // between OpenClipboard and CloseClipboard
void CloseClipboard();
void ShellExecute(const std::string& address); // opens it with the desktop's default program

// Shows the busy cursor during its life.
class BusyCursor {
public:
  BusyCursor();
  ~BusyCursor();
  BusyCursor(const BusyCursor&) = delete;
};
