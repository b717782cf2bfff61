#include "ui/toolkit/qt/QtControl.h"

#include <QKeyEvent>
#include <QWheelEvent>

#include <algorithm>
#include <cstring>

#include "ui/toolkit/qt/QtKeys.h"

namespace {

constexpr int notch = 120; // turn of one wheel notch, in Qt's units and in WM_MOUSEWHEEL

intptr_t controlBehaviour(Window window, uint32_t message, uintptr_t wParam, intptr_t lParam) {
  return static_cast<QtControl*>(window->peer)->behave(message, wParam, lParam);
}

} // namespace

WindowRect RectOnScreen(const QWidget& widget) {
  const QPoint corner = widget.mapToGlobal(QPoint());
  return {corner.x(), corner.y(), corner.x() + widget.width(), corner.y() + widget.height()};
}

QtControl::QtControl(ControlOwner& owner, const DialogControl& control, QWidget* widget)
    : QObject(widget), owner_(owner), kind_(control.kind), widget_(widget),
      window_(NewWindow(owner.window(), controlBehaviour, this, control.id)) {
  widget->installEventFilter(this);
}

intptr_t CopyText(const std::string& text, uintptr_t capacity, intptr_t buffer) {
  if (capacity == 0)
    return 0;
  const size_t length = std::min(text.size(), size_t(capacity) - 1);
  char* to = reinterpret_cast<char*>(buffer);
  std::memcpy(to, text.data(), length);
  to[length] = '\0';
  return intptr_t(length);
}

intptr_t QtControl::behave(uint32_t message, uintptr_t wParam, intptr_t lParam) {
  switch (message) {
  case WM_SETTEXT:
    setText(reinterpret_cast<const char*>(lParam));
    break;
  case WM_GETTEXTLENGTH:
    return intptr_t(text().size());
  case WM_GETTEXT:
    return CopyText(text(), wParam, lParam);
  case TKM_SHOW:
    widget_->setVisible(wParam != SW_HIDE);
    break;
  case TKM_ENABLE:
    widget_->setEnabled(wParam != 0);
    break;
  case TKM_SETFOCUS:
    widget_->setFocus(Qt::OtherFocusReason);
    break;
  case TKM_GETRECT:
  case TKM_GETCLIENTRECT:
    *reinterpret_cast<WindowRect*>(lParam) = RectOnScreen(*widget_);
    break;
  }
  return 0;
}

bool QtControl::eventFilter(QObject*, QEvent* event) {
  if (!IsWindow(window_))
    return false;
  bool eaten = true;
  owner_.guarded([&] { eaten = onEvent(event); });
  return eaten;
}

void QtControl::deliverCurrent() {
  if (current_)
    deliver(*current_);
}

void QtControl::sendFor(QEvent& event, uint32_t message, uintptr_t wParam) {
  QEvent* const outer = current_;
  current_ = &event;
  SendMessage(window_, message, wParam);
  current_ = outer;
}

bool QtControl::sendKeyPress(QKeyEvent& event) {
  const uintptr_t key = VirtualKeyOf(event);
  if (AltIsPartOf(event))
    return true; // types nothing
  const InputMessage coming = {window_, WM_KEYDOWN, key, 0};
  const intptr_t wants =
      SendMessage(window_, WM_GETDLGCODE, key, reinterpret_cast<intptr_t>(&coming));
  if ((key == VK_RETURN || key == VK_ESCAPE) && !(wants & DLGC_WANTALLKEYS)) {
    owner_.pressKey(key);
    return true;
  }
  if (key == VK_TAB)
    return false;
  sendFor(event, WM_KEYDOWN, key);
  for (char32_t character : CharactersOf(event))
    sendFor(event, WM_CHAR, character);
  event.accept(); // a widget may not handle Ctrl+Enter, which must not act as Enter for the dialog
  return true;
}

bool QtControl::sendKeyRelease(QKeyEvent& event) {
  if (!event.isAutoRepeat() && !AltIsPartOf(event)) // finally released
    sendFor(event, WM_KEYUP, VirtualKeyOf(event));
  return true;
}

bool QtControl::sendWheel(QEvent* event) {
  const auto& wheel = *static_cast<QWheelEvent*>(event);
  // With Alt held the wheel turns sideways; without Alt these controls ignore sideways turns.
  const bool sideways = wheel.modifiers().testFlag(Qt::AltModifier);
  const int turn =
      wheel.angleDelta().y() == 0 && sideways ? wheel.angleDelta().x() : wheel.angleDelta().y();
  if (turn == 0)
    return true;
  if ((turn > 0) != (wheelRest_ > 0))
    wheelRest_ = 0;
  wheelRest_ += turn;
  for (; std::abs(wheelRest_) >= notch; wheelRest_ -= wheelRest_ > 0 ? notch : -notch)
    SendMessage(window_, WM_MOUSEWHEEL,
                MakeWords(0, uint16_t(int16_t(wheelRest_ > 0 ? notch : -notch))));
  event->accept();
  return true;
}

void QtControl::sendToDialog(uint32_t message, uintptr_t wParam, intptr_t lParam) {
  owner_.guarded([&] { SendMessage(owner_.window(), message, wParam, lParam); });
}

void QtControl::sendCommand(uint32_t code) {
  sendToDialog(WM_COMMAND, MakeWords(uint16_t(window_->id), uint16_t(code)),
               reinterpret_cast<intptr_t>(window_));
}
