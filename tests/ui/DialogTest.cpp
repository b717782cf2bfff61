// The dialogs with real keys and clicks on real widgets: what they store, show, repaint and open.
#include <QAccessible>
#include <QClipboard>

#include <thread>

#include "tests/ui/DialogSession.h"

namespace {

using fixture::beeps, fixture::Dialog, fixture::Open, fixture::opened, fixture::seen,
    fixture::settle;
using testing::ElementsAre, testing::EndsWith;

// A user's action, and its effect.
struct Step {
  int focus; // id; 0: unchanged
  const char* keys;
  const char* state;
  std::pair<int, int> changes = {-1, -1}; // negative: not checked
};
void play(const Open& d, const std::vector<Step>& steps) {
  for (const Step& step : steps) {
    SCOPED_TRACE(step.keys);
    if (step.focus)
      d.focus(step.focus);
    Open::changes();
    d.keys(step.keys);
    const auto changes = Open::changes();
    if (step.changes.first >= 0) {
      EXPECT_EQ(changes, step.changes);
    }
    EXPECT_EQ(d.state(), step.state);
  }
}

// The floats for 0.35 and 0.63 are slightly lower, and their positions are truncated.
TEST_F(Dialog, OpensOnTheSoftenedSettings) {
  gParams->outputMap = gParams->displayMap = 1;
  gParams->power = PowerOfPosition(62) * 1.001f;
  look([](const Open& d) {
    EXPECT_EQ(d.state(), "0 34/34/35 100 62/62/63 62?");
    EXPECT_EQ(gParams->foregroundIntensity, 0.35f);
    EXPECT_TRUE(d.ticked(idPreview) && d.ticked(idExport) && d.ticked(idDisplay));
    EXPECT_FALSE(d.dialog->windowFlags().testFlag(Qt::WindowCloseButtonHint));
    EXPECT_FALSE(d.at(idFrame)->isVisible());
    EXPECT_EQ(d.dialog->focusWidget(), d.at(idForegroundPositionEdit));
    EXPECT_TRUE(d.dialog->windowTitle().startsWith("Velso Fogdissolver 1."));
  });
}

// Only the foreground's intensity decides whether both are estimated; 0.7 of each is used.
TEST_F(Dialog, EstimatesAreTakenIfTheForegroundIsUnset) {
  gParams->foregroundIntensity = intensityUnset;
  look([](const Open&) {
    EXPECT_GT(gParams->foregroundIntensity, 0.0f);
    EXPECT_LE(gParams->backgroundIntensity, 0.7f);
    EXPECT_NE(gParams->backgroundIntensity, 0.9f * 0.7f);
  });
  gParams->foregroundIntensity = 0.5f;
  gParams->backgroundIntensity = intensityUnset;
  look([](const Open& d) {
    EXPECT_EQ(d.state(), "0 34/34/35 100 0/0/-70 50");
    d.press(Qt::Key_Alt);
    d.click(idCancel, Qt::AltModifier); // Reset returns to the computed position
    EXPECT_EQ(d.state(), "0 34 100 0/-69/-69 50");
    d.release(Qt::Key_Alt);
  });
}

// No event waits for another: the box's message must be handled before the click that ends the
// dialog.
TEST_F(Dialog, ANumberTypedJustBeforeOkCounts) {
  const std::pair<const char*, int> ways[] = {
      {"40", idOk}, {"40<Return>", idOk}, {"40<Tab><Return>", 0}, {"40<Tab><Tab><Tab><Enter>", 0}};
  for (const auto& [keys, button] : ways) {
    gParams->foregroundPosition = 0.0f;
    EXPECT_TRUE(run([&, keys = keys, button = button](const Open& d) {
      d.keys(keys);
      if (button)
        d.click(button);
      for (int late : {idExport, idCancel}) // after the end
        d.click(late);
    }));
    EXPECT_EQ(gParams->foregroundPosition, 0.4f) << keys;
    EXPECT_TRUE(gParams->outputMap == 0 && gData->proxyBuffer);
  }
}

TEST_F(Dialog, TypedAndPastedTextIsFilteredAndParsed) {
  struct Case {
    const char *keys, *shown;
    int value, beeps = 0;
  };
  look([](const Open& d) {
    for (const Case& c :
         {Case{"12<Shift+Home>5", "5", 5}, Case{"12<Left>5", "152", 152}, // out of range
          Case{"12<Ctrl+5><Ctrl+Return>", "12", 12}, Case{"10A-. 3", "103", 103, 4},
          Case{"45<Backspace>", "4", 4},
          Case{"45<Home><Backspace>", "45", 5}, // the text does not change, but the value does
          Case{"45<Shift+Home><Backspace>", "", 0}, Case{"123<Home><Right><Del>", "13", 13},
          Case{"123<Left><Shift+Home><Del>", "3", 3}, Case{"123<Del>", "123", 123},
          Case{"99999999999999999999", "99999999999999999999", INT32_MIN}}) {
      d.focus(idForegroundIntensityEdit);
      Open::changes();
      beeps = 0;
      d.keys(c.keys);
      EXPECT_EQ(d.text(idForegroundIntensityEdit), c.shown);
      EXPECT_EQ(beeps, c.beeps);
      EXPECT_EQ(Open::changes(), std::pair(0, 0)); // the dialog is notified at Enter
      d.keys("<Return>");
      EXPECT_EQ(Open::changes(), std::pair(1, 1));
      EXPECT_EQ(gParams->foregroundIntensity, ValueOfPosition(c.value)) << c.keys;
      d.focus(idBackgroundIntensityEdit); // leaving clamps, and notifies once more
      EXPECT_EQ(Open::changes(), std::pair(1, 1));
      EXPECT_THAT(d.state(), testing::HasSubstr(" " + std::to_string(std::clamp(c.value, 0, 100)) +
                                                " 100 62"));
    }

    // Pasted numbers are displayed but not used as the value.
    const auto shown = [&](const char* keys) {
      d.keys(keys);
      return d.text(idForegroundIntensityEdit);
    };
    const auto pasted = [&](const char* text, const char* keys = "<Ctrl+A><Ctrl+V>") {
      QApplication::clipboard()->setText(text);
      return shown(keys);
    };
    d.focus(idForegroundIntensityEdit);
    for (const char* text : {"80", "7abc", "-0.5", "100.9", "word", "100"})
      EXPECT_EQ(pasted(text), text);
    for (const char* text : {"150", "-1", "101", "nan", "1e9999"})
      EXPECT_EQ(pasted(text), "100");
    EXPECT_EQ(pasted("0", "<Left><Right><Ctrl+V>"), "100"); // 1000 is out of range
    EXPECT_EQ(shown("<Ctrl+A><Ctrl+X>"), "");
    EXPECT_EQ(QApplication::clipboard()->text(), "100");
    EXPECT_EQ(pasted("61", "<Shift+Ins><Shift+Home><Ctrl+C>"), "61");
    EXPECT_EQ(QApplication::clipboard()->text(), "61");
    play(d, {{0, "<Tab>", "0 0 100 62 50", {1, 1}}});
    EXPECT_EQ(beeps, 0);
  });
}

// On sliders, up increases; a press counts, and its release, as every second message, does not.
TEST_F(Dialog, KeysWheelAndMouseStepBoxesAndSliders) {
  look([](const Open& d) {
    constexpr int box = idBackgroundIntensityEdit, id = idBackgroundIntensity;
    play(d, {{box, "99<Return>", "0 34/34/35 100 99 50", {1, 1}},
             {0, "<Up>", "0 34/34/35 100 100 50", {2, 2}}, // at the step and at the release
             {0, "<Up>", "0 34/34/35 100 100 50", {2, 2}},
             {0, "<Down><Down>", "0 34/34/35 100 98 50", {4, 4}},
             {0, "2147483647<Up>", "0 34/34/35 100 0 50"}}); // wraps, is clamped
    Open::changes();
    for (int turn : {120, 240, 60, -60, -60, 60, 60, -120}) // half notches add up
      d.wheel(box, turn);
    EXPECT_EQ(Open::changes(), std::pair(6, 6));
    EXPECT_EQ(d.state(), "0 34/34/35 100 2 50");
    d.wheel(box, 60);
    d.wheel(box, 0, 120); // ignored; but with Alt, Qt turns the direction
    d.wheel(box, 60);
    d.wheel(box, 0, 120, Qt::AltModifier);
    EXPECT_EQ(Open::changes(), std::pair(2, 2));
    play(d, {{box, "<Down><Down>", "0 34/34/35 100 2 50"}});

    play(d, {{id, "<End>", "0 34/34/35 100 100 50", {1, 0}},
             {0, "<Down><PgUp>", "0 34/34/35 100 79 50", {2, 0}},
             {0, "<Up><Right><Right><Left>", "0 34/34/35 100 81 50", {4, 0}},
             {0, "<Home><PgDown>A5", "0 34/34/35 100 20 50", {2, 0}}});
    d.wheel(id, 240); // two notches, two messages each
    d.wheel(id, -120);
    EXPECT_EQ(d.state(), "0 34/34/35 100 21 50");
    d.press(Qt::Key_Down);
    d.press(Qt::Key_Down); // ignored
    EXPECT_EQ(d.state(), "0 34/34/35 100 19/20/20 50");
    play(d, {{idBalance, "<Home>", "0 34/34/35 100 19/20/20 0", {2, 0}}}); // not ignored
    d.focus(idForegroundIntensity);
    d.press(Qt::Key_Home); // all sliders share the toggle
    EXPECT_EQ(d.state(), "0 0 100 19/20/20 0");
    d.release(Qt::Key_Home);

    const QWidget* const slider = d.at(idForegroundIntensity);
    const QRect bar = slider->rect();
    for (const char* state : {"0 20 100 19/20/20 0", "0 40 100 19/20/20 0"}) { // each click counts
      d.click(idForegroundIntensity, {}, {bar.right() - 2, bar.center().y()});
      EXPECT_EQ(d.state(), state);
    }
    const QPoint thumb(8 + 40 * (bar.width() - 16) / 100, bar.center().y());
    QPoint from = slider->mapTo(d.dialog, thumb);
    for (const int steps : {1, 2, 3, 6}) { // so does the end of a drag, after any number of moves
      d.mouse(QEvent::MouseButtonPress, from);
      for (int i = 1; i <= steps; ++i)
        d.mouse(QEvent::MouseMove, from - QPoint(12 * i / steps, 0));
      d.mouse(QEvent::MouseButtonRelease, from -= QPoint(12, 0));
      EXPECT_THAT(d.state(), testing::ContainsRegex("^0 [123]?[0-9] 100 19/20/20 0$"));
    }
    EXPECT_EQ(seen.refreshedRect, d.at(idFrame)->geometry());
    settle();
    EXPECT_GT(std::exchange(seen.painted, 0), 0);
    d.at(idOk)->update();
    settle();
    EXPECT_EQ(seen.painted, 0); // a button's repaint does not repaint the preview
  });
}

TEST_F(Dialog, CheckBoxes) {
  look([](const Open& d) {
    const QImage corrected = d.look(idFrame);
    d.focus(idBalance);
    Open::changes();
    d.click(idExport);
    EXPECT_EQ(Open::changes().first, 0); // the preview does not change
    d.keys("<Alt+D>");
    EXPECT_EQ(Open::changes().first, 1);
    const QImage mask = d.look(idFrame);
    EXPECT_TRUE(gParams->outputMap == 1 && gParams->displayMap == 1);
    d.click(idPreview);
    EXPECT_EQ(Open::changes().first, 1);
    EXPECT_EQ(gParams->preview, 0);
    const QImage untouched = d.look(idFrame);
    EXPECT_TRUE(mask != corrected && mask != untouched && corrected != untouched);
    for (int id : {idExport, idDisplay, idPreview})
      d.click(id);
    EXPECT_TRUE(gParams->outputMap == 0 && gParams->displayMap == 0 && gParams->preview == 1);
    EXPECT_EQ(d.look(idFrame), corrected);
  });
}

// A key event with the codes of an X11 keyboard.
struct NativeKey {
  QEvent::Type type;
  int key;
  quint32 keysym, scanCode;
  Qt::KeyboardModifiers held = {};
  bool repeats = false;
  void send(const Open& d) const {
    QKeyEvent event(type, key, held, scanCode, keysym, 0, QString(), repeats);
    QCoreApplication::sendEvent(d.window(), &event);
  }
};

// Whatever happens meanwhile, the mask and Reset are active while Alt is held, and not after it.
TEST_F(Dialog, AltIsSeenWhateverItsReleaseLooksLike) {
  constexpr auto down = QEvent::KeyPress, up = QEvent::KeyRelease;
  const NativeKey alt = {down, Qt::Key_Alt, 0xffe9, 64}, altUp = {up, Qt::Key_Alt, 0xffe9, 64},
                  meta = {down, Qt::Key_Meta, 0xffe7, 64}, metaUp = {up, Qt::Key_Meta, 0xffe7, 0},
                  shift = {down, Qt::Key_Shift, 0xffe1, 50, Qt::AltModifier},
                  unknownUp = {up, Qt::Key_unknown, 0, 64}, otherUp = {up, Qt::Key_A, 0, 38},
                  left = {down, Qt::Key_Left, 0, 113}, window = {down, Qt::Key_Meta, 0xffeb, 133};
  struct Case {
    std::vector<NativeKey> begin, end;
    std::function<void(const Open&)> between = [](const Open&) {};
  };
  const auto move = [](const Open& d) { d.mouse(QEvent::MouseMove, {9, 9}); };
  const auto leave = [](const Open& d) {
    QEvent away(QEvent::WindowDeactivate);
    QCoreApplication::sendEvent(d.dialog, &away);
  };
  look([&](const Open& d) {
    for (const Case& c :
         {Case{{alt}, {altUp}}, Case{{alt}, {shift, metaUp}}, // with Shift the key is called Meta
          Case{{shift, meta}, {altUp}}, Case{{alt}, {unknownUp}}, // in another layout
          Case{{alt}, {left}},                                    // it reports that Alt is up
          Case{{alt}, {}, [](const Open& d) { d.click(idForegroundPosition); }}, // and so does this
          Case{{alt}, {}, move}, Case{{alt}, {}, leave}, // another window gets the release
          Case{{alt}, {altUp}, [](const Open& d) {
                 d.keys("<Alt+D>");
                 EXPECT_FALSE(d.ticked(idDisplay)); // at once, no later click
               }}}) {
      d.click(idDisplay); // ticked by hand: also off afterwards
      otherUp.send(d);
      EXPECT_TRUE(d.ticked(idDisplay)); // the release of another key does not count
      Open::changes();
      for (const NativeKey& key : c.begin)
        key.send(d);
      EXPECT_EQ(d.text(idCancel), "Reset");
      EXPECT_TRUE(d.ticked(idDisplay) && gParams->displayMap == 1);
      for (NativeKey key : {alt, altUp, alt}) {
        key.repeats = true;
        key.send(d);
      }
      EXPECT_EQ(Open::changes().first, 1); // a held key has no further effect
      c.between(d);
      for (const NativeKey& key : c.end)
        key.send(d);
      EXPECT_EQ(d.text(idCancel), "Cancel");
      EXPECT_FALSE(d.ticked(idDisplay) || gParams->displayMap);
    }
    window.send(d);    // the key with the window symbol is another Meta
    QTest::qWait(150); // milliseconds; Qt's own mnemonic click takes less
    EXPECT_EQ(d.text(idCancel), "Cancel");
    EXPECT_FALSE(d.ticked(idDisplay));
    EXPECT_EQ(SendMessage(d.record, WM_SYSCOMMAND, SC_KEYMENU, 0), 1);
    EXPECT_EQ(SendMessage(d.record, WM_SYSCOMMAND, SC_KEYMENU + 1, 0), 0);
  });
}

// The pushed position does not write its setting, and does not change the preview, until the user
// touches it.
TEST_F(Dialog, PositionsPushEachOtherAndResetGoesBackToTheOpening) {
  look([](const Open& d) {
    constexpr int fore = idForegroundPositionEdit, back = idBackgroundPositionEdit;
    play(d, {{back, "40<Return>", "0 34/34/35 40 62/62/63 50", {1, 1}},
             {fore, "40<Return>", "40 34/34/35 40 62/62/63 50", {1, 1}}, // up to the limit
             {fore, "<Ctrl+A>60<Return>", "60 34/34/35 60/60/40 62/62/63 50", {0, 1}},
             {back, "25<Return>", "25/25/60 34/34/35 25 62/62/63 50", {0, 1}},
             {fore, "<Return>", "25 34/34/35 25 62/62/63 50", {1, 1}},
             {idForegroundPosition, "<End>", "100 34/34/35 100/100/25 62/62/63 50", {0, 0}},
             {idBackgroundPosition, "<Home>", "0/0/100 34/34/35 0 62/62/63 50", {0, 0}}});

    for (int id : {idForegroundIntensityEdit, idBackgroundIntensityEdit, idBalance}) {
      d.focus(id);
      d.keys(id == idBalance ? "<End>" : "50<Return>");
    }
    d.click(idExport);
    d.press(Qt::Key_Alt);
    Open::changes();
    d.press(Qt::Key_7, Qt::AltModifier); // types nothing
    d.click(idCancel, Qt::AltModifier);
    EXPECT_EQ(Open::changes(), std::pair(1, 0));
    EXPECT_EQ(d.state(), "0 34 100 62 50"); // now whole hundredths
    EXPECT_TRUE(gParams->outputMap == 1 && gParams->displayMap == 1);
    d.release(Qt::Key_Alt);
    play(d, {{idForegroundPositionEdit, "<Up>", "1 34 100 62 50"}, // from the boxes' own values
             {idForegroundIntensityEdit, "<Up>", "1 35 100 62 50"},
             {idBackgroundIntensityEdit, "<Up>", "1 35 100 63 50"}});
  });
}

TEST_F(Dialog, EveryWayOutButOkIsACancel) {
  const std::function<void(const Open&)> ways[] = {
      [&](const Open& d) { // after an error, which freezes the preview but not the controls
        const QImage before = d.look(idFrame);
        plugIn.result = memFullErr;
        play(d, {{idForegroundIntensityEdit, "90<Return>", "0 90 100 62/62/63 50", {0, 1}}});
        EXPECT_EQ(d.look(idFrame), before); // the last picture stays
        d.click(idOk);
      },
      [](const Open& d) { d.click(idCancel); },
      [](const Open& d) { d.keys("<Esc>"); },
      [](const Open& d) { // closed while Cancel shows Reset
        d.press(Qt::Key_Alt);
        d.dialog->close();
      },
      [](const Open&) { QCoreApplication::exit(); },
  };
  for (const auto& way : ways) {
    const bool ok = &way == ways;
    EXPECT_EQ(run(way), ok);
    EXPECT_EQ(plugIn.result, 0);
    EXPECT_EQ(gData->proxyBuffer != nullptr, ok); // the filter takes its size from it
    EXPECT_EQ(plugIn.host.buffers.counts().live, ok ? 2 : 0);
    EXPECT_EQ(offscreenContext, nullptr);
    EXPECT_FALSE(CallKeyboardHooks(VK_MENU, 0));
    DeleteProxyBuffer();
    QTimer::singleShot(0, [] { QCoreApplication::exit(); });
    QCoreApplication::exec(); // clears the application's pending quit
  }
  for (const char* key : {"<Return>", "<Esc>"})
    about([&](const Open& d) { d.keys(key); });

  // The same for a dialog that cannot be shown.
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

// What a screen reader says for each control in turn; for labels and frames this is their text.
// Then the opened pages.
TEST_F(Dialog, SpeaksEnglishAndFrench) {
  struct Case {
    const char *language, *names, *reset, *help, *home;
  };
  for (const Case& c :
       {Case{"C.UTF-8",
             "OK|Positioning|Foreground|Positioning, Foreground|Positioning, Foreground|Background|"
             "Positioning, Background|Positioning, Background|Correction intensity|Foreground|"
             "Correction intensity, Foreground|Correction intensity, Foreground|Background|"
             "Correction intensity, Background|Correction intensity, Background|Balance|"
             "Foreground|Correction intensity, Balance|Background|Velso home|Haze mask|"
             "Haze mask, Export|Haze mask, Display|Preview|Help|Cancel|",
             "Reset", "fogdissolver/help.html", "fogdissolver/index.html"},
        Case{"fr_CA.UTF-8",
             "OK|Positions des plans|Premier plan|Positions des plans, Premier plan|"
             "Positions des plans, Premier plan|Arrière plan|Positions des plans, Arrière plan|"
             "Positions des plans, Arrière plan|Intensité de correction|Premier plan|"
             "Intensité de correction, Premier plan|Intensité de correction, Premier plan|"
             "Arrière plan|Intensité de correction, Arrière plan|"
             "Intensité de correction, Arrière plan|Balance|Premier plan|"
             "Intensité de correction, Balance|Arrière plan|Velso home|Masque de voile blanc|"
             "Masque de voile blanc, Exporter|Masque de voile blanc, Afficher|Aperçu|Aide|Annuler|",
             "Réinitialiser", "/fr/help.html", "/fr/index.html"}}) {
    setenv("LC_ALL", c.language, 1);
    opened.clear();
    look([&](const Open& d) {
      QString names;
      for (QWidget* widget : d.dialog->findChildren<QWidget*>(Qt::FindDirectChildrenOnly)) {
        const auto* spoken = QAccessible::queryAccessibleInterface(widget);
        if (const QString name = spoken ? spoken->text(QAccessible::Name) : ""; !name.isEmpty())
          names += name + "|";
      }
      EXPECT_EQ(names.toStdString(), c.names);
      d.press(Qt::Key_Alt);
      EXPECT_EQ(d.text(idCancel), c.reset);
      d.release(Qt::Key_Alt);

      d.click(idHelp);
      d.click(idHomePage);
      d.focus(idBalance);
      d.keys("<Tab>"); // the link's only tab stop
      EXPECT_EQ(d.dialog->focusWidget(), d.at(idHomePage));
      const QImage focused = d.look(idHomePage);
      const NativeKey repeated = {QEvent::KeyPress, Qt::Key_Return, 0, 0, {}, true};
      d.keys("<Return>");
      repeated.send(d); // one page per press
      d.keys("<Tab>");
      EXPECT_EQ(d.dialog->focusWidget(), d.at(idExport));
      EXPECT_NE(d.look(idHomePage), focused);
      d.focus(idHelp);
      d.keys("<Return>");
      repeated.send(d);
      SendMessage(d.record, WM_COMMAND, MakeWords(idHelp, 77), 0); // for every notification code
    });
    about([](const Open& d) {
      EXPECT_EQ(d.dialog->focusWidget(), d.at(idAboutOk));
      d.keys("<Tab><Return>");
      d.click(idAboutHomePage);
      EXPECT_EQ(d.dialog->windowTitle().section(' ', 2), d.text(-1).substr(8).c_str());
      d.click(idAboutOk);
    });
    const auto help = EndsWith(c.help), home = EndsWith(c.home);
    EXPECT_THAT(opened, ElementsAre(help, home, home, help, help, home, home));
  }
}

// The file gets exactly what the user saw, for an image that the frame shows pixel by pixel.
TEST(Preview, AndResultAgree) {
  for (const int depth : {8, 16, 32}) {
    constexpr int32_t width = 121, height = 80;
    host::Document document = fixture::hazyScene(width, height, depth);
    const fixture::PlugInHost plugIn(document);
    gData->queryForParameters = 1;
    QImage shown;
    const auto ok = [&](const fixture::Shown& d) {
      const QRect frame = Open(d).at(idFrame)->geometry();
      shown = d.picture({(frame.width() - width) / 2 + frame.x() - 1,
                         (frame.height() - height) / 2 + frame.y() - 1, width + 2, height + 2});
      Open(d).click(idOk);
    };
    fixture::whileShown(ok, [] { EXPECT_TRUE(DoStart()); });
    const double scale = 255 / fixture::fullScale(document);
    for (const QPoint& corner : {QPoint(0, 0), QPoint(width + 1, height + 1)})
      EXPECT_EQ(shown.pixel(corner), DKGRAY_BRUSH); // centred on it
    int apart = 0;
    for (int32_t i = 0; i < width * height * 3; ++i) {
      const QRgb pixel = shown.pixel(i / 3 % width + 1, i / 3 / width + 1);
      const int samples[] = {qRed(pixel), qGreen(pixel), qBlue(pixel)};
      const double result = fixture::sampleAt(document, i / 3 % width, i / 3 / width, i % 3);
      apart += std::abs(samples[i % 3] - result * scale) > 3;
    }
    EXPECT_LE(apart, width * height * 3 / 100) << depth;
  }
}

// The procedures report what they handled: a box's own keys, and the clicks that end a dialog.
TEST_F(Dialog, TheProceduresAnswer) {
  look([](const Open& d) {
    const Window box = GetDlgItem(d.record, idForegroundPositionEdit);
    for (const uintptr_t key : {VK_UP, VK_DOWN, VK_DELETE})
      EXPECT_EQ(SendMessage(box, WM_KEYDOWN, key), 1);
    for (const int character : {'5', '\r', 'x'})
      EXPECT_EQ(SendMessage(box, WM_CHAR, uintptr_t(character)), 1);
    EXPECT_EQ(SendMessage(box, WM_KEYUP, VK_UP) + SendMessage(box, WM_PASTE), 2);
    for (const uintptr_t word : {uintptr_t(idExport), uintptr_t(idHelp), MakeWords(idOk, 5)})
      EXPECT_EQ(FogdissolverProc(d.record, WM_COMMAND, word, 0), 0);
    EXPECT_EQ(FogdissolverProc(d.record, WM_COMMAND, idCancel, 0), 1);
  });
  about([](const Open& d) {
    EXPECT_EQ(FogdissolverAboutProc(d.record, WM_COMMAND, MakeWords(idAboutOk, 5), 0), 0);
    EXPECT_EQ(FogdissolverAboutProc(d.record, WM_COMMAND, idAboutOk, 0), 1);
  });
}

} // namespace
