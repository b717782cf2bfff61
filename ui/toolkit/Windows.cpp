#include "ui/toolkit/Windows.h"

#include <algorithm>
#include <deque>
#include <memory>
#include <string>
#include <unordered_set>

#include "ui/toolkit/Services.h"
#include "ui/toolkit/WindowRecord.h"

struct ToolkitHook {
  HookProc proc;
};

namespace {

std::unordered_set<Window>& liveWindows() {
  static std::unordered_set<Window> windows;
  return windows;
}

std::deque<InputMessage>& postedMessages() {
  static std::deque<InputMessage> queue;
  return queue;
}

std::vector<Hook>& hooks() {
  static std::vector<Hook> installed; // newest last
  return installed;
}

// The window itself: first a dialog's procedure, then the behaviour of its kind of window.
intptr_t callWindow(Window window, uint32_t message, uintptr_t wParam, intptr_t lParam) {
  if (window->dialogProc && message < TKM_FIRST) {
    const intptr_t result = window->dialogProc(window, message, wParam, lParam);
    if (result || !IsWindow(window))
      return result;
  }
  return DefWindowProc(window, message, wParam, lParam);
}

// Passes the message through the oldest `count` subclass procedures, starting with the newest of
// them.
intptr_t callThrough(Window window, size_t count, uint32_t message, uintptr_t wParam,
                     intptr_t lParam) {
  count = std::min(count, window->subclasses.size());
  if (count == 0)
    return callWindow(window, message, wParam, lParam);
  const WindowSubclass subclass = window->subclasses[count - 1];
  const size_t before = window->below;
  window->below = count - 1;
  const intptr_t result =
      subclass.proc(window, message, wParam, lParam, subclass.id, subclass.refData);
  if (IsWindow(window))
    window->below = before;
  return result;
}

intptr_t desktopBehaviour(Window, uint32_t message, uintptr_t, intptr_t lParam) {
  if (message == TKM_GETCLIENTRECT)
    *reinterpret_cast<WindowRect*>(lParam) = gServices->desktop();
  return 0;
}

// A message whose parameter is a pointer to its data.
intptr_t sendPointer(Window window, uint32_t message, const void* pointer) {
  return SendMessage(window, message, 0, reinterpret_cast<intptr_t>(pointer));
}

auto findSubclass(Window window, SubclassProc proc, uintptr_t id) {
  return std::find_if(window->subclasses.begin(), window->subclasses.end(),
                      [&](const WindowSubclass& s) { return s.proc == proc && s.id == id; });
}

} // namespace

Window NewWindow(Window parent, WindowProc behaviour, void* peer, int id, uint32_t style) {
  auto window = std::make_unique<ToolkitWindow>();
  window->parent = parent;
  window->id = id;
  window->style = style;
  window->behaviour = behaviour;
  window->peer = peer;
  liveWindows().insert(window.get());
  if (IsWindow(parent))
    parent->children.push_back(window.get());
  return window.release();
}

void DestroyWindow(Window window) {
  if (!IsWindow(window))
    return;
  while (!window->children.empty())
    DestroyWindow(window->children.back());
  if (IsWindow(window->parent))
    std::erase(window->parent->children, window);
  liveWindows().erase(window);
  std::erase_if(postedMessages(), [&](const InputMessage& m) { return m.window == window; });
  delete window;
}

bool IsWindow(Window window) { return window && liveWindows().contains(window); }

intptr_t SendMessage(Window window, uint32_t message, uintptr_t wParam, intptr_t lParam) {
  if (!IsWindow(window))
    return 0;
  return callThrough(window, window->subclasses.size(), message, wParam, lParam);
}

void PostMessage(Window window, uint32_t message, uintptr_t wParam, intptr_t lParam) {
  if (!IsWindow(window))
    return;
  postedMessages().push_back({window, message, wParam, lParam});
  gServices->messagePosted();
}

bool DispatchPostedMessage() {
  if (postedMessages().empty())
    return false;
  const InputMessage message = postedMessages().front();
  postedMessages().pop_front();
  SendMessage(message.window, message.message, message.wParam, message.lParam);
  return true;
}

intptr_t SendDlgItemMessage(Window dialog, int id, uint32_t message, uintptr_t wParam,
                            intptr_t lParam) {
  return SendMessage(GetDlgItem(dialog, id), message, wParam, lParam);
}

intptr_t DefWindowProc(Window window, uint32_t message, uintptr_t wParam, intptr_t lParam) {
  if (!IsWindow(window) || !window->behaviour)
    return 0;
  return window->behaviour(window, message, wParam, lParam);
}

void SetWindowSubclass(Window window, SubclassProc proc, uintptr_t id, uintptr_t refData) {
  if (!IsWindow(window))
    return;
  const auto existing = findSubclass(window, proc, id);
  if (existing != window->subclasses.end())
    existing->refData = refData;
  else
    window->subclasses.push_back({proc, id, refData});
}

void RemoveWindowSubclass(Window window, SubclassProc proc, uintptr_t id) {
  if (!IsWindow(window))
    return;
  const auto existing = findSubclass(window, proc, id);
  if (existing != window->subclasses.end())
    window->subclasses.erase(existing);
}

intptr_t DefSubclassProc(Window window, uint32_t message, uintptr_t wParam, intptr_t lParam) {
  return IsWindow(window) ? callThrough(window, window->below, message, wParam, lParam) : 0;
}

Window GetParent(Window window) { return IsWindow(window) ? window->parent : nullptr; }

Window GetDlgItem(Window dialog, int id) {
  if (!IsWindow(dialog))
    return nullptr;
  for (Window child : dialog->children)
    if (child->id == id)
      return child;
  return nullptr;
}

int GetDlgCtrlID(Window control) { return IsWindow(control) ? control->id : 0; }

Window GetDesktopWindow() {
  // Not on the heap, because nothing would free it when the module is unloaded.
  static ToolkitWindow desktop;
  desktop.behaviour = desktopBehaviour;
  liveWindows().insert(&desktop);
  return &desktop;
}

void SetWindowText(Window window, const std::string& text) {
  sendPointer(window, WM_SETTEXT, text.c_str());
}

std::string GetWindowText(Window window) {
  std::string text(size_t(SendMessage(window, WM_GETTEXTLENGTH)) + 1, '\0');
  const intptr_t length =
      SendMessage(window, WM_GETTEXT, text.size(), reinterpret_cast<intptr_t>(text.data()));
  text.resize(size_t(length));
  return text;
}

void SetDlgItemText(Window dialog, int id, const std::string& text) {
  SetWindowText(GetDlgItem(dialog, id), text);
}

std::string GetDlgItemText(Window dialog, int id) { return GetWindowText(GetDlgItem(dialog, id)); }

void SetDlgItemInt(Window dialog, int id, int32_t value, bool isSigned) {
  SetDlgItemText(dialog, id, isSigned ? std::to_string(value) : std::to_string(uint32_t(value)));
}

void CheckDlgButton(Window dialog, int id, bool checked) {
  SendDlgItemMessage(dialog, id, BM_SETCHECK, checked);
}

bool IsDlgButtonChecked(Window dialog, int id) {
  return SendDlgItemMessage(dialog, id, BM_GETCHECK) != 0;
}

void ShowWindow(Window window, int how) { SendMessage(window, TKM_SHOW, uintptr_t(how)); }

void EnableWindow(Window window, bool enabled) { SendMessage(window, TKM_ENABLE, enabled); }

void SetFocus(Window window) { SendMessage(window, TKM_SETFOCUS); }

WindowRect GetWindowRect(Window window) {
  WindowRect rect = {};
  sendPointer(window, TKM_GETRECT, &rect);
  return rect;
}

WindowRect GetClientRectOnScreen(Window window) {
  WindowRect rect = {};
  sendPointer(window, TKM_GETCLIENTRECT, &rect);
  return rect;
}

WindowPoint ScreenToClient(Window window, WindowPoint point) {
  const WindowRect client = GetClientRectOnScreen(window);
  return {point.x - client.left, point.y - client.top};
}

WindowPoint ClientToScreen(Window window, WindowPoint point) {
  const WindowRect client = GetClientRectOnScreen(window);
  return {point.x + client.left, point.y + client.top};
}

void SetWindowPos(Window dialog, int32_t x, int32_t y, int32_t width, int32_t height) {
  const WindowRect rect = {x, y, x + width, y + height};
  sendPointer(dialog, TKM_SETRECT, &rect);
}

void InvalidateRect(Window window, const WindowRect& clientRect) {
  sendPointer(window, TKM_INVALIDATE, &clientRect);
}

uint32_t GetWindowStyle(Window window) { return IsWindow(window) ? window->style : 0; }

int32_t GetSystemMetrics(SystemMetric metric) {
  if (metric == SM_CYCAPTION)
    return gServices->captionHeight();
  const WindowRect screen = gServices->desktop();
  return metric == SM_CXSCREEN ? screen.width() : screen.height();
}

intptr_t DialogBoxParam(const DialogTemplate* dialogTemplate, void* owner, DialogProc proc,
                        intptr_t parameter) {
  return dialogTemplate ? gServices->dialogBox(dialogTemplate, owner, proc, parameter) : -1;
}

void EndDialog(Window dialog, intptr_t result) { SendMessage(dialog, TKM_ENDDIALOG, 0, result); }

void* GetActiveWindow() { return gServices->activeWindow(); }

DeviceContext* BeginPaint(Window window) {
  DeviceContext* context = new DeviceContext;
  context->window = window;
  return context;
}

void EndPaint(Window, DeviceContext* context) { delete context; }

DeviceContext* CreateCompatibleDC(DeviceContext*) { return new DeviceContext; }

Bitmap CreateCompatibleBitmap(DeviceContext*, int32_t width, int32_t height) {
  width = std::max(width, 0);
  height = std::max(height, 0);
  return new ToolkitBitmap{width, height, std::vector<uint32_t>(size_t(width) * size_t(height))};
}

Bitmap SelectObject(DeviceContext* context, Bitmap bitmap) {
  if (!context)
    return nullptr;
  const Bitmap displaced = context->bitmap;
  context->bitmap = bitmap;
  context->surface = {};
  if (bitmap)
    context->surface = {reinterpret_cast<uint8_t*>(bitmap->pixels.data()), bitmap->width,
                        bitmap->height, bitmap->width * 4};
  return displaced;
}

void DeleteDC(DeviceContext* context) { delete context; }

void DeleteObject(Bitmap bitmap) { delete bitmap; }

void FillBitmap(DeviceContext* context, uint32_t brush) {
  if (context && context->bitmap)
    std::fill(context->bitmap->pixels.begin(), context->bitmap->pixels.end(), brush);
}

void BitBlt(DeviceContext* to, int32_t x, int32_t y, DeviceContext* from) {
  const Bitmap bitmap = from ? from->bitmap : nullptr;
  if (!to || !bitmap)
    return;
  const BlitRequest request = {x, y, bitmap->width, bitmap->height, bitmap->pixels.data()};
  sendPointer(to->window, TKM_BLIT, &request);
}

Hook SetWindowsHookEx(HookProc proc) {
  hooks().push_back(new ToolkitHook{proc});
  return hooks().back();
}

void UnhookWindowsHookEx(Hook hook) {
  if (std::erase(hooks(), hook))
    delete hook;
}

intptr_t CallNextHookEx(Hook hook, int code, uintptr_t key, intptr_t flags) {
  const auto place = std::find(hooks().begin(), hooks().end(), hook);
  if (place == hooks().end() || place == hooks().begin())
    return 0;
  return (*std::prev(place))->proc(code, key, flags);
}

bool CallKeyboardHooks(uintptr_t key, intptr_t flags) {
  return !hooks().empty() && hooks().back()->proc(0, key, flags) != 0;
}

int16_t GetKeyState(uintptr_t key) { return gServices->keyHeld(key) ? -1 : 0; }

void MessageBeep(uint32_t) { gServices->beep(); }

int MessageBox(Window owner, const std::string& text, uint32_t style) {
  return gServices->messageBox(owner, text, style);
}

bool OpenClipboard(Window) { return gServices->openClipboard(); }

std::string GetClipboardText() { return gServices->clipboardText(); }

void CloseClipboard() {}

void ShellExecute(const std::string& address) { gServices->openAddress(address); }

BusyCursor::BusyCursor() { gServices->busy(true); }

BusyCursor::~BusyCursor() { gServices->busy(false); }
