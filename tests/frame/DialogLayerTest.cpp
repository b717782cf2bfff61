// The rest of the dialog layer: alerts, numeric entry, control wrappers and dialog classes, over
// windows that keep a text and log what they are sent.
#include <cstring>
#include <map>

#include "frame/text/Strings.h"
#include "frame/utility/HostSuites.h"
#include "hostapi/UtilitySuites.h"
#include "tests/support/PlugInHost.h"
#include "ui/toolkit/Services.h"
#include "ui/toolkit/WindowRecord.h"
#include "ui/utility/Alerts.h"
#include "ui/utility/ControlItems.h"
#include "ui/utility/HostAlerts.h"
#include "ui/utility/NumericEntry.h"
#include "ui/utility/PIDialog.h"

namespace {

// A message to a control: its id, the message, the two parameters.
using Sent = std::tuple<int, uint32_t, uintptr_t, intptr_t>;

// A dialog with controls 1 to 9, and a desktop that logs.
class DialogLayer : public testing::Test {
protected:
  static inline std::string log, ended; // ended: the results of the dialog
  static inline std::vector<Sent> sent;
  static inline std::map<int, std::string> texts;     // of the controls
  static inline std::map<uint32_t, intptr_t> answers; // of any control, by message
  static inline Window dialog;
  ToolkitServices services = noServices;

  DialogLayer() {
    dialog = NewWindow(nullptr, 0, 0, behaviour, nullptr);
    for (int id = 1; id <= 9; ++id)
      NewWindow(dialog, id, 0, behaviour, nullptr);
    services.beep = [] { log += "beep. "; };
    services.messageBox = [](Window, const std::string& text, uint32_t style) {
      log += (style == MB_ICONHAND ? "! " : "? ") + text + " ";
      return 41;
    };
    gServices = &services;
    answers.clear();
    log.clear();
    sent.clear();
  }
  ~DialogLayer() override {
    DestroyWindow(dialog);
    gServices = &noServices;
  }
  static intptr_t behaviour(Window window, uint32_t message, uintptr_t word, intptr_t extra) {
    std::string& text = texts[window->id];
    if (message == WM_SETTEXT || message == CB_ADDSTRING || message == LB_ADDSTRING)
      text = reinterpret_cast<const char*>(extra);
    else if (message == TKM_ENDDIALOG)
      ended += std::to_string(extra);
    else if (message == WM_GETTEXT || message == CB_GETLBTEXT || message == LB_GETTEXT)
      std::strcpy(reinterpret_cast<char*>(extra), text.c_str());
    else if (message != WM_GETTEXTLENGTH && message != CB_GETLBTEXTLEN && message != LB_GETTEXTLEN)
      return sent.emplace_back(window->id, message, word, extra), answers[message];
    return intptr_t(text.size());
  }
};

TEST_F(DialogLayer, AlertsTellWhatIsAmiss) {
  std::string table;
  for (const auto& [rule, version] : hostAlerts)
    table += std::to_string(rule.version * 100 + rule.leastCount * 10 + rule.procedures) + " " +
             version + ", ";
  EXPECT_EQ(table, "255 2.5, 344 3.0, 184 3.0, 122 2.5, 133 4.0, ");
  for (int16_t version : {1, 2, 3}) {
    BufferProcs record = *host::bufferProcs();
    record.version = version;
    EXPECT_EQ(HostRecordUsable(hostAlerts[0], &record), version == 2);
  }
  ReadDescriptorProcs read = *host::readDescriptorProcs();
  WriteDescriptorProcs write = *host::writeDescriptorProcs();
  EXPECT_TRUE(HostDescriptorsUsable(&read, &write));
  write.unused[12] = nullptr;
  EXPECT_FALSE(HostDescriptorsUsable(&read, &write));
  EXPECT_FALSE(HostDescriptorsUsable(nullptr, host::writeDescriptorProcs()));
  EXPECT_TRUE(HostPointerUsable(hostPointerVersions[0], &read));
  EXPECT_FALSE(HostPointerUsable(hostPointerVersions[1], nullptr));
  EXPECT_EQ(ShowCaution(nullptr, 0, 16990, "1", "2"), 0);
  EXPECT_EQ(ShowCaution(nullptr, 1, 16990, "1", "2"), 41);
  EXPECT_EQ(ShowAlert(nullptr, 1, 0, "a", "b", 2), 41);
  const std::string needs = "! This plug-in requires Adobe Photoshop® ",
                    later = " or later functionality. ";
  EXPECT_EQ(log, needs + "2.5" + later +
                     "! This plug-in is incompatible with this version of the host program. " +
                     needs + "4.0" + later + needs + "4.0" + later + needs + "2.5" + later +
                     "? An integer is required between 1 and 2. ?  ");
}

// State and value; decimals are split at the last point, and each half has a sign of its own.
TEST_F(DialogLayer, NumbersAreReadWithTheirState) {
  // clang-format off
  const std::array<std::string, 2> integers[] = {
      {"  042 ", "0 42"}, {"-1", "1 -1"}, {"0", "0 0"},   {"100", "0 100"}, {"101", "1 101"},
      {"1.0", "2 0"},     {" - ", "2 0"}, {"12 3", "2 0"}, {"999999999", "1 999999999"},
      {"-1000000000", "1 -2147483647"}};
  // clang-format on
  for (const auto& [text, expected] : integers) {
    int32_t found = 7;
    texts[1] = text;
    const int state = int(FetchInteger(dialog, 1, 0, 100, found));
    EXPECT_EQ(std::to_string(state) + " " + std::to_string(found), expected) << text;
  }
  const std::tuple<const char*, int, double> decimals[] = {
      {"2,5", 0, 2.5},   {"12", 1, 12},     {".25", 0, 0.25}, {"3.", 0, 3}, {"1.005", 0, 1.005},
      {"-1.5", 0, -0.5}, {"1.2.5", 0, 0.5}, {"-5.", 1, -5},   {"x", 2, 0},  {".", 2, 0}};
  for (const auto& [text, state, number] : decimals) {
    double found = 7;
    texts[1] = text;
    EXPECT_EQ(int(FetchDouble(dialog, 1, -1, 10, found)), state) << text;
    EXPECT_DOUBLE_EQ(found, number);
  }
  StoreItemText(dialog, 2, PascalString(std::string(255, 'x')));
  EXPECT_EQ(texts[2].size(), 254u);
}

TEST_F(DialogLayer, ANumberOutOfRangeBecomesItsBound) {
  int32_t above = 120, below = -9;
  double low = 0.05, high = 8;
  texts[3] = "0.05"; // as many places are shown as were typed
  ReportIntegerRange(dialog, 1, 0, 100, above, 1);
  EXPECT_EQ(sent, (std::vector<Sent>{{1, EM_SETSEL, 0, -1}, {1, TKM_SETFOCUS, 0, 0}}));
  ReportIntegerRange(dialog, 2, -5, 100, below, 0); // not active: the beep alone
  ReportDoubleRange(dialog, 3, 0.135, 7.389, low, 1);
  EXPECT_EQ(texts[1] + " " + texts[2] + " " + texts[3], "100 -5 0.14");
  ReportDoubleRange(dialog, 3, 0.135, 7.389, high, 0);
  EXPECT_EQ(std::tuple(above, below, low, high), std::tuple(100, -5, 0.135, 7.389));
  EXPECT_EQ(log, "beep. ? An integer is required between 0 and 100. beep. beep. "
                 "? A decimal number is required between 0.14 and 7.39. beep. ");
}

TEST_F(DialogLayer, ItemsSendTheirControlItsMessage) {
  HideItem(dialog, 1);
  ShowItem(dialog, 1);
  DisableItem(dialog, 2);
  EnableItem(dialog, 2);
  EXPECT_TRUE(ToggleCheckBox(dialog, 4));
  EXPECT_EQ(RadioGroupView(dialog, 8, 9).Checked(), -1);
  // clang-format off
  const Sent expected[] = {
      {1, TKM_SHOW, SW_HIDE, 0}, {1, TKM_SHOW, SW_SHOW, 0}, {2, TKM_ENABLE, 0, 0},
      {2, TKM_ENABLE, 1, 0},     {4, BM_GETCHECK, 0, 0},    {4, BM_SETCHECK, 1, 0},
      {8, BM_GETCHECK, 0, 0},    {9, BM_GETCHECK, 0, 0}};
  // clang-format on
  EXPECT_THAT(sent, testing::ElementsAreArray(expected));
  ComboBoxView(dialog, 1).Add("combo");
  ListBoxView(dialog, 2).Add("list");
  EXPECT_EQ(ComboBoxView(dialog, 1).Current() + ListBoxView(dialog, 2).Current(), "combolist");
  answers[CB_GETCURSEL] = answers[LB_GETCURSEL] = -1;
  EXPECT_EQ(ComboBoxView(dialog, 1).Current() + ListBoxView(dialog, 2).Current(), "");
}

// The desktop runs a dialog of the classes through a life's worth of messages.
TEST_F(DialogLayer, ClassesShowTheirStringOpenAddressesAndGo) {
  static const DialogTemplate about = {};
  services.dialogBox = [](const DialogTemplate* given, void*, DialogProc proc, intptr_t object) {
    EXPECT_EQ(given, &about);
    const auto send = [proc](uint32_t message, uintptr_t word, intptr_t extra = 0) {
      log += std::to_string(proc(dialog, message, word, extra));
    };
    send(WM_INITDIALOG, 0, object);
    for (const uintptr_t word : {uintptr_t(4), MakeWords(1, EN_CHANGE), uintptr_t(2), uintptr_t(1)})
      send(WM_COMMAND, word);
    for (const uintptr_t key : {120, 27, 13}) // x, Esc, Enter
      send(WM_CHAR, key);
    send(WM_LBUTTONDOWN, 0);
    send(WM_DESTROY, 0);
    send(WM_CHAR, 13); // to nobody's dialog
    return intptr_t(0);
  };
  RegisterDialog(stringAbout, &about);
  texts[4] = std::string(300, 'y');
  PIAboutBox box;
  EXPECT_THROW(box.RunModal(nullptr, nullptr, stringAbout), int32_t); // no host opens addresses
  static const FileListSuite suite = {{},
                                      [](const char* address) { return log += address, noErr; }};
  HostSuiteRecord(HostSuiteId::fileList).suite = &suite;
  log.clear();
  ended.clear();
  box.RunModal(&log, nullptr, stringAbout);
  HostSuiteRecord(HostSuiteId::fileList).suite = nullptr;
  EXPECT_EQ(std::tuple(box.resourceId, box.pluginRef, texts[3]),
            std::tuple(stringAbout, static_cast<void*>(&log), LoadStringResource(stringAbout)));
  EXPECT_EQ(log, "1http://" + std::string(255, 'y') + "1111000000");
  EXPECT_EQ(ended, "21000");
  RegisterDialog(stringAbout, nullptr);
  box.RunModal(nullptr, nullptr, stringAbout);            // is not known any more
  EXPECT_EQ(GenericProc(dialog, WM_INITDIALOG, 0, 0), 0); // no object
  EXPECT_EQ(GenericProc(dialog, WM_COMMAND, 1, 0), 1);
}

} // namespace
