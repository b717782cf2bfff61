// The rest of the dialog layer: alerts and numeric entry, over windows that keep a text and log
// what they are sent.
#include <cstring>
#include <map>
#include <sstream>

#include "tests/frame/FrameFixture.h"
#include "ui/toolkit/WindowRecord.h"
#include "ui/utility/Alerts.h"
#include "ui/utility/HostAlerts.h"
#include "ui/utility/NumericEntry.h"

namespace {

// A dialog with controls 1 to 9, and a desktop that logs.
class DialogLayer : public FrameTest {
protected:
  static inline std::string log;
  static inline std::map<int, std::string> texts; // of the controls
  static inline Window dialog;

  DialogLayer() {
    dialog = NewWindow(nullptr, 0, 0, behaviour, nullptr);
    for (int id = 1; id <= 9; ++id)
      NewWindow(dialog, id, 0, behaviour, nullptr);
    services.beep = [] { log += "beep. "; };
    services.messageBox = [](Window, const std::string& text, uint32_t style) {
      log += (style == MB_ICONHAND ? "! " : "? ") + text + " ";
      return 41;
    };
    log.clear();
  }
  ~DialogLayer() override { DestroyWindow(dialog); }
  static intptr_t behaviour(Window window, uint32_t message, uintptr_t word, intptr_t extra) {
    std::string& text = texts[window->id];
    if (message == WM_SETTEXT)
      text = reinterpret_cast<const char*>(extra);
    else if (message == WM_GETTEXT)
      std::strcpy(reinterpret_cast<char*>(extra), text.c_str());
    else if (message != WM_GETTEXTLENGTH)
      return log += std::to_string(window->id) + "(" + std::to_string(word) + ", " +
                    std::to_string(extra) + ") ",
             0;
    return intptr_t(text.size());
  }
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
  EXPECT_EQ(log, "! This plug-in requires Adobe Photoshop® 2.5 or later functionality. "
                 "! This plug-in is incompatible with this version of the host program. "
                 "! This plug-in requires Adobe Photoshop® 4.0 or later functionality. ?  ");
}

// State and value; decimals are split at the last point, and each half has a sign of its own.
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
  EXPECT_EQ(read.str(), "0 42, 1 -1, 0 100, 1 101, 1 999999999, 2 0, 2 0, 1 -2147483647, "
                        "0 2.5, 1 12, 0 0.25, 0 1.005, 0 -0.5, 0 0.5, 1 -5, 2 0, ");
}

TEST_F(DialogLayer, ANumberOutOfRangeBecomesItsBound) {
  int32_t above = 120, below = -9;
  double low = 0.05, high = 8;
  texts[3] = "0.05"; // as many places are shown as were typed
  ReportIntegerRange(dialog, 1, 0, 100, above, 1);
  ReportIntegerRange(dialog, 2, -5, 100, below, 0); // not active: the beep alone
  ReportDoubleRange(dialog, 3, 0.135, 7.389, low, 1);
  EXPECT_EQ(texts[1] + " " + texts[2] + " " + texts[3], "100 -5 0.14");
  ReportDoubleRange(dialog, 3, 0.135, 7.389, high, 0);
  EXPECT_EQ(std::tuple(above, below, low, high), std::tuple(100, -5, 0.135, 7.389));
  EXPECT_EQ(log, "beep. ? An integer is required between 0 and 100. 1(0, -1) 1(0, 0) "
                 "beep. 2(0, -1) 2(0, 0) beep. ? A decimal number is required between 0.14 and "
                 "7.39. 3(0, -1) 3(0, 0) beep. 3(0, -1) 3(0, 0) ");
}

} // namespace
