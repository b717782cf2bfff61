// Where the dialogs and their controls stand, on wide and narrow screens and in both languages.
#include <QGroupBox>
#include <QPushButton>
#include <QScreen>

#include <array>
#include <set>
#include <span>

#include "tests/ui/DialogSession.h"
#include "ui/dialog/CentreDialog.h"

namespace {

using fixture::Dialog, fixture::Open;

// Texts have room, nothing is cut off or overlaps, on a wide and a narrow screen.
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
          // A label may have more space than its text, and other controls may use it.
          const QRect ink(widget->pos(), QSize(needed.width(), widget->height()));
          for (const QRect& other : solid)
            EXPECT_FALSE(other.intersects(ink));
          solid.push_back(ink);
        }
        EXPECT_GE(solid.size(), 3);
        for (auto* box : d.dialog->findChildren<QGroupBox*>()) { // the title is drawn
          const QImage title = box->grab({8, 0, 30, box->fontMetrics().height()}).toImage();
          const auto smooth = Qt::SmoothTransformation;
          EXPECT_NE(title.scaled(1, 1, {}, smooth).pixel(0, 0), title.pixel(0, 0));
        }
        d.dialog->close();
      };
      run(check);
      about(check);
    }
}

// All controls of a kind have the same size and left edge (a box is as high as its rows), and all
// boxes the same gap.
TEST(DialogTable, ControlsLineUp) {
  std::map<std::pair<ControlKind, bool>, std::set<std::array<int, 3>>> columns;
  std::set<int> gaps;
  int below = 31;
  for (const DialogTemplate* dialog : {&FOGDISSOLVER_DIALOG, &FOGDISSOLVER_ABOUT_DIALOG}) {
    for (const DialogControl& control : std::span(dialog->controls, dialog->controlCount)) {
      const auto& [x, y, width, height] = control.place;
      const bool box = control.kind == ControlKind::groupBox;
      columns[{control.kind, control.id == idBalance}].insert({x, width, box ? 0 : height});
      if (box)
        gaps.insert(y - std::exchange(below, y + height + 5));
    }
  }
  for (const auto kind : {ControlKind::digitEdit, ControlKind::groupBox, ControlKind::pushButton,
                          ControlKind::trackBar})
    EXPECT_EQ((columns[{kind, false}].size()), 1u);
  EXPECT_EQ(gaps, std::set{0});
}

// A third of the free height is above; the caption's height, 20 here, moves the dialog to the left.
TEST_F(Dialog, DialogsAreCentredOnOwnerAndScreen) {
  static WindowRect screen;
  services.desktop = [] { return screen; };
  services.captionHeight = []() -> int32_t { return 20; };
  const auto answer = [](Window window, uint32_t message, uintptr_t, intptr_t value) -> intptr_t {
    auto& own = *static_cast<WindowRect*>(window->peer);
    if (message == TKM_SETRECT)
      own = *reinterpret_cast<const WindowRect*>(value);
    else
      *reinterpret_cast<WindowRect*>(value) = own;
    return 0;
  };
  constexpr WindowRect none = {}, large = {0, 0, 1600, 900};
  struct Case {
    WindowRect screen, owner;
    uint32_t style;
    std::array<int32_t, 2> corner;
  };
  for (Case c : {Case{large, none, 0, {586, 200}}, Case{large, none, WS_SYSMENU, {580, 200}},
                 Case{{0, 0, 401, 301}, none, 0, {-14, 0}}, Case{{0, 0, 300, 200}, none, 0, {0, 0}},
                 Case{large, {100, 50, 300, 250}, 0, {86, 50}},       // smaller than the dialog
                 Case{large, {1300, 700, 1600, 900}, 0, {1200, 600}}, // near the screen's corner
                 Case{large, {200, 100, 1000, 700}, 0, {386, 200}}}) {
    screen = c.screen;
    WindowRect place = {0, 0, 400, 300};
    Window owner = c.owner.right ? NewWindow(nullptr, answer, &c.owner) : nullptr;
    Window dialog = NewWindow(owner, answer, &place, 0, c.style);
    CentreDialog(dialog);
    EXPECT_EQ((std::array{place.left, place.top}), c.corner);
    EXPECT_EQ((std::array{place.width(), place.height()}), (std::array{400, 300}));
    DestroyWindow(dialog);
    DestroyWindow(owner);
  }
}

// Each control is where its row says, in units of the dialog's font; sliders and boxes are centred
// on their label's line, and texts that need more space keep their centre.
TEST_F(Dialog, ControlsAreWhereTheTableSays) {
  look([](const Open& d) {
    const QFontMetricsF metrics(d.dialog->font());
    const QString letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    const double x = metrics.horizontalAdvance(letters) / 52 / 4, y = metrics.height() / 8;
    EXPECT_NEAR(d.dialog->width(), FOGDISSOLVER_DIALOG.width * x, 0.6);
    EXPECT_NEAR(d.dialog->height(), FOGDISSOLVER_DIALOG.height * y, 0.6);
    const auto widgets = d.dialog->findChildren<QWidget*>(Qt::FindDirectChildrenOnly);
    QRect label;
    for (int i = 0; i < FOGDISSOLVER_DIALOG.controlCount; ++i) {
      const DialogControl& row = FOGDISSOLVER_DIALOG.controls[i];
      SCOPED_TRACE(row.english + std::to_string(row.id));
      const QRect is = widgets[i]->geometry();
      const QRectF told(row.place.x * x, row.place.y * y, row.place.width * x,
                        row.place.height * y);
      const bool text = row.kind == ControlKind::label || row.kind == ControlKind::link ||
                        row.kind == ControlKind::checkBox;
      const bool onLine = row.kind == ControlKind::trackBar || row.kind == ControlKind::digitEdit;
      EXPECT_NEAR(is.left(), told.left(),
                  0.6 + std::max(0.0, text ? is.width() - told.width() : 0.0));
      EXPECT_NEAR(is.top() + is.height() / 2.0, told.center().y(), onLine ? 3.5 : 1.1);
      if (!text) {
        EXPECT_NEAR(is.width(), told.width(), 1.1);
        EXPECT_NEAR(is.height(), told.height(), 1.1);
      }
      if (onLine) {
        EXPECT_NEAR(is.center().y(), label.center().y(), 1);
      }
      if (row.kind == ControlKind::label)
        label = is;
    }
  });
}

// A large owner has room for a centred dialog.
TEST_F(Dialog, OpensInTheMiddleOfItsOwner) {
  services.desktop = [] { return WindowRect{0, 0, 4000, 2500}; };
  services.captionHeight = []() -> int32_t { return 30; };
  QWidget owner;
  owner.setGeometry(100, 200, 2000, 1500);
  plugIn.host.platformData.window = &owner;
  look([&](const Open& d) {
    EXPECT_NEAR(d.dialog->x() + d.dialog->width() / 2, 100 + 1000 - 20, 1);
    EXPECT_NEAR(d.dialog->y(), 200 + (1500 - d.dialog->height()) / 3, 1);
    const WindowRect outer = GetWindowRect(d.record), inner = GetClientRectOnScreen(d.record);
    EXPECT_EQ(QRect(outer.left, outer.top, outer.width(), outer.height()),
              d.dialog->frameGeometry());
    EXPECT_EQ(QSize(inner.width(), inner.height()), d.dialog->size());
  });
}

} // namespace
