// Edit boxes and sliders by their messages, without widgets.
#include <gmock/gmock.h>

#include "tests/ui/StandInDialog.h"
#include "ui/dialog/FogdissolverEdit.h"
#include "ui/dialog/FogdissolverTrackBar32.h"

namespace {

constexpr int editId = 9, sliderId = 10;

constexpr DialogControl rows[] = {
    {editId, ControlKind::digitEdit, "", nullptr, {0, 0, 30, 12}},
    {sliderId, ControlKind::trackBar, "", nullptr, {0, 20, 100, 13}},
};
constexpr DialogTemplate table = {"", 200, 100, 8, 0, rows, 2};

std::vector<uintptr_t> commands, scrolls;

intptr_t noteTaker(Window, uint32_t message, uintptr_t wParam, intptr_t) {
  if (message == WM_COMMAND)
    commands.push_back(wParam);
  if (message == WM_HSCROLL)
    scrolls.push_back(wParam);
  return 0;
}

struct Controls : testing::Test {
  StandInDesktop desktop;
  StandInDialog dialog{table, noteTaker};
  StandInControl& box = dialog[editId];
  Window window = dialog.item(editId);
  FogdissolverEdit edit{window, 0, 100, 1};

  Controls() {
    commands.clear();
    scrolls.clear();
  }

  void show(const std::string& text, int32_t start, int32_t end) {
    box.text = text;
    edit.ParseValue(text);
    box.start = start;
    box.end = end;
  }
  intptr_t type(uintptr_t character) { return SendMessage(window, WM_CHAR, character, 0); }
  int notifications() {
    dispatchAll();
    const int count = int(commands.size());
    for (uintptr_t command : commands)
      EXPECT_EQ(command, 0x11220009u);
    commands.clear();
    return count;
  }
};

TEST_F(Controls, EachTypedCharacterIsParsedBeforeTheBoxActs) {
  struct Case {
    const char* text;
    int32_t start, end;
    uintptr_t character;
    int32_t value;
    const char* shown;
  };
  for (const Case& c : {
           Case{"", 0, 0, '7', 7, "7"},
           Case{"12", 0, 2, '5', 5, "5"},     // over a selection
           Case{"12", 1, 1, '5', 152, "152"}, // in the middle
           Case{"10", 2, 2, '0', 100, "100"},
           Case{"100", 3, 3, '9', 1009, "1009"}, // any number of digits, no range
           Case{"45", 2, 2, 8, 4, "4"},
           Case{"45", 0, 0, 8, 5, "45"}, // at the head the box loses nothing, the value does
           Case{"45", 0, 2, 8, 0, ""},
           Case{"7abc", 1, 4, '1', 71, "71"},
           Case{"99999999", 8, 8, '9', 999999999, "999999999"},
       }) {
    show(c.text, c.start, c.end);
    EXPECT_EQ(type(c.character), 1);
    EXPECT_EQ(edit.GetValue(), c.value) << c.text;
    EXPECT_EQ(box.text, c.shown);
  }
  EXPECT_EQ(notifications(), 0);
  EXPECT_EQ(StandInDesktop::state.beeps, 0);
}

TEST_F(Controls, ANumberTooLongIsClampedWhenTheFocusLeaves) {
  show("9999999999", 10, 10);
  type('9');
  SendMessage(window, WM_KILLFOCUS, 0, 0);
  EXPECT_THAT(edit.GetValue(), testing::AnyOf(0, 100));
  EXPECT_EQ(box.text, std::to_string(edit.GetValue()));
}

TEST_F(Controls, OtherCharactersBeepAndAreSwallowed) {
  show("12", 2, 2);
  for (const int character : {int('a'), int('-'), int('.'), int(','), int(' '), 27, 0xe9})
    EXPECT_EQ(type(uintptr_t(character)), 1);
  EXPECT_EQ(StandInDesktop::state.beeps, 7);
  EXPECT_EQ(box.text, "12");
  EXPECT_EQ(edit.GetValue(), 12);
  EXPECT_EQ(notifications(), 0);
}

TEST_F(Controls, WithControlHeldCharactersGoToTheBox) {
  show("12", 0, 2);
  StandInDesktop::state.control = true;
  EXPECT_EQ(type('5'), 7); // what the stock control returns
  EXPECT_EQ(box.text, "5");
  EXPECT_EQ(edit.GetValue(), 12);
  EXPECT_EQ(type(1), 7);
  EXPECT_EQ(StandInDesktop::state.beeps, 0);
}

TEST_F(Controls, EnterNotifiesUnclampedAndLosingTheFocusClamps) {
  show("25", 2, 2);
  type('0');
  EXPECT_EQ(type(13), 1);
  EXPECT_EQ(edit.GetValue(), 250);
  EXPECT_EQ(box.text, "250");
  EXPECT_EQ(notifications(), 1);
  EXPECT_EQ(SendMessage(window, WM_KILLFOCUS, 0, 0), 7);
  EXPECT_EQ(edit.GetValue(), 100);
  EXPECT_EQ(box.text, "100");
  EXPECT_EQ(notifications(), 1);
}

TEST_F(Controls, DeleteIsParsedAndForwarded) {
  struct Case {
    const char* text;
    int32_t start, end, value;
    const char* shown;
  };
  for (const Case& c :
       {Case{"123", 1, 1, 13, "13"}, Case{"123", 0, 2, 3, "3"}, Case{"123", 3, 3, 123, "123"}}) {
    show(c.text, c.start, c.end);
    EXPECT_EQ(SendMessage(window, WM_KEYDOWN, VK_DELETE, 0), 1);
    EXPECT_EQ(edit.GetValue(), c.value);
    EXPECT_EQ(box.text, c.shown);
  }
}

TEST_F(Controls, AnArrowStepsOnceAndNotifiesTwice) {
  edit.SetValue(99);
  EXPECT_EQ(SendMessage(window, WM_KEYDOWN, VK_UP, 0), 1);
  EXPECT_EQ(SendMessage(window, WM_KEYUP, VK_UP, 0), 1);
  EXPECT_EQ(box.text, "100");
  EXPECT_EQ(notifications(), 2);
  SendMessage(window, WM_KEYDOWN, VK_UP, 0); // at the end: stays, still tells
  EXPECT_EQ(edit.GetValue(), 100);
  EXPECT_EQ(notifications(), 1);
  SendMessage(window, WM_KEYDOWN, VK_DOWN, 0);
  EXPECT_EQ(edit.GetValue(), 99);
  EXPECT_EQ(notifications(), 1);
  EXPECT_EQ(SendMessage(window, WM_KEYUP, VK_LEFT, 0), 7);
  EXPECT_EQ(notifications(), 0);
}

TEST_F(Controls, StepsWrapRatherThanOverflow) {
  edit.ParseValue("2147483647");
  edit.StepUp();
  EXPECT_EQ(edit.GetValue(), 0);
  edit.ParseValue("-2147483648");
  edit.StepDown();
  EXPECT_EQ(edit.GetValue(), 100);
}

TEST_F(Controls, TheWheelSteps) {
  edit.SetValue(50);
  EXPECT_EQ(SendMessage(window, WM_MOUSEWHEEL, MakeWords(0, 120), 0), 7);
  EXPECT_EQ(edit.GetValue(), 51);
  SendMessage(window, WM_MOUSEWHEEL, MakeWords(0, uint16_t(-120)), 0);
  SendMessage(window, WM_MOUSEWHEEL, MakeWords(0, uint16_t(-120)), 0);
  EXPECT_EQ(edit.GetValue(), 49);
  EXPECT_EQ(notifications(), 3);
}

TEST_F(Controls, PastedNumbersShowButAreNotTakenOver) {
  struct Case {
    const char* clipboard;
    const char* shown; // over an empty box, after the paste
  };
  for (const Case& c : {Case{"80", "80"}, Case{"150", ""}, Case{"-1", ""}, Case{"7abc", "7abc"},
                        Case{"-0.5", "-0.5"}, Case{"100.9", "100.9"}, Case{"101", ""},
                        Case{"word", "word"}, Case{"nan", ""}, Case{"1e9999", ""}, Case{"", ""}}) {
    edit.SetValue(33);
    box.text.clear();
    StandInDialog::clipboard = c.clipboard;
    EXPECT_EQ(SendMessage(window, WM_PASTE, 0, 0), 1);
    EXPECT_EQ(box.text, c.shown) << c.clipboard;
    EXPECT_EQ(edit.GetValue(), 33);
    SendMessage(window, WM_KILLFOCUS, 0, 0);
    EXPECT_EQ(box.text, "33");
  }
  EXPECT_EQ(StandInDesktop::state.beeps, 0);
}

TEST_F(Controls, PasteGoesIntoTheSelection) {
  show("1234", 1, 3);
  StandInDialog::clipboard = "0"; // 104: too large
  SendMessage(window, WM_PASTE, 0, 0);
  EXPECT_EQ(box.text, "1234");
  box.start = 0;
  SendMessage(window, WM_PASTE, 0, 0); // 04
  EXPECT_EQ(box.text, "04");
}

TEST_F(Controls, AClipboardInUseGivesNoText) {
  show("12", 0, 2);
  StandInDialog::clipboard = "999";
  StandInDesktop::state.clipboardBusy = true;
  SendMessage(window, WM_PASTE, 0, 0); // an empty text is 0, and so in range
  EXPECT_EQ(box.text, "999");
  EXPECT_EQ(SendMessage(window, WM_COPY, 0, 0), 7);
  EXPECT_EQ(StandInDesktop::state.clipboardOpened, 2);
}

TEST_F(Controls, OnlyEnterIsAskedForBesideTheArrows) {
  const auto code = [&](uint32_t message, uintptr_t key) {
    const InputMessage coming = {window, message, key, 0};
    return SendMessage(window, WM_GETDLGCODE, 0, reinterpret_cast<intptr_t>(&coming));
  };
  EXPECT_EQ(code(WM_KEYDOWN, VK_RETURN), DLGC_WANTARROWS | DLGC_WANTALLKEYS);
  EXPECT_EQ(code(WM_KEYDOWN, VK_ESCAPE), DLGC_WANTARROWS);
  EXPECT_EQ(code(WM_KEYUP, VK_RETURN), DLGC_WANTARROWS);
  EXPECT_EQ(SendMessage(window, WM_GETDLGCODE, 0, 0), DLGC_WANTARROWS);
}

TEST_F(Controls, ObjectsMayOutliveTheirWindows) {
  auto other = std::make_unique<StandInDialog>(table, noteTaker);
  FogdissolverEdit orphan(other->item(editId), 0, 100, 1);
  FogdissolverTrackBar32 orphanSlider(other->item(sliderId));
  orphan.PostValueChanged();
  other.reset();
  EXPECT_EQ(notifications(), 0);
  orphan.SetValue(5);
  EXPECT_EQ(orphan.GetValue(), 5);
}

TEST_F(Controls, SlidersTurnUpAndTheWheelRound) {
  StandInControl& slider = dialog[sliderId];
  const Window track = dialog.item(sliderId);
  slider.position = 50;
  {
    FogdissolverTrackBar32 bar(track);
    EXPECT_EQ(SendMessage(track, WM_KEYDOWN, VK_UP, 0), 7);
    EXPECT_EQ(slider.position, 51);
    SendMessage(track, WM_KEYDOWN, VK_DOWN, 0);
    EXPECT_EQ(slider.position, 50);
    SendMessage(track, WM_KEYDOWN, VK_LEFT, 0);
    EXPECT_EQ(slider.position, 50);
    EXPECT_EQ(scrolls.size(), 3u);
    // The turn is negated as a 16-bit number, so its lowest stays; the other half is kept.
    EXPECT_EQ(SendMessage(track, WM_MOUSEWHEEL, MakeWords(0x1234, 120), 0),
              intptr_t(MakeWords(0x1234, uint16_t(-120))));
    EXPECT_EQ(slider.position, 51);
    EXPECT_EQ(SendMessage(track, WM_MOUSEWHEEL, MakeWords(1, 0x8000), 0),
              intptr_t(MakeWords(1, 0x8000)));
  }
  SendMessage(track, WM_KEYDOWN, VK_UP, 0);
  EXPECT_EQ(slider.position, 51); // the stock control again: 52 - 1
}

} // namespace
