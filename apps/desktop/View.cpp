#include "apps/desktop/View.h"

#include <algorithm>
#include <cmath>

#include <QGestureEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPinchGesture>
#include <QStyle>
#include <QTimer>

namespace desktop {
namespace {

constexpr int makingMilliseconds = 7; // per frame, out of 20
constexpr int gap = 2;                // device pixels between two panes
constexpr int reach = 7; // logical pixels on both sides of the line where the mouse can grab it
constexpr double wheelStep = 1.2; // zoom per notch
constexpr int notch = 120;        // of a wheel, in Qt's units
constexpr int keyStep = 64;       // device pixels
constexpr double lineStep = 0.02; // of the window's width

} // namespace

View::View(QWidget* parent) : QWidget(parent) {
  setFocusPolicy(Qt::StrongFocus);
  setMouseTracking(true);
  setAttribute(Qt::WA_OpaquePaintEvent);
  setMinimumSize(160, 120);
  grabGesture(Qt::PinchGesture);
}

View::~View() = default;

void View::setRaster(Side side, std::shared_ptr<const Raster> raster) {
  tiles_[side] = raster ? std::make_unique<Tiles>(std::move(raster)) : nullptr;
  if (tiles_[before])
    viewport_.setPicture(tiles_[before]->raster().size());
  changed();
}

void View::setMode(ViewMode mode) {
  mode_ = mode;
  viewport_.setWindow(viewportSize());
  changed();
}

void View::setBeforeHeld(bool held) {
  beforeHeld_ = held;
  update();
}

void View::setSplit(double share) {
  split_ = std::clamp(share, 0.0, 1.0);
  update();
}

void View::fit() {
  viewport_.fit();
  changed();
}

void View::setScale(double scale) {
  viewport_.setScale(scale, QRectF(QPointF(0, 0), QSizeF(viewport_.window())).center());
  changed();
}

void View::zoomBy(double factor) { setScale(viewport_.scale() * factor); }

void View::panBy(const QPoint& devicePixels) {
  viewport_.pan(devicePixels);
  update();
}

void View::changed() {
  emit scaleChanged();
  update();
}

QSize View::deviceSize() const {
  return {int(std::lround(width() * devicePixelRatioF())),
          int(std::lround(height() * devicePixelRatioF()))};
}

QSize View::viewportSize() const {
  const QSize size = deviceSize();
  return mode_ == ViewMode::sideBySide ? QSize((size.width() - gap) / 2, size.height()) : size;
}

int View::splitPixel() const {
  const QRect shown = viewport_.shown();
  return shown.left() + int(std::lround(shown.width() * split_));
}

std::vector<View::Pane> View::panes() const {
  const QRect whole(QPoint(0, 0), deviceSize());
  const Side result = tiles_[after] ? after : before;
  if (beforeHeld_ && mode_ != ViewMode::sideBySide)
    return {{before, whole, {}}};
  if (mode_ == ViewMode::mask)
    return {{tiles_[mask] ? mask : result, whole, {}}};
  if (mode_ == ViewMode::result || !tiles_[after])
    return {{result, whole, {}}};
  if (mode_ == ViewMode::split) {
    const int line = splitPixel();
    return {{before, {0, 0, line, whole.height()}, {}},
            {after, {line, 0, whole.width() - line, whole.height()}, {}}};
  }
  const QSize half = viewportSize();
  const QPoint second(whole.width() - half.width(), 0);
  return {{before, QRect(QPoint(0, 0), half), {}},
          {beforeHeld_ ? before : after, QRect(second, half), second}};
}

// Paints in device pixels at every scaling: removes the fraction that comes from the window's
// position in its parent, so that tiles are copied without resampling.
void View::paintEvent(QPaintEvent*) {
  QElapsedTimer clock;
  clock.start();
  QPainter painter(this);
  const double ratio = devicePixelRatioF();
  painter.scale(1 / ratio, 1 / ratio);
  const QTransform device = painter.deviceTransform();
  painter.translate(std::round(device.dx()) - device.dx(), std::round(device.dy()) - device.dy());
  painter.fillRect(QRect(QPoint(-1, -1), deviceSize() + QSize(2, 2)),
                   palette().color(QPalette::Dark));
  complete_ = true;
  if (!tiles_[before])
    return;
  for (const Pane& pane : panes())
    paintPane(painter, pane, clock);
  paintLine(painter);
  if (!complete_)
    QTimer::singleShot(0, this, qOverload<>(&View::update));
}

void View::paintPane(QPainter& painter, const Pane& pane, const QElapsedTimer& clock) {
  Tiles& tiles = *tiles_[pane.side];
  constexpr int frames = 3; // capacity of the cache, in frames
  tiles.setScale(viewport_.scale());
  tiles.setBudget(std::max(32 << 20, frames * deviceSize().width() * deviceSize().height() * 4));
  const QPoint origin = pane.corner + viewport_.origin();
  const QRect area = pane.area.intersected(viewport_.shown().translated(pane.corner));
  if (area.isEmpty())
    return;
  painter.save();
  painter.setClipRect(area);
  painter.translate(origin);
  const QRect wanted = area.translated(-origin);
  for (int y = wanted.top() / Tiles::side; y <= wanted.bottom() / Tiles::side; ++y)
    for (int x = wanted.left() / Tiles::side; x <= wanted.right() / Tiles::side; ++x) {
      const QPoint place(x, y);
      const QImage* kept = tiles.kept(place);
      if (kept) {
        painter.drawImage(place * Tiles::side, *kept);
      } else if (clock.elapsed() < makingMilliseconds) {
        painter.drawImage(place * Tiles::side, tiles.make(place));
      } else {
        complete_ = false;
        tiles.paintCoarsely(painter, QRect(place * Tiles::side, QSize(Tiles::side, Tiles::side))
                                         .intersected(QRect(QPoint(0, 0), tiles.size())));
      }
    }
  painter.restore();
}

// Light with dark edges, visible on every photograph.
void View::paintLine(QPainter& painter) {
  if (mode_ != ViewMode::split || beforeHeld_ || !tiles_[after])
    return;
  const int unit = std::max(1, int(std::lround(devicePixelRatioF())));
  const QRect shown = viewport_.shown();
  const int x = splitPixel();
  painter.fillRect(QRect(x - 2 * unit, shown.top(), 4 * unit, shown.height()),
                   QColor(0, 0, 0, 110));
  painter.fillRect(QRect(x - unit, shown.top(), 2 * unit, shown.height()), Qt::white);
  const QPointF grip(x, shown.center().y());
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(QPen(hasFocus() ? palette().color(QPalette::Highlight) : QColor(0, 0, 0, 110),
                      (hasFocus() ? 2 : 1) * unit));
  painter.setBrush(Qt::white);
  painter.drawEllipse(grip, 11 * unit, 11 * unit);
  painter.setPen(QPen(QColor(60, 60, 60), 1.6 * unit, Qt::SolidLine, Qt::RoundCap));
  for (const int side : {-1, 1}) {
    const QPointF tip = grip + QPointF(side * 7 * unit, 0);
    painter.drawLine(tip, tip + QPointF(-side * 3 * unit, 3.5 * unit));
    painter.drawLine(tip, tip + QPointF(-side * 3 * unit, -3.5 * unit));
  }
}

void View::resizeEvent(QResizeEvent*) {
  viewport_.setWindow(viewportSize());
  changed();
}

QPointF View::inViewport(const QPointF& point) const {
  QPointF device = point * devicePixelRatioF();
  const double second = deviceSize().width() - viewportSize().width();
  if (mode_ == ViewMode::sideBySide && device.x() >= second)
    device.rx() -= second;
  return device;
}

bool View::isOnLine(const QPointF& point) const {
  return mode_ == ViewMode::split && tiles_[after] && !beforeHeld_ &&
         std::abs(point.x() - splitPixel() / devicePixelRatioF()) <= reach;
}

void View::wheelEvent(QWheelEvent* event) {
  const double notches = double(event->angleDelta().y()) / notch;
  if (notches != 0 && tiles_[before]) {
    viewport_.zoomBy(std::pow(wheelStep, notches), inViewport(event->position()));
    changed();
  }
  event->accept();
}

void View::mousePressEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton && event->button() != Qt::MiddleButton)
    return;
  drag_ = event->button() == Qt::LeftButton && isOnLine(event->position()) ? Drag::line : Drag::pan;
  lastPoint_ = event->position();
  if (drag_ == Drag::pan)
    setCursor(Qt::ClosedHandCursor);
}

void View::mouseMoveEvent(QMouseEvent* event) {
  const QPointF by = (event->position() - lastPoint_) * devicePixelRatioF();
  lastPoint_ = event->position();
  if (drag_ == Drag::line) {
    const QRect shown = viewport_.shown();
    setSplit((event->position().x() * devicePixelRatioF() - shown.left()) /
             std::max(1, shown.width()));
  } else if (drag_ == Drag::pan) {
    viewport_.pan(by);
    update();
  } else {
    setCursor(isOnLine(event->position()) ? Qt::SplitHCursor : Qt::ArrowCursor);
  }
}

void View::mouseReleaseEvent(QMouseEvent* event) {
  drag_ = Drag::none;
  setCursor(isOnLine(event->position()) ? Qt::SplitHCursor : Qt::ArrowCursor);
}

// Switches between the whole picture and 100 percent.
void View::mouseDoubleClickEvent(QMouseEvent* event) {
  if (!viewport_.isFitted())
    viewport_.fit();
  else
    viewport_.setScale(1, inViewport(event->position()));
  changed();
}

void View::keyPressEvent(QKeyEvent* event) {
  const bool line = event->modifiers() & Qt::ShiftModifier;
  switch (event->key()) {
  case Qt::Key_Left:
  case Qt::Key_Right: {
    const int sign = event->key() == Qt::Key_Left ? -1 : 1;
    if (line)
      setSplit(split_ + sign * lineStep);
    else
      panBy({-sign * keyStep, 0});
    return;
  }
  case Qt::Key_Up:
  case Qt::Key_Down:
    panBy({0, event->key() == Qt::Key_Up ? keyStep : -keyStep});
    return;
  default:
    QWidget::keyPressEvent(event);
  }
}

bool View::event(QEvent* event) {
  if (event->type() == QEvent::Gesture) {
    const auto* gestures = static_cast<QGestureEvent*>(event);
    const auto* pinch = static_cast<QPinchGesture*>(gestures->gesture(Qt::PinchGesture));
    if (pinch && tiles_[before]) {
      viewport_.zoomBy(pinch->scaleFactor(), inViewport(mapFromGlobal(pinch->centerPoint())));
      changed();
    }
    return true;
  }
  return QWidget::event(event);
}

} // namespace desktop
