// The main dialog by the messages of its controls, without widgets.
#include <gmock/gmock.h>

#include <cmath>
#include <optional>

#include "tests/ui/StandInDialog.h"
#include "tests/ui/StandInHost.h"
#include "ui/dialog/CentreDialog.h"
#include "ui/dialog/DialogTables.h"
#include "ui/dialog/Dialogs.h"
#include "ui/dialog/FogdissolverEdit.h"
#include "ui/dialog/MainDialog.h"
#include "ui/preview/Proxy.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;

constexpr intptr_t pressed = 0, repeated = intptr_t(1) << 30, released = intptr_t(3) << 30;

struct MainDialog : testing::Test {
  StandInDesktop desktop;
  StandInHost host{48, 32};
  std::optional<StandInDialog> shown;
  int refreshed = 0; // refreshes seen by the last call of refreshes()

  MainDialog() {
    setenv("LC_ALL", "C", 1);
    host.params.foregroundIntensity = 0.5f;
    host.params.backgroundIntensity = 0.9f;
  }
  ~MainDialog() override {
    if (shown) {
      SendMessage(shown->window, WM_DESTROY, 0, 0);
      DeleteProxyBuffer();
    }
    unsetenv("LC_ALL");
  }

  void open() {
    shown.emplace(FOGDISSOLVER_DIALOG, FogdissolverProc);
    EXPECT_EQ(FogdissolverProc(shown->window, WM_INITDIALOG, 0, 0), 0);
    refreshes();
  }
  StandInControl& control(int id) { return (*shown)[id]; }
  Parameters& params() { return host.params; }

  int refreshes() {
    const int now = int(shown->invalidated.size()), since = now - refreshed;
    refreshed = now;
    return since;
  }
  void scroll(int id, intptr_t position) {
    control(id).position = position;
    SendMessage(shown->window, WM_HSCROLL, 0, reinterpret_cast<intptr_t>(shown->item(id)));
  }
  intptr_t click(int id, uint16_t code = BN_CLICKED) {
    return SendMessage(shown->window, WM_COMMAND, MakeWords(uint16_t(id), code),
                       reinterpret_cast<intptr_t>(shown->item(id)));
  }
  void tick(int id, bool checked) {
    control(id).checked = checked;
    click(id);
  }
  void type(int id, const std::string& text) { // over all that stands there
    StandInControl& box = control(id);
    box.start = 0;
    box.end = int32_t(box.text.size());
    for (char c : text)
      SendMessage(shown->item(id), WM_CHAR, uintptr_t(c), 0);
  }
  void enter(int id) {
    SendMessage(shown->item(id), WM_CHAR, 13, 0);
    dispatchAll();
  }
  void leave(int id) {
    SendMessage(shown->item(id), WM_KILLFOCUS, 0, 0);
    dispatchAll();
  }
  static intptr_t alt(intptr_t flags) { return DialogKeyboardHook(0, VK_MENU, flags); }
};

TEST(ValueTable, PositionsAreTruncatedFloats) {
  EXPECT_EQ(ValueOfPosition(34), 0.34f);
  EXPECT_EQ(PositionOfValue(0.35f), 34); // held a little below 0.35
  EXPECT_EQ(PositionOfValue(0.5f), 50);
  EXPECT_EQ(PositionOfValue(0.29f), 28);
  EXPECT_EQ(PositionOfValue(-0.7f), -69);
  EXPECT_EQ(PositionOfValue(1.0f), 100);
  EXPECT_EQ(PositionOfValue(std::nanf("")), std::numeric_limits<int32_t>::min());
}

TEST(ValueTable, TheBalanceIsAnExponentialOfFloats) {
  EXPECT_EQ(PowerOfPosition(50), 1.0f);
  EXPECT_EQ(PowerOfPosition(0), float(std::exp(-2.0)));
  EXPECT_EQ(PowerOfPosition(100), float(std::exp(2.0)));
  EXPECT_EQ(PowerOfPosition(33), float(std::exp(double(float(33 / 25.0 - 2.0)))));
  EXPECT_EQ(PositionOfPower(1.0f), 50);
  EXPECT_EQ(PositionOfPower(0.0f), std::numeric_limits<int32_t>::min());
  for (int32_t p = 0; p <= 100; ++p) {
    EXPECT_LE(PositionOfPower(PowerOfPosition(p)), p);
    EXPECT_GE(PositionOfPower(PowerOfPosition(p)), p - 1); // truncation may cost one
  }
}

TEST_F(MainDialog, OpensWithSoftenedIntensities) {
  open();
  EXPECT_EQ(params().foregroundIntensity, 0.35f);
  EXPECT_EQ(params().backgroundIntensity, 0.9f * 0.7f);
  EXPECT_EQ(control(idForegroundIntensity).position, 34);
  EXPECT_EQ(control(idForegroundIntensityEdit).text, "34");
  EXPECT_EQ(control(idBackgroundIntensityEdit).text, "62"); // 0.63 is held below itself
  EXPECT_EQ(control(idForegroundPosition).position, 0);
  EXPECT_EQ(control(idBackgroundPosition).position, 100);
  EXPECT_EQ(control(idBackgroundPositionEdit).text, "100");
  EXPECT_EQ(control(idBalance).position, 50);
  EXPECT_TRUE(control(idPreview).checked);
  EXPECT_FALSE(control(idExport).checked);
  EXPECT_FALSE(control(idFrame).shown);
  EXPECT_EQ(shown->focus, idForegroundPositionEdit);
  EXPECT_EQ(shown->caption, "Velso Fogdissolver 1.0.2");
  EXPECT_EQ(shown->invalidated.size(), 2u);
}

TEST_F(MainDialog, AFreshRunTakesTheEstimates) {
  params().foregroundIntensity = params().backgroundIntensity = intensityUnset;
  open();
  EXPECT_GE(params().foregroundIntensity, 0.0f);
  EXPECT_LE(params().backgroundIntensity, 0.7f);
  EXPECT_EQ(control(idBackgroundIntensity).position, PositionOfValue(params().backgroundIntensity));
}

TEST_F(MainDialog, WithoutAPreviewNoEstimateExists) {
  params().foregroundIntensity = params().backgroundIntensity = intensityUnset;
  params().preview = 0;
  open();
  EXPECT_EQ(params().foregroundIntensity, -0.7f);
  EXPECT_EQ(control(idForegroundIntensity).position, 0);
  EXPECT_EQ(control(idForegroundIntensityEdit).text, "0");
  EXPECT_FALSE(control(idPreview).checked);
  alt(pressed);
  click(idCancel); // Reset goes back to the position that was computed
  EXPECT_EQ(params().foregroundIntensity, -0.69f);
  EXPECT_EQ(control(idForegroundIntensity).position, 0);
}

TEST_F(MainDialog, EverySecondScrollMessageIsDropped) {
  open();
  scroll(idForegroundIntensity, 20);
  EXPECT_EQ(params().foregroundIntensity, 0.2f);
  EXPECT_EQ(control(idForegroundIntensityEdit).text, "20");
  EXPECT_EQ(refreshes(), 1);
  scroll(idForegroundIntensity, 21);
  EXPECT_EQ(params().foregroundIntensity, 0.2f);
  EXPECT_EQ(control(idForegroundIntensityEdit).text, "20");
  EXPECT_EQ(refreshes(), 0);
  // The toggle is shared, and the balance does not go through it.
  scroll(idForegroundIntensity, 22);
  scroll(idBalance, 75);
  EXPECT_EQ(params().power, PowerOfPosition(75));
  EXPECT_EQ(refreshes(), 2);
  scroll(idBackgroundIntensity, 80);
  EXPECT_EQ(params().backgroundIntensity, 0.9f * 0.7f);
  scroll(idBackgroundIntensity, 80);
  EXPECT_EQ(params().backgroundIntensity, 0.8f);
  EXPECT_EQ(refreshes(), 1);
}

TEST_F(MainDialog, APushedPositionWaitsForTheNextEvent) {
  open();
  scroll(idBackgroundPosition, 40);
  scroll(idBackgroundPosition, 40);
  refreshes();
  scroll(idForegroundPosition, 60);
  EXPECT_EQ(params().foregroundPosition, 0.6f);
  EXPECT_EQ(control(idBackgroundPosition).position, 60);
  EXPECT_EQ(control(idBackgroundPositionEdit).text, "60");
  EXPECT_EQ(params().backgroundPosition, 0.4f); // as it was
  EXPECT_EQ(refreshes(), 0);
  leave(idBackgroundPositionEdit); // reaches it
  EXPECT_EQ(params().backgroundPosition, 0.6f);
  EXPECT_EQ(refreshes(), 1);

  scroll(idBalance, 50);
  refreshes();
  scroll(idForegroundPosition, 60); // swallowed by the toggle
  scroll(idBackgroundPosition, 25); // the mirror image
  EXPECT_EQ(params().backgroundPosition, 0.25f);
  EXPECT_EQ(control(idForegroundPosition).position, 25);
  EXPECT_EQ(control(idForegroundPositionEdit).text, "25");
  EXPECT_EQ(params().foregroundPosition, 0.6f);
  EXPECT_EQ(refreshes(), 0);
}

TEST_F(MainDialog, ATypedNumberCountsAtEnterAndIsClampedOnLeaving) {
  open();
  type(idForegroundIntensityEdit, "250");
  dispatchAll();
  EXPECT_EQ(params().foregroundIntensity, 0.35f);
  enter(idForegroundIntensityEdit);
  EXPECT_EQ(params().foregroundIntensity, 2.5f);
  EXPECT_EQ(control(idForegroundIntensity).position, 100);
  EXPECT_EQ(refreshes(), 1);
  leave(idForegroundIntensityEdit);
  EXPECT_EQ(params().foregroundIntensity, 1.0f);
  EXPECT_EQ(control(idForegroundIntensityEdit).text, "100");
  EXPECT_EQ(refreshes(), 1);
  type(idBackgroundIntensityEdit, "12");
  enter(idBackgroundIntensityEdit);
  EXPECT_EQ(params().backgroundIntensity, 0.12f);
  EXPECT_EQ(control(idBackgroundIntensity).position, 12);
}

TEST_F(MainDialog, TypedPositionsPushEachOther) {
  open();
  type(idBackgroundPositionEdit, "30");
  enter(idBackgroundPositionEdit);
  refreshes();
  type(idForegroundPositionEdit, "45");
  enter(idForegroundPositionEdit);
  EXPECT_EQ(params().foregroundPosition, 0.45f);
  EXPECT_EQ(params().backgroundPosition, 0.3f);
  EXPECT_EQ(control(idBackgroundPosition).position, 45);
  EXPECT_EQ(control(idBackgroundPositionEdit).text, "45");
  EXPECT_EQ(refreshes(), 0);
  type(idBackgroundPositionEdit, "20");
  enter(idBackgroundPositionEdit);
  EXPECT_EQ(params().backgroundPosition, 0.2f);
  EXPECT_EQ(control(idForegroundPosition).position, 20);
  EXPECT_EQ(refreshes(), 0);
}

TEST_F(MainDialog, OtherNotificationsOfTheBoxesAreIgnored) {
  open();
  type(idForegroundIntensityEdit, "7");
  for (uint16_t code : {uint16_t(BN_CLICKED), uint16_t(EN_CHANGE), uint16_t(0x1121)})
    click(idForegroundIntensityEdit, code);
  EXPECT_EQ(params().foregroundIntensity, 0.35f);
  EXPECT_EQ(refreshes(), 0);
}

TEST_F(MainDialog, CheckBoxes) {
  open();
  tick(idExport, true);
  EXPECT_EQ(params().outputMap, 1);
  EXPECT_EQ(refreshes(), 0); // the preview does not show it
  tick(idDisplay, true);
  EXPECT_EQ(params().displayMap, 1);
  EXPECT_EQ(refreshes(), 1);
  tick(idPreview, false);
  EXPECT_EQ(params().preview, 0);
  EXPECT_EQ(refreshes(), 1);
  control(idDisplay).checked = false;
  click(idDisplay, EN_CHANGE);
  EXPECT_EQ(params().displayMap, 1);
}

TEST_F(MainDialog, AltShowsTheMaskAndMakesCancelReset) {
  open();
  scroll(idForegroundPosition, 10);
  scroll(idBalance, 80);
  type(idBackgroundIntensityEdit, "5");
  enter(idBackgroundIntensityEdit);
  tick(idExport, true);
  tick(idDisplay, true);
  refreshes();
  EXPECT_EQ(alt(pressed), 0);
  EXPECT_EQ(control(idCancel).text, "Reset");
  EXPECT_EQ(params().displayMap, 1);
  EXPECT_EQ(alt(repeated), 0);
  EXPECT_EQ(refreshes(), 1); // a held key does nothing more
  EXPECT_EQ(click(idCancel), 0);
  EXPECT_FALSE(shown->ended);
  EXPECT_EQ(refreshes(), 1);
  EXPECT_EQ(params().foregroundPosition, 0.0f);
  EXPECT_EQ(params().foregroundIntensity, 0.34f); // a whole hundredth now
  EXPECT_EQ(params().backgroundIntensity, 0.62f);
  EXPECT_EQ(params().power, 1.0f);
  EXPECT_EQ(control(idBalance).position, 50);
  EXPECT_EQ(control(idBackgroundIntensityEdit).text, "62");
  EXPECT_EQ(params().outputMap, 1);
  EXPECT_EQ(params().displayMap, 1);
  EXPECT_EQ(control(idCancel).text, "Reset");
  alt(released);
  EXPECT_EQ(control(idCancel).text, "Cancel");
  EXPECT_EQ(params().displayMap, 0); // though it had been ticked by hand
  EXPECT_FALSE(control(idDisplay).checked);
  EXPECT_EQ(refreshes(), 1);
  EXPECT_EQ(click(idCancel), 1);
  EXPECT_EQ(shown->result, 2);
}

TEST_F(MainDialog, TheHookLeavesOtherKeysAlone) {
  open();
  for (uintptr_t key : {VK_CONTROL, VK_OTHER, VK_RETURN})
    EXPECT_EQ(DialogKeyboardHook(0, key, pressed), 0);
  EXPECT_EQ(DialogKeyboardHook(3, VK_MENU, pressed), 0);
  EXPECT_EQ(DialogKeyboardHook(-1, VK_MENU, pressed), 0);
  EXPECT_EQ(control(idCancel).text, "Cancel");
  EXPECT_EQ(refreshes(), 0);
}

TEST_F(MainDialog, AnyActivationChangeEndsResetMode) {
  open();
  for (uintptr_t active : {1, 0}) {
    alt(pressed);
    SendMessage(shown->window, WM_ACTIVATE, active, 0);
    EXPECT_EQ(control(idCancel).text, "Cancel");
    EXPECT_EQ(params().displayMap, 1); // stays, and so does the tick
    EXPECT_TRUE(control(idDisplay).checked);
  }
  EXPECT_EQ(click(idCancel), 1);
}

TEST_F(MainDialog, HelpAndLinkOpenTheirPages) {
  open();
  click(idHelp, EN_CHANGE); // at any code
  NotifyHeader header = {shown->item(idHomePage), idHomePage, NM_CLICK};
  for (uint32_t code : {uint32_t(NM_CLICK), uint32_t(NM_RETURN), uint32_t(BN_CLICKED)}) {
    header.code = code;
    SendMessage(shown->window, WM_NOTIFY, idHomePage, reinterpret_cast<intptr_t>(&header));
  }
  header = {shown->item(idHelp), idHelp, NM_CLICK};
  SendMessage(shown->window, WM_NOTIFY, idHelp, reinterpret_cast<intptr_t>(&header));
  EXPECT_EQ(StandInDesktop::state.opened.size(), 3u);
}

TEST_F(MainDialog, AnErrorFreezesThePreviewAndLeavesTheControls) {
  open();
  SendMessage(shown->window, WM_PAINT, 0, 0);
  EXPECT_EQ(host.drawn.size(), 1u);
  host.result = memFullErr;
  scroll(idForegroundIntensity, 90);
  SendMessage(shown->window, WM_PAINT, 0, 0);
  EXPECT_EQ(params().foregroundIntensity, 0.9f);
  EXPECT_EQ(refreshes(), 0);
  EXPECT_EQ(host.drawn.size(), 1u);
  EXPECT_EQ(click(idOk), 1);
}

TEST_F(MainDialog, OkKeepsTheProxyAndCancelDoesNot) {
  int ok = 0;
  for (const int id : {idOk, idCancel}) {
    StandInDesktop::state.script = [&](StandInDialog& dialog) {
      SendMessage(dialog.window, WM_COMMAND, uintptr_t(id), 0);
      host.result = readErr; // as a failed preview leaves it
    };
    EXPECT_EQ(DoUI(), id == idOk);
    EXPECT_EQ(host.result, 0);
    EXPECT_EQ(gData->proxyBuffer != nullptr, id == idOk);
    EXPECT_EQ(offscreenContext, nullptr);
    ok += id == idOk;
    DeleteProxyBuffer();
    EXPECT_THAT(host.blocks, IsEmpty());
  }
  EXPECT_EQ(ok, 1);
}

TEST_F(MainDialog, ADialogThatCannotBeShownIsNotOk) {
  host.result = memFullErr;
  EXPECT_FALSE(DoUI());
  EXPECT_EQ(host.result, 0);
  EXPECT_FALSE(CallKeyboardHooks(VK_MENU, pressed)); // no hook stays behind
  host.record.platformData = nullptr;
  EXPECT_FALSE(DoUI());
}

TEST_F(MainDialog, SpeaksFrench) {
  setenv("LC_ALL", "fr_CA.UTF-8", 1);
  open();
  alt(pressed);
  EXPECT_EQ(control(idCancel).text, "Réinitialiser");
  alt(released);
  EXPECT_EQ(control(idCancel).text, "Annuler");
  EXPECT_THAT(shown->caption, EndsWith(" 1.0.2"));
}

TEST(Placement, AThirdOfTheRoomIsAboveAndTheCaptionShiftsSideways) {
  struct Case {
    WindowRect screen;
    uint32_t style;
    int32_t x, y;
  };
  constexpr DialogTemplate table = {"", 400, 300, 8, 0, nullptr, 0};
  StandInDesktop desktop;
  for (const Case& c : {Case{{0, 0, 1600, 900}, 0, 600 - 14, 200},
                        Case{{0, 0, 1600, 900}, WS_SYSMENU, 600 - 20, 200},
                        Case{{0, 0, 401, 301}, 0, -14, 0}, Case{{0, 0, 300, 200}, 0, 0, 0}}) {
    StandInDesktop::state.screen = c.screen;
    DialogTemplate styled = table;
    styled.style = c.style;
    StandInDialog dialog(styled, nullptr);
    CentreDialog(dialog.window);
    EXPECT_EQ(dialog.rect.left, c.x);
    EXPECT_EQ(dialog.rect.top, c.y);
    EXPECT_EQ(dialog.rect.width(), 400);
  }
}

TEST(Placement, OverAnOwnerItStaysOnTheScreen) {
  constexpr DialogTemplate table = {"", 400, 300, 8, 0, nullptr, 0};
  StandInDesktop desktop;
  for (const auto& [owner, x, y] :
       {std::tuple{WindowRect{100, 50, 300, 250}, 86, 50},       // smaller than the dialog
        std::tuple{WindowRect{1300, 700, 1600, 900}, 1200, 600}, // would run off the screen
        std::tuple{WindowRect{200, 100, 1000, 700}, 200 + 200 - 14, 100 + 100}}) {
    StandInDialog parent(table, nullptr), dialog(table, nullptr);
    parent.rect = owner;
    dialog.window->parent = parent.window;
    CentreDialog(dialog.window);
    dialog.window->parent = nullptr;
    EXPECT_EQ(dialog.rect.left, x);
    EXPECT_EQ(dialog.rect.top, y);
  }
}

TEST(AboutBox, ClosesByItsButtonAndOpensTheHomePage) {
  StandInDesktop desktop;
  PlatformData platform = {};
  AboutRecord record = {&platform, nullptr};
  gFilterRecord = reinterpret_cast<FilterRecord*>(&record);
  intptr_t result = 0;
  StandInDesktop::state.script = [&](StandInDialog& dialog) {
    EXPECT_EQ(dialog.caption, "Velso Fogdissolver 1.0.2");
    NotifyHeader header = {dialog.item(idAboutHomePage), idAboutHomePage, NM_RETURN};
    SendMessage(dialog.window, WM_NOTIFY, 0, reinterpret_cast<intptr_t>(&header));
    SendMessage(dialog.window, WM_COMMAND, idAboutOk | 1 << 16, 0);
    SendMessage(dialog.window, WM_COMMAND, idOk, 0);
    SendMessage(dialog.window, WM_COMMAND, idCancel, 0);
    EXPECT_FALSE(dialog.ended);
    EXPECT_EQ(SendMessage(dialog.window, WM_COMMAND, idAboutOk, 0), 1);
    result = dialog.result;
  };
  DoAbout();
  gFilterRecord = nullptr;
  EXPECT_EQ(result, idAboutOk);
  EXPECT_EQ(StandInDesktop::state.opened.size(), 1u);
}

} // namespace
