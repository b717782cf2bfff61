// The dialogs by real keys and clicks on real widgets, over the real host library: what they store,
// show, repaint and open.
#include <QAccessible>
#include <QClipboard>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QWheelEvent>

#include <cmath>
#include <thread>

#include "frame/contract/Sliders.h"
#include "frame/selectors/Selectors.h"
#include "frame/text/Strings.h"
#include "tests/support/HostFixture.h"
#include "tests/support/PlugInHost.h"
#include "tests/ui/ShownDialog.h"
#include "ui/dialog/AboutBox.h"
#include "ui/dialog/CentreDialog.h"
#include "ui/dialog/DialogTables.h"
#include "ui/dialog/FogdissolverEdit.h"
#include "ui/dialog/MainDialog.h"
#include "ui/preview/Proxy.h"
#include "ui/toolkit/qt/QtControl.h"
#include "ui/toolkit/qt/QtServices.h"

namespace {

using fixture::settle;
using testing::ElementsAre;
using testing::EndsWith;

// What the dialog's window has seen.
struct Seen {
  int refreshed = 0;        // the preview was invalidated
  int notified = 0;         // an edit box told a new value
  int painted = 0;          // the procedure was asked to draw
  WindowRect refreshedRect; // the newest
};
Seen seen;
std::vector<std::string> opened; // addresses
int beeps;

intptr_t spy(Window window, uint32_t message, uintptr_t word, intptr_t value, uintptr_t,
             uintptr_t) {
  if (message == TKM_INVALIDATE) {
    ++seen.refreshed;
    seen.refreshedRect = *reinterpret_cast<const WindowRect*>(value);
  }
  seen.notified += message == WM_COMMAND && HighWord(word) == EDIT_VALUE_CHANGED;
  seen.painted += message == WM_PAINT;
  return DefSubclassProc(window, message, word, value);
}

Window windowOf(const QWidget* widget) {
  for (QObject* child : widget->children())
    if (auto* control = dynamic_cast<QtControl*>(child))
      return control->window();
  return nullptr;
}

// A dialog whose controls are found by their ids.
struct Open : fixture::Shown {
  Window record;

  explicit Open(const Shown& shown) : Shown(shown) {
    record = GetParent(windowOf(shown.dialog->findChild<QAbstractButton*>()));
    seen = {};
    SetWindowSubclass(record, spy, 0, 0);
  }
  QWidget* at(int id) const {
    return static_cast<QtControl*>(GetDlgItem(record, id)->peer)->widget();
  }
  std::string text(int id) const { return at(id)->property("text").toString().toStdString(); }
  int position(int id) const { return at(id)->property("value").toInt(); }
  bool ticked(int id) const { return at(id)->property("checked").toBool(); }
  void focus(int id) const { at(id)->setFocus(Qt::TabFocusReason); } // selects the text
  void click(int id, Qt::KeyboardModifiers held = {}, QPoint where = {}) const {
    Shown::click(at(id), held, where);
  }
  void wheel(int id, int turn) const {
    const QPointF at = this->at(id)->rect().center();
    QWheelEvent event(at, this->at(id)->mapToGlobal(at), {}, QPoint(0, turn), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(this->at(id), &event);
  }
  void enter(int id, const char* number) const {
    focus(id);
    qobject_cast<QLineEdit*>(at(id))->selectAll();
    type(number);
    key(Qt::Key_Return);
    settle();
  }
  // Refreshes and notifications since the last call.
  static std::pair<int, int> changes() {
    settle();
    const Seen last = std::exchange(seen, {});
    return {last.refreshed, last.notified};
  }
};

// A desktop whose beeps and opened pages are noted.
struct Desktop : testing::Test {
  Desktop() {
    setenv("LC_ALL", "C.UTF-8", 1);
    unsetenv("LANGUAGE");
    opened.clear();
    beeps = 0;
    services.openAddress = [](const std::string& address) { opened.push_back(address); };
    services.beep = [] { ++beeps; };
    gServices = &services;
  }
  ~Desktop() override { gServices = &desktopServices; }

  ToolkitServices services = desktopServices;
};

struct Dialog : Desktop {
  Dialog() {
    gParams->foregroundIntensity = 0.5f;
    gParams->backgroundIntensity = 0.9f;
  }
  ~Dialog() override { DeleteProxyBuffer(); }

  static bool run(const std::function<void(const Open&)>& script) {
    bool ok = false;
    fixture::whileShown([&](const fixture::Shown& shown) { script(Open(shown)); },
                        [&] { ok = DoUI(); });
    return ok;
  }
  // Runs the script and leaves by Cancel.
  static void look(const std::function<void(const Open&)>& script) {
    EXPECT_FALSE(run([&](const Open& d) {
      script(d);
      d.click(idCancel);
    }));
  }
  void about(const std::function<void(const Open&)>& script) {
    AboutRecord record = {&plugIn.host.platformData, nullptr};
    FilterRecord* const kept =
        std::exchange(gFilterRecord, reinterpret_cast<FilterRecord*>(&record));
    fixture::whileShown([&](const fixture::Shown& shown) { script(Open(shown)); }, DoAbout);
    gFilterRecord = kept;
  }

  host::Document document = fixture::hazyScene(90, 60, 8);
  fixture::PlugInHost plugIn{document};
};

TEST_F(Dialog, OpensOnTheSoftenedSettings) {
  gParams->outputMap = 1;
  gParams->power = PowerOfPosition(62) * 1.001f;
  look([](const Open& d) {
    EXPECT_EQ(gParams->foregroundIntensity, 0.35f);
    EXPECT_EQ(gParams->backgroundIntensity, 0.9f * 0.7f);
    std::vector<int> positions, texts;
    for (int id : {idForegroundPosition, idForegroundIntensity, idBackgroundPosition,
                   idBackgroundIntensity, idBalance})
      positions.push_back(d.position(id));
    for (int id : {idForegroundPositionEdit, idForegroundIntensityEdit, idBackgroundPositionEdit,
                   idBackgroundIntensityEdit})
      texts.push_back(std::stoi(d.text(id)));
    // 0.35 and 0.63 are held below themselves and truncated.
    EXPECT_THAT(positions, ElementsAre(0, 34, 100, 62, 62));
    EXPECT_THAT(texts, ElementsAre(0, 34, 100, 62));
    EXPECT_TRUE(d.ticked(idPreview) && d.ticked(idExport) && !d.ticked(idDisplay));
    EXPECT_FALSE(d.at(idFrame)->isVisible());
    EXPECT_EQ(d.dialog->focusWidget(), d.at(idForegroundPositionEdit));
    EXPECT_THAT(d.dialog->windowTitle().toStdString(), testing::StartsWith("Velso Fogdissolver 1"));
  });
}

// Both estimates or none: the foreground's intensity alone decides.
TEST_F(Dialog, EstimatesAreTakenIfTheForegroundIsUnset) {
  gParams->foregroundIntensity = intensityUnset;
  look([](const Open& d) {
    EXPECT_GT(gParams->foregroundIntensity, 0.0f);
    EXPECT_LE(gParams->backgroundIntensity, 0.7f);
    EXPECT_NE(gParams->backgroundIntensity, 0.9f * 0.7f);
    EXPECT_EQ(d.position(idForegroundIntensity), PositionOfValue(gParams->foregroundIntensity));
  });
}

TEST_F(Dialog, WithoutAnEstimateTheSlidersStandAtTheirEnd) {
  gParams->backgroundIntensity = intensityUnset;
  gParams->preview = 0;
  look([](const Open& d) {
    EXPECT_EQ(gParams->foregroundIntensity, 0.35f);
    EXPECT_EQ(gParams->backgroundIntensity, -0.7f);
    EXPECT_EQ(d.position(idBackgroundIntensity), 0);
    EXPECT_EQ(d.text(idBackgroundIntensityEdit), "0");
    EXPECT_FALSE(d.ticked(idPreview));
    d.press(Qt::Key_Alt);
    d.click(idCancel, Qt::AltModifier); // Reset goes back to the position that was computed
    EXPECT_EQ(gParams->backgroundIntensity, -0.69f);
    d.keyEvent(QEvent::KeyRelease, Qt::Key_Alt);
  });
}

// No event waits for another: the box's message must be handled before the click that ends it all.
TEST_F(Dialog, ANumberTypedJustBeforeOkCounts) {
  const std::function<void(const Open&)> ways[] = {
      [](const Open& d) { d.click(idOk); },
      [](const Open& d) {
        d.key(Qt::Key_Return);
        d.click(idOk);
      },
      [](const Open& d) {
        d.key(Qt::Key_Tab);
        d.key(Qt::Key_Return);
      },
      [](const Open& d) {
        d.click(idForegroundIntensity);
        d.key(Qt::Key_Enter);
      },
  };
  for (const auto& way : ways) {
    gParams->foregroundPosition = 0.0f;
    EXPECT_TRUE(run([&](const Open& d) {
      d.type("40");
      way(d);
    }));
    EXPECT_EQ(gParams->foregroundPosition, 0.4f);
  }
}

TEST_F(Dialog, TypedTextIsFilteredAndParsed) {
  look([](const Open& d) {
    auto* box = qobject_cast<QLineEdit*>(d.at(idForegroundIntensityEdit));
    struct Case {
      const char* text;
      int start, length; // selection
      std::vector<int> keys;
      const char* shown;
      float value;
    };
    constexpr int del = Qt::Key_Delete, back = Qt::Key_Backspace;
    for (const Case& c : {
             Case{"12", 0, 2, {'5'}, "5", 0.05f},   // over a selection
             Case{"12", 1, 0, {'5'}, "152", 1.52f}, // in the middle, beyond the range
             Case{"10", 2, 0, {'A', '-', '.', ' ', '3'}, "103", 1.03f},
             Case{"45", 2, 0, {back}, "4", 0.04f},
             Case{"45", 0, 0, {back}, "45", 0.05f}, // the box loses nothing, the value does
             Case{"45", 0, 2, {back}, "", 0.0f},
             Case{"123", 1, 0, {del}, "13", 0.13f},
             Case{"123", 0, 2, {del}, "3", 0.03f},
             Case{"123", 3, 0, {del}, "123", 1.23f},
         }) {
      d.focus(idForegroundIntensityEdit);
      box->setText(c.text);
      box->setCursorPosition(c.start);
      if (c.length)
        box->setSelection(c.start, c.length);
      Open::changes();
      beeps = 0;
      for (int key : c.keys)
        d.key(key);
      EXPECT_EQ(box->text().toStdString(), c.shown);
      EXPECT_EQ(beeps, int(c.keys.size()) - 1);
      EXPECT_EQ(Open::changes(), std::pair(0, 0)); // nobody hears of it yet
      d.key(Qt::Key_Return);
      EXPECT_EQ(Open::changes(), std::pair(1, 1));
      EXPECT_EQ(gParams->foregroundIntensity, c.value) << c.shown;
      d.focus(idBackgroundIntensityEdit); // leaving clamps and tells once more
      EXPECT_EQ(Open::changes(), std::pair(1, 1));
      const float clamped = std::min(c.value, 1.0f);
      EXPECT_EQ(gParams->foregroundIntensity, clamped);
      EXPECT_EQ(box->text().toInt(), std::lround(clamped * 100));
      EXPECT_EQ(d.position(idForegroundIntensity), std::lround(clamped * 100));
    }
    d.enter(idForegroundIntensityEdit, "99999999999999999999");
    d.focus(idBackgroundIntensityEdit);
    settle();
    EXPECT_THAT(d.text(idForegroundIntensityEdit), testing::AnyOf("0", "100"));
  });
}

TEST_F(Dialog, PastedNumbersShowButAreNotTakenOver) {
  look([](const Open& d) {
    auto* box = qobject_cast<QLineEdit*>(d.at(idForegroundIntensityEdit));
    const auto shown = [&](int key, Qt::KeyboardModifiers held) {
      box->selectAll();
      d.key(key, held);
      return box->text().toStdString();
    };
    d.focus(idForegroundIntensityEdit);
    std::string before = "34";
    for (const auto& [clipboard, taken] : {std::pair("80", true),
                                           {"150", false},
                                           {"-1", false},
                                           {"7abc", true},
                                           {"-0.5", true},
                                           {"100.9", true},
                                           {"101", false},
                                           {"word", true},
                                           {"nan", false},
                                           {"1e9999", false}}) {
      QApplication::clipboard()->setText(clipboard);
      EXPECT_EQ(shown(Qt::Key_V, Qt::ControlModifier), taken ? clipboard : before);
      before = box->text().toStdString();
    }
    box->setText("1234");
    box->setSelection(1, 2);
    QApplication::clipboard()->setText("0");
    d.key(Qt::Key_V, Qt::ControlModifier); // 104: out of range
    EXPECT_EQ(box->text(), "1234");
    EXPECT_EQ(shown(Qt::Key_X, Qt::ControlModifier), "");
    EXPECT_EQ(QApplication::clipboard()->text(), "1234");
    QApplication::clipboard()->setText("61");
    EXPECT_EQ(shown(Qt::Key_Insert, Qt::ShiftModifier), "61");
    shown(Qt::Key_C, Qt::ControlModifier);
    Open::changes();
    d.key(Qt::Key_Tab);
    EXPECT_EQ(Open::changes(), std::pair(1, 1));
    EXPECT_EQ(box->text(), "34");
    EXPECT_EQ(gParams->foregroundIntensity, 0.34f);
    EXPECT_EQ(beeps, 0);
  });
}

TEST_F(Dialog, ArrowsAndWheelStepTheBoxes) {
  look([](const Open& d) {
    constexpr int box = idBackgroundIntensityEdit;
    d.enter(box, "99");
    Open::changes();
    d.key(Qt::Key_Up); // tells at the step and at the release
    EXPECT_EQ(Open::changes(), std::pair(2, 2));
    d.press(Qt::Key_Up); // stays, and still tells
    EXPECT_EQ(Open::changes(), std::pair(1, 1));
    EXPECT_EQ(d.text(box), "100");
    d.key(Qt::Key_Down);
    d.key(Qt::Key_Down);
    EXPECT_EQ(d.text(box), "98");
    d.wheel(box, -120);
    d.wheel(box, -60); // half a notch waits for the other half
    EXPECT_EQ(d.text(box), "97");
    d.wheel(box, -60);
    EXPECT_EQ(d.text(box), "96");
    d.wheel(box, 240);
    EXPECT_EQ(Open::changes(), std::pair(8, 8));
    EXPECT_EQ(gParams->backgroundIntensity, 0.98f);
    EXPECT_EQ(d.position(idBackgroundIntensity), 98);
    for (const char* huge : {"2147483647", "2147483648"}) { // wraps or is cut, never overflows
      d.enter(box, huge);
      d.key(Qt::Key_Up);
      EXPECT_THAT(d.text(box), testing::AnyOf("0", "100", "1"));
    }
  });
}

TEST_F(Dialog, KeysAndWheelOfTheSliders) {
  look([](const Open& d) {
    constexpr int id = idBackgroundPosition, box = idBackgroundPositionEdit;
    d.focus(id);
    const std::pair<int, int> steps[] = {
        {Qt::Key_Down, 99}, {Qt::Key_PageUp, 79}, {Qt::Key_Up, 80},       {Qt::Key_Right, 81},
        {Qt::Key_Left, 80}, {Qt::Key_Home, 0},    {Qt::Key_PageDown, 20}, {Qt::Key_End, 100},
    };
    for (const auto& [key, position] : steps) { // up is more
      Open::changes();
      d.key(key); // the press counts; the release, every second message, does not
      EXPECT_EQ(Open::changes().first, 1);
      EXPECT_EQ(d.position(id), position);
      EXPECT_EQ(gParams->backgroundPosition, ValueOfPosition(position));
      EXPECT_EQ(d.text(box), std::to_string(position));
    }
    d.wheel(id, -120);
    EXPECT_EQ(d.position(id), 99);
    EXPECT_EQ(d.text(box), "99");
    d.wheel(id, 120);
    d.press(Qt::Key_Down);
    d.press(Qt::Key_Down); // dropped
    EXPECT_EQ(d.position(id), 98);
    EXPECT_EQ(gParams->backgroundPosition, 0.99f);
    // The toggle is shared, and the balance does not go through it.
    d.focus(idBalance);
    d.key(Qt::Key_Home);
    EXPECT_EQ(gParams->power, float(std::exp(-2.0)));
    d.focus(idForegroundIntensity);
    d.press(Qt::Key_Home);
    EXPECT_EQ(gParams->foregroundIntensity, 0.0f);
    d.keyEvent(QEvent::KeyRelease, Qt::Key_Home);
    d.press(Qt::Key_A); // nothing to a slider
    EXPECT_EQ(d.position(idForegroundIntensity), 0);
  });
}

TEST_F(Dialog, TheMouseOnTheSliders) {
  look([](const Open& d) {
    constexpr int id = idForegroundIntensity, box = idForegroundIntensityEdit;
    d.focus(id);
    d.key(Qt::Key_Home);
    const QRect bar = d.at(id)->rect();
    for (const char* text : {"20", "40", "60"}) { // each click counts
      d.click(id, {}, {bar.right() - 2, bar.center().y()});
      EXPECT_EQ(d.text(box), text);
    }
    for (const int steps : {1, 2, 3, 7}) { // so does the end of a drag, whatever came before
      const int thumb = 8 + d.position(id) * (bar.width() - 16) / 100;
      const QPoint from = d.at(id)->mapTo(d.dialog, QPoint(thumb, bar.center().y()));
      const int before = d.position(id);
      d.mouse(QEvent::MouseButtonPress, from);
      for (int i = 1; i <= steps; ++i)
        d.mouse(QEvent::MouseMove, from - QPoint(20 * i / steps, 0));
      d.mouse(QEvent::MouseButtonRelease, from - QPoint(20, 0));
      EXPECT_LT(d.position(id), before);
      EXPECT_EQ(d.text(box), std::to_string(d.position(id))) << steps;
    }
    const QPoint left = d.at(idForegroundPosition)->geometry().topLeft();
    EXPECT_EQ(seen.refreshedRect.left, d.at(idFrame)->x());
    EXPECT_EQ(seen.refreshedRect.top, d.at(idFrame)->y());
    EXPECT_LT(seen.refreshedRect.right, left.x());
    EXPECT_GT(seen.refreshedRect.width() * 10, d.at(idFrame)->width() * 9);
    settle();
    EXPECT_GT(seen.painted, 0);
  });
}

// The one that is pushed along writes neither its setting nor the preview until it is touched.
TEST_F(Dialog, PositionsPushEachOther) {
  look([](const Open& d) {
    constexpr int fore = idForegroundPosition, back = idBackgroundPosition;
    constexpr int foreBox = idForegroundPositionEdit, backBox = idBackgroundPositionEdit;
    d.enter(backBox, "40");
    d.enter(foreBox, "40"); // as far as it goes
    EXPECT_EQ(d.text(backBox), "40");
    Open::changes();
    d.enter(foreBox, "60");
    EXPECT_EQ(Open::changes(), std::pair(0, 1));
    EXPECT_EQ(gParams->foregroundPosition, 0.6f);
    EXPECT_EQ(gParams->backgroundPosition, 0.4f);
    EXPECT_EQ(d.position(back), 60);
    EXPECT_EQ(d.text(backBox), "60");
    d.enter(backBox, "25");
    EXPECT_EQ(gParams->backgroundPosition, 0.25f);
    EXPECT_EQ(gParams->foregroundPosition, 0.6f);
    EXPECT_EQ(d.position(fore), 25);
    EXPECT_EQ(d.text(foreBox), "25");

    d.focus(fore);
    Open::changes();
    d.key(Qt::Key_End);
    EXPECT_EQ(Open::changes().first, 0);
    EXPECT_EQ(gParams->foregroundPosition, 1.0f);
    EXPECT_EQ(gParams->backgroundPosition, 0.25f);
    EXPECT_EQ(d.position(back), 100);
    EXPECT_EQ(d.text(backBox), "100");
    d.focus(back);
    d.key(Qt::Key_Home);
    EXPECT_EQ(Open::changes().first, 0);
    EXPECT_EQ(gParams->foregroundPosition, 1.0f);
    EXPECT_EQ(gParams->backgroundPosition, 0.0f);
    EXPECT_EQ(d.position(fore), 0);
    EXPECT_EQ(d.text(foreBox), "0");
  });
}

TEST_F(Dialog, CheckBoxes) {
  look([](const Open& d) {
    const QImage corrected = d.picture();
    d.focus(idBalance);
    Open::changes();
    d.click(idExport);
    EXPECT_EQ(gParams->outputMap, 1);
    EXPECT_EQ(Open::changes().first, 0); // the preview does not show it
    d.key(Qt::Key_D, Qt::AltModifier);
    EXPECT_EQ(gParams->displayMap, 1);
    EXPECT_EQ(Open::changes().first, 1);
    const QImage mask = d.picture();
    d.click(idPreview);
    EXPECT_EQ(gParams->preview, 0);
    EXPECT_EQ(Open::changes().first, 1);
    const QImage untouched = d.picture();
    EXPECT_TRUE(mask != corrected && mask != untouched && corrected != untouched);
    for (int id : {idExport, idDisplay, idPreview})
      d.click(id);
    EXPECT_TRUE(gParams->outputMap == 0 && gParams->displayMap == 0 && gParams->preview == 1);
    EXPECT_EQ(d.picture().copy(d.at(idFrame)->geometry()),
              corrected.copy(d.at(idFrame)->geometry()));
  });
}

// A key event with the codes of the X11 keyboard.
void native(const Open& d, QEvent::Type type, int key, quint32 keysym, quint32 scanCode,
            bool repeats = false) {
  QKeyEvent event(type, key, {}, scanCode, keysym, 0, QString(), repeats);
  QCoreApplication::sendEvent(d.window(), &event);
}

// Whatever comes between, the mask and Reset are there while Alt is held and gone afterwards.
TEST_F(Dialog, AltIsSeenWhateverItsReleaseLooksLike) {
  constexpr auto down = QEvent::KeyPress, up = QEvent::KeyRelease;
  constexpr int alt = Qt::Key_Alt, meta = Qt::Key_Meta, shift = Qt::Key_Shift;
  constexpr quint32 altSym = 0xffe9, metaSym = 0xffe7, superSym = 0xffeb, place = 64;
  const auto plain = [](const Open& d) { native(d, down, alt, altSym, place); };
  const std::pair<std::function<void(const Open&)>, std::function<void(const Open&)>> cases[] = {
      {plain, [](const Open& d) { native(d, up, alt, altSym, place); }},
      {plain, // then Shift: the release is called Meta
       [](const Open& d) {
         d.press(shift, Qt::AltModifier);
         native(d, up, meta, metaSym, 0);
       }},
      {plain, [](const Open& d) { native(d, up, Qt::Key_unknown, 0, place); }}, // another layout
      {[](const Open& d) { // Shift first: the press is called Meta
         d.press(shift);
         native(d, down, meta, metaSym, place);
       },
       [](const Open& d) { native(d, up, alt, altSym, place); }},
      {plain, // switched away: the release goes to the other window
       [](const Open& d) {
         QEvent away(QEvent::WindowDeactivate);
         QCoreApplication::sendEvent(d.dialog, &away);
       }},
      {plain, [](const Open& d) { d.click(idForegroundPosition); }}, // the click says: not held
      {plain, [](const Open& d) { d.key(Qt::Key_Control); }},
      {plain, // a mnemonic and a quick release: no click may follow later
       [](const Open& d) {
         d.key(Qt::Key_D, Qt::AltModifier);
         EXPECT_FALSE(d.ticked(idDisplay)); // at once
         native(d, up, alt, altSym, place);
         QTest::qWait(150);
       }},
  };
  look([&](const Open& d) {
    for (const auto& [press, release] : cases) {
      d.click(idDisplay); // ticked by hand: off afterwards all the same
      Open::changes();
      press(d);
      EXPECT_EQ(d.text(idCancel), "Reset");
      EXPECT_TRUE(d.ticked(idDisplay) && gParams->displayMap == 1);
      for (int again = 0; again < 3; ++again) {
        native(d, down, alt, altSym, place, true);
        native(d, up, alt, altSym, place, true);
      }
      EXPECT_EQ(Open::changes().first, 1); // a held key does nothing more
      release(d);
      EXPECT_EQ(d.text(idCancel), "Cancel") << &press - &cases[0].first;
      EXPECT_FALSE(d.ticked(idDisplay) || gParams->displayMap);
      d.keyEvent(up, shift);
      if (d.ticked(idDisplay))
        d.click(idDisplay);
    }
    native(d, down, meta, superSym, 133); // the key with the window on it
    EXPECT_EQ(d.text(idCancel), "Cancel");
    EXPECT_EQ(SendMessage(d.record, WM_SYSCOMMAND, SC_KEYMENU, 0), 1);
    EXPECT_EQ(SendMessage(d.record, WM_SYSCOMMAND, 1, 0), 0);
  });
}

TEST_F(Dialog, ResetGoesBackToTheOpening) {
  look([](const Open& d) {
    for (int id : {idForegroundPositionEdit, idForegroundIntensityEdit, idBackgroundPositionEdit,
                   idBackgroundIntensityEdit})
      d.enter(id, "50");
    d.focus(idBalance);
    d.key(Qt::Key_End);
    d.click(idExport);
    d.press(Qt::Key_Alt);
    Open::changes();
    d.press(Qt::Key_7, Qt::AltModifier); // types nothing
    d.click(idCancel, Qt::AltModifier);
    EXPECT_EQ(Open::changes(), std::pair(1, 0));
    const Parameters& p = *gParams;
    EXPECT_THAT((std::vector{p.foregroundPosition, p.foregroundIntensity, p.backgroundPosition,
                             p.backgroundIntensity, p.power}),
                ElementsAre(0.0f, 0.34f, 1.0f, 0.62f, 1.0f)); // whole hundredths now
    EXPECT_TRUE(p.outputMap == 1 && p.displayMap == 1);
    d.keyEvent(QEvent::KeyRelease, Qt::Key_Alt);
    const std::pair<int, int> pairs[] = {{idForegroundPosition, idForegroundPositionEdit},
                                         {idForegroundIntensity, idForegroundIntensityEdit},
                                         {idBackgroundPosition, idBackgroundPositionEdit},
                                         {idBackgroundIntensity, idBackgroundIntensityEdit}};
    std::vector<int> numbers;
    for (const auto& [slider, box] : pairs) {
      numbers.push_back(d.position(slider));
      d.focus(box);
      d.key(Qt::Key_Up); // from the box's own value
      numbers.push_back(std::stoi(d.text(box)));
    }
    EXPECT_THAT(numbers, ElementsAre(0, 1, 34, 35, 100, 100, 62, 63));
    EXPECT_EQ(d.position(idBalance), 50);
  });
}

TEST_F(Dialog, HelpAndLinkOpenTheirPages) {
  for (const char* language : {"C.UTF-8", "fr_CA.UTF-8"}) {
    setenv("LC_ALL", language, 1);
    opened.clear();
    look([](const Open& d) {
      d.click(idHelp);
      d.click(idHomePage);
      d.focus(idBalance);
      d.key(Qt::Key_Tab); // the link's one stop
      EXPECT_EQ(d.dialog->focusWidget(), d.at(idHomePage));
      const QImage focused = d.picture();
      d.key(Qt::Key_Return);
      EXPECT_TRUE(d.dialog->isVisible());
      d.key(Qt::Key_Tab);
      EXPECT_EQ(d.dialog->focusWidget(), d.at(idExport));
      EXPECT_NE(d.picture().copy(d.at(idHomePage)->geometry()),
                focused.copy(d.at(idHomePage)->geometry()));
      d.focus(idHelp);
      d.key(Qt::Key_Return);
      SendMessage(d.record, WM_COMMAND, MakeWords(idHelp, 77), 0); // at any code
    });
    about([](const Open& d) {
      EXPECT_EQ(d.dialog->focusWidget(), d.at(idAboutOk));
      d.focus(idAboutHomePage);
      d.key(Qt::Key_Return);
      d.click(idAboutHomePage);
      EXPECT_TRUE(d.dialog->isVisible());
      EXPECT_TRUE(d.dialog->windowTitle().startsWith("Velso Fogdissolver 1"));
      d.click(idAboutOk);
    });
    const bool french = *language == 'f';
    const auto help = EndsWith(french ? "/fr/help.html" : "fogdissolver/help.html");
    const auto home = EndsWith(french ? "/fr/index.html" : "fogdissolver/index.html");
    EXPECT_THAT(opened, ElementsAre(help, home, home, help, help, home, home));
  }
}

TEST_F(Dialog, TheAboutBoxCloses) {
  const std::function<void(const Open&)> ways[] = {
      [](const Open& d) { d.key(Qt::Key_Return); }, // the default button
      [](const Open& d) { d.key(Qt::Key_Escape); },
      [](const Open& d) { d.dialog->close(); },
  };
  for (const auto& way : ways)
    about(way);
}

TEST_F(Dialog, AnErrorFreezesThePreviewAndLeavesTheControls) {
  EXPECT_TRUE(run([&](const Open& d) {
    const QImage before = d.picture();
    plugIn.result = memFullErr;
    d.enter(idForegroundIntensityEdit, "90");
    EXPECT_EQ(Open::changes(), std::pair(0, 2)); // of the box left and the one confirmed
    EXPECT_EQ(d.position(idForegroundIntensity), 90);
    EXPECT_EQ(d.picture().copy(d.at(idFrame)->geometry()),
              before.copy(d.at(idFrame)->geometry())); // the last picture stays
    d.click(idOk);
  }));
  EXPECT_EQ(gParams->foregroundIntensity, 0.9f);
  EXPECT_EQ(plugIn.result, 0);
}

TEST_F(Dialog, EveryWayOutButOkIsACancel) {
  const std::function<void(const Open&)> ways[] = {
      [](const Open& d) { d.click(idOk); },
      [](const Open& d) { d.click(idCancel); },
      [](const Open& d) { d.key(Qt::Key_Escape); },
      [](const Open& d) { d.dialog->close(); },
      [](const Open& d) { // closed while Cancel reads Reset
        d.press(Qt::Key_Alt);
        d.dialog->close();
      },
      [](const Open&) { QCoreApplication::exit(); },
  };
  for (const auto& way : ways) {
    const bool ok = &way == ways;
    EXPECT_EQ(run(way), ok);
    EXPECT_EQ(gData->proxyBuffer != nullptr, ok); // the filter takes its size from it
    EXPECT_EQ(plugIn.host.buffers.counts().live, ok ? 2 : 0);
    EXPECT_EQ(offscreenContext, nullptr);
    EXPECT_FALSE(CallKeyboardHooks(VK_MENU, 0));
    DeleteProxyBuffer();
    QTimer::singleShot(0, [] { QCoreApplication::exit(); });
    QCoreApplication::exec(); // makes the application forget that it was to end
  }
  EXPECT_EQ(plugIn.host.buffers.counts().refusedReleases, 0);
}

TEST_F(Dialog, ADialogThatCannotBeShownIsNotOk) {
  gServices = &noServices;
  plugIn.result = memFullErr;
  EXPECT_FALSE(DoUI());
  EXPECT_EQ(plugIn.result, 0);
  EXPECT_EQ(DialogKeyboardHook(-1, VK_MENU, 0), 0);
  gServices = &services;
  bool other = true;
  std::thread([&] { other = DoUI(); }).join(); // not the application's thread
  EXPECT_FALSE(other);
}

TEST_F(Dialog, SpeaksEnglishAndFrench) {
  struct Case {
    const char *language, *texts, *names, *reset;
  };
  for (const Case& c :
       {Case{"C.UTF-8",
             "OK|Positioning|Foreground|Background|Correction intensity|Foreground|Background|"
             "Balance|Foreground|Background|Velso home|Haze mask|&Export|&Display|&Preview|Help|"
             "Cancel|",
             "OK|Positioning, Foreground|Positioning, Foreground|Positioning, Background|"
             "Positioning, Background|Correction intensity, Foreground|"
             "Correction intensity, Foreground|Correction intensity, Background|"
             "Correction intensity, Background|Correction intensity, Balance|Velso home|"
             "Haze mask, Export|Haze mask, Display|Preview|Help|Cancel|",
             "Reset"},
        Case{"fr_FR.UTF-8",
             "OK|Positions des plans|Premier plan|Arrière plan|Intensité de correction|"
             "Premier plan|Arrière plan|Balance|Premier plan|Arrière plan|Velso home|"
             "Masque de voile blanc|&Exporter|&Afficher|A&perçu|Aide|Annuler|",
             "OK|Positions des plans, Premier plan|Positions des plans, Premier plan|"
             "Positions des plans, Arrière plan|Positions des plans, Arrière plan|"
             "Intensité de correction, Premier plan|Intensité de correction, Premier plan|"
             "Intensité de correction, Arrière plan|Intensité de correction, Arrière plan|"
             "Intensité de correction, Balance|Velso home|Masque de voile blanc, Exporter|"
             "Masque de voile blanc, Afficher|Aperçu|Aide|Annuler|",
             "Réinitialiser"}}) {
    setenv("LC_ALL", c.language, 1);
    look([&](const Open& d) {
      std::string texts, names;
      for (QWidget* widget : d.dialog->findChildren<QWidget*>(Qt::FindDirectChildrenOnly)) {
        const QString text = widget->property("text").toString();
        const QString title = widget->property("title").toString();
        if (widget->focusPolicy() & Qt::TabFocus) // what a screen reader says
          names +=
              QAccessible::queryAccessibleInterface(widget)->text(QAccessible::Name).toStdString() +
              "|";
        if (!qobject_cast<QLineEdit*>(widget) && !(text + title).isEmpty())
          texts += (text + title).toStdString() + "|";
      }
      EXPECT_EQ(texts, c.texts);
      EXPECT_EQ(names, c.names);
      d.press(Qt::Key_Alt);
      EXPECT_EQ(d.text(idCancel), c.reset);
      d.keyEvent(QEvent::KeyRelease, Qt::Key_Alt);
    });
  }
}

// Texts have room, nothing sticks out or lies over something else, on a wide and on a narrow
// screen.
TEST_F(Dialog, NothingIsClipped) {
  QWidget owner;
  plugIn.host.platformData.window = &owner;
  for (QScreen* screen : QGuiApplication::screens())
    for (const char* language : {"C.UTF-8", "fr_FR.UTF-8"}) {
      setenv("LC_ALL", language, 1);
      owner.setScreen(screen);
      owner.move(screen->geometry().topLeft());
      const auto check = [&](const Open& d) {
        const int room = screen->availableSize().width();
        EXPECT_LE(d.dialog->width(), std::max(room, 750)); // no font is smaller than five points
        QList<QRect> solid;
        for (const QWidget* widget : d.dialog->findChildren<QWidget*>()) {
          EXPECT_TRUE(d.dialog->rect().contains(widget->geometry()));
          const QString text = widget->property("text").toString();
          if (!widget->isVisible() || (text.isEmpty() && widget->accessibleName().isEmpty()))
            continue; // frames and pictures
          SCOPED_TRACE((text + widget->accessibleName()).toStdString());
          const QFontMetrics metrics = widget->fontMetrics();
          QSize needed = widget->sizeHint();
          if (qobject_cast<const QPushButton*>(widget))
            needed = {metrics.horizontalAdvance(text) + 8, metrics.height()};
          else if (widget->inherits("QLineEdit") || widget->inherits("QSlider"))
            needed = {widget->width(), metrics.height()};
          EXPECT_LE(needed.width(), widget->width());
          EXPECT_LE(needed.height(), widget->height());
          // A label may have more room than its text, and lend it.
          const QRect ink(widget->pos(), QSize(needed.width(), widget->height()));
          for (const QRect& other : solid)
            EXPECT_FALSE(other.intersects(ink));
          solid.push_back(ink);
        }
        EXPECT_GE(solid.size(), 2);
        d.dialog->close();
      };
      run(check);
      about(check);
    }
}

// What the user saw is what the file gets, for an image that the frame shows pixel by pixel.
TEST_F(Desktop, PreviewAndResultAgree) {
  for (const int depth : {8, 16, 32}) {
    constexpr int32_t width = 240, height = 160;
    host::Document document = fixture::hazyScene(width, height, depth);
    fixture::PlugInHost plugIn(document);
    gData->queryForParameters = 1;
    QImage shown;
    fixture::whileShown(
        [&](const fixture::Shown& d) {
          const QRect frame = Open(d).at(idFrame)->geometry();
          shown = d.picture().copy(QRect((frame.width() - width) / 2 + frame.x(),
                                         (frame.height() - height) / 2 + frame.y(), width, height));
          Open(d).click(idOk);
        },
        [] { EXPECT_TRUE(DoStart()); });
    int apart = 0;
    for (int32_t i = 0; i < width * height * 3; ++i) {
      const int32_t x = i / 3 % width, y = i / 3 / width;
      const QRgb pixel = shown.pixel(x, y);
      const int samples[] = {qRed(pixel), qGreen(pixel), qBlue(pixel)};
      const double result =
          fixture::sampleAt(document, x, y, i % 3) * 255 / fixture::fullScale(document);
      apart += std::abs(samples[i % 3] - result) > 3;
    }
    EXPECT_LE(apart, width * height * 3 / 100) << depth;
  }
}

// A third of the room is above; the caption's height moves the dialog to the left.
TEST(Placement, OverTheOwnerAndOnTheScreen) {
  static WindowRect dialogRect, ownerRect, screen;
  const auto answer = [](Window window, uint32_t message, uintptr_t, intptr_t value) -> intptr_t {
    auto& rect = window->parent || !window->id ? dialogRect : ownerRect;
    if (message == TKM_GETRECT || message == TKM_GETCLIENTRECT)
      *reinterpret_cast<WindowRect*>(value) = rect;
    if (message == TKM_SETRECT)
      rect = *reinterpret_cast<const WindowRect*>(value);
    return 0;
  };
  ToolkitServices services = desktopServices;
  services.desktop = [] { return screen; };
  services.captionHeight = [] { return int32_t(20); };
  gServices = &services;
  constexpr WindowRect none = {}, large = {0, 0, 1600, 900};
  struct Case {
    WindowRect screen, owner;
    uint32_t style;
    int32_t x, y;
  };
  for (const Case& c : {
           Case{large, none, 0, 600 - 14, 200},
           Case{large, none, WS_SYSMENU, 600 - 20, 200},
           Case{{0, 0, 401, 301}, none, 0, -14, 0},
           Case{{0, 0, 300, 200}, none, 0, 0, 0},
           Case{large, {100, 50, 300, 250}, 0, 86, 50},       // smaller than the dialog
           Case{large, {1300, 700, 1600, 900}, 0, 1200, 600}, // would run off the screen
           Case{large, {200, 100, 1000, 700}, 0, 386, 200},
       }) {
    const bool owned = c.owner.right != 0;
    screen = c.screen;
    ownerRect = c.owner;
    dialogRect = {0, 0, 400, 300};
    Window owner = owned ? NewWindow(nullptr, 1, 0, answer, nullptr) : nullptr;
    Window dialog = NewWindow(owner, 0, c.style, answer, nullptr);
    CentreDialog(dialog);
    EXPECT_EQ(dialogRect.left, c.x);
    EXPECT_EQ(dialogRect.top, c.y);
    EXPECT_EQ(dialogRect.width(), 400);
    EXPECT_EQ(dialogRect.height(), 300);
    DestroyWindow(dialog);
    DestroyWindow(owner);
  }
  gServices = &desktopServices;
}

} // namespace
