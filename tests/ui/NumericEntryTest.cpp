// Numeric entry, the views of controls and the dialog classes, over windows made of plain records;
// and once more over the real widgets of a dialog on Qt's offscreen platform.
#include <gmock/gmock.h>

#include <QApplication>

#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "frame/record/Globals.h"
#include "frame/text/Strings.h"
#include "frame/utility/HostSuites.h"
#include "hostapi/UtilitySuites.h"
#include "ui/toolkit/WindowRecord.h"
#include "ui/toolkit/qt/QtServices.h"
#include "ui/utility/ControlItems.h"
#include "ui/utility/NumericEntry.h"
#include "ui/utility/PIDialog.h"

namespace {

using testing::ElementsAre;

// What a control of any kind keeps.
struct Control {
  std::string text;
  std::vector<std::string> entries;
  std::map<int, intptr_t> data;
  int selected = -1;
  bool shown = true, enabled = true, checked = false, focused = false, isDefault = false;
  bool allSelected = false;
};

intptr_t controlBehaviour(Window window, uint32_t message, uintptr_t wParam, intptr_t lParam) {
  Control& c = *static_cast<Control*>(window->peer);
  const auto give = [lParam](const std::string& text, size_t room) {
    const size_t length = std::min(text.size(), room - 1);
    std::memcpy(reinterpret_cast<char*>(lParam), text.c_str(), length);
    reinterpret_cast<char*>(lParam)[length] = 0;
    return intptr_t(length);
  };
  switch (message) {
  case WM_SETTEXT:
    return c.text = reinterpret_cast<const char*>(lParam), 1;
  case WM_GETTEXTLENGTH:
    return intptr_t(c.text.size());
  case WM_GETTEXT:
    return give(c.text, wParam);
  case TKM_SHOW:
    return c.shown = wParam == SW_SHOW;
  case TKM_ENABLE:
    return c.enabled = wParam != 0;
  case TKM_SETFOCUS:
    return c.focused = true;
  case BM_SETCHECK:
    return c.checked = wParam != 0;
  case BM_GETCHECK:
    return c.checked;
  case BM_SETSTYLE:
    return c.isDefault = wParam == BS_DEFPUSHBUTTON;
  case EM_SETSEL:
    return c.allSelected = wParam == 0 && lParam == -1;
  case CB_RESETCONTENT:
  case LB_RESETCONTENT:
    return c.entries.clear(), c.selected = -1;
  case CB_ADDSTRING:
  case LB_ADDSTRING:
    return c.entries.emplace_back(reinterpret_cast<const char*>(lParam)), 0;
  case CB_SETCURSEL:
  case LB_SETCURSEL:
    return c.selected = int(wParam);
  case CB_GETCURSEL:
  case LB_GETCURSEL:
    return c.selected;
  case CB_GETLBTEXTLEN:
  case LB_GETTEXTLEN:
    return intptr_t(c.entries.at(wParam).size());
  case CB_GETLBTEXT:
  case LB_GETTEXT:
    return give(c.entries.at(wParam), 1000);
  case LB_SETITEMDATA:
    return c.data[int(wParam)] = lParam;
  case LB_GETITEMDATA:
    return c.data[int(wParam)];
  }
  return 0;
}

// A dialog with controls 1 to 9, and a desktop that takes notes.
struct Dialog : testing::Test {
  static inline std::vector<std::string> notes;
  std::map<int, Control> controls;
  Window dialog = NewWindow(nullptr, 0, 0, nullptr, nullptr);
  ToolkitServices services = desktopServices;

  Dialog() {
    notes.clear();
    for (int id = 1; id <= 9; ++id)
      NewWindow(dialog, id, 0, controlBehaviour, &controls[id]);
    services.beep = [] { notes.emplace_back("beep"); };
    services.messageBox = [](Window, const std::string& text, uint32_t) {
      notes.push_back(text);
      return 1;
    };
    gServices = &services;
  }
  ~Dialog() override {
    DestroyWindow(dialog);
    gServices = &desktopServices;
  }
};

using NumericEntry = Dialog;

TEST_F(NumericEntry, CutsTexts) {
  controls[1].text = std::string(300, 'x');
  PascalString text;
  FetchItemText(dialog, 1, text);
  EXPECT_EQ(text.length(), 255u);
  StoreItemText(dialog, 2, text);
  EXPECT_EQ(controls[2].text.size(), 254u);
}

TEST_F(NumericEntry, ReadsIntegersWithTheirState) {
  struct Case {
    const char* text;
    EntryState state;
    int32_t number;
  };
  for (const Case& c :
       {Case{" 100", EntryState::inRange, 100}, Case{"-1", EntryState::outOfRange, -1},
        Case{"0", EntryState::inRange, 0}, Case{"101", EntryState::outOfRange, 101},
        Case{"1.0", EntryState::noNumber, 0}, Case{"", EntryState::noNumber, 0}}) {
    controls[1].text = c.text;
    int32_t number = 7;
    EXPECT_EQ(FetchInteger(dialog, 1, 0, 100, number), c.state) << c.text;
    EXPECT_EQ(number, c.number) << c.text;
  }
}

TEST_F(NumericEntry, ReadsDecimalsAroundTheLastPoint) {
  struct Case {
    const char* text;
    EntryState state;
    double number;
  };
  for (const Case& c : {
           Case{"2,5", EntryState::inRange, 2.5},
           Case{"12", EntryState::outOfRange, 12},
           Case{".25", EntryState::inRange, 0.25},
           Case{"3.", EntryState::inRange, 3},
           Case{"1.005", EntryState::inRange, 1.005},
           Case{"-1.5", EntryState::inRange, -0.5}, // each half has its own sign
           Case{"1.-5", EntryState::inRange, 0.5},
           Case{"1.2.5", EntryState::inRange, 0.5}, // "1.2" is no whole number
           Case{"x", EntryState::noNumber, 0},
           Case{".", EntryState::noNumber, 0},
       }) {
    controls[1].text = c.text;
    double number = 7;
    EXPECT_EQ(FetchDouble(dialog, 1, -1, 10, number), c.state) << c.text;
    EXPECT_DOUBLE_EQ(number, c.number) << c.text;
  }
}

TEST_F(NumericEntry, LeavesTheNearerBoundSelectedAndTellsTheRange) {
  int32_t value = 120;
  ReportIntegerRange(dialog, 1, 0, 100, value, 1);
  EXPECT_EQ(value, 100);
  EXPECT_EQ(controls[1].text, "100");
  EXPECT_TRUE(controls[1].allSelected && controls[1].focused);
  value = -9;
  ReportIntegerRange(dialog, 2, -5, 100, value, 0); // not active: the beep alone
  EXPECT_EQ(controls[2].text, "-5");
  EXPECT_THAT(notes, ElementsAre("beep", "An integer is required between 0 and 100.", "beep"));

  notes.clear();
  controls[3].text = "0.05";
  double decimal = 0.05;
  ReportDoubleRange(dialog, 3, 0.135, 7.389, decimal, 1);
  EXPECT_EQ(decimal, 0.135);
  EXPECT_EQ(controls[3].text, "0.14"); // as many places as were typed
  EXPECT_TRUE(controls[3].allSelected && controls[3].focused);
  EXPECT_THAT(notes, ElementsAre("beep", "A decimal number is required between 0.14 and 7.39."));
}

using ControlItems = Dialog;

TEST_F(ControlItems, ChangeTheirControl) {
  HideItem(dialog, 1);
  EXPECT_FALSE(controls[1].shown);
  ShowItem(dialog, 1);
  EXPECT_TRUE(controls[1].shown);
  DisableItem(dialog, 2);
  EXPECT_FALSE(controls[2].enabled);
  EnableItem(dialog, 2);
  EXPECT_TRUE(controls[2].enabled);
  SetDefaultButton(dialog, 3);
  EXPECT_TRUE(controls[3].isDefault && controls[3].focused);

  EXPECT_EQ(FirstChecked(dialog, 4, 7), 0);
  EXPECT_EQ(RadioGroupView(dialog, 4, 7).Checked(), -1);
  EXPECT_TRUE(ToggleCheckBox(dialog, 6));
  CheckBoxView(dialog, 7).Set(true);
  EXPECT_EQ(FirstChecked(dialog, 4, 7), 6);
  EXPECT_EQ(RadioGroupView(dialog, 4, 7).Checked(), 6);
  EXPECT_FALSE(ToggleCheckBox(dialog, 6));
  EXPECT_TRUE(CheckBoxView(dialog, 7).Get());
  EXPECT_FALSE(CheckBoxView(dialog, 77).Get()); // no such control
}

TEST_F(ControlItems, ListsTellTheirEntry) {
  ComboBoxView combo(dialog, 1);
  ListBoxView list(dialog, 2);
  EXPECT_EQ(combo.Current(), "");
  EXPECT_EQ(list.Current(), "");
  for (const char* entry : {"first", "", "third"}) {
    combo.Add(entry);
    list.Add(entry);
  }
  combo.Select(2);
  EXPECT_EQ(combo.Current(), "third");
  combo.Select(1);
  EXPECT_EQ(combo.Current(), "");
  list.Select(0);
  list.SetItemData(0, 0x1234567890);
  EXPECT_EQ(list.Current(), "first");
  EXPECT_EQ(list.ItemData(list.Index()), 0x1234567890);
  list.Clear();
  EXPECT_LT(list.Index(), 0);
}

// Dialog classes. The desktop's part of a dialog is played by the test.
struct Classes : Dialog {
  static inline Window shown = nullptr;
  static inline std::vector<intptr_t> ended;
  static inline std::vector<std::string> addresses;

  void SetUp() override {
    shown = dialog;
    ended.clear();
    addresses.clear();
    dialog->behaviour = [](Window, uint32_t message, uintptr_t, intptr_t lParam) -> intptr_t {
      if (message == TKM_ENDDIALOG)
        ended.push_back(lParam);
      return 0;
    };
    services.captionHeight = [] { return 0; };
    services.desktop = [] { return WindowRect{0, 0, 800, 600}; };
    services.activeWindow = []() -> void* { return nullptr; };
    services.dialogBox = [](const DialogTemplate*, void*, DialogProc proc,
                            intptr_t parameter) -> intptr_t {
      notes.push_back("init " + std::to_string(proc(shown, WM_INITDIALOG, 0, parameter)));
      notes.push_back("command " +
                      std::to_string(proc(shown, WM_COMMAND, MakeWords(4, BN_CLICKED), 0)));
      proc(shown, WM_COMMAND, MakeWords(1, EN_CHANGE), 0);
      proc(shown, WM_COMMAND, MakeWords(2, BN_CLICKED), 0);
      notes.push_back("message " + std::to_string(proc(shown, WM_CHAR, 'x', 0)));
      proc(shown, WM_CHAR, 27, 0);
      proc(shown, WM_LBUTTONDOWN, 0, 0);
      proc(shown, WM_DESTROY, 0, 0);
      proc(shown, WM_CHAR, 13, 0); // nobody's dialog any more
      return 0;
    };
    RegisterDialog(stringAbout, &someTemplate);
  }
  void TearDown() override {
    RegisterDialog(stringAbout, nullptr);
    ReleaseHostSuites();
    gBasicSuite = nullptr;
  }
  DialogTemplate someTemplate = {};
};

TEST_F(Classes, AboutBoxShowsItsStringOpensAddressesAndGoes) {
  static const FileListSuite suite = {{}, [](const char* address) {
                                        addresses.emplace_back(address);
                                        return noErr;
                                      }};
  static SPBasicSuite basic = {[](const char*, int32_t version, const void** found) {
                                 *found = &suite;
                                 return int32_t(version == 4 ? 0 : -1);
                               },
                               [](const char*, int32_t) { return int32_t(0); }};
  gBasicSuite = &basic;
  controls[4].text = std::string("somewhere.example/") + std::string(300, 'y');
  PIAboutBox box;
  int reference = 0;
  box.RunModal(&reference, nullptr, stringAbout);
  EXPECT_EQ(box.resourceId, stringAbout);
  EXPECT_EQ(box.pluginRef, &reference);
  EXPECT_EQ(box.dialogWindow, dialog);
  EXPECT_EQ(controls[3].text, LoadStringResource(stringAbout));
  EXPECT_THAT(notes, ElementsAre("init 1", "command 1", "message 0"));
  EXPECT_THAT(ended, ElementsAre(2, 0, 0)); // Cancel, Esc, the click
  ASSERT_EQ(addresses.size(), 1u);
  EXPECT_EQ(addresses[0], "http://" + controls[4].text.substr(0, 255));
}

TEST_F(Classes, AboutBoxThrowsWithoutAHostToAsk) {
  PIAboutBox box;
  EXPECT_THROW(box.RunModal(nullptr, nullptr, stringAbout), int32_t);
  GenericProc(dialog, WM_DESTROY, 0, 0);
}

TEST_F(Classes, ProcedureWorksWithoutADialogObject) {
  EXPECT_EQ(GenericProc(dialog, WM_INITDIALOG, 0, 0), 0);
  EXPECT_EQ(GenericProc(dialog, WM_COMMAND, MakeWords(1, BN_CLICKED), 0), 1);
  EXPECT_EQ(GenericProc(dialog, WM_CHAR, 27, 0), 0);
  EXPECT_THAT(ended, ElementsAre(1));
}

// Real widgets: the number box of a dialog that is run and ends by itself.
struct NumberDialog : PIDialog {
  int32_t value = 0;
  int32_t first = -1, behind = -1;
  std::string typed;
  bool done = false;

  void InitDialog() override {
    StoreDouble(dialogWindow, 10, 120, 0);
    FetchInteger(dialogWindow, 10, 0, 100, value);
    ReportIntegerRange(dialogWindow, 10, 0, 100, value, 0);
    SendDlgItemMessage(dialogWindow, 10, EM_GETSEL, reinterpret_cast<uintptr_t>(&first),
                       reinterpret_cast<intptr_t>(&behind));
    typed = EditBoxView(dialogWindow, 10).Text();
    done = ToggleCheckBox(dialogWindow, 11);
    PostMessage(dialogWindow, WM_COMMAND, MakeWords(1, BN_CLICKED), 0);
  }
};

TEST(RealWidgets, TakeANumberAndItsCorrection) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  int argc = 1;
  char name[] = "test";
  char* argv[] = {name, nullptr};
  std::optional<QApplication> application;
  if (!qApp)
    application.emplace(argc, argv);
  constexpr DialogControl controls[] = {
      {10, ControlKind::edit, "", nullptr, {5, 5, 40, 12}},
      {11, ControlKind::checkBox, "&Done", nullptr, {5, 20, 40, 10}},
      {1, ControlKind::defaultPushButton, "OK", nullptr, {5, 35, 40, 14}},
  };
  const DialogTemplate numbers = {"Numbers", 60, 60, 8, 0, controls, 3};
  RegisterDialog(900, &numbers);
  NumberDialog dialog;
  dialog.RunModal(nullptr, nullptr, 900);
  RegisterDialog(900, nullptr);
  EXPECT_EQ(dialog.value, 100);
  EXPECT_EQ(dialog.typed, "100");
  EXPECT_EQ(dialog.first, 0);
  EXPECT_EQ(dialog.behind, 3);
  EXPECT_TRUE(dialog.done);
}

} // namespace
