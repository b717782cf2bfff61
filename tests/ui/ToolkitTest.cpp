// Windows as records, linked without anything that shows them.
#include <gmock/gmock.h>

#include "ui/toolkit/Services.h"
#include "ui/toolkit/WindowRecord.h"

namespace {

using testing::ElementsAre;

std::vector<std::string> notes;

std::string described(uint32_t message, uintptr_t word) {
  return std::to_string(message) + ":" + std::to_string(word);
}

template <int result>
intptr_t subclass(Window w, uint32_t m, uintptr_t word, intptr_t value, uintptr_t id,
                  uintptr_t data) {
  notes.push_back("subclass " + std::to_string(id) + " " + std::to_string(data));
  return result + DefSubclassProc(w, m, word, value);
}

intptr_t behaviour(Window, uint32_t message, uintptr_t word, intptr_t) {
  notes.push_back(described(message, word));
  return 1;
}

struct Toolkit : testing::Test {
  Window dialog = NewWindow(nullptr, 0, WS_SYSMENU, behaviour, nullptr);
  Window control = NewWindow(dialog, 7, 0, behaviour, nullptr);
  Toolkit() { notes.clear(); }
  ~Toolkit() override { DestroyWindow(dialog); }
};

TEST_F(Toolkit, SubclassesSeeMessagesNewestFirst) {
  SetWindowSubclass(control, subclass<10>, 1, 5);
  SetWindowSubclass(control, subclass<100>, 2, 6);
  SetWindowSubclass(control, subclass<10>, 1, 7); // new data, old place
  EXPECT_EQ(SendMessage(control, WM_CHAR, 3, 0), 111);
  RemoveWindowSubclass(control, subclass<10>, 2); // no such pair
  RemoveWindowSubclass(control, subclass<100>, 2);
  EXPECT_EQ(SendDlgItemMessage(dialog, 7, WM_CHAR, 4, 0), 11);
  EXPECT_THAT(notes, ElementsAre("subclass 2 6", "subclass 1 7", described(WM_CHAR, 3),
                                 "subclass 1 7", described(WM_CHAR, 4)));
}

TEST_F(Toolkit, ProceduresComeBeforeTheBehaviour) {
  dialog->dialogProc = [](Window, uint32_t message, uintptr_t word, intptr_t) -> intptr_t {
    return message == WM_COMMAND && word == 1 ? 42 : 0;
  };
  EXPECT_EQ(SendMessage(dialog, WM_COMMAND, 1, 0), 42);
  EXPECT_EQ(SendMessage(dialog, WM_COMMAND, 2, 0), 1);
  EXPECT_EQ(SendMessage(dialog, TKM_SHOW, 1, 0), 1); // not a procedure's
  EXPECT_EQ(notes.size(), 2u);
  dialog->dialogProc = [](Window w, uint32_t, uintptr_t, intptr_t) -> intptr_t {
    DestroyWindow(w);
    return 0;
  };
  EXPECT_EQ(SendMessage(dialog, WM_COMMAND, 3, 0), 0); // gone, with its control
  EXPECT_FALSE(IsWindow(dialog) || IsWindow(control));
  EXPECT_EQ(notes.size(), 2u);
}

TEST_F(Toolkit, PostedMessagesKeepTheirOrderAndGoWithTheirWindow) {
  ToolkitServices services = noServices;
  static int posted;
  posted = 0;
  services.messagePosted = [] { ++posted; };
  gServices = &services;
  for (uintptr_t word : {1, 2})
    PostMessage(control, WM_COMMAND, word, 0);
  PostMessage(dialog, WM_COMMAND, 3, 0);
  PostMessage(nullptr, WM_COMMAND, 4, 0);
  EXPECT_EQ(posted, 3);
  EXPECT_TRUE(notes.empty());
  EXPECT_TRUE(DispatchPostedMessage());
  DestroyWindow(control);
  EXPECT_TRUE(DispatchPostedMessage());
  EXPECT_FALSE(DispatchPostedMessage());
  EXPECT_THAT(notes, ElementsAre(described(WM_COMMAND, 1), described(WM_COMMAND, 3)));
  gServices = &noServices;
}

TEST_F(Toolkit, WindowsThatAreGoneAnswerNothing) {
  EXPECT_EQ(GetDlgItem(dialog, 7), control);
  EXPECT_EQ(GetDlgItem(dialog, 8), nullptr);
  EXPECT_EQ(GetParent(control), dialog);
  EXPECT_EQ(GetDlgCtrlID(control), 7);
  EXPECT_EQ(GetWindowStyle(dialog), WS_SYSMENU);
  DestroyWindow(control);
  DestroyWindow(control);
  EXPECT_EQ(GetDlgItem(dialog, 7), nullptr);
  SetWindowSubclass(control, subclass<1>, 1, 1);
  RemoveWindowSubclass(control, subclass<1>, 1);
  EXPECT_EQ(SendMessage(control, WM_CHAR, 1, 0) + DefWindowProc(control, WM_CHAR, 1, 0) +
                DefSubclassProc(control, WM_CHAR, 1, 0) + GetDlgCtrlID(control),
            0);
  EXPECT_EQ(GetWindowText(control), "");
  EXPECT_EQ(GetDlgItem(nullptr, 7), nullptr);
  EXPECT_EQ(GetParent(nullptr), nullptr);
  EXPECT_TRUE(notes.empty());
}

TEST_F(Toolkit, WithoutADesktopNothingIsShown) {
  EXPECT_EQ(gServices, &noServices);
  EXPECT_EQ(DialogBoxParam(nullptr, nullptr, nullptr, 0), -1);
  EXPECT_EQ(GetWindowRect(GetDesktopWindow()).width(), 0);
  EXPECT_EQ(GetSystemMetrics(SM_CXSCREEN), 0);
  EXPECT_FALSE(OpenClipboard(nullptr));
  EXPECT_EQ(MessageBox(nullptr, "", MB_OK), 0);
  EXPECT_EQ(GetKeyState(VK_CONTROL), 0);
  ShellExecute("nowhere");
  MessageBeep(MB_OK);
  const BusyCursor busy;
}

TEST_F(Toolkit, TheNewestHookDecides) {
  static Hook first, second;
  first = SetWindowsHookEx([](int code, uintptr_t key, intptr_t) -> intptr_t {
    notes.push_back("first " + std::to_string(code));
    return key == VK_TAB;
  });
  second = SetWindowsHookEx([](int code, uintptr_t key, intptr_t flags) -> intptr_t {
    return key == VK_SPACE ? 0 : CallNextHookEx(second, code, key, flags);
  });
  EXPECT_TRUE(CallKeyboardHooks(VK_TAB, 0));
  EXPECT_FALSE(CallKeyboardHooks(VK_SPACE, 0));
  EXPECT_EQ(CallNextHookEx(first, 0, VK_TAB, 0), 0); // there is none behind
  UnhookWindowsHookEx(second);
  EXPECT_FALSE(CallKeyboardHooks(VK_RETURN, 0));
  UnhookWindowsHookEx(first);
  UnhookWindowsHookEx(first);
  EXPECT_FALSE(CallKeyboardHooks(VK_TAB, 0));
  EXPECT_THAT(notes, ElementsAre("first 0", "first 0"));
}

// Against a loop over all pixels, for rectangles that stick out on every side.
TEST(ToolkitDrawing, IsCutAtTheEdges) {
  constexpr int32_t width = 5, height = 4;
  for (int32_t left = -2; left <= width + 1; ++left)
    for (int32_t right = left - 1; right <= width + 2; ++right) {
      const int32_t top = left - 1, bottom = right - 1;
      DeviceContext* context = CreateCompatibleDC(nullptr);
      const Bitmap bitmap = CreateCompatibleBitmap(nullptr, width, height);
      EXPECT_EQ(SelectObject(context, bitmap), nullptr);
      FillRect(context, {left, top, right, bottom}, 9);
      for (int32_t i = 0; i < width * height; ++i) {
        const int32_t x = i % width, y = i / width;
        const bool in = x >= left && x < right && y >= top && y < bottom;
        EXPECT_EQ(bitmap->pixels[size_t(i)], in ? 9u : 0u);
      }
      EXPECT_EQ(context->surface.rowBytes, width * 4);
      EXPECT_EQ(SelectObject(context, nullptr), bitmap);
      EXPECT_EQ(context->surface.pixels, nullptr);
      FillRect(context, {0, 0, 9, 9}, 1); // without a bitmap
      DeleteDC(context);
      DeleteObject(bitmap);
    }
  const Bitmap none = CreateCompatibleBitmap(nullptr, -3, 5);
  EXPECT_TRUE(none->pixels.empty());
  DeleteObject(none);
}

TEST(ToolkitDrawing, BlitsWhatTheBitmapHas) {
  static std::vector<BlitRequest> blits;
  blits.clear();
  const Window window = NewWindow(
      nullptr, 0, 0,
      [](Window, uint32_t message, uintptr_t, intptr_t value) -> intptr_t {
        if (message == TKM_BLIT)
          blits.push_back(*reinterpret_cast<const BlitRequest*>(value));
        return 0;
      },
      nullptr);
  DeviceContext* paint = BeginPaint(window);
  DeviceContext* context = CreateCompatibleDC(paint);
  const Bitmap bitmap = CreateCompatibleBitmap(paint, 6, 5);
  BitBlt(paint, 0, 0, 6, 5, context, 0, 0); // no bitmap yet
  SelectObject(context, bitmap);
  BitBlt(paint, 3, 4, 9, 9, context, 2, 1);
  BitBlt(paint, 0, 0, 9, 9, context, 6, 0); // nothing left
  BitBlt(paint, 0, 0, 9, 9, context, 0, 5);
  BitBlt(paint, 0, 0, 9, 9, context, -1, 0);
  ASSERT_EQ(blits.size(), 1u);
  EXPECT_THAT((std::array{blits[0].x, blits[0].y, blits[0].width, blits[0].height,
                          blits[0].pixelsPerRow, int32_t(blits[0].pixels - bitmap->pixels.data())}),
              ElementsAre(3, 4, 4, 4, 6, 8));
  DeleteDC(context);
  DeleteObject(bitmap);
  EndPaint(window, paint);
  DestroyWindow(window);
}

} // namespace
