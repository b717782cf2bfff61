// Windows as records, linked without the code that shows them.
#include <gmock/gmock.h>

#include "ui/toolkit/DialogTemplate.h"
#include "ui/toolkit/WindowRecord.h"

namespace {

using testing::ElementsAre;

std::vector<uintptr_t> seen; // word of each message that reached the window, or a subclass's id

template <int result>
intptr_t subclass(Window w, uint32_t m, uintptr_t word, intptr_t value, uintptr_t id, uintptr_t) {
  seen.push_back(id);
  return result + DefSubclassProc(w, m, word, value);
}

struct Toolkit : testing::Test {
  static intptr_t note(Window, uint32_t, uintptr_t word, intptr_t) {
    seen.push_back(word);
    return 1;
  }
  Window dialog = NewWindow(nullptr, note, nullptr, 0, WS_SYSMENU);
  Window control = NewWindow(dialog, note, nullptr, 7);
  Toolkit() { seen.clear(); }
  ~Toolkit() override { DestroyWindow(dialog); }
};

TEST_F(Toolkit, SubclassesAndProceduresSeeMessagesBeforeTheWindow) {
  SetWindowSubclass(control, subclass<10>, 1, 0);
  SetWindowSubclass(control, subclass<100>, 2, 0);
  SetWindowSubclass(control, subclass<10>, 1, 5); // new data, same place in the order
  EXPECT_EQ(SendMessage(control, WM_CHAR, 3, 0), 111);
  RemoveWindowSubclass(control, subclass<10>, 2); // no such pair
  RemoveWindowSubclass(control, subclass<100>, 2);
  EXPECT_EQ(SendDlgItemMessage(dialog, 7, WM_CHAR, 4, 0), 11);
  EXPECT_THAT(seen, ElementsAre(2, 1, 3, 1, 4));
  dialog->dialogProc = [](Window w, uint32_t, uintptr_t word, intptr_t) -> intptr_t {
    if (word == 0)
      DestroyWindow(w);
    return word == 1 ? 42 : 0;
  };
  EXPECT_EQ(SendMessage(dialog, WM_COMMAND, 1, 0), 42);
  EXPECT_EQ(SendMessage(dialog, TKM_SHOW, 1, 0), 1);   // not handled by the procedure
  EXPECT_EQ(SendMessage(dialog, WM_COMMAND, 0, 0), 0); // destroyed, with its control
  EXPECT_FALSE(IsWindow(dialog) || IsWindow(control));
}

TEST_F(Toolkit, PostedMessagesKeepTheirOrderAndGoWithTheirWindow) {
  for (uintptr_t word : {1, 2})
    PostMessage(control, WM_COMMAND, word, 0);
  PostMessage(dialog, WM_COMMAND, 3, 0);
  PostMessage(nullptr, WM_COMMAND, 4, 0);
  EXPECT_TRUE(DispatchPostedMessage());
  DestroyWindow(control);
  EXPECT_TRUE(DispatchPostedMessage());
  EXPECT_FALSE(DispatchPostedMessage());
  EXPECT_THAT(seen, ElementsAre(1, 3));
  EXPECT_EQ(GetDlgItem(dialog, 7), nullptr);
}

TEST_F(Toolkit, HooksSeeKeysNewestFirst) {
  static Hook newer;
  const Hook older = SetWindowsHookEx([](int code, uintptr_t key, intptr_t flags) -> intptr_t {
    seen.push_back(key + uintptr_t(flags) + uintptr_t(code));
    return key == 5;
  });
  newer = SetWindowsHookEx([](int code, uintptr_t key, intptr_t flags) {
    seen.push_back(100 + key);
    return CallNextHookEx(newer, code, key, flags);
  });
  EXPECT_FALSE(CallKeyboardHooks(4, 10));
  EXPECT_TRUE(CallKeyboardHooks(5, 20));
  EXPECT_THAT(seen, ElementsAre(104, 14, 105, 25));
  EXPECT_EQ(CallNextHookEx(older, 0, 5, 0), 0); // there is no older one
  UnhookWindowsHookEx(newer);
  EXPECT_EQ(CallNextHookEx(newer, 0, 5, 0), 0);
  EXPECT_TRUE(CallKeyboardHooks(5, 0));
  UnhookWindowsHookEx(older);
  EXPECT_FALSE(CallKeyboardHooks(5, 0));
}

// A bitmap can be drawn into only while it is selected, and goes to the window as a whole.
TEST_F(Toolkit, BitmapsAreFilledAndSent) {
  static std::array<int32_t, 5> sent;
  control->behaviour = [](Window, uint32_t message, uintptr_t, intptr_t value) -> intptr_t {
    const auto& blit = *reinterpret_cast<const BlitRequest*>(value);
    if (message == TKM_BLIT)
      sent = {blit.x, blit.y, blit.width, blit.height, int32_t(blit.pixels[5] & 0xffffff)};
    return 0;
  };
  DeviceContext* paint = BeginPaint(control);
  DeviceContext* memory = CreateCompatibleDC(paint);
  const Bitmap bitmap = CreateCompatibleBitmap(memory, 3, 2),
               empty = CreateCompatibleBitmap(memory, -3, -2);
  EXPECT_TRUE(empty->width == 0 && empty->height == 0 && empty->pixels.empty());
  FillBitmap(memory, DKGRAY_BRUSH);
  BitBlt(paint, 1, 1, memory);
  EXPECT_EQ(SelectObject(nullptr, bitmap), nullptr);
  EXPECT_EQ(SelectObject(memory, bitmap), nullptr);
  EXPECT_EQ(memory->surface.rowBytes, 12);
  EXPECT_TRUE(memory->surface.width == 3 && memory->surface.height == 2);
  EXPECT_EQ(sent[2], 0);
  FillBitmap(memory, DKGRAY_BRUSH);
  BitBlt(paint, 8, 9, memory);
  BitBlt(nullptr, 8, 9, memory);
  EXPECT_THAT(sent, ElementsAre(8, 9, 3, 2, 0x404040));
  EXPECT_EQ(SelectObject(memory, nullptr), bitmap);
  EXPECT_EQ(memory->surface.width, 0);
  EndPaint(control, paint);
  DeleteDC(memory);
  DeleteObject(bitmap);
  DeleteObject(empty);
}

// A destroyed window and a missing desktop have no effect.
TEST_F(Toolkit, WhatIsNotThereGivesNothing) {
  constexpr DialogTemplate none = {};
  EXPECT_EQ(DialogBoxParam(&none, nullptr, nullptr, 0), -1);
  EXPECT_EQ(DialogBoxParam(nullptr, nullptr, nullptr, 0), -1);
  DestroyWindow(control);
  SetWindowSubclass(control, subclass<10>, 1, 0);
  RemoveWindowSubclass(control, subclass<10>, 1);
  PostMessage(control, WM_COMMAND);
  EXPECT_FALSE(DispatchPostedMessage() || OpenClipboard(nullptr) || GetParent(control));
  const intptr_t answers[] = {SendMessage(control, WM_COMMAND),
                              DefSubclassProc(control, WM_COMMAND, 0, 0),
                              GetDlgCtrlID(control),
                              intptr_t(GetWindowStyle(control)),
                              MessageBox(nullptr, "", MB_ICONHAND),
                              GetKeyState(VK_SHIFT),
                              GetSystemMetrics(SM_CYCAPTION),
                              GetClientRectOnScreen(GetDesktopWindow()).right};
  EXPECT_THAT(answers, testing::Each(0));
}

} // namespace
