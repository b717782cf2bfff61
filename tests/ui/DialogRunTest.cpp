// Whole runs of the built module in the host, with the dialog on Qt's offscreen platform: real
// keys, wheel turns, mouse and clipboard reach real widgets.
#include <gmock/gmock.h>

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QDialog>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSlider>
#include <QStyle>
#include <QStyleOptionSlider>
#include <QTest>
#include <QTimer>
#include <QWheelEvent>
#include <QWindow>

#include <cmath>
#include <functional>
#include <thread>

#include "frame/contract/Parameters.h"
#include "tests/support/HostFixture.h"

namespace {

// The dialog as a user finds it. Widgets come in the order of the tab key.
struct Shown {
  QDialog* dialog;

  QWindow* window() const { return dialog->windowHandle(); }
  QSlider* slider(int i) const { return dialog->findChildren<QSlider*>().at(i); }
  QLineEdit* box(int i) const { return dialog->findChildren<QLineEdit*>().at(i); }
  QCheckBox* check(int i) const { return dialog->findChildren<QCheckBox*>().at(i); }
  QPushButton* button(int i) const { return dialog->findChildren<QPushButton*>().at(i); }

  void key(Qt::Key key, Qt::KeyboardModifiers held = {}) const {
    QTest::keyClick(window(), key, held);
    QCoreApplication::processEvents();
  }
  void type(const QString& text) const {
    for (const QChar c : text)
      QTest::keyClick(window(), c.toLatin1());
    QCoreApplication::processEvents();
  }
  void click(QWidget* widget, QPoint where = {}) const {
    const QPoint at = widget->mapTo(dialog, where.isNull() ? widget->rect().center() : where);
    QTest::mouseClick(window(), Qt::LeftButton, {}, at);
    QCoreApplication::processEvents();
  }
  static void wheel(QWidget* widget, int turn) {
    const QPointF at = widget->rect().center();
    QWheelEvent event(at, widget->mapToGlobal(at), {}, QPoint(0, turn), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(widget, &event);
    QCoreApplication::processEvents();
  }
  // The preview, in the pixels of the frame that lies left of all other controls.
  QImage picture() const { return dialog->grab().toImage().convertToFormat(QImage::Format_RGB32); }
};
enum { foregroundPosition, backgroundPosition, foregroundIntensity, backgroundIntensity, balance };
enum { exportBox, displayBox, previewBox };
enum { okButton, helpButton, cancelButton };

struct DialogRun : testing::Test {
  DialogRun() {
    setenv("LC_ALL", "C.UTF-8", 1);
    QApplication::clipboard()->clear();
  }

  host::RunOutcome run(host::Document& document, const std::function<void(const Shown&)>& script,
                       bool about = false) {
    host::Session session(fixture::builtModule(), document, host::SessionOptions{});
    bool ran = false;
    std::function<void()> start = [&] {
      auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
      if (!dialog || !dialog->isActiveWindow())
        return QTimer::singleShot(5, start);
      ran = true;
      script(Shown{dialog});
    };
    QTimer::singleShot(0, start);
    const host::RunOutcome outcome = about ? session.about() : session.runFromMenu();
    EXPECT_TRUE(ran);
    // A filter run leaves the work buffer of its resampling to the host.
    EXPECT_EQ(session.buffers().live, outcome.ok() && !about ? 1 : 0);
    EXPECT_EQ(session.buffers().refusedReleases, 0);
    if (outcome.ok() && !about)
      used = *static_cast<const Parameters*>(session.parameters());
    return outcome;
  }

  Parameters used = {}; // of the last run that was not cancelled
};

TEST_F(DialogRun, TypedNumbersReachTheSettings) {
  host::Document document = fixture::hazyScene(90, 60, 8);
  const host::RunOutcome outcome = run(document, [](const Shown& d) {
    EXPECT_EQ(d.dialog->windowTitle(), "Velso Fogdissolver 1.0.2");
    EXPECT_EQ(d.dialog->focusWidget(), d.box(foregroundPosition));
    d.key(Qt::Key_A, Qt::ControlModifier);
    d.type("3x0");
    EXPECT_EQ(d.box(foregroundPosition)->text(), "30");
    EXPECT_EQ(d.slider(foregroundPosition)->value(), 0);
    d.key(Qt::Key_Return); // confirms, and does not press OK
    EXPECT_EQ(d.slider(foregroundPosition)->value(), 30);
    d.key(Qt::Key_Tab);
    EXPECT_EQ(d.dialog->focusWidget(), d.slider(backgroundPosition));
    d.key(Qt::Key_Tab);
    EXPECT_EQ(d.box(backgroundPosition)->selectedText(), "100"); // by the tab key
    d.type("250");
    d.key(Qt::Key_Up); // from the value that was typed, clamped
    EXPECT_EQ(d.box(backgroundPosition)->text(), "100");
    d.key(Qt::Key_Down);
    d.key(Qt::Key_Down);
    EXPECT_EQ(d.box(backgroundPosition)->text(), "98");
    EXPECT_EQ(d.slider(backgroundPosition)->value(), 98);
    d.box(foregroundIntensity)->setFocus();
    d.box(foregroundIntensity)->setCursorPosition(0);
    d.key(Qt::Key_End, Qt::ShiftModifier);
    d.key(Qt::Key_Delete);
    EXPECT_EQ(d.box(foregroundIntensity)->text(), "");
    d.type("45");
    d.key(Qt::Key_Backspace);
    d.click(d.button(okButton)); // the focus leaves the box and notifies
  });
  ASSERT_TRUE(outcome.ok()) << outcome.message;
  EXPECT_EQ(used.foregroundPosition, 0.3f);
  EXPECT_EQ(used.backgroundPosition, 0.98f);
  EXPECT_EQ(used.foregroundIntensity, 0.04f);
}

TEST_F(DialogRun, PastesAreGatedAndForgotten) {
  host::Document document = fixture::hazyScene(90, 60, 8);
  run(document, [](const Shown& d) {
    QLineEdit* box = d.box(foregroundPosition);
    const auto paste = [&](const char* text) {
      box->selectAll();
      QApplication::clipboard()->setText(text);
      d.key(Qt::Key_V, Qt::ControlModifier);
      return box->text();
    };
    EXPECT_EQ(paste("80"), "80");
    EXPECT_EQ(paste("150"), "80");
    EXPECT_EQ(paste("7abc"), "7abc");
    box->selectAll();
    QApplication::clipboard()->setText("61");
    d.key(Qt::Key_Insert, Qt::ShiftModifier);
    EXPECT_EQ(box->text(), "61");
    box->selectAll();
    d.key(Qt::Key_X, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text(), "61");
    QApplication::clipboard()->setText("33", QClipboard::Selection);
    QTest::mouseClick(d.window(), Qt::MiddleButton, {}, box->mapTo(d.dialog, QPoint(5, 5)));
    EXPECT_EQ(box->text(), "");
    d.key(Qt::Key_Tab);
    EXPECT_EQ(box->text(), "0"); // the value that it had all the time
    EXPECT_EQ(d.slider(foregroundPosition)->value(), 0);
    d.key(Qt::Key_Escape);
  });
}

TEST_F(DialogRun, KeysAndWheelOfTheSliders) {
  host::Document document = fixture::hazyScene(90, 60, 8);
  const host::RunOutcome outcome = run(document, [](const Shown& d) {
    QSlider* slider = d.slider(backgroundPosition);
    slider->setFocus();
    const auto after = [&](Qt::Key key) {
      d.key(key);
      return slider->value();
    };
    EXPECT_EQ(after(Qt::Key_Down), 99); // up is more here
    EXPECT_EQ(after(Qt::Key_PageUp), 79);
    EXPECT_EQ(after(Qt::Key_Up), 80);
    EXPECT_EQ(after(Qt::Key_Right), 81);
    EXPECT_EQ(after(Qt::Key_Left), 80);
    EXPECT_EQ(after(Qt::Key_PageDown), 100);
    EXPECT_EQ(after(Qt::Key_Home), 0);
    EXPECT_EQ(after(Qt::Key_End), 100);
    // Press and release are two messages, of which one always counts.
    EXPECT_EQ(d.box(backgroundPosition)->text(), "100");
    Shown::wheel(slider, -120);
    Shown::wheel(slider, -60); // half a notch waits for the other half
    EXPECT_EQ(slider->value(), 99);
    Shown::wheel(slider, -60);
    EXPECT_EQ(slider->value(), 98);
    EXPECT_EQ(d.box(backgroundPosition)->text(), "98");
    Shown::wheel(slider, 240);
    EXPECT_EQ(slider->value(), 100);
    Shown::wheel(d.box(foregroundPosition), 120);
    EXPECT_EQ(d.box(foregroundPosition)->text(), "1");
    EXPECT_EQ(d.slider(foregroundPosition)->value(), 1);
    slider->setFocus();
    d.key(Qt::Key_Return); // on a slider Enter is the dialog's: OK
  });
  EXPECT_TRUE(outcome.ok());
  EXPECT_EQ(used.foregroundPosition, 0.01f);
  EXPECT_EQ(used.backgroundPosition, 1.0f);
}

TEST_F(DialogRun, TheMouseOnTheSliders) {
  host::Document document = fixture::hazyScene(90, 60, 8);
  const host::RunOutcome outcome = run(document, [](const Shown& d) {
    QSlider* slider = d.slider(foregroundIntensity);
    slider->setFocus();
    d.key(Qt::Key_Home);
    const QPoint track(slider->width() - 3, slider->height() / 2);
    for (const char* text : {"20", "40", "60"}) { // each click counts: its second message does not
      d.click(slider, track);
      EXPECT_EQ(d.box(foregroundIntensity)->text(), text);
    }
    // However many steps a drag has, its end is what counts.
    for (const int steps : {1, 2, 3, 7}) {
      QStyleOptionSlider option;
      option.initFrom(slider);
      option.minimum = 0;
      option.maximum = 100;
      option.sliderPosition = option.sliderValue = slider->value();
      const QPoint from =
          slider->mapTo(d.dialog, slider->style()
                                      ->subControlRect(QStyle::CC_Slider, &option,
                                                       QStyle::SC_SliderHandle, slider)
                                      .center());
      QTest::mousePress(d.window(), Qt::LeftButton, {}, from);
      for (int i = 1; i <= steps; ++i)
        QTest::mouseMove(d.window(), from - QPoint(9 * i / steps, 0));
      QTest::mouseRelease(d.window(), Qt::LeftButton, {}, from - QPoint(9, 0));
      QCoreApplication::processEvents();
      EXPECT_EQ(d.box(foregroundIntensity)->text(), QString::number(slider->value())) << steps;
    }
    EXPECT_LT(slider->value(), 60);
    d.click(d.slider(balance), QPoint(d.slider(balance)->width() - 3, 8));
    EXPECT_EQ(d.slider(balance)->value(), 70);
    d.click(d.button(okButton));
  });
  EXPECT_TRUE(outcome.ok());
  EXPECT_LT(used.foregroundIntensity, 0.6f);
  EXPECT_EQ(used.power, float(std::exp(double(float(70 / 25.0 - 2.0)))));
}

TEST_F(DialogRun, AltShowsTheMaskAndResets) {
  host::Document document = fixture::hazyScene(90, 60, 8);
  const host::Document before = fixture::copyOf(document);
  const host::RunOutcome outcome = run(document, [](const Shown& d) {
    const QImage usual = d.picture();
    const QString intensity = d.box(foregroundIntensity)->text();
    d.box(foregroundIntensity)->setFocus();
    d.key(Qt::Key_Up);
    d.key(Qt::Key_Up);
    EXPECT_NE(d.box(foregroundIntensity)->text(), intensity);
    QTest::keyPress(d.window(), Qt::Key_Alt, Qt::AltModifier);
    EXPECT_EQ(d.button(cancelButton)->text(), "Reset");
    EXPECT_TRUE(d.check(displayBox)->isChecked());
    const QImage mask = d.picture();
    EXPECT_NE(mask, usual);
    const QRgb middle = mask.pixel(mask.width() / 3, mask.height() / 2);
    EXPECT_TRUE(qRed(middle) == qGreen(middle) && qGreen(middle) == qBlue(middle));
    QTest::keyPress(d.window(), Qt::Key_7, Qt::AltModifier);
    EXPECT_FALSE(d.box(foregroundIntensity)->text().contains('7'));
    QWidget* const reset = d.button(cancelButton);
    QTest::mouseClick(d.window(), Qt::LeftButton, Qt::AltModifier,
                      reset->mapTo(d.dialog, reset->rect().center()));
    EXPECT_TRUE(d.dialog->isVisible());
    EXPECT_EQ(d.box(foregroundIntensity)->text(), intensity);
    EXPECT_EQ(d.button(cancelButton)->text(), "Reset");
    QTest::keyRelease(d.window(), Qt::Key_Alt);
    EXPECT_EQ(d.button(cancelButton)->text(), "Cancel");
    EXPECT_FALSE(d.check(displayBox)->isChecked());
    d.click(d.button(cancelButton));
  });
  EXPECT_TRUE(outcome.cancelled);
  EXPECT_TRUE(fixture::sameSamples(document, before));
}

TEST_F(DialogRun, EveryWayOutButOkIsACancel) {
  const std::function<void(const Shown&)> ways[] = {
      [](const Shown& d) { d.key(Qt::Key_Escape); },
      [](const Shown& d) { d.dialog->close(); },
      [](const Shown& d) { // closed while Cancel reads Reset
        QTest::keyPress(d.window(), Qt::Key_Alt, Qt::AltModifier);
        d.dialog->close();
      },
      [](const Shown& d) {
        d.click(d.check(exportBox));
        d.type("77");
        d.click(d.button(cancelButton));
      },
      [](const Shown&) { QCoreApplication::exit(); },
  };
  for (const auto& way : ways) {
    host::Document document = fixture::hazyScene(90, 60, 8);
    const host::Document before = fixture::copyOf(document);
    const host::RunOutcome outcome = run(document, way);
    EXPECT_TRUE(outcome.cancelled);
    EXPECT_EQ(outcome.result, userCanceledErr);
    EXPECT_TRUE(fixture::sameSamples(document, before));
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
  }
  QTimer::singleShot(0, [] { QCoreApplication::exit(); });
  QCoreApplication::exec(); // makes the application forget that it was to end
}

TEST_F(DialogRun, OkFiltersAtEachDepthAndWithTransparency) {
  for (const int depth : {8, 16, 32})
    for (const bool transparency : {false, true}) {
      const host::Document scene = fixture::hazyScene(90, 60, depth);
      host::Document document(90, 60, transparency ? 4 : 3, depth, host::ColourMode::rgb,
                              transparency);
      fixture::fill(document, [&](int32_t x, int32_t y, int32_t c) {
        return c == 3 ? (x < 45 ? 1.0 : 0.0)
                      : fixture::sampleAt(scene, x, y, c) / fixture::fullScale(scene);
      });
      const host::Document before = fixture::copyOf(document);
      const host::RunOutcome outcome =
          run(document, [](const Shown& d) { d.click(d.button(okButton)); });
      ASSERT_TRUE(outcome.ok()) << outcome.message;
      EXPECT_FALSE(fixture::sameSamples(document, before));
      EXPECT_EQ(used.preview, 1);
      if (transparency) { // fully transparent pixels come back as they were
        for (int32_t c = 0; c < 4; ++c)
          EXPECT_EQ(fixture::sampleAt(document, 80, 30, c), fixture::sampleAt(before, 80, 30, c));
      }
    }
}

TEST_F(DialogRun, TheExportedMaskIsGrey) {
  host::Document document = fixture::hazyScene(90, 60, 8);
  const host::RunOutcome outcome = run(document, [](const Shown& d) {
    QTest::keyClick(d.window(), Qt::Key_E, Qt::AltModifier); // the mnemonic, pressed for a moment
    EXPECT_TRUE(QTest::qWaitFor([&] { return d.check(exportBox)->isChecked(); }, 2000));
    d.click(d.button(okButton));
  });
  ASSERT_TRUE(outcome.ok());
  EXPECT_EQ(used.outputMap, 1);
  for (int32_t y = 0; y < 60; ++y)
    for (int32_t x = 0; x < 90; ++x) {
      ASSERT_EQ(fixture::sampleAt(document, x, y, 0), fixture::sampleAt(document, x, y, 1));
      ASSERT_EQ(fixture::sampleAt(document, x, y, 0), fixture::sampleAt(document, x, y, 2));
    }
}

// What the user saw is what the file gets, for an image that the frame shows pixel by pixel.
TEST_F(DialogRun, PreviewAndResultAgree) {
  host::Document document = fixture::hazyScene(240, 160, 8);
  QImage seen;
  const host::RunOutcome outcome = run(document, [&](const Shown& d) {
    seen = d.picture();
    d.click(d.button(okButton));
  });
  ASSERT_TRUE(outcome.ok());
  // The picture's corner: the frame is dark grey around it.
  const QRgb grey = qRgb(0x40, 0x40, 0x40);
  QPoint corner(0, seen.height() / 2);
  while (seen.pixel(corner) != grey)
    corner.rx()++;
  while (seen.pixel(corner) == grey)
    corner.rx()++;
  while (seen.pixel(corner - QPoint(0, 1)) != grey)
    corner.ry()--;
  int within = 0, all = 0, largest = 0;
  for (int32_t y = 0; y < 160; ++y)
    for (int32_t x = 0; x < 240; ++x) {
      const QRgb pixel = seen.pixel(corner + QPoint(x, y));
      const int shown[] = {qRed(pixel), qGreen(pixel), qBlue(pixel)};
      for (int32_t c = 0; c < 3; ++c, ++all) {
        const int off = std::abs(shown[c] - int(fixture::sampleAt(document, x, y, c)));
        within += off <= 1;
        largest = std::max(largest, off);
      }
    }
  RecordProperty("largestDifference", largest);
  EXPECT_GE(within, all * 0.999) << largest;
}

TEST_F(DialogRun, TheAboutBoxCloses) {
  host::Document nothing(1, 1, 3, 8);
  const std::function<void(const Shown&)> ways[] = {
      [](const Shown& d) {
        EXPECT_EQ(d.dialog->windowTitle(), "Velso Fogdissolver 1.0.2");
        d.key(Qt::Key_Return); // the default button
      },
      [](const Shown& d) { d.key(Qt::Key_Escape); },
      [](const Shown& d) { d.dialog->close(); },
  };
  for (const auto& way : ways)
    EXPECT_TRUE(run(nothing, way, true).ok());
}

TEST_F(DialogRun, WithoutAnApplicationsThreadThereIsNoDialog) {
  host::Document document = fixture::hazyScene(90, 60, 8);
  host::RunOutcome outcome;
  std::thread([&] {
    host::Session session(fixture::builtModule(), document, host::SessionOptions{});
    outcome = session.runFromMenu();
  }).join();
  EXPECT_TRUE(outcome.cancelled);
}

// Where a widget's looks lie: a label may have more room than its text, and lend it.
QRect inked(const QWidget* widget) {
  QRect rect = widget->geometry();
  if (qobject_cast<const QLabel*>(widget))
    rect.setWidth(std::min(rect.width(), widget->sizeHint().width()));
  return rect;
}

// Texts have room, nothing sticks out, and only frames lie around other controls.
TEST_F(DialogRun, NothingIsClipped) {
  for (const char* language : {"C.UTF-8", "fr_FR.UTF-8"})
    for (const bool about : {false, true}) {
      setenv("LC_ALL", language, 1);
      host::Document document = fixture::hazyScene(90, 60, 8);
      const auto look = [&](const Shown& d) {
        QList<const QWidget*> solid;
        for (const QWidget* widget : d.dialog->findChildren<QWidget*>()) {
          EXPECT_TRUE(d.dialog->rect().contains(widget->geometry()));
          if (!widget->isVisible() || qobject_cast<const QGroupBox*>(widget))
            continue;
          const QString text = widget->property("text").toString();
          SCOPED_TRACE(language + (": " + text + widget->accessibleName()).toStdString());
          if (qobject_cast<const QLabel*>(widget) || qobject_cast<const QCheckBox*>(widget)) {
            EXPECT_LE(widget->sizeHint().width(), widget->width());
          }
          if (qobject_cast<const QPushButton*>(widget)) {
            EXPECT_LE(widget->fontMetrics().horizontalAdvance(text) + 8, widget->width());
          }
          EXPECT_GE(widget->height(), text.isEmpty() ? 0 : widget->fontMetrics().height() - 1);
          if (text.isEmpty() && widget->accessibleName().isEmpty())
            continue; // a picture, with air around it
          for (const QWidget* other : solid)
            EXPECT_FALSE(inked(other).intersects(inked(widget)))
                << qPrintable(other->property("text").toString());
          solid.push_back(widget);
        }
        EXPECT_GE(solid.size(), about ? 2 : 22);
        d.dialog->close();
      };
      run(document, look, about);
    }
}

} // namespace

int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);
  QApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
