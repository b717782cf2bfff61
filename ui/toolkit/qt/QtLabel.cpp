#include "ui/toolkit/qt/QtLabel.h"

#include <QAbstractButton>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QStyle>
#include <QStyleOptionFocusRect>

#include "ui/toolkit/qt/QtKeys.h"

namespace {

class QtLabel final : public QtControl {
public:
  QtLabel(ControlOwner& owner, const DialogControl& control, QLabel* label)
      : QtControl(owner, control, label), label_(label) {
    label->setTextFormat(Qt::PlainText);
  }

protected:
  std::string text() const override { return label_->text().toStdString(); }
  void setText(const std::string& text) override { label_->setText(QString::fromStdString(text)); }

private:
  QLabel* label_;
};

// Underlined text in the colour of links. Based on a button, for its mouse handling, its single tab
// stop and its place in the accessibility tree.
class LinkWidget final : public QAbstractButton {
public:
  explicit LinkWidget(QWidget* parent) : QAbstractButton(parent) {
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::StrongFocus);
  }

  QSize sizeHint() const override {
    return {fontMetrics().horizontalAdvance(text()) + 2 * margin, fontMetrics().height()};
  }

protected:
  bool hitButton(const QPoint& where) const override { return textRect().contains(where); }
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    QFont underlined = font();
    underlined.setUnderline(true);
    painter.setFont(underlined);
    painter.setPen(palette().color(QPalette::Link));
    painter.drawText(textRect(), Qt::AlignCenter, text());
    if (!hasFocus())
      return;
    QStyleOptionFocusRect focus;
    focus.initFrom(this);
    focus.rect = textRect();
    focus.state |= QStyle::State_KeyboardFocusChange;
    style()->drawPrimitive(QStyle::PE_FrameFocusRect, &focus, &painter, this);
  }

private:
  static constexpr int margin = 2; // pixels between the text and the focus mark
  QRect textRect() const { return {0, 0, std::min(sizeHint().width(), width()), height()}; }
};

class QtLink final : public QtControl {
public:
  QtLink(ControlOwner& owner, const DialogControl& control, LinkWidget* link)
      : QtControl(owner, control, link), link_(link) {
    QObject::connect(link, &QAbstractButton::clicked, this, [this] { open(NM_CLICK); });
  }

protected:
  std::string text() const override { return link_->text().toStdString(); }
  void setText(const std::string& text) override { link_->setText(QString::fromStdString(text)); }
  bool onEvent(QEvent* event) override {
    if (event->type() != QEvent::KeyPress)
      return false;
    const auto& key = *static_cast<QKeyEvent*>(event);
    if (VirtualKeyOf(key) != VK_RETURN)
      return false;
    if (!key.isAutoRepeat()) // one page per press
      open(NM_RETURN);
    return true;
  }

private:
  void open(uint32_t code) {
    const NotifyHeader header = {window(), uintptr_t(window()->id), code};
    sendToDialog(WM_NOTIFY, header.idFrom, reinterpret_cast<intptr_t>(&header));
  }

  LinkWidget* link_;
};

} // namespace

QtControl* MakeLabel(ControlOwner& owner, const DialogControl& control) {
  return new QtLabel(owner, control, new QLabel(owner.surface()));
}

QtControl* MakeLink(ControlOwner& owner, const DialogControl& control) {
  return new QtLink(owner, control, new LinkWidget(owner.surface()));
}
