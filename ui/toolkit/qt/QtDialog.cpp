// Building and running of one modal dialog.
#include "ui/toolkit/qt/QtDialog.h"

#include <QApplication>
#include <QFontMetricsF>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QPushButton>
#include <QScreen>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "frame/text/Strings.h"
#include "ui/toolkit/qt/QtControl.h"
#include "ui/toolkit/qt/QtKeys.h"

namespace {

QtDialog* innermostDialog = nullptr;

constexpr int idOk = 1, idCancel = 2;

// Pixels of one dialog unit.
struct DialogUnits {
  double x, y;

  explicit DialogUnits(const QFont& font) {
    const QFontMetricsF metrics(font);
    const QString letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    x = metrics.horizontalAdvance(letters) / double(letters.size()) / 4.0;
    y = (metrics.ascent() + metrics.descent()) / 8.0;
  }

  // Edges are rounded, not sizes, so that what touches in the table touches on the screen.
  QRect rect(const DialogPlace& place) const {
    const QPoint from(int(std::lround(place.x * x)), int(std::lround(place.y * y)));
    const QPoint to(int(std::lround((place.x + place.width) * x)),
                    int(std::lround((place.y + place.height) * y)));
    return QRect(from, QSize(to.x() - from.x(), to.y() - from.y()));
  }
};

// Controls of one line share its middle: one that lies next to the label before it, give or take
// what the table's whole units cannot tell, is centred on it.
void joinLine(QRect& place, const QRect& label, const DialogUnits& units) {
  const int off = label.center().y() - place.center().y();
  if (std::abs(off) <= 2 * units.y)
    place.translate(0, off);
}

// A text that the desktop's font makes longer than its place gets the room that it needs.
void makeRoom(QRect& place, const QtControl& control, const QSize& dialog) {
  const ControlKind kind = control.kind();
  if (kind != ControlKind::label && kind != ControlKind::link && kind != ControlKind::checkBox)
    return;
  place.setWidth(std::max(place.width(), control.widget()->sizeHint().width()));
  place.moveRight(std::min(place.right(), dialog.width() - 1));
}

// The desktop's font at the table's size, or smaller where the screen has no room for it.
QFont dialogFont(const DialogTemplate& dialogTemplate, const QScreen* screen) {
  constexpr double smallest = 6.0, step = 0.5; // points
  QFont font = QApplication::font();
  double size = dialogTemplate.pointSize;
  font.setPointSizeF(size);
  const DialogPlace whole = {0, 0, dialogTemplate.width, dialogTemplate.height};
  while (screen && size > smallest &&
         DialogUnits(font).rect(whole).width() > screen->availableSize().width()) {
    size -= step;
    font.setPointSizeF(size);
  }
  return font;
}

Qt::WindowFlags windowFlags(uint32_t style) {
  Qt::WindowFlags flags = Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint;
  if (style & WS_SYSMENU)
    flags |= Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint;
  return flags;
}

intptr_t ownerBehaviour(Window window, uint32_t message, uintptr_t, intptr_t lParam) {
  if (message != TKM_GETRECT && message != TKM_GETCLIENTRECT)
    return 0;
  const auto* widget = static_cast<const QWidget*>(window->peer);
  const QRect rect = message == TKM_GETRECT
                         ? widget->frameGeometry()
                         : QRect(widget->mapToGlobal(QPoint(0, 0)), widget->size());
  *reinterpret_cast<WindowRect*>(lParam) = {rect.left(), rect.top(), rect.left() + rect.width(),
                                            rect.top() + rect.height()};
  return 1;
}

} // namespace

QtDialog* QtDialog::innermost() { return innermostDialog; }

QtDialog::QtDialog(const DialogTemplate& dialogTemplate, QWidget* owner, DialogProc proc)
    : owner_(owner ? NewWindow(nullptr, 0, 0, ownerBehaviour, owner) : nullptr),
      window_(NewWindow(owner_, 0, dialogTemplate.style, behaviour, this)),
      widget_(owner, windowFlags(dialogTemplate.style)), outer_(innermostDialog) {
  innermostDialog = this;
  widget_.setWindowModality(Qt::ApplicationModal);
  widget_.setAttribute(Qt::WA_QuitOnClose, false); // whether the program goes on is not its affair
  buildControls(dialogTemplate);
  window_->dialogProc = proc;
  qApp->installEventFilter(this); // sees the dialog's own events, and the keys of all windows
}

QtDialog::~QtDialog() {
  innermostDialog = outer_;
  qApp->removeEventFilter(this);
  DestroyWindow(window_);
  DestroyWindow(owner_);
}

void QtDialog::buildControls(const DialogTemplate& dialogTemplate) {
  const QFont font = dialogFont(dialogTemplate, widget_.screen());
  const DialogUnits units(font);
  const bool french = systemLanguageIsFrench();
  widget_.setFont(font);
  widget_.setWindowTitle(QString::fromUtf8(dialogTemplate.caption));
  widget_.setFixedSize(units.rect({0, 0, dialogTemplate.width, dialogTemplate.height}).size());
  QString group, label; // that a control without text is called by
  QRect labelPlace;
  for (int i = 0; i < dialogTemplate.controlCount; ++i) {
    const DialogControl& row = dialogTemplate.controls[i];
    const char* text = french && row.french ? row.french : row.english;
    QtControl* control = MakeControl(*this, row, text);
    QRect place = units.rect(french && row.frenchPlace.width ? row.frenchPlace : row.place);
    if (row.kind == ControlKind::groupBox) {
      group = QString::fromUtf8(text);
    } else if (row.kind == ControlKind::label) {
      label = QString::fromUtf8(text);
      labelPlace = place;
    } else if (row.kind == ControlKind::trackBar || row.kind == ControlKind::digitEdit) {
      joinLine(place, labelPlace, units);
      control->widget()->setAccessibleName(group + ", " + label);
    }
    makeRoom(place, *control, widget_.size());
    control->widget()->setGeometry(place);
    controls_.push_back(control);
  }
}

intptr_t QtDialog::run(intptr_t parameter) {
  guarded([&] {
    const BusyCursor busy;
    SendMessage(window_, WM_INITDIALOG, 0, parameter);
  });
  if (!result_)
    widget_.show();
  if (!result_) // showing may have handled a message that ended it
    loop_.exec(QEventLoop::DialogExec);
  if (!result_) // the application ends
    guarded([&] { closeFromDesktop(); });
  guarded([&] { SendMessage(window_, WM_DESTROY, 0, 0); });
  if (thrown_)
    std::rethrow_exception(thrown_);
  return *result_;
}

void QtDialog::end(intptr_t result) {
  if (result_)
    return;
  result_ = result;
  widget_.hide();
  loop_.quit();
}

void QtDialog::keepException() {
  if (!thrown_)
    thrown_ = std::current_exception();
  end(-1);
}

// The window manager's closing is a cancel whatever state the dialog is in: the window ceases to
// be active before it is closed, which takes it back to its usual state.
void QtDialog::closeFromDesktop() {
  SendMessage(window_, WM_ACTIVATE, 0, 0);
  SendMessage(window_, WM_COMMAND, MakeWords(idCancel, BN_CLICKED),
              reinterpret_cast<intptr_t>(GetDlgItem(window_, idCancel)));
  end(idCancel);
}

void QtDialog::pressKey(uintptr_t key) {
  if (result_)
    return;
  int id = key == VK_ESCAPE ? idCancel : idOk;
  if (key == VK_ESCAPE && !GetDlgItem(window_, idCancel))
    return closeFromDesktop();
  for (const QtControl* control : controls_) {
    const auto* button = qobject_cast<const QPushButton*>(control->widget());
    if (key == VK_RETURN && button && button->isDefault())
      id = control->window()->id;
  }
  SendMessage(window_, WM_COMMAND, MakeWords(uint16_t(id), BN_CLICKED),
              reinterpret_cast<intptr_t>(GetDlgItem(window_, id)));
}

intptr_t QtDialog::behaviour(Window window, uint32_t message, uintptr_t wParam, intptr_t lParam) {
  return static_cast<QtDialog*>(window->peer)->behave(message, wParam, lParam);
}

intptr_t QtDialog::behave(uint32_t message, uintptr_t wParam, intptr_t lParam) {
  switch (message) {
  case WM_SETTEXT:
    widget_.setWindowTitle(QString::fromUtf8(reinterpret_cast<const char*>(lParam)));
    return 1;
  case WM_GETTEXTLENGTH:
    return intptr_t(widget_.windowTitle().toUtf8().size());
  case WM_GETTEXT:
    return CopyText(widget_.windowTitle().toStdString(), wParam, lParam);
  case TKM_ENABLE:
    widget_.setEnabled(wParam != 0);
    return 0;
  case TKM_SETFOCUS:
    widget_.setFocus(Qt::OtherFocusReason);
    return 0;
  case TKM_GETRECT: {
    const QRect rect = widget_.frameGeometry();
    *reinterpret_cast<WindowRect*>(lParam) = {rect.left(), rect.top(), rect.left() + rect.width(),
                                              rect.top() + rect.height()};
    return 1;
  }
  case TKM_GETCLIENTRECT: {
    const QPoint corner = widget_.mapToGlobal(QPoint(0, 0));
    *reinterpret_cast<WindowRect*>(lParam) = {corner.x(), corner.y(), corner.x() + widget_.width(),
                                              corner.y() + widget_.height()};
    return 1;
  }
  case TKM_SETRECT: {
    // A dialog's size is its table's; only its place can change.
    const auto& rect = *reinterpret_cast<const WindowRect*>(lParam);
    widget_.move(rect.left, rect.top);
    return 1;
  }
  case TKM_INVALIDATE: {
    const auto& rect = *reinterpret_cast<const WindowRect*>(lParam);
    widget_.update(rect.left, rect.top, rect.width(), rect.height());
    return 0;
  }
  case TKM_BLIT: {
    const auto& blit = *reinterpret_cast<const BlitRequest*>(lParam);
    if (drawn_.size() != QSize(blit.width, blit.height))
      drawn_ = QImage(blit.width, blit.height, QImage::Format_RGB32);
    drawnPlace_ = QPoint(blit.x, blit.y);
    for (int y = 0; y < drawn_.height(); ++y)
      std::memcpy(drawn_.scanLine(y), blit.pixels + ptrdiff_t(y) * blit.pixelsPerRow,
                  size_t(blit.width) * sizeof(uint32_t));
    return 1;
  }
  case TKM_ENDDIALOG:
    end(lParam);
    return 1;
  default:
    return 0;
  }
}

bool QtDialog::eventFilter(QObject* watched, QEvent* event) {
  const QEvent::Type type = event->type();
  if (watched != &widget_) {
    const bool key = type == QEvent::KeyPress || type == QEvent::KeyRelease;
    return key && watched->isWindowType() && innermostDialog == this && filterApplicationKey(event);
  }
  switch (type) {
  case QEvent::Paint:
    paint(static_cast<QPaintEvent*>(event)->region());
    return false;
  case QEvent::WindowActivate:
  case QEvent::WindowDeactivate:
    guarded([&] { SendMessage(window_, WM_ACTIVATE, type == QEvent::WindowActivate, 0); });
    return false;
  case QEvent::Close:
    if (result_)
      return false;  // end() closes the window
    event->ignore(); // end() hides the window; this would do it a second time
    guarded([&] { closeFromDesktop(); });
    return true;
  case QEvent::MouseButtonPress:
    if (static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton)
      guarded([&] { SendMessage(window_, WM_LBUTTONDOWN, 0, 0); });
    return false;
  case QEvent::KeyPress: {
    const auto& key = *static_cast<QKeyEvent*>(event);
    const uintptr_t virtualKey = VirtualKeyOf(key.key());
    if (AltIsPartOf(key) || (virtualKey != VK_RETURN && virtualKey != VK_ESCAPE))
      return false;
    guarded([&] {
      if (!widget_.focusWidget())
        for (char32_t character : CharactersOf(key))
          SendMessage(window_, WM_CHAR, character, 0);
      pressKey(virtualKey);
    });
    return true;
  }
  default:
    return false;
  }
}

// Each key event of the application passes here once, on its way to a native window.
bool QtDialog::filterApplicationKey(QEvent* event) {
  const auto& key = *static_cast<QKeyEvent*>(event);
  const bool release = key.type() == QEvent::KeyRelease;
  if (release && key.isAutoRepeat())
    return false; // the key is still down
  constexpr intptr_t wasDown = intptr_t(1) << 30, goesUp = intptr_t(1) << 31;
  const intptr_t flags = release ? wasDown | goesUp : key.isAutoRepeat() ? wasDown : 0;
  const uintptr_t virtualKey = VirtualKeyOf(key.key());
  bool stopped = true;
  guarded([&] {
    stopped = CallKeyboardHooks(virtualKey, flags);
    if (release && virtualKey == VK_MENU && altAlone_)
      SendMessage(window_, WM_SYSCOMMAND, SC_KEYMENU, 0); // there is no menu to enter
  });
  altAlone_ = virtualKey == VK_MENU && !release;
  return stopped;
}

// What the procedure draws stays until it draws again: Qt clears what it repaints, and a procedure
// that has stopped drawing leaves its last picture on the screen.
void QtDialog::paint(const QRegion& region) {
  if (drawn_.isNull() || region.intersects(QRect(drawnPlace_, drawn_.size())))
    guarded([&] { SendMessage(window_, WM_PAINT, 0, 0); });
  QPainter painter(&widget_);
  painter.setRenderHint(QPainter::SmoothPixmapTransform);
  painter.drawImage(drawnPlace_, drawn_);
}
