#include "ui/toolkit/qt/QtDialog.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QWindow>

#include "ui/toolkit/qt/DialogLayout.h"
#include "ui/toolkit/qt/MakeControl.h"
#include "ui/toolkit/qt/QtKeys.h"

namespace {

QtDialog* innermostDialog = nullptr;

constexpr int idOk = 1, idCancel = 2;

// User actions on a window; none of them may overtake a posted message.
bool isInput(QEvent::Type type) {
  switch (type) {
  case QEvent::KeyPress:
  case QEvent::KeyRelease:
  case QEvent::Shortcut:
  case QEvent::MouseButtonPress:
  case QEvent::MouseButtonRelease:
  case QEvent::MouseButtonDblClick:
  case QEvent::MouseMove:
  case QEvent::Wheel:
  case QEvent::FocusIn:
  case QEvent::FocusOut:
  case QEvent::WindowActivate:
  case QEvent::WindowDeactivate:
  case QEvent::Close:
    return true;
  default:
    return false;
  }
}

Qt::WindowFlags windowFlags(uint32_t style) {
  Qt::WindowFlags flags = Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint;
  if (style & WS_SYSMENU)
    flags |= Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint;
  return flags;
}

intptr_t ownerBehaviour(Window window, uint32_t message, uintptr_t, intptr_t lParam) {
  if (message == TKM_GETCLIENTRECT)
    *reinterpret_cast<WindowRect*>(lParam) =
        RectOnScreen(*static_cast<const QWidget*>(window->peer));
  return 0;
}

} // namespace

QtDialog* QtDialog::innermost() { return innermostDialog; }

QtDialog::QtDialog(const DialogTemplate& dialogTemplate, QWidget* owner, DialogProc proc)
    : owner_(owner ? NewWindow(nullptr, ownerBehaviour, owner) : nullptr),
      window_(NewWindow(owner_, behaviour, this)),
      widget_(owner, windowFlags(dialogTemplate.style)), outer_(innermostDialog) {
  innermostDialog = this;
  widget_.setWindowModality(owner ? Qt::WindowModal : Qt::ApplicationModal);
  widget_.setAttribute(Qt::WA_QuitOnClose, false); // the program continues without it
  buildControls(dialogTemplate);
  window_->style = dialogTemplate.style;
  window_->dialogProc = proc;
  qApp->installEventFilter(this); // to see the dialog's own events, and the keys of all windows
}

QtDialog::~QtDialog() {
  innermostDialog = outer_;
  qApp->removeEventFilter(this);
  DestroyWindow(window_);
  DestroyWindow(owner_);
}

void QtDialog::buildControls(const DialogTemplate& dialogTemplate) {
  const QWidget* owner = widget_.parentWidget();
  const QFont font = DialogFont(dialogTemplate, owner ? *owner->screen() : *widget_.screen());
  const DialogUnits units(font);
  widget_.setFont(font);
  widget_.setWindowTitle(QString::fromUtf8(dialogTemplate.caption));
  widget_.setFixedSize(units.size(dialogTemplate));
  QRect label; // the newest
  for (int i = 0; i < dialogTemplate.controlCount; ++i) {
    const DialogControl& row = dialogTemplate.controls[i];
    QtControl* control = MakeControl(*this, row);
    SetWindowText(control->window(), TextOf(row).toStdString());
    control->widget()->setAccessibleName(AccessibleNameOf(dialogTemplate, row));
    QRect place = units.rect(PlaceOf(row));
    if (row.kind == ControlKind::label)
      label = place;
    if (row.kind == ControlKind::trackBar || row.kind == ControlKind::digitEdit)
      JoinLine(place, label, units);
    MakeRoom(place, row.kind, *control->widget(), widget_.size());
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
  if (!result_) // a message during showing may have ended it
    loop_.exec(QEventLoop::DialogExec);
  if (!result_) // the application ends
    guarded([&] { closeFromDesktop(); });
  guarded([&] { SendMessage(window_, WM_DESTROY); });
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

// Closing by the window manager is a cancel in every state of the dialog: the window first becomes
// inactive, which restores its normal state.
void QtDialog::closeFromDesktop() {
  SendMessage(window_, WM_ACTIVATE);
  SendMessage(window_, WM_COMMAND, MakeWords(idCancel, BN_CLICKED),
              reinterpret_cast<intptr_t>(GetDlgItem(window_, idCancel)));
  end(idCancel);
}

void QtDialog::dispatchPosted() {
  guarded([] {
    while (DispatchPostedMessage()) {
    }
  });
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
    break;
  case WM_GETTEXTLENGTH:
    return intptr_t(widget_.windowTitle().toUtf8().size());
  case WM_GETTEXT:
    return CopyText(widget_.windowTitle().toStdString(), wParam, lParam);
  case TKM_GETRECT: {
    const QRect rect = widget_.frameGeometry();
    *reinterpret_cast<WindowRect*>(lParam) = {rect.left(), rect.top(), rect.left() + rect.width(),
                                              rect.top() + rect.height()};
    break;
  }
  case TKM_GETCLIENTRECT:
    *reinterpret_cast<WindowRect*>(lParam) = RectOnScreen(widget_);
    break;
  case TKM_SETRECT: {
    // The template gives the size; only the place can change.
    const auto& rect = *reinterpret_cast<const WindowRect*>(lParam);
    widget_.move(rect.left, rect.top);
    break;
  }
  case TKM_INVALIDATE: {
    const auto& rect = *reinterpret_cast<const WindowRect*>(lParam);
    widget_.update(rect.left, rect.top, rect.width(), rect.height());
    break;
  }
  case TKM_BLIT: {
    const auto& blit = *reinterpret_cast<const BlitRequest*>(lParam);
    const auto* pixels = reinterpret_cast<const uchar*>(blit.pixels);
    drawn_ = QImage(pixels, blit.width, blit.height, QImage::Format_RGB32).copy();
    drawnPlace_ = QPoint(blit.x, blit.y);
    break;
  }
  case TKM_ENDDIALOG:
    end(lParam);
    break;
  }
  return 0;
}

bool QtDialog::eventFilter(QObject* watched, QEvent* event) {
  const QEvent::Type type = event->type();
  // On a busy machine more input may follow immediately after the event that ended the dialog:
  // ignore it.
  if (result_ && event->isInputEvent() && watched == widget_.windowHandle())
    return true;
  if (isInput(type) && innermostDialog == this)
    dispatchPosted();
  if (watched != &widget_) {
    if (!watched->isWindowType() || innermostDialog != this)
      return false;
    if (type == QEvent::KeyPress || type == QEvent::KeyRelease)
      return filterApplicationKey(*static_cast<QKeyEvent*>(event));
    if (type == QEvent::MouseButtonPress || type == QEvent::MouseMove || type == QEvent::Wheel)
      endAltUnlessHeld(static_cast<QInputEvent*>(event)->modifiers());
    return false;
  }
  switch (type) {
  case QEvent::Paint:
    paint(static_cast<QPaintEvent*>(event)->region());
    return false;
  case QEvent::WindowActivate:
  case QEvent::WindowDeactivate:
    endAltUnlessHeld(Qt::NoModifier); // another window gets its release
    guarded([&] { SendMessage(window_, WM_ACTIVATE); });
    return false;
  case QEvent::Close:
    if (result_)
      return false;  // it has already ended
    event->ignore(); // end() hides the window; Qt would hide it a second time
    guarded([&] { closeFromDesktop(); });
    return true;
  case QEvent::MouseButtonPress:
    if (static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton)
      guarded([&] { SendMessage(window_, WM_LBUTTONDOWN); });
    return false;
  case QEvent::KeyPress: {
    const auto& key = *static_cast<QKeyEvent*>(event);
    const uintptr_t virtualKey = VirtualKeyOf(key);
    if (AltIsPartOf(key) || (virtualKey != VK_RETURN && virtualKey != VK_ESCAPE))
      return false;
    guarded([&] {
      if (!widget_.focusWidget())
        for (char32_t character : CharactersOf(key))
          SendMessage(window_, WM_CHAR, character);
      pressKey(virtualKey);
    });
    return true;
  }
  default:
    return false;
  }
}

bool QtDialog::callHooks(uintptr_t key, bool wasDown, bool goesUp) {
  bool stopped = true;
  guarded(
      [&] { stopped = CallKeyboardHooks(key, intptr_t(wasDown) << 30 | intptr_t(goesUp) << 31); });
  return stopped;
}

// Each key event of the application passes here once, on its way to a native window.
bool QtDialog::filterApplicationKey(const QKeyEvent& event) {
  const bool release = event.type() == QEvent::KeyRelease;
  if (release && event.isAutoRepeat())
    return false; // the key is still down
  uintptr_t key = VirtualKeyOf(event);
  // With some layouts a key has another name when it is released; its scan code stays the same.
  const quint32 place = event.nativeScanCode();
  if (release && place && altHeldAt_ == place)
    key = VK_MENU;
  if (key == VK_MENU)
    altHeldAt_ = release ? std::nullopt : std::optional(place);
  else
    endAltUnlessHeld(event.modifiers());
  return callHooks(key, release || event.isAutoRepeat(), release);
}

// The hooks see the release of Alt even if the event went elsewhere: to the window manager, which
// uses Alt to switch windows, or to the window that became active.
void QtDialog::endAltUnlessHeld(Qt::KeyboardModifiers held) {
  if (!altHeldAt_ || held.testFlag(Qt::AltModifier))
    return;
  altHeldAt_.reset();
  callHooks(VK_MENU, true, true);
}

// Qt clears what it repaints. If a procedure stops drawing, its last picture must stay on the
// screen, so the picture is kept here.
void QtDialog::paint(const QRegion& region) {
  if (drawn_.isNull() || region.intersects(QRect(drawnPlace_, drawn_.size())))
    guarded([&] { SendMessage(window_, WM_PAINT); });
  QPainter painter(&widget_);
  painter.setRenderHint(QPainter::SmoothPixmapTransform);
  painter.drawImage(drawnPlace_, drawn_);
}
