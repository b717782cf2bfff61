// Windows as records, linked without anything that shows them.
#include <gmock/gmock.h>

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
  EXPECT_EQ(SendMessage(dialog, TKM_SHOW, 1, 0), 1);   // not the procedure's
  EXPECT_EQ(SendMessage(dialog, WM_COMMAND, 0, 0), 0); // gone, with its control
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

} // namespace
