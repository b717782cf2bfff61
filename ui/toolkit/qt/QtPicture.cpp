#include "ui/toolkit/qt/QtPicture.h"

#include <QGroupBox>
#include <QPainter>

#include "ui/toolkit/qt/Pictures.h"

namespace {

// A bitmap at the resolution of the screen.
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

// A frame with its title in the top line. Drawn here, because Qt's styles start the frame at
// different heights below the title, and the tables leave room only for the title.
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

class QtGroupBox final : public QtControl {
public:
  QtGroupBox(ControlOwner& owner, const DialogControl& control, GroupBox* box)
      : QtControl(owner, control, box), box_(box) {}

protected:
  std::string text() const override { return box_->title().toStdString(); }
  void setText(const std::string& text) override { box_->setTitle(QString::fromStdString(text)); }

private:
  GroupBox* box_;
};

} // namespace

QtControl* MakePicture(ControlOwner& owner, const DialogControl& control) {
  const auto shape =
      control.kind == ControlKind::banner ? Qt::IgnoreAspectRatio : Qt::KeepAspectRatio;
  return new QtControl(owner, control, new PictureWidget(owner.surface(), control.picture, shape));
}

QtControl* MakeGroupBox(ControlOwner& owner, const DialogControl& control) {
  return new QtGroupBox(owner, control, new GroupBox(owner.surface()));
}

QtControl* MakeFrame(ControlOwner& owner, const DialogControl& control) {
  return new QtControl(owner, control, new QWidget(owner.surface()));
}
