// Sessions of the main dialog and the about box with the real host library, driven by real keys and
// clicks.
#pragma once

#include <gtest/gtest.h>

#include <QWheelEvent>

#include "frame/contract/Sliders.h"
#include "frame/selectors/Selectors.h"
#include "tests/support/HostFixture.h"
#include "tests/support/PlugInHost.h"
#include "tests/ui/OpenDialog.h"
#include "ui/dialog/AboutBox.h"
#include "ui/dialog/DialogTables.h"
#include "ui/dialog/FogdissolverEdit.h"
#include "ui/dialog/MainDialog.h"
#include "ui/preview/Proxy.h"
#include "ui/toolkit/qt/QtServices.h"

namespace fixture {

// Events on the dialog's window.
struct Seen {
  int refreshed = 0, painted = 0; // the preview was invalidated; the procedure was asked to draw
  int notified = 0;               // an edit box reported a new value
  QRect refreshedRect;            // the newest
};
inline Seen seen;
inline std::vector<std::string> opened; // addresses
inline int beeps;

inline intptr_t spy(Window window, uint32_t message, uintptr_t word, intptr_t value, uintptr_t,
                    uintptr_t) {
  if (message == TKM_INVALIDATE) {
    const auto& r = *reinterpret_cast<const WindowRect*>(value);
    seen.refreshedRect.setCoords(r.left, r.top, r.right - 1, r.bottom - 1);
  }
  seen.refreshed += message == TKM_INVALIDATE;
  seen.notified += message == WM_COMMAND && HighWord(word) == EDIT_VALUE_CHANGED;
  seen.painted += message == WM_PAINT;
  return DefSubclassProc(window, message, word, value);
}

struct Open : OpenDialog {
  explicit Open(const Shown& shown) : OpenDialog(shown) {
    seen = {};
    SetWindowSubclass(record, spy, 0, 0);
  }
  void wheel(int id, int turn, int sideways = 0, Qt::KeyboardModifiers held = {}) const {
    const QPointF at = this->at(id)->rect().center();
    QWheelEvent event(at, this->at(id)->mapToGlobal(at), {}, QPoint(sideways, turn), Qt::NoButton,
                      held, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(this->at(id), &event);
  }

  // Slider/box/stored hundredths for the foreground's position and intensity and the background's,
  // shortened if all agree; and the balance, with "?" if its slider differs from the stored value.
  std::string state() const {
    const std::tuple<int, int, float> pairs[] = {
        {idForegroundPosition, idForegroundPositionEdit, gParams->foregroundPosition},
        {idForegroundIntensity, idForegroundIntensityEdit, gParams->foregroundIntensity},
        {idBackgroundPosition, idBackgroundPositionEdit, gParams->backgroundPosition},
        {idBackgroundIntensity, idBackgroundIntensityEdit, gParams->backgroundIntensity}};
    std::string all;
    const auto position = [&](int id) {
      return at(id)->property("value").toString().toStdString();
    };
    for (const auto& [slider, box, value] : pairs) {
      const std::string stored = QString::number(double(value) * 100, 'g', 5).toStdString();
      const bool agree = position(slider) == text(box) && text(box) == stored;
      all += position(slider) + (agree ? "" : "/" + text(box) + "/" + stored) + " ";
    }
    const bool agree = gParams->power == PowerOfPosition(std::stoi(position(idBalance)));
    return all + position(idBalance) + (agree ? "" : "?");
  }
  // Refreshes and notifications since the last call.
  static std::pair<int, int> changes() {
    settle();
    const Seen last = std::exchange(seen, {});
    return {last.refreshed, last.notified};
  }
};

// Sessions on a desktop that logs beeps and opened pages.
struct Dialog : testing::Test {
  Dialog() {
    needApplication();
    setenv("LC_ALL", "C.UTF-8", 1);
    unsetenv("LANGUAGE");
    opened.clear();
    services.openAddress = [](const std::string& address) { opened.push_back(address); };
    services.beep = [] { ++beeps; };
    gServices = &services;
    gParams->foregroundIntensity = 0.5f;
    gParams->backgroundIntensity = 0.9f;
  }
  ~Dialog() override {
    DeleteProxyBuffer();
    gServices = &desktopServices;
  }

  static bool run(const std::function<void(const Open&)>& script) {
    bool ok = false;
    whileShown([&](const Shown& shown) { script(Open(shown)); }, [&] { ok = DoUI(); });
    return ok;
  }
  // Runs the script and leaves with Cancel.
  static void look(const std::function<void(const Open&)>& script) {
    EXPECT_FALSE(run([&](const Open& d) {
      script(d);
      d.click(idCancel);
    }));
  }
  void about(const std::function<void(const Open&)>& script) {
    AboutRecord about = {&plugIn.host.platformData, nullptr};
    auto* const kept = std::exchange(gFilterRecord, reinterpret_cast<FilterRecord*>(&about));
    whileShown([&](const Shown& shown) { script(Open(shown)); }, DoAbout);
    gFilterRecord = kept;
  }

  host::Document document = hazyScene(90, 60, 8);
  PlugInHost plugIn{document};
  ToolkitServices services = desktopServices;
};

} // namespace fixture
