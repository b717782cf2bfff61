// The rest of the dialog layer: alerts, numeric entry, control wrappers and dialog classes, over
// windows that keep a text and take notes of what they are sent.
#include <gmock/gmock.h>

#include <cstring>
#include <map>

#include "frame/text/Strings.h"
#include "frame/utility/HostSuites.h"
#include "hostapi/UtilitySuites.h"
#include "ui/toolkit/Services.h"
#include "ui/toolkit/WindowRecord.h"
#include "ui/utility/Alerts.h"
#include "ui/utility/ControlItems.h"
#include "ui/utility/HostAlerts.h"
#include "ui/utility/NumericEntry.h"
#include "ui/utility/PIDialog.h"

namespace {

using testing::ElementsAre, testing::ElementsAreArray;

struct Sent {
  int id;
  uint32_t message;
  uintptr_t word;
  intptr_t extra; // what lParam holds, 0 where it is a text
  bool operator==(const Sent&) const = default;
};

// A dialog with controls 1 to 9, and a desktop that takes notes.
class DialogLayer : public testing::Test {
protected:
  static inline std::vector<std::string> notes;
  static inline std::vector<Sent> sent;
  static inline std::map<int, std::string> texts;
  static inline std::map<uint32_t, intptr_t> answers; // by message, of every control
  Window dialog = NewWindow(nullptr, 0, 0, nullptr, nullptr);
  ToolkitServices services = noServices;

  DialogLayer() {
    notes.clear();
    texts.clear();
    answers.clear();
    for (int id = 1; id <= 9; ++id)
      NewWindow(dialog, id, 0, behaviour, nullptr);
    services.beep = [] { notes.emplace_back("beep"); };
    services.messageBox = [](Window, const std::string& text, uint32_t style) {
      notes.push_back((style == MB_ICONHAND ? "! " : "? ") + text);
      return 41;
    };
    gServices = &services;
    sent.clear();
  }
  ~DialogLayer() override {
    DestroyWindow(dialog);
    gServices = &noServices;
  }

  static intptr_t behaviour(Window w, uint32_t message, uintptr_t word, intptr_t extra) {
    std::string& text = texts[w->id];
    switch (message) {
    case WM_SETTEXT:
    case CB_ADDSTRING:
    case LB_ADDSTRING:
      text = reinterpret_cast<const char*>(extra);
      return 0;
    case WM_GETTEXTLENGTH:
    case CB_GETLBTEXTLEN:
    case LB_GETTEXTLEN:
      return intptr_t(text.size());
    case WM_GETTEXT:
    case CB_GETLBTEXT:
    case LB_GETTEXT:
      std::strcpy(reinterpret_cast<char*>(extra), text.c_str());
      return intptr_t(text.size());
    }
    sent.push_back({w->id, message, word, extra});
    return answers[message];
  }
};

TEST_F(DialogLayer, AlertsTellWhatIsAmissWithTheHost) {
  const auto needs = [](const std::string& version) {
    return "! This plug-in requires Adobe Photoshop® " + version + " or later functionality.";
  };
  struct {
    int16_t version, count;
    UnusedProc procs[20];
  } record;
  std::string table;
  for (const HostAlert& alert : hostAlerts) {
    const auto& [version, count, procedures] = alert.rule;
    table += std::to_string(version) + std::to_string(count) + std::to_string(procedures) + " " +
             alert.hostVersion + ", ";
    for (int flaw = 0; flaw < 5; ++flaw) { // none, a later version, an earlier, too few, one null
      record = {int16_t(version + (flaw == 1) - (flaw == 2)), int16_t(count - (flaw == 3)), {}};
      std::fill_n(record.procs, procedures - (flaw == 4), [] { return noErr; });
      EXPECT_EQ(HostRecordUsable(alert, &record), flaw == 0);
    }
    EXPECT_THAT(notes, ElementsAre("! This plug-in is incompatible with this version of the host "
                                   "program.",
                                   needs(alert.hostVersion), needs(alert.hostVersion),
                                   needs(alert.hostVersion)));
    notes.clear();
  }
  EXPECT_EQ(table, "255 2.5, 344 3.0, 184 3.0, 122 2.5, 133 4.0, ");
  EXPECT_TRUE(HostPointerUsable(hostPointerVersions[0], &record));
  EXPECT_FALSE(HostPointerUsable(hostPointerVersions[1], nullptr));
  for (int flaw = 0; flaw < 5; ++flaw) {
    ReadDescriptorProcs read = {0, int16_t(18 - (flaw == 1))};
    WriteDescriptorProcs write = {0, int16_t(16 - (flaw == 2))};
    std::fill_n(reinterpret_cast<UnusedProc*>(&read) + 1, 18 - (flaw == 3), [] { return noErr; });
    std::fill_n(reinterpret_cast<UnusedProc*>(&write) + 1, 16 - (flaw == 4), [] { return noErr; });
    EXPECT_EQ(HostDescriptorsUsable(&read, &write), flaw == 0);
  }
  EXPECT_FALSE(HostDescriptorsUsable(nullptr, nullptr)); // the first one tells
  EXPECT_EQ(ShowCaution(nullptr, 0, 16990, "1", "2"), 0);
  EXPECT_EQ(ShowCaution(nullptr, 1, 16990, "1", "2"), 41);
  EXPECT_EQ(ShowAlert(nullptr, 1, 0, "a", "b", 2), 41);
  EXPECT_THAT(notes,
              ElementsAre(needs("2.5"), needs("4.0"), needs("4.0"), needs("4.0"), needs("4.0"),
                          needs("4.0"), "? An integer is required between 1 and 2.", "? "));
}

// State and value; decimals are split at the last point, and each half has a sign of its own.
TEST_F(DialogLayer, NumbersAreReadWithTheirState) {
  const std::tuple<const char*, int, int> integers[] = {
      {" 100", 0, 100}, {"-1", 1, -1}, {"0", 0, 0}, {"101", 1, 101}, {"1.0", 2, 0}};
  for (const auto& [text, state, number] : integers) {
    texts[1] = text;
    int32_t found = 7;
    EXPECT_EQ(int(FetchInteger(dialog, 1, 0, 100, found)), state) << text;
    EXPECT_EQ(found, number);
  }
  const std::tuple<const char*, int, double> decimals[] = {
      {"2,5", 0, 2.5},   {"12", 1, 12},     {".25", 0, 0.25}, {"3.", 0, 3}, {"1.005", 0, 1.005},
      {"-1.5", 0, -0.5}, {"1.2.5", 0, 0.5}, {"-5.", 1, -5},   {"x", 2, 0},  {".", 2, 0}};
  for (const auto& [text, state, number] : decimals) {
    texts[1] = text;
    double found = 7;
    EXPECT_EQ(int(FetchDouble(dialog, 1, -1, 10, found)), state) << text;
    EXPECT_DOUBLE_EQ(found, number);
  }
  StoreItemText(dialog, 2, PascalString(std::string(255, 'x')));
  EXPECT_EQ(texts[2].size(), 254u);
}

TEST_F(DialogLayer, ANumberOutOfRangeBecomesItsBound) {
  int32_t value = 120;
  ReportIntegerRange(dialog, 1, 0, 100, value, 1);
  EXPECT_EQ(std::pair(value, texts[1]), std::pair(100, std::string("100")));
  EXPECT_THAT(sent, ElementsAre(Sent{1, EM_SETSEL, 0, -1}, Sent{1, TKM_SETFOCUS, 0, 0}));
  value = -9;
  ReportIntegerRange(dialog, 1, -5, 100, value, 0); // not active: the beep alone
  EXPECT_EQ(std::pair(value, texts[1]), std::pair(-5, std::string("-5")));
  texts[3] = "0.05";
  double low = 0.05, high = 8;
  ReportDoubleRange(dialog, 3, 0.135, 7.389, low, 1);
  EXPECT_EQ(texts[3], "0.14"); // as many places as were typed
  ReportDoubleRange(dialog, 3, 0.135, 7.389, high, 0);
  EXPECT_EQ(std::pair(low, high), std::pair(0.135, 7.389));
  EXPECT_THAT(notes,
              ElementsAre("beep", "? An integer is required between 0 and 100.", "beep", "beep",
                          "? A decimal number is required between 0.14 and 7.39.", "beep"));
}

TEST_F(DialogLayer, ItemsSendTheirControlItsMessage) {
  HideItem(dialog, 1);
  ShowItem(dialog, 2);
  DisableItem(dialog, 3);
  EnableItem(dialog, 4);
  SetDefaultButton(dialog, 5);
  CheckBoxView(dialog, 6).Set(true);
  EXPECT_TRUE(ToggleCheckBox(dialog, 7));
  EXPECT_FALSE(CheckBoxView(dialog, 8).Get());
  EXPECT_EQ(RadioGroupView(dialog, 8, 9).Checked(), -1);
  answers[BM_GETCHECK] = 1;
  EXPECT_TRUE(CheckBoxView(dialog, 8).Get());
  EXPECT_EQ(RadioGroupView(dialog, 8, 9).Checked(), 8);
  ComboBoxView(dialog, 1).Clear();
  ComboBoxView(dialog, 1).Select(2);
  ListBoxView(dialog, 2).Clear();
  ListBoxView(dialog, 2).Select(3);
  ListBoxView(dialog, 2).SetItemData(4, 55);
  answers[LB_GETITEMDATA] = 66;
  EXPECT_EQ(ListBoxView(dialog, 2).ItemData(5), 66);
  const Sent expected[] = {{1, TKM_SHOW, SW_HIDE, 0},
                           {2, TKM_SHOW, SW_SHOW, 0},
                           {3, TKM_ENABLE, 0, 0},
                           {4, TKM_ENABLE, 1, 0},
                           {5, BM_SETSTYLE, BS_DEFPUSHBUTTON, 0},
                           {5, TKM_SETFOCUS, 0, 0},
                           {6, BM_SETCHECK, 1, 0},
                           {7, BM_GETCHECK, 0, 0},
                           {7, BM_SETCHECK, 1, 0},
                           {8, BM_GETCHECK, 0, 0},
                           {8, BM_GETCHECK, 0, 0},
                           {9, BM_GETCHECK, 0, 0},
                           {8, BM_GETCHECK, 0, 0},
                           {8, BM_GETCHECK, 0, 0},
                           {1, CB_RESETCONTENT, 0, 0},
                           {1, CB_SETCURSEL, 2, 0},
                           {2, LB_RESETCONTENT, 0, 0},
                           {2, LB_SETCURSEL, 3, 0},
                           {2, LB_SETITEMDATA, 4, 55},
                           {2, LB_GETITEMDATA, 5, 0}};
  EXPECT_THAT(sent, ElementsAreArray(expected));

  ComboBoxView(dialog, 1).Add("combo");
  ListBoxView(dialog, 2).Add("list");
  EditBoxView(dialog, 3).SetText("edit");
  EXPECT_EQ(ComboBoxView(dialog, 1).Current() + ListBoxView(dialog, 2).Current() +
                EditBoxView(dialog, 3).Text(),
            "combolistedit");
  answers[CB_GETCURSEL] = answers[LB_GETCURSEL] = -1;
  EXPECT_EQ(ComboBoxView(dialog, 1).Current() + ListBoxView(dialog, 2).Current(), "");
}

// The desktop runs a dialog of the classes through a life's worth of messages.
TEST_F(DialogLayer, ClassesShowTheirStringOpenAddressesAndGo) {
  static Window shown;
  static const DialogTemplate* shownTemplate;
  shown = dialog;
  dialog->behaviour = [](Window, uint32_t message, uintptr_t, intptr_t result) -> intptr_t {
    if (message == TKM_ENDDIALOG)
      notes.push_back("end " + std::to_string(result));
    return 0;
  };
  services.dialogBox = [](const DialogTemplate* given, void*, DialogProc proc, intptr_t object) {
    shownTemplate = given;
    const auto send = [proc](uint32_t message, uintptr_t wParam, intptr_t lParam) {
      notes.push_back(std::to_string(proc(shown, message, wParam, lParam)));
    };
    send(WM_INITDIALOG, 0, object);
    for (const auto& [id, code] : {std::pair(4, BN_CLICKED),
                                   {5, BN_CLICKED},
                                   {6, BN_CLICKED},
                                   {1, EN_CHANGE},
                                   {2, BN_CLICKED},
                                   {1, BN_CLICKED}})
      send(WM_COMMAND, MakeWords(uint16_t(id), uint16_t(code)), 0);
    for (const uintptr_t key : {'x', char(27), char(13)})
      send(WM_CHAR, key, 0);
    send(WM_LBUTTONDOWN, 0, 0);
    send(WM_DESTROY, 0, 0);
    send(WM_CHAR, 13, 0); // nobody's dialog any more
    return intptr_t(0);
  };
  static const FileListSuite suite = {{}, [](const char* address) {
                                        notes.emplace_back(address);
                                        return noErr;
                                      }};
  const DialogTemplate about = {};
  RegisterDialog(stringAbout, &about);
  texts[4] = std::string(300, 'y');
  texts[5] = "x.example";
  PIAboutBox box;
  EXPECT_THROW(box.RunModal(nullptr, nullptr, stringAbout), int32_t); // no host to open addresses
  notes.clear();
  HostSuiteRecord(HostSuiteId::fileList).suite = &suite;
  box.RunModal(&notes, nullptr, stringAbout);
  HostSuiteRecord(HostSuiteId::fileList).suite = nullptr;
  EXPECT_EQ(std::tuple(box.resourceId, box.pluginRef, box.dialogWindow, shownTemplate),
            std::tuple(stringAbout, static_cast<void*>(&notes), dialog, &about));
  EXPECT_EQ(texts[3], LoadStringResource(stringAbout));
  EXPECT_THAT(notes, ElementsAre("1", "http://" + std::string(255, 'y'), "1", "http://x.example",
                                 "1", "1", "1", "end 2", "1", "end 1", "1", "0", "end 0", "0",
                                 "end 0", "0", "end 0", "0", "0", "0"));
  RegisterDialog(stringAbout, nullptr);
  shownTemplate = nullptr;
  PIDialog().RunModal(nullptr, nullptr, stringAbout);
  EXPECT_EQ(shownTemplate, nullptr);
  EXPECT_EQ(GenericProc(dialog, WM_INITDIALOG, 0, 0), 0); // no object
  EXPECT_EQ(GenericProc(dialog, WM_COMMAND, MakeWords(1, BN_CLICKED), 0), 1);
}

} // namespace
