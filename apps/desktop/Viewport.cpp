#include "apps/desktop/Viewport.h"

#include <algorithm>
#include <cmath>

namespace desktop {
namespace {

// Limits the corner along one axis: no gap next to the picture; a smaller picture is centred.
double constrained(double origin, double length, double window) {
  return length <= window ? (window - length) / 2 : std::clamp(origin, window - length, 0.0);
}

} // namespace

QSize scaledSize(const QSize& picture, double scale) {
  return QSize(int(std::lround(picture.width() * scale)),
               int(std::lround(picture.height() * scale)))
      .expandedTo({1, 1});
}

void Viewport::setPicture(const QSize& size) {
  if (size == picture_)
    return;
  picture_ = size;
  fit();
}

void Viewport::setWindow(const QSize& size) {
  const QPointF middle = sampleAt(QPointF(window_.width(), window_.height()) / 2);
  window_ = size.expandedTo({1, 1});
  if (fitted_)
    fit();
  else
    centreOn(middle);
}

double Viewport::fittedScale() const {
  return std::min({1.0, double(window_.width()) / picture_.width(),
                   double(window_.height()) / picture_.height()});
}

void Viewport::fit() {
  scale_ = fittedScale();
  fitted_ = true;
  constrain();
}

void Viewport::setScale(double scale, const QPointF& anchor) {
  const QPointF sample = sampleAt(anchor);
  scale_ = std::clamp(scale, std::min(fittedScale(), 1.0 / 64), greatestScale);
  fitted_ = false;
  origin_ = anchor - sample * scale_;
  constrain();
}

void Viewport::zoomBy(double factor, const QPointF& anchor) { setScale(scale_ * factor, anchor); }

void Viewport::pan(const QPointF& by) {
  origin_ += by;
  constrain();
}

void Viewport::centreOn(const QPointF& sample) {
  origin_ = QPointF(window_.width(), window_.height()) / 2 - sample * scale_;
  constrain();
}

QPoint Viewport::origin() const {
  return {int(std::lround(origin_.x())), int(std::lround(origin_.y()))};
}

QRect Viewport::shown() const {
  return QRect(origin(), scaledSize(picture_, scale_)).intersected(QRect(QPoint(0, 0), window_));
}

QPointF Viewport::sampleAt(const QPointF& windowPoint) const {
  return (windowPoint - origin_) / scale_;
}

void Viewport::constrain() {
  origin_ = {constrained(origin_.x(), picture_.width() * scale_, window_.width()),
             constrained(origin_.y(), picture_.height() * scale_, window_.height())};
}

} // namespace desktop
