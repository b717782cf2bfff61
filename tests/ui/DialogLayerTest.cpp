// The rest of the dialog layer: alerts, numeric entry and views of controls, with windows that
// store a text and log their messages; the dialog class with real windows.
#include <cstring>
#include <map>
#include <sstream>

#include "frame/text/Strings.h"
#include "frame/utility/HostSuites.h"
#include "hostapi/UtilitySuites.h"
#include "tests/support/PlugInHost.h"
#include "tests/ui/OpenDialog.h"
#include "ui/toolkit/Services.h"
#include "ui/utility/Alerts.h"
#include "ui/utility/ControlItems.h"
#include "ui/utility/HostAlerts.h"
#include "ui/utility/NumericEntry.h"
#include "ui/utility/PIDialog.h"

namespace {

// A dialog with controls 1 to 9, and a desktop that logs.
class DialogLayer : public testing::Test {
protected:
  static inline ToolkitServices services;
  static inline std::string log;
  static inline std::map<int, std::string> texts; // of the controls
  static inline Window dialog;

  DialogLayer() : before_(gServices) {
    setenv("LC_ALL", "C.UTF-8", 1);
    services = noServices;
    gServices = &services;
    dialog = NewWindow(nullptr, behaviour, nullptr);
    for (int id = 1; id <= 9; ++id)
      NewWindow(dialog, behaviour, nullptr, id);
    services.beep = [] { log += "beep. "; };
    services.messageBox = [](Window, const std::string& text, uint32_t style) {
      log += (style == MB_ICONHAND ? "! " : "? ") + text + " ";
      return 41;
    };
    log.clear();
  }
  ~DialogLayer() override {
    DestroyWindow(dialog);
    gServices = before_;
  }
  static intptr_t behaviour(Window window, uint32_t message, uintptr_t word, intptr_t extra) {
    std::string& text = texts[window->id];
    if (message == WM_SETTEXT)
      text = reinterpret_cast<const char*>(extra);
    else if (message == WM_GETTEXT || message == CB_GETLBTEXT || message == LB_GETTEXT)
      std::strcpy(reinterpret_cast<char*>(extra), text.c_str());
    else if (message == BM_GETCHECK)
      return text == "x";
    else if (message == BM_SETCHECK)
      text = word ? "x" : "";
    else if (message == CB_GETCURSEL || message == LB_GETCURSEL)
      return text.empty() ? -1 : int(text.size()) - 1;
    else if (message != WM_GETTEXTLENGTH && message != CB_GETLBTEXTLEN && message != LB_GETTEXTLEN)
      return log += std::to_string(window->id) + "(" + std::to_string(word) + ", " +
                    std::to_string(extra) + ") ",
             0;
    return intptr_t(text.size());
  }

private:
  const ToolkitServices* before_;
};

TEST_F(DialogLayer, AlertsTellWhatIsAmiss) {
  for (int16_t version : {1, 2, 3}) {
    BufferProcs record = *host::bufferProcs();
    record.version = version;
    EXPECT_EQ(HostRecordUsable(hostAlerts[0], &record), version == 2);
  }
  EXPECT_TRUE(HostDescriptorsUsable(host::readDescriptorProcs(), host::writeDescriptorProcs()));
  EXPECT_FALSE(HostDescriptorsUsable(host::readDescriptorProcs(), nullptr));
  EXPECT_EQ(ShowCaution(nullptr, 0, 16990, "1", "2"), 0);
  EXPECT_EQ(ShowAlert(nullptr, 1, 0, "a", "b", 2), 41);
  EXPECT_EQ(ShowAlert(nullptr, 1, 16991, "1", "2", 1), 41);
  EXPECT_EQ(log, "! This plug-in requires Adobe Photoshop® 2.5 or later functionality. "
                 "! This plug-in is incompatible with this version of the host program. "
                 "! This plug-in requires Adobe Photoshop® 4.0 or later functionality. ?  "
                 "! A decimal number is required between 1 and 2. ");
}

// The smallest valid record: version, count, procedures.
TEST_F(DialogLayer, HostRecordsAreToldByTheirHeads) {
  std::string least;
  for (const HostAlert& alert : hostAlerts) {
    const auto usable = [&](int version, int count, int procedures) {
      struct {
        int16_t version, count;
        void* procedures[6];
      } record = {int16_t(version), int16_t(count), {}};
      std::fill_n(record.procedures, procedures, &record);
      return HostRecordUsable(alert, &record);
    };
    int version = 0, count = 9, procedures = 6;
    while (version < 9 && !usable(version, count, procedures))
      ++version;
    while (usable(version, count - 1, procedures))
      --count;
    while (usable(version, count, procedures - 1))
      --procedures;
    for (int number : {version, count, procedures})
      least += std::to_string(number) + " ";
    least += alert.hostVersion + std::string(", ");
  }
  EXPECT_EQ(least, "2 5 5 2.5, 3 4 4 3.0, 1 8 4 3.0, 1 2 2 2.5, 1 3 3 4.0, ");
  EXPECT_TRUE(HostPointerUsable("3.0", &least));
  log.clear();
  EXPECT_FALSE(HostPointerUsable("3.0", nullptr));
  EXPECT_EQ(log, "! This plug-in requires Adobe Photoshop® 3.0 or later functionality. ");
  for (int which : {0, 1}) {
    ReadDescriptorProcs read = *host::readDescriptorProcs();
    WriteDescriptorProcs write = *host::writeDescriptorProcs();
    --(which ? read.count : write.count);
    EXPECT_FALSE(HostDescriptorsUsable(&read, &write));
  }
}

// State and value; decimals are split at the last point, and each half has its own sign.
TEST_F(DialogLayer, NumbersAreReadWithTheirState) {
  std::ostringstream read;
  for (const char* text : {"  042 ", "-1", "100", "101", "999999999", "-", "1 2", "-1000000000"}) {
    int32_t number = 7;
    texts[1] = text;
    read << int(FetchInteger(dialog, 1, 0, 100, number)) << ' ' << number << ", ";
  }
  for (const char* text : {"2,5", "12", ".25", "1.005", "-1.5", "1.2.5", "-5.", "."}) {
    double number = 7;
    texts[1] = text;
    read << int(FetchDouble(dialog, 1, -1, 10, number)) << ' ' << number << ", ";
  }
  const std::string full(255, 'f');
  StoreItemText(dialog, 1, PascalString(full));
  EXPECT_EQ(texts[1].size(), 254u);
  EXPECT_EQ(read.str(), "0 42, 1 -1, 0 100, 1 101, 1 999999999, 2 0, 2 0, 1 -2147483647, "
                        "0 2.5, 1 12, 0 0.25, 0 1.005, 0 -0.5, 0 0.5, 1 -5, 2 0, ");
}

TEST_F(DialogLayer, ANumberOutOfRangeBecomesItsBound) {
  int32_t above = 120, below = -9;
  double low = 0.05, high = 8;
  texts[3] = "0.05"; // shows as many places as the user typed
  ReportIntegerRange(dialog, 1, 0, 100, above, 1);
  ReportIntegerRange(dialog, 2, -5, 100, below, 0); // not active: only the beep
  ReportDoubleRange(dialog, 3, 0.135, 7.389, low, 1);
  EXPECT_EQ(texts[1] + " " + texts[2] + " " + texts[3], "100 -5 0.14");
  ReportDoubleRange(dialog, 3, 0.135, 7.389, high, 0);
  EXPECT_EQ(std::tuple(above, below, low, high), std::tuple(100, -5, 0.135, 7.389));
  EXPECT_EQ(log, "beep. ? An integer is required between 0 and 100. 1(0, -1) 1(0, 0) "
                 "beep. 2(0, -1) 2(0, 0) beep. ? A decimal number is required between 0.14 and "
                 "7.39. 3(0, -1) 3(0, 0) beep. 3(0, -1) 3(0, 0) ");
}

TEST_F(DialogLayer, ViewsAskTheirControl) {
  ComboBoxView combo(dialog, 1);
  ListBoxView list(dialog, 2);
  for (const char* text : {"", "a", "abc"}) {
    texts[1] = texts[2] = text;
    EXPECT_EQ(combo.Current() + "|" + list.Current(), texts[1] + "|" + text);
    EXPECT_EQ(list.Index(), int(texts[2].size()) - 1);
  }
  combo.Clear();
  combo.Add(nullptr);
  combo.Select(7);
  list.Clear();
  list.Add(nullptr);
  list.Select(8);
  list.SetItemData(4, 5);
  EXPECT_EQ(list.ItemData(3), 0);
  EXPECT_EQ(log, "1(0, 0) 1(0, 0) 1(7, 0) 2(0, 0) 2(0, 0) 2(8, 0) 2(4, 5) 2(3, 0) ");
  EditBoxView(dialog, 3).SetText("typed");
  EXPECT_EQ(EditBoxView(dialog, 3).Text(), "typed");
  for (int id : {4, 5, 6})
    CheckBoxView(dialog, id).Set(false);
  EXPECT_EQ(RadioGroupView(dialog, 4, 6).Checked(), -1);
  EXPECT_EQ(FirstChecked(dialog, 4, 6), 0);
  EXPECT_TRUE(ToggleCheckBox(dialog, 6));
  EXPECT_EQ(RadioGroupView(dialog, 4, 6).Checked(), 6);
  EXPECT_EQ(FirstChecked(dialog, 4, 5), 0);
  EXPECT_TRUE(CheckBoxView(dialog, 6).Get() && !CheckBoxView(dialog, 4).Get());
  EXPECT_FALSE(ToggleCheckBox(dialog, 6));
  EXPECT_EQ(EditBoxView(dialog, 44).Text() + ComboBoxView(dialog, 44).Current(), "");
}

// Text, two addresses, and OK and Cancel.
constexpr int aboutNumber = 16000; // of the about box's text, and of its dialog
constexpr DialogControl aboutRows[] = {
    {3, ControlKind::label, "", nullptr, {4, 4, 90, 8}},
    {4, ControlKind::pushButton, "a.example", nullptr, {4, 14, 60, 14}},
    {5, ControlKind::pushButton, "b.example", nullptr, {4, 30, 60, 14}},
    {1, ControlKind::pushButton, "OK", nullptr, {4, 46, 60, 14}},
    {2, ControlKind::pushButton, "Cancel", nullptr, {70, 46, 60, 14}},
};

struct AboutBox : testing::Test {
  static inline std::vector<std::string> opened;
  AboutBox() {
    static const FileListSuite pages = {
        {}, [](const char* address) { return opened.push_back(address), noErr; }};
    HostSuiteRecord(HostSuiteId::fileList).suite = &pages;
    setenv("LC_ALL", "C.UTF-8", 1);
    opened.clear();
  }
  ~AboutBox() override { HostSuiteRecord(HostSuiteId::fileList).suite = nullptr; }
};

TEST_F(AboutBox, ShowsItsTextOpensItsAddressesAndGoes) {
  using fixture::OpenDialog;
  const auto key = [](const char* keys) {
    return [keys](const OpenDialog& d) {
      if (QWidget* focus = d.dialog->focusWidget())
        focus->clearFocus();
      d.keys(keys);
    };
  };
  const std::pair<std::function<void(const OpenDialog&)>, intptr_t> ways[] = {
      {[](const OpenDialog& d) {
         EXPECT_EQ(d.text(3), LoadStringResource(aboutNumber));
         d.click(4);
         d.click(5);
         SetDlgItemText(d.record, 4, std::string(300, 'x'));
         d.click(4);
         EXPECT_TRUE(d.dialog->windowFlags().testFlag(Qt::WindowCloseButtonHint));
         d.click(1);
       },
       1},
      {[](const OpenDialog& d) { d.click(2); }, 2},
      {[](const OpenDialog& d) { d.dialog->close(); }, 2},
      {key("<Esc>"), 0},
      {key("<Return>"), 0},
      {[](const OpenDialog& d) { // outside all controls; the right button does nothing
         const QPoint free(d.dialog->width() - 3, 3);
         for (const auto down : {Qt::RightButton, Qt::NoButton})
           qt_handleMouseEvent(d.window(), free, d.window()->mapToGlobal(free), down,
                               Qt::RightButton,
                               down ? QEvent::MouseButtonPress : QEvent::MouseButtonRelease, {}, 1);
         EXPECT_TRUE(d.dialog->isVisible());
         d.mouse(QEvent::MouseButtonPress, free);
       },
       0},
  };
  for (const auto& [script, result] : ways) {
    PIAboutBox box;
    box.resourceId = aboutNumber;
    const auto parameter = reinterpret_cast<intptr_t>(&box);
    EXPECT_EQ(fixture::runRows(aboutRows, script, GenericProc, WS_SYSMENU, parameter), result);
  }
  EXPECT_THAT(opened, testing::ElementsAre("http://a.example", "http://b.example",
                                           "http://" + std::string(255, 'x')));
}

// The messages that reach the class, and what counts as OK.
TEST_F(AboutBox, IsADialogClass) {
  constexpr DialogTemplate table = {"About", 140, 70, 8, 0, aboutRows, 5};
  RegisterDialog(aboutNumber, &table);
  struct Noting : PIDialog {
    std::vector<int> items;
    int scrolled = 0;
    void InitDialog() override { items.push_back(-1); }
    void HandleCommand(int item) override { items.push_back(item); }
    void HandleMessage(uint32_t message, uintptr_t, intptr_t) override {
      scrolled += message == WM_HSCROLL;
    }
  } noting, unknown;
  const auto script = [&](const fixture::Shown&) {
    const Window window = noting.dialogWindow;
    EXPECT_EQ(SendMessage(window, WM_COMMAND, MakeWords(1, EN_CHANGE)), 1); // not a click
    EXPECT_EQ(SendMessage(window, WM_HSCROLL), 0);
    EXPECT_EQ(GetWindowText(window), "About");
    SetWindowText(window, "Übrig");
    EXPECT_EQ(GetWindowText(window), "Übrig");
    SendMessage(window, WM_COMMAND, MakeWords(2, BN_CLICKED));
    EXPECT_EQ(SendMessage(window, WM_DESTROY), 0); // forgets the object
    SendMessage(window, WM_COMMAND, MakeWords(9, BN_CLICKED));
  };
  fixture::whileShown(script, [&] { noting.RunModal(&opened, nullptr, aboutNumber); });
  EXPECT_THAT(noting.items, testing::ElementsAre(-1, 1, 2));
  EXPECT_EQ(noting.scrolled, 1);
  EXPECT_TRUE(noting.resourceId == aboutNumber && noting.pluginRef == &opened);
  RegisterDialog(aboutNumber, nullptr);
  unknown.RunModal(nullptr, nullptr, aboutNumber); // this dialog no longer exists
  EXPECT_TRUE(unknown.items.empty());
}

} // namespace
