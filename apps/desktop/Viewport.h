// Which part of a picture a window shows, and how large: arithmetic without a window.
//
// All lengths are device pixels of the window and samples of the picture; the scale is device
// pixels for a sample, so that at 1 a sample is a device pixel at any scaling of the screen.
#pragma once

#include <QPointF>
#include <QRectF>
#include <QSize>

namespace desktop {

// The picture's size on the screen, in whole device pixels.
QSize scaledSize(const QSize& picture, double scale);

class Viewport {
public:
  void setPicture(const QSize& size);
  void setWindow(const QSize& size); // keeps what is in the middle, or the fit

  // The whole picture, never enlarged. Holds until another scale is chosen.
  void fit();
  void setScale(double scale, const QPointF& anchor); // which point of the window stays
  void zoomBy(double factor, const QPointF& anchor);
  void pan(const QPointF& by); // moves the picture
  void centreOn(const QPointF& sample);

  bool isFitted() const { return fitted_; }
  double scale() const { return scale_; }
  QSize window() const { return window_; }
  QSize picture() const { return picture_; }
  QPoint origin() const; // of the picture's corner in the window, on a device pixel
  QRect shown() const;   // of the window: where there is picture
  QPointF sampleAt(const QPointF& windowPoint) const;

  static constexpr double greatestScale = 32;

private:
  double fittedScale() const;
  void constrain();

  QSize picture_{1, 1}, window_{1, 1};
  double scale_ = 1;
  QPointF origin_; // exact, so that small steps add up
  bool fitted_ = true;
};

} // namespace desktop
