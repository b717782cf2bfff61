// What the dialog layer promises beyond the plug-in's own dialogs, with real widgets.
#include <gmock/gmock.h>

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QDialog>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QTimer>

#include <functional>
#include <optional>
#include <stdexcept>

#include "ui/toolkit/DialogTemplate.h"
#include "ui/toolkit/WindowRecord.h"

namespace {

constexpr int editId = 7, otherId = 9;
constexpr DialogControl rows[] = {
    {editId, ControlKind::edit, "", nullptr, {5, 5, 60, 12}},
    {1, ControlKind::defaultPushButton, "OK", nullptr, {5, 40, 40, 14}},
    {otherId, ControlKind::pushButton, "Other", nullptr, {50, 40, 40, 14}},
};
constexpr DialogTemplate table = {"Test", 100, 60, 8, 0, rows, 3};

struct Toolkit : testing::Test {
  static inline int argc = 1;
  static inline char name[] = "test";
  static inline char* argv[] = {name, nullptr};
  std::optional<QApplication> application;
  static inline int painted;

  Toolkit() {
    if (!qApp)
      application.emplace(argc, argv);
    painted = 0;
  }

  // Runs the dialog and, in it, the script.
  static intptr_t run(DialogProc proc, const std::function<void(QDialog*)>& script) {
    QTimer::singleShot(20, [&] {
      if (auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget()))
        script(dialog);
    });
    return DialogBoxParam(&table, nullptr, proc, 5);
  }
};

TEST_F(Toolkit, ExceptionsPassAroundTheEventLoop) {
  const auto proc = [](Window dialog, uint32_t message, uintptr_t wParam, intptr_t) -> intptr_t {
    if (message == WM_COMMAND && wParam == 1)
      throw std::runtime_error("first");
    if (message == WM_DESTROY && IsWindow(dialog))
      throw std::runtime_error("second");
    return 0;
  };
  for (int again = 0; again < 2; ++again)
    try {
      run(proc, [](QDialog* dialog) { dialog->findChild<QPushButton*>()->click(); });
      FAIL() << "nothing was thrown";
    } catch (const std::runtime_error& e) {
      EXPECT_STREQ(e.what(), "first");
    }
  EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
}

TEST_F(Toolkit, AnInitialisationMayEndTheDialogOrPost) {
  const auto ends = [](Window dialog, uint32_t message, uintptr_t, intptr_t lParam) -> intptr_t {
    if (message == WM_INITDIALOG)
      EndDialog(dialog, lParam);
    return 0;
  };
  EXPECT_EQ(DialogBoxParam(&table, nullptr, ends, 42), 42);
  const auto posts = [](Window dialog, uint32_t message, uintptr_t wParam, intptr_t) -> intptr_t {
    if (message == WM_INITDIALOG)
      for (uint16_t id : {3, 4})
        PostMessage(dialog, WM_COMMAND, id, 0);
    if (message == WM_COMMAND && wParam >= 3)
      EndDialog(dialog, intptr_t(wParam));
    return 0;
  };
  EXPECT_EQ(DialogBoxParam(&table, nullptr, posts, 0), 3);
  EXPECT_FALSE(DispatchPostedMessage()); // the second went with its window
  EXPECT_EQ(DialogBoxParam(nullptr, nullptr, ends, 0), -1);
}

TEST_F(Toolkit, EnterPressesTheButtonThatWasMadeTheDefault) {
  const auto proc = [](Window dialog, uint32_t message, uintptr_t wParam, intptr_t) -> intptr_t {
    if (message == WM_INITDIALOG)
      SendDlgItemMessage(dialog, otherId, BM_SETSTYLE, BS_DEFPUSHBUTTON, 0);
    if (message == WM_COMMAND && HighWord(wParam) == BN_CLICKED)
      EndDialog(dialog, LowWord(wParam));
    return 0;
  };
  const auto enter = [](QDialog* dialog) {
    QKeyEvent key(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, "\r");
    QCoreApplication::sendEvent(dialog->findChild<QLineEdit*>(), &key);
    dialog->close(); // has gone already
  };
  EXPECT_EQ(run(proc, enter), otherId);
}

// A procedure that stops drawing leaves its last picture on the screen.
TEST_F(Toolkit, ThePictureStays) {
  const auto proc = [](Window dialog, uint32_t message, uintptr_t, intptr_t) -> intptr_t {
    if (message != WM_PAINT || painted++ > 0)
      return 0;
    DeviceContext* paint = BeginPaint(dialog);
    DeviceContext* context = CreateCompatibleDC(paint);
    Bitmap bitmap = CreateCompatibleBitmap(paint, 8, 6);
    SelectObject(context, bitmap);
    FillRect(context, {-3, -3, 100, 3}, 0xff123456);
    BitBlt(paint, 2, 1, 8, 6, context, 0, 0);
    DeleteDC(context);
    DeleteObject(bitmap);
    EndPaint(dialog, paint);
    return 0;
  };
  run(proc, [](QDialog* dialog) {
    for (int again = 0; again < 3; ++again) {
      const QImage seen = dialog->grab().toImage();
      EXPECT_EQ(seen.pixel(2, 1), 0xff123456);
      EXPECT_EQ(seen.pixel(9, 3), 0xff123456);
      EXPECT_EQ(seen.pixel(9, 4), 0xff000000);
      EXPECT_NE(seen.pixel(10, 3), 0xff123456);
    }
    EXPECT_GE(painted, 2);
    dialog->close();
  });
}

TEST_F(Toolkit, TheMenuOfABoxGoesThroughItsProcedures) {
  static int pastes;
  pastes = 0;
  const auto proc = [](Window dialog, uint32_t message, uintptr_t, intptr_t) -> intptr_t {
    if (message == WM_INITDIALOG)
      SetWindowSubclass(
          GetDlgItem(dialog, editId),
          [](Window window, uint32_t m, uintptr_t w, intptr_t l, uintptr_t, uintptr_t) {
            pastes += m == WM_PASTE;
            return DefSubclassProc(window, m, w, l);
          },
          0, 0);
    return 0;
  };
  run(proc, [](QDialog* dialog) {
    auto* edit = dialog->findChild<QLineEdit*>();
    QApplication::clipboard()->setText("pasted");
    QContextMenuEvent event(QContextMenuEvent::Mouse, QPoint(3, 3),
                            edit->mapToGlobal(QPoint(3, 3)));
    QCoreApplication::sendEvent(edit, &event);
    auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    ASSERT_NE(menu, nullptr);
    menu->actions().at(2)->trigger();
    menu->close();
    EXPECT_EQ(edit->text(), "pasted");
    EXPECT_EQ(pastes, 1);
    dialog->close();
  });
}

} // namespace
