// The window with real events: open, compare, change, undo, save, cancel, damaged files, the batch.

#include <csignal>

#include <sys/resource.h>

#include <QAbstractSpinBox>
#include <QAccessible>
#include <QAction>
#include <QClipboard>
#include <QComboBox>
#include <QDropEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QMimeData>
#include <QProgressBar>
#include <QPushButton>
#include <QSettings>
#include <QSlider>
#include <QSpinBox>
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
  // Answers the next dialog; meanwhile the window handles its events.
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
  EXPECT_FALSE(window.isWindowModified()); // opening makes it again
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
  small = {300, whole.rlim_max}; // the disk will soon be full
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
        isCancelled = bench().isBusy(); // the run is in the background
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
  EXPECT_TRUE(bench().original()); // the photograph stays if another one cannot be opened

  const int id = bench().history()->id();
  bench().setStrength(10);
  bench().setStrength(20); // does not wait for the first of two runs
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
  bench().close(); // during a run
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
  bench().open("gone.jpg"); // after the cancelled run, which may still be in the module
  ASSERT_TRUE(idle());
  EXPECT_EQ(notice(), "gone.jpg: No such file or directory");
  MainWindow next(filters(), {}, ""); // remembers the settings
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

// Disabled menu items.
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
  // The photograph fills all available space.
  const View& view = window.view();
  const QRect centre = window.centralWidget()->geometry();
  const QWidget* bar = window.findChild<QSlider*>()->parentWidget();
  EXPECT_EQ(QRect(view.mapTo(&window, QPoint(0, 0)), view.size()),
            centre.adjusted(0, 0, 0, -bar->height()));
  bench().close();
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

// The other filter is Fogdissolver with another name, for pictures of nine channels.
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

// Enters a name in a file dialog.
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
  const auto off = [&] { // disabled buttons
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
  const auto box = [&](const QString& item) { // finds the box with this item and selects it
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
  batch->addFiles({"a.jpg", "shots/d.jpg"}); // they are in the list already
  ASSERT_TRUE(says("4 photograph(s)"));
  EXPECT_EQ(off(), "Remove; Try Again; Pause; Cancel; ");
  EXPECT_EQ(cell(0, 0) + cell(1, 0) + cell(2, 0) + cell(3, 0), "a.jpgc.JPGd.jpgb.jpg");
  EXPECT_EQ(cell(2, 3), "Waiting");
  EXPECT_TRUE(until([&] { return cell(3, 1).starts_with("120 × 80, "); }));
  for (int row = 0; row < 4; ++row)
    EXPECT_THAT(cell(row, 1), testing::MatchesRegex("120 × 80, [0-9.]+ KiB"));
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

  // The next window remembers the settings; existing files are not overwritten.
  batch = std::make_unique<BatchWindow>([&] { return present; }, FOG_DESKTOP);
  batch->addFiles({"a.jpg", "shots/d.jpg"});
  ASSERT_TRUE(says("2 photograph(s)"));
  press("Start");
  ASSERT_TRUE(idle() && says("2 photograph(s), 1 done, 0 failed"));
  EXPECT_EQ(cell(0, 3), "Left out: its result exists already");
  EXPECT_EQ(off(), "Remove; Pause; Cancel; ");
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
