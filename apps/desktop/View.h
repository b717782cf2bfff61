// Shows the photograph before and after, side by side or with a dividing line, and the haze mask.
//
// Painting never waits for a picture: missing tiles are drawn coarsely first, and each frame spends
// a few milliseconds on making them.
#pragma once

#include <array>
#include <memory>

#include <QElapsedTimer>
#include <QWidget>

#include "apps/desktop/Tiles.h"
#include "apps/desktop/Viewport.h"

namespace desktop {

enum class ViewMode { split, sideBySide, result, mask };

class View : public QWidget {
  Q_OBJECT

public:
  enum Side { before, after, mask, sides };

  explicit View(QWidget* parent = nullptr);
  ~View() override;

  // Null: no picture. Position and scale stay if the size is the same.
  void setRaster(Side side, std::shared_ptr<const Raster> raster);
  const Raster* raster(Side side) const { return tiles_[side] ? &tiles_[side]->raster() : nullptr; }

  ViewMode mode() const { return mode_; }
  void setMode(ViewMode mode);
  void setBeforeHeld(bool held); // shows the original photograph, in every mode
  double split() const { return split_; }
  void setSplit(double share); // share of the window's width, 0 to 1

  void fit();
  void setScale(double scale); // around the centre
  void zoomBy(double factor);
  void panBy(const QPoint& devicePixels);
  const Viewport& viewport() const { return viewport_; }
  bool isComplete() const { return complete_; } // nothing was drawn coarsely

signals:
  void scaleChanged();

protected:
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void wheelEvent(QWheelEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void mouseDoubleClickEvent(QMouseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  bool event(QEvent* event) override;

private:
  struct Pane {
    Side side;
    QRect area;    // device pixels of the window
    QPoint corner; // of the viewport in the window
  };
  std::vector<Pane> panes() const;
  QSize deviceSize() const;
  QSize viewportSize() const;
  int splitPixel() const;
  QPointF inViewport(const QPointF& point) const;
  bool isOnLine(const QPointF& point) const;
  void paintPane(QPainter& painter, const Pane& pane, const QElapsedTimer& clock);
  void paintLine(QPainter& painter);
  void changed();

  std::array<std::unique_ptr<Tiles>, sides> tiles_;
  Viewport viewport_;
  ViewMode mode_ = ViewMode::split;
  bool beforeHeld_ = false, complete_ = true;
  double split_ = 0.5;
  enum class Drag { none, pan, line } drag_ = Drag::none;
  QPointF lastPoint_;
};

} // namespace desktop
