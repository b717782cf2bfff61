// Computes which part of a picture a window shows, and at what scale.
//
// Lengths are in device pixels of the window and samples of the picture; the scale is device pixels
// per sample, so that at 1 a sample is a device pixel at every scaling of the screen.
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
  void setWindow(const QSize& size); // keeps the centre, or the fit

  // Shows the whole picture, never enlarged, until another scale is set.
  void fit();
  void setScale(double scale, const QPointF& anchor); // anchor: the fixed point of the window
  void zoomBy(double factor, const QPointF& anchor);
  void pan(const QPointF& by); // moves the picture
  void centreOn(const QPointF& sample);

  bool isFitted() const { return fitted_; }
  double scale() const { return scale_; }
  QSize window() const { return window_; }
  QSize picture() const { return picture_; }
  QPoint origin() const; // position of the picture's corner in the window, on a device pixel
  QRect shown() const;   // the part of the window with the picture
  QPointF sampleAt(const QPointF& windowPoint) const;

  static constexpr double greatestScale = 32;

private:
  double fittedScale() const;
  void constrain();

  QSize picture_{1, 1}, window_{1, 1};
  double scale_ = 1;
  QPointF origin_; // not rounded, so that small steps add up
  bool fitted_ = true;
};

} // namespace desktop
