// The window by real events: open, compare, change, undo, save, cancel, what is broken, the batch.

#include <csignal>

#include <sys/resource.h>

#include <QAbstractSpinBox>
#include <QAccessible>
#include <QAction>
#include <QClipboard>
#include <QComboBox>
#include <QDropEvent>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QProgressBar>
#include <QPushButton>
#include <QSettings>
#include <QSlider>
#include <QSpinBox>
#include <QStatusBar>
#include <QTableWidget>
#include <QToolBar>
#include <QToolButton>
#include <QTreeWidget>

#include "apps/desktop/BatchWindow.h"
#include "apps/desktop/MainWindow.h"
#include "apps/desktop/Notice.h"
#include "tests/apps/desktop/DeskTest.h"

namespace {

using namespace desktop;
using testing::HasSubstr;

class Window : public Desk {
protected:
  Window() : window(filters(), {}, "") {
    window.show();
    writePicture("a.jpg", fixture::hazyScene(120, 80, 32));
    write("broken.jpg", contents("a.jpg").substr(0, 700));
  }
  static const Filters& filters() {
    static const Filters opened{FOG_MODULE_FOLDER};
    return opened;
  }

  Workbench& bench() { return window.workbench(); }
  bool idle() {
    return until([&] { return !bench().isBusy(); });
  }
  bool open(const QString& file) {
    window.openFiles({file});
    return idle() && bench().original();
  }
  QAction* action(const QString& text) {
    for (QAction* action : window.findChildren<QAction*>())
      if (QString(action->text()).remove('&').startsWith(text))
        return action;
    ADD_FAILURE() << "no action " << text.toStdString();
    return nullptr;
  }
  void trigger(const QString& text) {
    ASSERT_TRUE(action(text)->isEnabled()) << text.toStdString();
    action(text)->trigger();
  }
  std::string notice() { return window.findChild<Notice*>()->text().toStdString(); }
  double strength() { return shared::strengthOf(bench().history()->current().look); }
  void setStrength(int percent) {
    window.findChild<QSlider*>()->setValue(percent);
    ASSERT_TRUE(until([&] { return !bench().isBusy() && strength() * 100 == percent; }));
  }
  // Answers the next dialog; the window's events go on behind it.
  static void answering(const std::function<void(const fixture::Shown&)>& script,
                        const std::function<void()>& run) {
    bool ran = false;
    QTimer timer;
    timer.callOnTimeout([&] {
      auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
      if (!dialog || !dialog->isActiveWindow())
        return;
      ASSERT_FALSE(std::exchange(ran, true)) << (dialog->reject(), "the dialog is still open");
      script(fixture::Shown{dialog});
    });
    timer.start(20);
    run();
    EXPECT_TRUE(ran);
  }

  MainWindow window;
};

TEST_F(Window, ClearsOnOpeningFollowsTheSliderUndoesAndSaves) {
  ASSERT_TRUE(open("a.jpg"));
  EXPECT_TRUE(bench().after());
  EXPECT_EQ(strength(), 0.7);
  EXPECT_FALSE(window.isWindowModified()); // it can be had again by opening
  const Picture first = bench().history()->current().picture;
  setStrength(30);
  EXPECT_TRUE(window.isWindowModified());
  trigger("Undo");
  EXPECT_EQ(bench().history()->current().picture, first);
  EXPECT_EQ(window.findChild<QSlider*>()->value(), 70);
  trigger("Redo");
  EXPECT_EQ(strength(), 0.3);

  answering(
      [&](const fixture::Shown& shown) {
        auto* name = shown.dialog->findChild<QLineEdit*>();
        EXPECT_TRUE(name->text().endsWith("/a-clear.jpg"));
        name->setText("a.jpg"); // refused: the photograph itself
        shown.press(Qt::Key_Return);
        EXPECT_TRUE(shown.dialog->isVisible());
        shown.dialog->findChild<QComboBox*>()->setFocus();
        name->setText("saved.tif");
        emit name->textEdited("saved.tif");
        shown.dialog->findChildren<QComboBox*>()[1]->setCurrentText("16"); // bits
        shown.press(Qt::Key_Return);
      },
      [&] { trigger("Save As"); });
  ASSERT_TRUE(idle());
  EXPECT_FALSE(window.isWindowModified());
  EXPECT_EQ(readPicture("saved.tif").width(), 120);
  trigger("Copy as Command");
  EXPECT_EQ(QGuiApplication::clipboard()->text().toStdString(),
            "fogdissolver --strength 30 " + (folder / "a.jpg").string());
  trigger("Copy Picture");
  ASSERT_TRUE(idle());
  EXPECT_EQ(QGuiApplication::clipboard()->image().size(), QSize(120, 80));

  setStrength(90);
  rlimit whole{}, small{};
  ::getrlimit(RLIMIT_FSIZE, &whole);
  small = {300, whole.rlim_max}; // a disk that is full soon
  std::signal(SIGXFSZ, SIG_IGN);
  ::setrlimit(RLIMIT_FSIZE, &small);
  trigger("Save");
  EXPECT_TRUE(idle());
  ::setrlimit(RLIMIT_FSIZE, &whole);
  EXPECT_THAT(notice(), HasSubstr("File too large"));
  EXPECT_TRUE(window.isWindowModified());
  EXPECT_EQ(files(), (Strings{"a.jpg", "broken.jpg", "saved.tif"}));
  trigger("Save");
  EXPECT_TRUE(idle());
  EXPECT_FALSE(window.isWindowModified());
  EXPECT_EQ(openPicture("saved.tif")->spec().format, OIIO::TypeDesc::UINT16) << "as it was saved";

  setStrength(85);
  trigger("Revert");
  EXPECT_FALSE(bench().after());
  answering(
      [](const fixture::Shown& shown) { // unsaved: stay
        qobject_cast<QMessageBox*>(shown.dialog)->button(QMessageBox::Cancel)->click();
      },
      [&] { trigger("Undo"), trigger("Close"); });
  EXPECT_TRUE(bench().original());
  answering(
      [](const fixture::Shown& shown) {
        qobject_cast<QMessageBox*>(shown.dialog)->button(QMessageBox::Discard)->click();
      },
      [&] { trigger("Close"); });
  EXPECT_FALSE(bench().original());
}

TEST_F(Window, WhatTheDialogShowsOkMakesAndCancelLeaves) {
  ASSERT_TRUE(open("a.jpg"));
  const int before = bench().history()->id();
  const OriginalPtr same = readOriginal("a.jpg", 1, {});
  const auto ok = [](const fixture::Shown& shown) {
    for (auto* button : shown.dialog->findChildren<QAbstractButton*>())
      if (button->text() == "OK")
        return shown.click(button);
    ADD_FAILURE() << "no OK";
  };
  const auto adjust = [&] {
    trigger("Adjust");
    ASSERT_TRUE(until([&] { return !bench().isInDialog() && !bench().isBusy(); }));
  };
  answering([](const fixture::Shown& shown) { shown.press(Qt::Key_Escape); }, adjust);
  EXPECT_EQ(bench().history()->id(), before);
  EXPECT_EQ(notice(), "");
  answering(
      [&](const fixture::Shown& shown) {
        EXPECT_EQ(shown.dialog->windowModality(), Qt::WindowModal);
        EXPECT_FALSE(action("Save As")->isEnabled());
        shown.keys("<Tab>9<Enter>"); // the foreground's intensity
        shown.press(Qt::Key_Return);
      },
      adjust);
  EXPECT_NE(bench().history()->id(), before);
  EXPECT_EQ(bench().history()->current().maker, Maker::dialog);
  EXPECT_TRUE(window.isWindowModified());
  const shared::Look look = bench().history()->current().look;
  EXPECT_TRUE(fixture::sameSamples(bench().original()->picture->document, same->picture->document));
  answering(ok, adjust);
  EXPECT_NEAR(*bench().history()->current().look.foreground, *look.foreground, 0.01);
  trigger("Undo");
  bool isSet = false, isCancelled = false;
  answering(
      [&](const fixture::Shown& shown) {
        ok(shown);
        isSet = true;
      },
      [&] {
        trigger("Adjust");
        ASSERT_TRUE(until([&] { return isSet && !bench().isInDialog(); }));
        isCancelled = bench().isBusy(); // the run is beside the window
        trigger("Cancel What Runs");
      });
  EXPECT_TRUE(isCancelled);
  EXPECT_EQ(bench().history()->current().look.foreground, look.foreground);
  trigger("Undo");
  trigger("Last Filter");
  ASSERT_TRUE(idle());
  EXPECT_EQ(bench().history()->current().look.foreground, look.foreground);
  trigger("Last Filter as Mask");
  ASSERT_TRUE(idle());
  EXPECT_TRUE(*bench().history()->current().look.mask);
  bench().close();
}

TEST_F(Window, BrokenFilesCancelsAndClosingInTheMiddleAreSafe) {
  window.openFiles({"broken.jpg"});
  ASSERT_TRUE(idle());
  EXPECT_THAT(notice(), HasSubstr("broken.jpg: truncated"));
  QTest::keyClick(&window, Qt::Key_Escape);
  EXPECT_EQ(notice(), "");
  ASSERT_TRUE(open("a.jpg"));
  EXPECT_EQ(notice(), "");
  window.openFiles({"broken.jpg"});
  ASSERT_TRUE(idle());
  EXPECT_TRUE(bench().original()); // the photograph stays when another cannot be opened

  const int id = bench().history()->id();
  bench().setStrength(10);
  bench().setStrength(20); // the first of two runs is not waited for
  ASSERT_TRUE(idle());
  EXPECT_EQ(bench().history()->id(), id + 1);
  EXPECT_EQ(strength(), 0.2);
  bench().setStrength(50);
  until([&] { return bench().share() > 0; });
  QElapsedTimer timer;
  timer.start();
  trigger("Cancel What Runs");
  EXPECT_FALSE(bench().isBusy());
  EXPECT_LT(timer.elapsed(), 200);
  EXPECT_EQ(strength(), 0.2);
  bench().setStrength(60);
  bench().close(); // in the middle of a run
  QMimeData dropped;
  dropped.setUrls({QUrl::fromLocalFile(QString::fromStdString(folder / "a.jpg"))});
  QDragEnterEvent enter({9, 9}, Qt::CopyAction, &dropped, Qt::LeftButton, {});
  QDropEvent drop({9, 9}, Qt::CopyAction, &dropped, Qt::LeftButton, {});
  QCoreApplication::sendEvent(&window, &enter);
  QCoreApplication::sendEvent(&window, &drop);
  ASSERT_TRUE(until([&] { return bench().after() && !bench().isBusy(); }));
  QTest::keyPress(window.windowHandle(), Qt::Key_B);
  const QImage held = window.view().grab().toImage();
  QTest::keyRelease(window.windowHandle(), Qt::Key_B);
  EXPECT_NE(window.view().grab().toImage(), held);
  EXPECT_EQ(strength(), 0.7);

  QTest::keyPress(&window.view(), Qt::Key_Right, Qt::ShiftModifier);
  EXPECT_GT(window.view().split(), 0.5);
  trigger("Haze Mask");
  ASSERT_TRUE(idle());
  EXPECT_TRUE(bench().mask());
  EXPECT_EQ(strength(), 0.7);
  trigger("Side by Side");
  bench().setStrength(40);
  window.close();
  EXPECT_FALSE(window.isVisible());
  bench().open(
      "gone.jpg"); // behind the run that was left, which may be on its way out of the module
  ASSERT_TRUE(idle());
  EXPECT_EQ(notice(), "gone.jpg: No such file or directory");
  MainWindow next(filters(), {}, ""); // remembers
  EXPECT_EQ(next.view().mode(), ViewMode::sideBySide);
  EXPECT_GT(next.view().split(), 0.5);
  auto* data = new QMimeData;
  data->setUrls({QUrl::fromLocalFile(QString::fromStdString(folder / "a.jpg"))});
  QGuiApplication::clipboard()->setMimeData(data);
  for (QAction* paste : next.findChildren<QAction*>())
    if (paste->shortcut() == QKeySequence(QKeySequence::Paste))
      paste->trigger();
  EXPECT_TRUE(until([&] { return !next.workbench().isBusy() && next.workbench().after(); }));
}

// Items of the menus that are greyed.
std::string greyed(const QWidget& of) {
  std::set<std::string> names;
  for (const QAction* action : of.findChildren<QAction*>())
    if (!action->isEnabled() && !action->text().isEmpty())
      names.insert(QString(action->text()).remove('&').toStdString());
  std::string list;
  for (const std::string& name : names)
    list += name + "; ";
  return list;
}

TEST_F(Window, OffersWhatCanBeDoneNow) {
  EXPECT_EQ(greyed(window),
            "100 %; 200 %; 50 %; Adjust…; Brighter; Cancel What Runs; Close; Copy Picture; Copy as "
            "Command; Darker; Export Mask…; Fit; Fogdissolver…; Help; Last Filter; Last Filter as "
            "Mask; No Exposure; Redo; Revert; Save; Save As…; Undo; Zoom In; Zoom Out; ");
  ASSERT_TRUE(open("a.jpg"));
  const std::string always = "Brighter; Cancel What Runs; Darker; Help; No Exposure; ";
  EXPECT_EQ(greyed(window), always + "Redo; ");
  trigger("Revert");
  EXPECT_EQ(greyed(window), always + "Redo; Revert; ");
  trigger("Undo");
  trigger("Undo");
  EXPECT_EQ(greyed(window), always + "Revert; Undo; ");
  for (const auto& [item, scale] : {std::pair("100 %", 1.0),
                                    {"Zoom In", 1.25},
                                    {"Zoom Out", 1.0},
                                    {"50 %", 0.5},
                                    {"200 %", 2.0}}) {
    trigger(item);
    EXPECT_NEAR(window.view().viewport().scale(), scale, 1e-9) << item;
    bool isTold = false;
    for (const QLabel* label : window.findChildren<QLabel*>())
      isTold |= label->isVisible() && label->text() == QString("%1 %").arg(scale * 100);
    EXPECT_TRUE(isTold) << item;
  }
  trigger("Fit");
  EXPECT_TRUE(window.view().viewport().isFitted());
  for (const auto& [item, mode] : {std::pair("Result", ViewMode::result),
                                   {"Side by Side", ViewMode::sideBySide},
                                   {"Split", ViewMode::split}}) {
    trigger(item);
    EXPECT_EQ(window.view().mode(), mode);
    for (const QToolButton* button : window.findChild<QToolBar*>()->findChildren<QToolButton*>()) {
      const QAction* of = button->defaultAction();
      const bool isMarked =
          button->palette().color(QPalette::Button) == window.palette().color(QPalette::Highlight);
      EXPECT_EQ(isMarked, of && of->text().remove('&') == item) << item;
    }
  }
  // The photograph takes all the room that there is.
  const View& view = window.view();
  const QRect centre = window.centralWidget()->geometry();
  const QWidget* bar = window.findChild<QSlider*>()->parentWidget();
  EXPECT_EQ(QRect(view.mapTo(&window, QPoint(0, 0)), view.size()),
            centre.adjusted(0, 0, 0, -bar->height()));
  answering(
      [](const fixture::Shown& shown) {
        std::map<std::string, std::string> rows;
        const auto* table = shown.dialog->findChild<QTableWidget*>();
        for (int row = 0; row < table->rowCount(); ++row)
          rows[table->item(row, 0)->text().toStdString()] =
              table->item(row, 1)->text().toStdString();
        EXPECT_EQ(rows["Save As…"], "Ctrl+Shift+S");
        EXPECT_EQ(rows["Zoom In"], "Ctrl++; Ctrl+=");
        EXPECT_EQ(rows["Show the photograph as it was"], "B, held");
        EXPECT_GE(table->viewport()->width(), table->horizontalHeader()->length());
        shown.press(Qt::Key_Escape);
      },
      [&] { trigger("Keyboard"); });
  bench().close();
}

TEST_F(Window, TellsWhatRunsAndStopsIt) {
  writePicture("large.jpg", fixture::hazyScene(1500, 1000, 32));
  auto* progress = window.findChild<QProgressBar*>();
  auto* stop = window.statusBar()->findChild<QToolButton*>();
  EXPECT_FALSE(progress->isVisible() || stop->isVisible());
  window.openFiles({"large.jpg"});
  ASSERT_TRUE(until([&] { return bench().original(); }));
  EXPECT_TRUE(until([&] { return progress->value() > 0 && progress->value() < 100; }));
  EXPECT_TRUE(progress->isVisible() && stop->isVisible());
  EXPECT_EQ(window.statusBar()->findChild<QLabel*>()->text(), "Clearing the haze…");
  EXPECT_EQ(action("Cancel What Runs")->isEnabled(), true);
  stop->click();
  EXPECT_FALSE(progress->isVisible() || stop->isVisible() || bench().isBusy());
  EXPECT_FALSE(bench().after());
}

TEST_F(Window, TheNumberAndTheSliderChooseTheStrengthAndTheValuesAreTold) {
  ASSERT_TRUE(open("a.jpg"));
  auto* slider = window.findChild<QSlider*>();
  auto* number = window.findChild<QSpinBox*>();
  EXPECT_EQ(number->value(), 70);
  number->selectAll();
  QTest::keyClicks(number, "45");
  QTest::keyClick(number, Qt::Key_Return);
  EXPECT_EQ(slider->value(), 45);
  ASSERT_TRUE(until([&] { return !bench().isBusy() && strength() == 0.45; }));
  const auto told = [&] {
    std::string text;
    for (const QLabel* label : slider->parentWidget()->findChildren<QLabel*>())
      text += label->text().toStdString() + "; ";
    return text;
  };
  const Parameters& used = bench().history()->current().report->used;
  const auto percent = [](float value) { return std::to_string(int(value * 100 + 0.001)) + "; "; };
  EXPECT_EQ(told(), "St&rength; Foreground: " + percent(used.foregroundIntensity) +
                        "Background: " + percent(used.backgroundIntensity) +
                        "Foreground until: 0; Background from: 100; Balance: 50; ");
  slider->setSliderDown(true);
  slider->setValue(20);
  QTest::qWait(500);
  EXPECT_FALSE(bench().isBusy()) << "the mouse holds it";
  EXPECT_EQ(number->value(), 20);
  slider->setSliderDown(false); // is released
  ASSERT_TRUE(until([&] { return !bench().isBusy() && strength() == 0.2; }));
  trigger("Revert");
  EXPECT_THAT(told(), HasSubstr("Foreground: –; Background: –; "));
  bench().close();
}

TEST_F(Window, RemembersTheLastFilesAndTheChoices) {
  QSettings store(QSettings::IniFormat, QSettings::UserScope, "fogdissolver", "desktop");
  QStringList recent;
  for (int i = 0; i < 10; ++i)
    recent += QString("/old/%1&.jpg").arg(i);
  store.setValue("recent", recent);
  store.setValue("undoMegabytes", 0);
  store.sync();
  writePicture("float.tif", fixture::hazyScene(40, 30, 32), "float");
  MainWindow second(filters(), {}, "");
  second.show();
  const auto item = [&second](const QString& text) {
    for (QAction* found : second.findChildren<QAction*>())
      if (QString(found->text()).remove('&').startsWith(text))
        return found;
    throw std::runtime_error(text.toStdString());
  };
  Workbench& its = second.workbench();
  const auto settled = [&] { return until([&] { return !its.isBusy(); }); };
  const auto names = [&] {
    std::string list;
    for (const QAction* file : item("Open Recent")->menu()->actions())
      list += file->text().toStdString() + "; ";
    return list;
  };
  EXPECT_TRUE(item("Clear on Opening")->isChecked());
  item("Clear on Opening")->trigger();
  second.openFiles({"float.tif"});
  ASSERT_TRUE(settled() && its.original());
  EXPECT_FALSE(its.after());
  EXPECT_EQ(names(), "&1 float.tif; &2 0&&.jpg; &3 1&&.jpg; &4 2&&.jpg; &5 3&&.jpg; &6 4&&.jpg; "
                     "&7 5&&.jpg; &8 6&&.jpg; &9 7&&.jpg; 8&&.jpg; ; &Clear the List; ");
  // Floats have light beyond the screen's.
  const auto shownAt = [&] { return qGreen(its.before()->part(0, {20, 20, 1, 1}).pixel(0, 0)); };
  const int plain = shownAt();
  for (const auto& [name, stops] :
       {std::pair("Brighter", 0.5), {"Brighter", 1.0}, {"Darker", 0.5}, {"No Exposure", 0.0}}) {
    EXPECT_TRUE(item(name)->isEnabled());
    item(name)->trigger();
    EXPECT_EQ(second.statusBar()->currentMessage(), QString("Exposure %1").arg(stops, 0, 'f', 1));
    ASSERT_TRUE(settled());
    EXPECT_NEAR(shownAt(), std::min(255.0, plain * std::exp2(stops)), 2) << name;
  }
  for (const int strength : {30, 40}) {
    its.setStrength(strength);
    ASSERT_TRUE(settled());
  }
  EXPECT_THAT(second.findChild<Notice*>()->text().toStdString(), HasSubstr("The oldest steps"));
  item("Brighter")->trigger();
  ASSERT_TRUE(settled());
  EXPECT_NEAR(its.after()->colours().exposure(), std::exp2(0.5), 1e-9);
  item("Copy Picture")->trigger();
  ASSERT_TRUE(settled());
  EXPECT_EQ(QGuiApplication::clipboard()->image().pixel(7, 9),
            its.after()->part(0, {7, 9, 1, 1}).pixel(0, 0));
  answering(
      [](const fixture::Shown& shown) {
        shown.dialog->findChild<QSpinBox*>()->setValue(100);
        shown.press(Qt::Key_Return);
      },
      [&] { item("Memory for Undo")->trigger(); });
  its.close();
  second.close();
  MainWindow third(filters(), {}, "");
  for (QAction* found : third.findChildren<QAction*>()) {
    if (found->text() == "Clear on &Opening") {
      EXPECT_FALSE(found->isChecked());
      found->trigger();
    }
    if (found->text() == "&1 float.tif")
      found->trigger();
  }
  ASSERT_TRUE(until([&] { return third.workbench().after() && !third.workbench().isBusy(); }));
  for (QAction* found : third.findChildren<QAction*>())
    if (found->text() == "&Clear the List")
      found->trigger();
  third.close();
  store.sync();
  EXPECT_EQ(store.value("undoMegabytes").toInt(), 100);
  EXPECT_TRUE(store.value("recent").toStringList().isEmpty());
  store.remove("undoMegabytes");
}

TEST_F(Window, TheDialogForSavingFollowsTheNameAndRefuses) {
  writePicture("veil.png", fixture::noise(40, 30, 32, 4, host::ColourMode::rgb, true), "uint16");
  bench().setClearsOnOpening(false);
  ASSERT_TRUE(open("veil.png"));
  write("there.png", "old");
  const auto fill = [](const fixture::Shown& shown) {
    auto* name = shown.dialog->findChild<QLineEdit*>();
    const auto boxes = shown.dialog->findChildren<QComboBox*>();
    auto *format = boxes[0], *bits = boxes[1];
    const auto* quality = shown.dialog->findChild<QSpinBox*>();
    EXPECT_EQ(name->selectedText(), "veil-clear");
    const struct {
      const char *name, *format, *bits;
      bool quality;
    } cases[] = {{"x.png", "PNG (.png)", "8 [16] ", false},
                 {"x.TIFF", "TIFF (.tif)", "8 [16] 32 ", false},
                 {"x.webp", "WebP (.webp)", "[8] ", true},
                 {"x.jpeg", "JPEG (.jpg)", "[8] ", true},
                 {"x.exr", "OpenEXR (.exr)", "[32] ", false}};
    for (const auto& c : cases) {
      name->setText(c.name);
      emit name->textEdited(c.name);
      EXPECT_EQ(format->currentText(), c.format);
      std::string offered;
      for (int i = 0; i < bits->count(); ++i)
        offered +=
            (i == bits->currentIndex() ? "[" + bits->itemText(i) + "] " : bits->itemText(i) + " ")
                .toStdString();
      EXPECT_EQ(offered, c.bits);
      EXPECT_EQ(bits->isEnabled(), bits->count() > 1);
      EXPECT_EQ(quality->isEnabled(), c.quality) << c.name;
    }
    std::string refused;
    for (int i = 0; i < format->count(); ++i)
      if (!(format->model()->flags(format->model()->index(i, 0)) & Qt::ItemIsEnabled))
        refused += format->itemData(i, Qt::ToolTipRole).toString().toStdString() + "; ";
    EXPECT_EQ(refused, "JPEG cannot hold transparency; JPEG 2000 needs at least 32 pixels a side "
                       "here; PPM cannot hold transparency; Radiance cannot hold transparency; ");
    for (const auto& [chosen, becomes] :
         {std::pair("WebP (.webp)", "/x.webp"), {"PNG (.png)", "/x.png"}}) {
      format->setCurrentIndex(format->findText(chosen));
      emit format->activated(format->currentIndex());
      EXPECT_TRUE(name->text().endsWith(becomes)) << becomes;
    }
  };
  answering(
      [&](const fixture::Shown& shown) {
        fill(shown);
        shown.dialog->findChild<QLineEdit*>()->setText("there.png");
        // A file that is there is replaced when the person says so.
        for (const auto answer : {QMessageBox::No, QMessageBox::Yes}) {
          QTimer::singleShot(50, [answer] {
            qobject_cast<QMessageBox*>(QApplication::activeModalWidget())->button(answer)->click();
          });
          EXPECT_TRUE(shown.dialog->isVisible());
          shown.press(Qt::Key_Return);
        }
        EXPECT_FALSE(shown.dialog->isVisible());
      },
      [&] { trigger("Save As"); });
  ASSERT_TRUE(idle());
  EXPECT_EQ(difference("there.png", "veil.png"), 0);
  EXPECT_EQ(openPicture("there.png")->spec().format, OIIO::TypeDesc::UINT16);
  answering(
      [](const fixture::Shown& shown) {
        auto* name = shown.dialog->findChild<QLineEdit*>();
        EXPECT_EQ(name->text().section('/', -1), "veil-mask.png");
        name->setText("x.gif");
        shown.press(Qt::Key_Return);
        EXPECT_TRUE(shown.dialog->isVisible());
        name->setText("mask.png");
        shown.press(Qt::Key_Return);
      },
      [&] { trigger("Export Mask"); });
  ASSERT_TRUE(idle());
  EXPECT_TRUE(fs::exists("mask.png"));
  EXPECT_FALSE(window.isWindowModified());
  bench().setStrength(30);
  ASSERT_TRUE(idle());
  answering(
      [](const fixture::Shown& shown) {
        qobject_cast<QMessageBox*>(shown.dialog)->button(QMessageBox::Save)->click();
      },
      [&] { trigger("Close"); });
  ASSERT_TRUE(until([&] { return !bench().original(); })); // where it was saved before
  EXPECT_GT(difference("there.png", "veil.png"), 0.1);
}

TEST_F(Window, EveryControlHasANameAndAShortcutStandsOnce) {
  ASSERT_TRUE(open("a.jpg"));
  for (const QWidget* widget : window.findChildren<QWidget*>()) {
    const bool isInside = qobject_cast<QAbstractSpinBox*>(widget->parent());
    if (isInside || widget->focusPolicy() == Qt::NoFocus || !widget->isVisibleTo(&window))
      continue;
    QAccessibleInterface* access =
        QAccessible::queryAccessibleInterface(const_cast<QWidget*>(widget));
    EXPECT_FALSE(access->text(QAccessible::Name).isEmpty()) << widget->metaObject()->className();
  }
  std::set<QKeySequence> seen;
  for (const QAction* action : window.findChildren<QAction*>())
    for (const QKeySequence& keys : action->shortcuts())
      EXPECT_TRUE(seen.insert(keys).second) << action->text().toStdString();
  bench().close();
}

// The other filter is Fogdissolver under another name, for pictures of nine channels.
TEST_F(Window, TheFilterMenuListsTheModulesAndSaysWhyOneIsRefused) {
  fs::create_directory("filters");
  fs::create_symlink(module().file(), "filters/" + module().file().filename().string());
  std::string other = contents(module().file());
  for (const auto& [from, to] : {std::pair("\x0c"
                                           "Fogdissolver",
                                           "\x0cOther filter"),
                                 std::pair("NumTrueChannels >= 3", "NumTrueChannels >= 9")})
    for (size_t at = 0; (at = other.find(from, at)) != std::string::npos; ++at)
      other.replace(at, std::strlen(to), to);
  write("filters/other.so", other);
  write("filters/text.so", "PIPL_16000, and no module");
  const Filters found{"filters"};
  ASSERT_EQ(found.all().size(), 2u);
  MainWindow second(found, {}, "");
  second.openFiles({"a.jpg"});
  ASSERT_TRUE(until([&] { return second.workbench().after() && !second.workbench().isBusy(); }));
  std::map<std::string, bool> items;
  for (const QAction* item : second.findChildren<QAction*>())
    items[item->text().toStdString()] = item->isEnabled();
  EXPECT_TRUE(items.at("Fogdissolver…"));
  EXPECT_FALSE(items.at("Other filter… (the filter needs at least 9 colour channels)"));
}

// Names a file in a dialog for files.
void nameFile(const fixture::Shown& shown, const fs::path& file) {
  shown.dialog->findChild<QLineEdit*>()->setText(QString::fromStdString(file));
  shown.press(Qt::Key_Return);
}

TEST_F(Window, TheBatchWindowKeepsTheListAndTheChoices) {
  fs::create_directories("shots/deep");
  for (const char* name : {"shots/c.JPG", "shots/deep/b.jpg", "shots/d.jpg"})
    fs::copy_file("a.jpg", name);
  write("shots/d-clear.jpg", "d's result");
  shared::Look present;
  present.strength = 20;
  auto batch = std::make_unique<BatchWindow>([&] { return present; }, FOG_DESKTOP);
  batch->show();
  const auto list = [&] { return batch->findChild<QTreeWidget*>(); };
  const auto off = [&] { // buttons
    std::string names;
    for (const QPushButton* button : batch->findChildren<QPushButton*>())
      if (!button->isEnabled())
        names += QString(button->text()).remove('&').toStdString() + "; ";
    return names;
  };
  const auto press = [&](const QString& text) {
    for (QPushButton* button : batch->findChildren<QPushButton*>())
      if (QString(button->text()).remove('&') == text)
        return button->click();
    ADD_FAILURE() << text.toStdString();
  };
  const auto says = [&](const QString& part) {
    return until([&] {
      for (const QLabel* label : batch->findChildren<QLabel*>())
        if (label->text().contains(part))
          return true;
      return false;
    });
  };
  const auto idle = [&] {
    return until([&] { return batch->batch().phase() == Batch::Phase::idle; });
  };
  const auto box = [&](const QString& item) { // the one that has it, set to it
    for (QComboBox* found : batch->findChildren<QComboBox*>())
      if (const int i = found->findText(item, Qt::MatchStartsWith); i >= 0) {
        found->setCurrentIndex(i);
        emit found->activated(i);
        return;
      }
    ADD_FAILURE() << item.toStdString();
  };
  const auto cell = [&](int row, int column) {
    return list()->topLevelItem(row)->text(column).toStdString();
  };
  EXPECT_TRUE(says("Drop photographs or a folder here"));
  EXPECT_EQ(off(), "Remove; Try Again; Start; Pause; Cancel; ");
  QMimeData dropped;
  dropped.setUrls({QUrl::fromLocalFile(QString::fromStdString(folder / "a.jpg")),
                   QUrl::fromLocalFile(QString::fromStdString(folder / "shots")),
                   QUrl::fromLocalFile(QString::fromStdString(folder / "a.jpg"))});
  QDragEnterEvent enter({9, 9}, Qt::CopyAction, &dropped, Qt::LeftButton, {});
  QDropEvent drop({9, 9}, Qt::CopyAction, &dropped, Qt::LeftButton, {});
  EXPECT_TRUE(QCoreApplication::sendEvent(batch.get(), &enter) && enter.isAccepted());
  QCoreApplication::sendEvent(batch.get(), &drop);
  EXPECT_TRUE(says("Looking for photographs"));
  ASSERT_TRUE(says("4 photograph(s), 0 done, 0 failed"));
  batch->addFiles({"shots/d.jpg"}); // is there already
  ASSERT_TRUE(says("4 photograph(s)"));
  EXPECT_EQ(off(), "Remove; Try Again; Pause; Cancel; ");
  EXPECT_EQ(cell(0, 0) + cell(1, 0) + cell(2, 0) + cell(3, 0), "a.jpgc.JPGd.jpgb.jpg");
  EXPECT_EQ(cell(2, 3), "Waiting");
  EXPECT_TRUE(until([&] { return cell(3, 1).starts_with("120 × 80, "); }));
  EXPECT_TRUE(cell(0, 1).ends_with(" KiB")) << cell(0, 1);
  EXPECT_EQ(list()->topLevelItem(0)->icon(0).availableSizes().value(0), QSize(72, 48));
  for (int row = 1; row < 3; ++row)
    list()->topLevelItem(row)->setSelected(true);
  EXPECT_EQ(off(), "Try Again; Pause; Cancel; ");
  press("Remove");
  ASSERT_TRUE(says("2 photograph(s)"));

  answering([&](const fixture::Shown& shown) { nameFile(shown, folder / "shots"); },
            [&] { press("Browse…"); });
  box("As the photograph");
  box("WebP");
  box("That of the photograph");
  for (QSpinBox* number : batch->findChildren<QSpinBox*>())
    number->setValue(number->maximum() == 100 ? 50 : 1);
  press("Start");
  EXPECT_EQ(off(), "Remove; Try Again; Start; ");
  press("Pause");
  EXPECT_EQ(batch->batch().phase(), Batch::Phase::paused);
  press("Go On");
  EXPECT_EQ(batch->batch().phase(), Batch::Phase::running);
  ASSERT_TRUE(idle());
  EXPECT_TRUE(says("2 photograph(s), 2 done, 0 failed"));
  EXPECT_EQ(off(), "Remove; Try Again; Start; Pause; Cancel; ") << "all is done";
  const auto* whole = batch->findChild<QProgressBar*>();
  EXPECT_EQ(whole->value(), whole->maximum());
  EXPECT_EQ(list()->topLevelItem(1)->data(2, BatchWindow::shareRole).toInt(), 100);
  ASSERT_EQ(FolderTest::run("a.jpg --strength 20 --quality 50 -o theirs.webp"), 0);
  EXPECT_EQ(contents("shots/a-clear.webp"), contents("theirs.webp"));

  batch = std::make_unique<BatchWindow>([&] { return present; }, FOG_DESKTOP); // remembers
  write("look", "strength = 55\n");
  answering([&](const fixture::Shown& shown) { nameFile(shown, folder / "look"); },
            [&] { box("From a settings file"); });
  EXPECT_EQ(batch->findChild<QComboBox*>()->currentText(), "From look");
  batch->addFiles({"a.jpg", "shots/d.jpg"});
  ASSERT_TRUE(says("2 photograph(s)"));
  press("Start"); // existing files stay
  ASSERT_TRUE(idle() && says("2 photograph(s), 1 done, 0 failed"));
  EXPECT_EQ(cell(0, 3), "Left out: its result exists already");
  EXPECT_EQ(off(), "Remove; Pause; Cancel; ");
  box("Keep, and number");
  list()->topLevelItem(0)->setSelected(true);
  press("Try Again");
  ASSERT_TRUE(idle() && says("2 done"));
  ASSERT_EQ(FolderTest::run("a.jpg --settings look --quality 50 -o look.webp"), 0);
  EXPECT_EQ(contents("shots/a-clear-2.webp"), contents("look.webp"));
  EXPECT_EQ(files(), (Strings{"a.jpg", "broken.jpg", "look", "look.webp", "shots",
                              "shots/a-clear-2.webp", "shots/a-clear.webp", "shots/b-clear.webp",
                              "shots/c.JPG", "shots/d-clear.jpg", "shots/d-clear.webp",
                              "shots/d.jpg", "shots/deep", "shots/deep/b.jpg", "theirs.webp"}));
  // A batch that runs is not ended without a question.
  writePicture("large.jpg", fixture::hazyScene(1500, 1000, 32));
  answering([&](const fixture::Shown& shown) { nameFile(shown, folder / "large.jpg"); },
            [&] { press("Add…"); });
  ASSERT_TRUE(says("3 photograph(s)"));
  batch->show();
  press("Start");
  for (const auto answer : {QMessageBox::No, QMessageBox::Yes}) {
    answering(
        [&](const fixture::Shown& shown) {
          qobject_cast<QMessageBox*>(shown.dialog)->button(answer)->click();
        },
        [&] { batch->close(); });
    EXPECT_EQ(batch->isVisible(), answer == QMessageBox::No);
  }
  ASSERT_TRUE(idle());
  EXPECT_EQ(cell(2, 3), "Stopped");
  batch.reset();
  QSettings(QSettings::IniFormat, QSettings::UserScope, "fogdissolver", "desktop").remove("batch");
}

TEST_F(Window, ABatchTellsOfEachPhotographAndTriesAgain) {
  fs::create_directory("shots");
  fs::copy_file("a.jpg", "shots/b.jpg");
  fs::copy_file("broken.jpg", "shots/c.jpg");
  fs::copy_file("a.jpg", "shots/b-clear.jpg");
  write("shots/notes.txt", "no picture");
  BatchWindow batch([] { return shared::Look(); }, FOG_DESKTOP);
  batch.addFiles({"shots", "a.jpg"});
  auto* list = batch.findChild<QTreeWidget*>();
  ASSERT_TRUE(until([&] { return list->topLevelItemCount() == 3; }));
  const auto button = [&](const QString& text) {
    for (QPushButton* b : batch.findChildren<QPushButton*>())
      if (QString(b->text()).remove('&') == text)
        return b;
    throw std::runtime_error(text.toStdString());
  };
  const auto run = [&](const QString& text) {
    button(text)->click();
    ASSERT_TRUE(until([&] { return batch.batch().phase() == Batch::Phase::idle; }));
  };
  const auto state = [&](int row) { return list->topLevelItem(row)->text(3).toStdString(); };
  for (QLineEdit* folder : batch.findChildren<QLineEdit*>())
    if (folder->accessibleName() == "Folder of the results")
      folder->setText("out");
  run("Start");
  EXPECT_THAT(state(0), HasSubstr("out/b-clear.jpg"));
  EXPECT_THAT(state(1), HasSubstr("Failed: truncated"));
  EXPECT_THAT(state(2), HasSubstr("out/a-clear.jpg"));
  fs::copy_file("a.jpg", "shots/c.jpg", fs::copy_options::overwrite_existing);
  run("Try Again");
  EXPECT_THAT(state(1), HasSubstr("out/c-clear.jpg"));
  ASSERT_EQ(FolderTest::run("a.jpg -o theirs.jpg"), 0);
  EXPECT_EQ(difference("out/a-clear.jpg", "theirs.jpg"), 0);

  const auto planned = [&](Existing existing) {
    BatchSettings settings;
    settings.folder = folder / "out";
    settings.existing = existing;
    return planBatch({(folder / "a.jpg").string(), (folder / "shots/a.jpg").string()}, settings);
  };
  EXPECT_EQ(planned(Existing::skip)[0].refusal, "its result exists already");
  EXPECT_TRUE(planned(Existing::replace)[0].output.ends_with("out/a-clear.jpg"));
  EXPECT_TRUE(planned(Existing::replace)[1].output.ends_with("out/a-clear-2.jpg"));
  EXPECT_TRUE(planned(Existing::number)[1].output.ends_with("out/a-clear-3.jpg"));

  Batch held(FOG_DESKTOP);
  std::map<QString, int> told;
  QObject::connect(&held, &Batch::happened, [&](const BatchEvent& event) { ++told[event.kind]; });
  BatchOrder order;
  for (const char* name : {"1.jpg", "2.jpg"})
    order.photographs.push_back({folder / "a.jpg", folder / name});
  held.start(order);
  ASSERT_TRUE(until([&] { return told["started"] == 1; }));
  held.pause();
  EXPECT_FALSE(QTest::qWaitFor([&] { return held.phase() == Batch::Phase::idle; }, 1500));
  EXPECT_EQ(told["done"], 0);
  held.cancel();
  ASSERT_TRUE(until([&] { return held.phase() == Batch::Phase::idle; }));
  EXPECT_EQ(told["stopped"] + told["done"], 2);
  EXPECT_FALSE(fs::exists("2.jpg"));
}

} // namespace
