// The toolkit's widgets in dialogs with a few rows: their drawing, the effect of messages and keys,
// and what bypasses the event loop.
#include <QClipboard>
#include <QContextMenuEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QScreen>

#include <array>
#include <cmath>
#include <thread>

#include "tests/ui/OpenDialog.h"
#include "ui/dialog/DialogTables.h"
#include "ui/toolkit/qt/Pictures.h"
#include "ui/toolkit/qt/QtServices.h"

namespace {

using fixture::OpenDialog;
using fixture::runRows;
using testing::ElementsAre;

struct Widgets : testing::Test {
  Widgets() {
    fixture::needApplication();
    setenv("LC_ALL", "C.UTF-8", 1);
    gServices = &desktopServices;
  }
};

// Margins around the drawing; for an empty image the right margin is the width.
QMargins marginsOf(const QImage& image, QRgb background) {
  QRect ink;
  for (int y = 0; y < image.height(); ++y)
    for (int x = 0; x < image.width(); ++x)
      if (image.pixel(x, y) != background)
        ink |= QRect(x, y, 1, 1);
  return {ink.left(), ink.top(), image.width() - 1 - ink.right(),
          image.height() - 1 - ink.bottom()};
}

// Pictures fill their place, or are centred in it.
TEST_F(Widgets, PicturesAreDrawn) {
  static constexpr DialogControl rows[] = {
      {1, ControlKind::defaultPushButton, "OK", nullptr, {5, 100, 40, 14}},
      {2, ControlKind::picture, "", nullptr, {5, 5, 20, 60}, {}, pictureLogo},
      {3, ControlKind::picture, "", nullptr, {30, 5, 60, 20}, {}, pictureLogo},
      {4, ControlKind::banner, "", nullptr, {30, 30, 60, 40}, {}, pictureBanner},
  };
  runRows(rows, [](const OpenDialog& d) {
    const double scale = d.dialog->devicePixelRatioF();
    for (int id : {2, 3, 4}) {
      const QMargins m = marginsOf(d.look(id), d.picture().pixel(0, 0));
      EXPECT_LE(std::max(std::abs(m.left() - m.right()), std::abs(m.top() - m.bottom())),
                2 * scale);
      EXPECT_TRUE((m.left() > 5 * scale) == (id == 3) && (m.top() > 5 * scale) == (id == 2));
      EXPECT_LE(std::min(m.left(), m.top()), std::ceil(scale));
    }
    d.click(1);
  });
  EXPECT_EQ(FindPicture(pictureLogo, 97, 1)->width, 192); // the next larger one
}

// A frame surrounds its place, in a faint colour, and leaves its title free.
TEST_F(Widgets, FramesAreDrawn) {
  static constexpr DialogControl rows[] = {
      {1, ControlKind::defaultPushButton, "OK", nullptr, {5, 100, 40, 14}},
      {2, ControlKind::groupBox, "title", nullptr, {100, 20, 60, 40}},
  };
  runRows(rows, [](const OpenDialog& d) {
    const double scale = d.dialog->devicePixelRatioF();
    const QRgb none = d.picture().pixel(0, 0);
    const QImage frame = d.look(2);
    const int width = frame.width(), height = frame.height();
    const int line = int(d.at(2)->fontMetrics().height() / 2 * scale), clear = int(3 * scale);
    const QImage across = frame.copy(0, height * 2 / 3, width, 1),
                 down = frame.copy(width - int(9 * scale), 0, 1, height);
    EXPECT_GT(qGray(across.pixel(int(scale / 2), 0)), qGray(none) / 2);
    const QMargins sides = marginsOf(across, none), ends = marginsOf(down, none);
    EXPECT_LE(std::max({sides.left(), sides.right(), ends.bottom()}), scale - 1);
    EXPECT_NEAR(ends.top(), line, scale);
    const QImage inside[] = {across.copy(clear, 0, width - 2 * clear, 1),
                             down.copy(0, line + clear, 1, height - line - 2 * clear)};
    for (const QImage& part : inside)
      EXPECT_EQ(marginsOf(part, none).right(), part.width());
    const QMargins title = marginsOf(frame.copy(0, 0, width, line), none);
    EXPECT_NEAR(title.left(), 12 * scale, 2 * scale);
    EXPECT_LE(title.top(), 4 * scale);
    d.click(1);
  });
}

// A link is underlined, in its own colour, marked while it has the focus, and reacts to clicks on
// its text.
TEST_F(Widgets, LinksAreDrawn) {
  static constexpr DialogControl rows[] = {
      {1, ControlKind::defaultPushButton, "OK", nullptr, {5, 100, 40, 14}},
      {2, ControlKind::link, "link", nullptr, {100, 5, 60, 10}},
  };
  static int opened;
  opened = 0;
  const auto proc = [](Window dialog, uint32_t message, uintptr_t word, intptr_t value) {
    opened += message == WM_NOTIFY;
    return fixture::endAtButton(dialog, message, word, value);
  };
  const auto script = [](const OpenDialog& d) {
    const double scale = d.dialog->devicePixelRatioF();
    const QRgb none = d.picture().pixel(0, 0),
               blue = d.dialog->palette().color(QPalette::Link).rgb();
    const int text = d.at(2)->fontMetrics().horizontalAdvance("link"), half = d.at(2)->height() / 2;
    const QImage link = d.look(2);
    const QMargins ink = marginsOf(link, none);
    EXPECT_NEAR(link.width() - ink.left() - ink.right(), text * scale, 2 * scale);
    int longest = 0; // row of this colour
    for (int y = link.height() / 2; y < link.height(); ++y) {
      const auto* row = reinterpret_cast<const QRgb*>(link.constScanLine(y));
      longest = std::max(longest, int(std::count(row, row + link.width(), blue)));
    }
    EXPECT_NEAR(longest, text * scale, 2 * scale);
    d.click(2, {}, {text + 1, half});
    d.click(2, {}, {text + 8, half}); // outside the text
    EXPECT_EQ(opened, 1);
    const QMargins focused = marginsOf(d.look(2), none);
    EXPECT_LT(focused.left(), ink.left());
    EXPECT_GT(focused.right(), 5 * scale);
    d.click(1);
  };
  runRows(rows, script, proc);
}

// Messages without a key or a click, and texts whose characters have more than one byte.
TEST_F(Widgets, ControlsTakeMessagesOfPrograms) {
  static constexpr DialogControl rows[] = {
      {1, ControlKind::defaultPushButton, "OK", nullptr, {5, 60, 40, 14}},
      {7, ControlKind::edit, "", nullptr, {5, 5, 60, 12}},
      {8, ControlKind::trackBar, "", nullptr, {5, 25, 60, 12}},
      {9, ControlKind::checkBox, "Check", nullptr, {5, 40, 60, 12}},
  };
  runRows(rows, [](const OpenDialog& d) {
    const Window edit = GetDlgItem(d.record, 7), bar = GetDlgItem(d.record, 8);
    for (int character : {97, 32, 98, 0xe9, 100, 8}) // a, space, b, é, d, Backspace
      SendMessage(edit, WM_CHAR, uintptr_t(character));
    for (uintptr_t key : {VK_HOME, VK_DELETE})
      SendMessage(edit, WM_KEYDOWN, key);
    SendMessage(edit, WM_CHAR, 7);
    EXPECT_EQ(d.text(7), " bé");
    SendMessage(edit, WM_KEYDOWN, VK_DELETE);
    char start[] = "..";
    EXPECT_EQ(SendMessage(edit, WM_GETTEXT, 0, reinterpret_cast<intptr_t>(start)), 0);
    EXPECT_EQ(SendMessage(edit, WM_GETTEXT, 2, reinterpret_cast<intptr_t>(start)), 1);
    EXPECT_STREQ(start, "b");
    int32_t ends[2];
    for (const auto& [first, last] : {std::pair(0, -1), {-4, 1}, {1, 3}, {3, 3}, {1, 99}}) {
      SendMessage(edit, EM_SETSEL, uintptr_t(intptr_t(first)), last);
      SendMessage(edit, EM_GETSEL);
      SendMessage(edit, EM_GETSEL, reinterpret_cast<uintptr_t>(ends),
                  reinterpret_cast<intptr_t>(ends + 1));
      EXPECT_THAT(ends, ElementsAre(std::max(first, 0), last < 0 ? 3 : std::min(last, 3)));
    }
    QApplication::clipboard()->setText("x");
    SendMessage(edit, WM_CHAR, 22); // Ctrl and V, replaces the selection
    EXPECT_EQ(GetWindowText(edit), "bx");

    const auto position = [&] { return int(SendMessage(bar, TBM_GETPOS)); };
    SendMessage(bar, TBM_SETRANGE, true, intptr_t(MakeWords(uint16_t(-3), 1)));
    for (const int wanted : {-3, -2, 1, 2, -40}) {
      SendMessage(bar, TBM_SETPOS, true, wanted);
      EXPECT_EQ(position(), std::clamp(wanted, -3, 1));
    }
    SendMessage(bar, WM_KEYDOWN, VK_NEXT);
    EXPECT_EQ(position(), -2); // a page of a short range is one step
    SendMessage(bar, WM_MOUSEWHEEL, MakeWords(0, uint16_t(-120)));
    EXPECT_EQ(position(), -1);

    for (const bool on : {true, false}) {
      CheckDlgButton(d.record, 9, on);
      EnableWindow(bar, on);
      ShowWindow(edit, on);
      EXPECT_TRUE(IsDlgButtonChecked(d.record, 9) == on && d.at(8)->isEnabled() == on &&
                  d.at(7)->isVisible() == on);
    }
    d.click(1);
  });
}

constexpr DialogControl boxAndButtons[] = {
    {7, ControlKind::edit, "", nullptr, {5, 5, 60, 12}},
    {1, ControlKind::defaultPushButton, "OK", nullptr, {5, 40, 40, 14}},
    {9, ControlKind::pushButton, "Other", nullptr, {50, 40, 40, 14}},
};

TEST_F(Widgets, ButtonsMenuAndExceptionsGoAroundTheEventLoop) {
  const auto proc = [](Window dialog, uint32_t message, uintptr_t word, intptr_t) -> intptr_t {
    if (message == WM_INITDIALOG)
      SendDlgItemMessage(dialog, 9, BM_SETSTYLE, BS_DEFPUSHBUTTON);
    if (message == WM_COMMAND && word == 9)
      throw std::runtime_error("first");
    if (message == WM_DESTROY && IsWindow(dialog))
      throw std::runtime_error("second");
    return 0;
  };
  const auto script = [](const OpenDialog& d) {
    auto* edit = d.dialog->findChild<QLineEdit*>();
    EXPECT_FALSE(edit->acceptDrops() || edit->testAttribute(Qt::WA_InputMethodEnabled));
    d.keys("12");
    for (const int action : {3, 0, 2}) { // all, cut, paste
      QContextMenuEvent event(QContextMenuEvent::Mouse, {3, 3}, edit->mapToGlobal(QPoint(3, 3)));
      QCoreApplication::sendEvent(edit, &event);
      auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
      ASSERT_NE(menu, nullptr);
      for (int i = 0; i < 4; ++i) // cut and copy take the selection
        EXPECT_EQ(menu->actions().at(i)->isEnabled(), i >= 2 || action == 0);
      menu->actions().at(action)->trigger();
      menu->close();
      QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
      EXPECT_EQ(edit->findChildren<QMenu*>().size(), 0);
      EXPECT_EQ(edit->text(), action == 0 ? "" : "12");
    }
    d.keys("<Return>"); // presses the new default button
  };
  EXPECT_THAT([&] { runRows(boxAndButtons, script, proc); },
              testing::ThrowsMessage<std::runtime_error>("first"));
  EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
}

// A dialog over a dialog: posted messages reach both, one after the other. A dialog that ends
// before it is shown never appears.
TEST_F(Widgets, DialogsNest) {
  static std::vector<intptr_t> results;
  const DialogProc outer = [](Window dialog, uint32_t message, uintptr_t word,
                              intptr_t) -> intptr_t {
    const DialogProc inner = [](Window dialog, uint32_t message, uintptr_t word, intptr_t early) {
      if (message == WM_INITDIALOG && early)
        EndDialog(dialog, 30);
      else if (message == WM_INITDIALOG)
        PostMessage(dialog, WM_COMMAND, 40);
      return fixture::endAtButton(dialog, message, word, 0);
    };
    if (message == WM_COMMAND && word == 9) {
      constexpr DialogTemplate table = {"Inner", 100, 60, 8, 0, boxAndButtons, 3};
      for (const bool early : {true, false})
        results.push_back(DialogBoxParam(&table, GetActiveWindow(), inner, early));
      PostMessage(dialog, WM_COMMAND, 50);
    }
    if (message == WM_COMMAND && word == 50)
      EndDialog(dialog, 50);
    return 0;
  };
  const auto script = [](const OpenDialog& d) { d.click(9); };
  results.clear();
  results.push_back(runRows(boxAndButtons, script, outer));
  EXPECT_THAT(results, ElementsAre(30, 40, 50));
}

// The desktop functions for dialogs; they do not work from another thread.
TEST_F(Widgets, TheDesktopAnswers) {
  const QRect screen = QGuiApplication::primaryScreen()->geometry();
  const auto desktop = [] {
    const WindowRect r = desktopServices.desktop();
    return std::array{r.left, r.top, r.width(), r.height()};
  };
  EXPECT_THAT(desktop(), ElementsAre(screen.x(), screen.y(), screen.width(), screen.height()));
  EXPECT_GT(desktopServices.captionHeight(), 10);
  {
    const BusyCursor outer;
    { const BusyCursor inner; }
    EXPECT_EQ(QGuiApplication::overrideCursor()->shape(), Qt::WaitCursor);
  }
  EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
  for (const bool severe : {true, false}) {
    const auto script = [&](const fixture::Shown& d) {
      const auto* box = qobject_cast<QMessageBox*>(d.dialog);
      EXPECT_TRUE(box && box->text() == "text" &&
                  box->icon() == (severe ? QMessageBox::Critical : QMessageBox::Warning));
      d.keys("<Return>");
    };
    const uint32_t style = severe ? MB_ICONHAND : MB_ICONEXCLAMATION;
    fixture::whileShown(script, [&] { EXPECT_EQ(MessageBox(nullptr, "text", style), 1); });
  }
  std::thread([&] {
    EXPECT_THAT(desktop(), testing::Each(0));
    EXPECT_EQ(desktopServices.captionHeight() + MessageBox(nullptr, "", MB_ICONHAND), 0);
    EXPECT_FALSE(OpenClipboard(nullptr) || GetActiveWindow());
    const BusyCursor none;
    EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
  }).join();
}

} // namespace
