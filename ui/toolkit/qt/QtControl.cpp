// What all controls share, and the plain ones: buttons, check boxes, labels, links, pictures.
#include "ui/toolkit/qt/QtControl.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QGroupBox>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QWheelEvent>

#include <algorithm>
#include <cstring>

#include "ui/toolkit/qt/Pictures.h"
#include "ui/toolkit/qt/QtDialog.h"
#include "ui/toolkit/qt/QtKeys.h"

namespace {

constexpr int notch = 120; // turn of a wheel's notch, in Qt's units and in WM_MOUSEWHEEL

intptr_t controlBehaviour(Window window, uint32_t message, uintptr_t wParam, intptr_t lParam) {
  return static_cast<QtControl*>(window->peer)->behave(message, wParam, lParam);
}

WindowRect onScreen(const QWidget& widget) {
  const QPoint corner = widget.mapToGlobal(QPoint(0, 0));
  return {corner.x(), corner.y(), corner.x() + widget.width(), corner.y() + widget.height()};
}

class QtButton final : public QtControl {
public:
  QtButton(QtDialog& dialog, const DialogControl& control, QAbstractButton* button)
      : QtControl(dialog, control, button), button_(button) {
    QObject::connect(button, &QAbstractButton::clicked, this, [this] {
      notifyDialog(WM_COMMAND, MakeWords(uint16_t(window()->id), BN_CLICKED));
    });
  }

  intptr_t behave(uint32_t message, uintptr_t wParam, intptr_t lParam) override {
    switch (message) {
    case BM_SETCHECK:
      button_->setChecked(wParam != 0);
      return 0;
    case BM_GETCHECK:
      return button_->isChecked();
    case BM_SETSTYLE:
      if (auto* push = qobject_cast<QPushButton*>(button_))
        push->setDefault(wParam != 0);
      return 0;
    default:
      return QtControl::behave(message, wParam, lParam);
    }
  }

protected:
  std::string text() const override { return button_->text().toStdString(); }
  void setText(const std::string& text) override { button_->setText(QString::fromStdString(text)); }
  bool onEvent(QEvent* event) override {
    if (event->type() != QEvent::KeyPress || !qobject_cast<QPushButton*>(button_) ||
        VirtualKeyOf(static_cast<QKeyEvent*>(event)->key()) != VK_RETURN)
      return false;
    button_->click();
    return true;
  }

private:
  QAbstractButton* button_;
};

// Labels and links.
class QtLabel final : public QtControl {
public:
  QtLabel(QtDialog& dialog, const DialogControl& control, QLabel* label)
      : QtControl(dialog, control, label), label_(label) {
    QObject::connect(label, &QLabel::linkActivated, this, [this] {
      NotifyHeader header = {window(), uintptr_t(window()->id), fromKey_ ? NM_RETURN : NM_CLICK};
      this->dialog().guarded([&] {
        SendMessage(this->dialog().window(), WM_NOTIFY, header.idFrom,
                    reinterpret_cast<intptr_t>(&header));
      });
    });
  }

protected:
  std::string text() const override { return plain_; }
  void setText(const std::string& text) override {
    plain_ = text;
    const QString shown = QString::fromStdString(text);
    label_->setText(kind() == ControlKind::link ? "<a href=\"#\">" + shown.toHtmlEscaped() + "</a>"
                                                : shown);
  }
  bool onEvent(QEvent* event) override {
    if (event->type() == QEvent::KeyPress || event->type() == QEvent::MouseButtonPress)
      fromKey_ = event->type() == QEvent::KeyPress;
    return false;
  }

private:
  QLabel* label_;
  std::string plain_;
  bool fromKey_ = false;
};

// A bitmap in the resolution of the screen.
class PictureWidget final : public QWidget {
public:
  PictureWidget(QWidget* parent, int number, Qt::AspectRatioMode shape)
      : QWidget(parent), number_(number), shape_(shape) {}

protected:
  void paintEvent(QPaintEvent*) override {
    const qreal ratio = devicePixelRatioF();
    if (scaled_.isNull() || scaled_.devicePixelRatioF() != ratio) {
      const QSize wanted = size() * ratio;
      const EmbeddedPicture* best = FindPicture(number_, wanted.width(), wanted.height());
      QImage image;
      if (!best || !image.loadFromData(best->png, int(best->size), "PNG"))
        return;
      scaled_ = image.scaled(wanted, shape_, Qt::SmoothTransformation);
      scaled_.setDevicePixelRatio(ratio);
    }
    const QSize shown = scaled_.size() / ratio;
    QPainter(this).drawImage((width() - shown.width()) / 2, (height() - shown.height()) / 2,
                             scaled_);
  }

private:
  int number_;
  Qt::AspectRatioMode shape_;
  QImage scaled_;
};

// A frame with its title in the top line. Styles differ in how far below the title they begin, and
// the tables count on this.
class GroupBox final : public QGroupBox {
public:
  using QGroupBox::QGroupBox;

protected:
  void paintEvent(QPaintEvent*) override {
    constexpr qreal radius = 4, indent = 8, gap = 4, lineStrength = 0.28;
    const QFontMetrics metrics(font());
    const qreal line = metrics.height() / 2 + 0.5;
    QColor colour = palette().color(QPalette::WindowText);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF title(indent, 0, metrics.horizontalAdvance(QGroupBox::title()) + 2 * gap,
                       metrics.height());
    painter.setClipRegion(QRegion(rect()) - QRegion(title.toAlignedRect()));
    colour.setAlphaF(lineStrength);
    painter.setPen(colour);
    painter.drawRoundedRect(QRectF(0.5, line, width() - 1, height() - line - 0.5), radius, radius);
    painter.setClipping(false);
    painter.setPen(palette().color(QPalette::WindowText));
    painter.drawText(title, Qt::AlignCenter, QGroupBox::title());
  }
};

// Controls without behaviour of their own: group boxes, pictures, frames.
class QtPlainControl final : public QtControl {
public:
  using QtControl::QtControl;
};

QLabel* makeLabel(QWidget* parent, ControlKind kind) {
  auto* label = new QLabel(parent);
  label->setTextFormat(kind == ControlKind::link ? Qt::RichText : Qt::PlainText);
  if (kind == ControlKind::link) {
    label->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
    label->setFocusPolicy(Qt::TabFocus);
  }
  return label;
}

QPushButton* makePushButton(QWidget* parent, ControlKind kind) {
  auto* button = new QPushButton(parent);
  button->setAutoDefault(false); // Enter is the dialog's to give, see QtDialog::pressKey
  button->setDefault(kind == ControlKind::defaultPushButton);
  return button;
}

QtControl* makeWidget(QtDialog& dialog, const DialogControl& control, const QString& text) {
  QDialog* parent = dialog.widget();
  switch (control.kind) {
  case ControlKind::pushButton:
  case ControlKind::defaultPushButton:
    return new QtButton(dialog, control, makePushButton(parent, control.kind));
  case ControlKind::checkBox:
    return new QtButton(dialog, control, new QCheckBox(parent));
  case ControlKind::label:
  case ControlKind::link:
    return new QtLabel(dialog, control, makeLabel(parent, control.kind));
  case ControlKind::trackBar:
    return MakeTrackBar(dialog, control);
  case ControlKind::edit:
  case ControlKind::digitEdit:
    return MakeEdit(dialog, control);
  case ControlKind::groupBox:
    return new QtPlainControl(dialog, control, new GroupBox(text, parent));
  case ControlKind::picture:
    return new QtPlainControl(dialog, control,
                              new PictureWidget(parent, control.picture, Qt::KeepAspectRatio));
  case ControlKind::banner:
    return new QtPlainControl(dialog, control,
                              new PictureWidget(parent, control.picture, Qt::IgnoreAspectRatio));
  case ControlKind::frame:
    break;
  }
  return new QtPlainControl(dialog, control, new QWidget(parent));
}

} // namespace

QtControl::QtControl(QtDialog& dialog, const DialogControl& control, QWidget* widget)
    : QObject(widget), dialog_(dialog), kind_(control.kind), widget_(widget),
      window_(NewWindow(dialog.window(), control.id, 0, controlBehaviour, this)) {
  widget->installEventFilter(this);
}

QtControl* MakeControl(QtDialog& dialog, const DialogControl& control, const char* text) {
  QtControl* made = makeWidget(dialog, control, QString::fromUtf8(text));
  SetWindowText(made->window(), text ? text : "");
  return made;
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
    return 1;
  case WM_GETTEXTLENGTH:
    return intptr_t(text().size());
  case WM_GETTEXT:
    return CopyText(text(), wParam, lParam);
  case TKM_SHOW:
    widget_->setVisible(wParam != SW_HIDE);
    return 0;
  case TKM_ENABLE:
    widget_->setEnabled(wParam != 0);
    return 0;
  case TKM_SETFOCUS:
    widget_->setFocus(Qt::OtherFocusReason);
    return 0;
  case TKM_GETRECT:
  case TKM_GETCLIENTRECT:
    *reinterpret_cast<WindowRect*>(lParam) = onScreen(*widget_);
    return 1;
  case TKM_SETRECT: {
    const auto& rect = *reinterpret_cast<const WindowRect*>(lParam);
    const QPoint corner = widget_->parentWidget()->mapFromGlobal(QPoint(rect.left, rect.top));
    widget_->setGeometry(QRect(corner, QSize(rect.width(), rect.height())));
    return 1;
  }
  case TKM_INVALIDATE:
    widget_->update();
    return 0;
  default:
    return 0;
  }
}

bool QtControl::eventFilter(QObject*, QEvent* event) {
  if (!IsWindow(window_))
    return false;
  bool eaten = true;
  dialog_.guarded([&] { eaten = onEvent(event); });
  return eaten;
}

void QtControl::deliverCurrent() {
  if (current_)
    deliver(*current_);
}

void QtControl::sendFor(QEvent& event, uint32_t message, uintptr_t wParam) {
  QEvent* const outer = current_;
  current_ = &event;
  SendMessage(window_, message, wParam, 0);
  current_ = outer;
}

bool QtControl::sendKeyPress(QKeyEvent& event) {
  const uintptr_t key = VirtualKeyOf(event.key());
  if (AltIsPartOf(event)) {
    SendMessage(window_, WM_SYSKEYDOWN, key, 0);
    for (char32_t character : CharactersOf(event))
      SendMessage(window_, WM_SYSCHAR, character, 0);
    return true;
  }
  const InputMessage coming = {window_, WM_KEYDOWN, key, 0};
  const intptr_t wants =
      SendMessage(window_, WM_GETDLGCODE, key, reinterpret_cast<intptr_t>(&coming));
  if ((key == VK_RETURN || key == VK_ESCAPE) && !(wants & DLGC_WANTALLKEYS)) {
    dialog_.pressKey(key);
    return true;
  }
  if (key == VK_TAB)
    return false;
  sendFor(event, WM_KEYDOWN, key);
  for (char32_t character : CharactersOf(event))
    sendFor(event, WM_CHAR, character);
  return true;
}

bool QtControl::sendKeyRelease(QKeyEvent& event) {
  if (event.isAutoRepeat())
    return true; // the key is still down
  sendFor(event, AltIsPartOf(event) ? WM_SYSKEYUP : WM_KEYUP, VirtualKeyOf(event.key()));
  return true;
}

bool QtControl::sendWheel(QEvent* event) {
  const auto& wheel = *static_cast<QWheelEvent*>(event);
  // With Alt held the wheel turns sideways; otherwise sideways is nothing to these controls.
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
                MakeWords(0, uint16_t(int16_t(wheelRest_ > 0 ? notch : -notch))), 0);
  event->accept();
  return true;
}

void QtControl::notifyDialog(uint32_t message, uintptr_t wParam) {
  dialog_.guarded(
      [&] { SendMessage(dialog_.window(), message, wParam, reinterpret_cast<intptr_t>(window_)); });
}
