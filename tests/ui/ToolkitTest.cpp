// Windows as records, linked without anything that shows them.
#include <gmock/gmock.h>

#include "ui/toolkit/Services.h"
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
  Window dialog = NewWindow(nullptr, 0, WS_SYSMENU, note, nullptr);
  Window control = NewWindow(dialog, 7, 0, note, nullptr);
  Toolkit() { seen.clear(); }
  ~Toolkit() override { DestroyWindow(dialog); }
};

TEST_F(Toolkit, SubclassesAndProceduresSeeMessagesBeforeTheWindow) {
  SetWindowSubclass(control, subclass<10>, 1, 0);
  SetWindowSubclass(control, subclass<100>, 2, 0);
  SetWindowSubclass(control, subclass<10>, 1, 5); // new data, old place
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
  EXPECT_EQ(SendMessage(dialog, WM_COMMAND, 2, 0), 1);
  EXPECT_EQ(SendMessage(dialog, TKM_SHOW, 1, 0), 1);   // not the procedure's
  EXPECT_EQ(SendMessage(dialog, WM_COMMAND, 0, 0), 0); // gone, with its control
  EXPECT_FALSE(IsWindow(dialog) || IsWindow(control));
  EXPECT_EQ(SendMessage(control, WM_CHAR, 1, 0), 0);
  EXPECT_EQ(GetWindowText(control), "");
}

TEST_F(Toolkit, PostedMessagesKeepTheirOrderAndGoWithTheirWindow) {
  for (uintptr_t word : {1, 2})
    PostMessage(control, WM_COMMAND, word, 0);
  PostMessage(dialog, WM_COMMAND, 3, 0);
  PostMessage(nullptr, WM_COMMAND, 4, 0);
  EXPECT_TRUE(seen.empty());
  EXPECT_TRUE(DispatchPostedMessage());
  DestroyWindow(control);
  EXPECT_TRUE(DispatchPostedMessage());
  EXPECT_FALSE(DispatchPostedMessage());
  EXPECT_THAT(seen, ElementsAre(1, 3));
  EXPECT_EQ(GetDlgItem(dialog, 7), nullptr);
}

TEST_F(Toolkit, WithoutADesktopNothingIsShown) {
  EXPECT_EQ(DialogBoxParam(nullptr, nullptr, nullptr, 0), -1);
  EXPECT_EQ(GetWindowRect(GetDesktopWindow()).width() + GetSystemMetrics(SM_CXSCREEN), 0);
  EXPECT_FALSE(OpenClipboard(nullptr));
  EXPECT_EQ(MessageBox(nullptr, "", MB_OK) + GetKeyState(VK_CONTROL), 0);
  ShellExecute("nowhere");
  MessageBeep(MB_OK);
  const BusyCursor busy;
}

TEST_F(Toolkit, TheNewestHookDecides) {
  static Hook second;
  const Hook first =
      SetWindowsHookEx([](int, uintptr_t key, intptr_t) -> intptr_t { return key == VK_TAB; });
  second = SetWindowsHookEx([](int code, uintptr_t key, intptr_t flags) -> intptr_t {
    return flags ? 0 : CallNextHookEx(second, code, key, flags);
  });
  EXPECT_TRUE(CallKeyboardHooks(VK_TAB, 0));
  EXPECT_FALSE(CallKeyboardHooks(VK_TAB, 1));
  EXPECT_EQ(CallNextHookEx(first, 0, VK_TAB, 0), 0); // there is none behind
  UnhookWindowsHookEx(first);
  UnhookWindowsHookEx(first);
  EXPECT_FALSE(CallKeyboardHooks(VK_TAB, 0));
  UnhookWindowsHookEx(second);
}

// Against a loop over all pixels, for rectangles that stick out on every side.
TEST(ToolkitDrawing, IsCutAtTheEdges) {
  constexpr int32_t width = 5, height = 4;
  for (int32_t left = -2; left <= width + 1; ++left)
    for (int32_t right = left - 1; right <= width + 2; ++right) {
      DeviceContext* context = CreateCompatibleDC(nullptr);
      const Bitmap bitmap = CreateCompatibleBitmap(nullptr, width, height);
      EXPECT_EQ(SelectObject(context, bitmap), nullptr);
      FillRect(context, {left, left - 1, right, right - 1}, 9);
      for (int32_t i = 0; i < width * height; ++i) {
        const int32_t x = i % width, y = i / width + 1;
        const bool in = x >= left && x < right && y >= left && y < right;
        EXPECT_EQ(bitmap->pixels[size_t(i)], in ? 9u : 0u);
      }
      EXPECT_EQ(SelectObject(context, nullptr), bitmap);
      FillRect(context, {0, 0, 9, 9}, 1); // without a bitmap
      DeleteDC(context);
      DeleteObject(bitmap);
    }
}

TEST(ToolkitDrawing, BlitsWhatTheBitmapHas) {
  static std::vector<BlitRequest> blits;
  const auto note = [](Window, uint32_t, uintptr_t, intptr_t value) -> intptr_t {
    blits.push_back(*reinterpret_cast<const BlitRequest*>(value));
    return 0;
  };
  const Window window = NewWindow(nullptr, 0, 0, note, nullptr);
  DeviceContext* paint = BeginPaint(window);
  DeviceContext* context = CreateCompatibleDC(paint);
  const Bitmap bitmap = CreateCompatibleBitmap(paint, 6, 5);
  BitBlt(paint, 0, 0, 6, 5, context, 0, 0); // no bitmap yet
  SelectObject(context, bitmap);
  BitBlt(paint, 3, 4, 9, 9, context, 2, 1);
  for (const auto& [x, y] : {std::pair(6, 0), {0, 5}, {-1, 0}, {0, -1}}) // nothing left
    BitBlt(paint, 0, 0, 9, 9, context, x, y);
  ASSERT_EQ(blits.size(), 1u);
  const BlitRequest& b = blits[0];
  EXPECT_THAT((std::array{b.x, b.y, b.width, b.height, b.pixelsPerRow,
                          int32_t(b.pixels - bitmap->pixels.data())}),
              ElementsAre(3, 4, 4, 4, 6, 8));
  DeleteDC(context);
  DeleteObject(bitmap);
  EndPaint(window, paint);
  DestroyWindow(window);
}

} // namespace
