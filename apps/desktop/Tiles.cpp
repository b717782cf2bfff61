#include "apps/desktop/Tiles.h"

#include <algorithm>
#include <cmath>

namespace desktop {
namespace {

constexpr double sharpFrom = 2; // scale from which samples are shown as squares
constexpr int checker = 8;      // device pixels

// Whole pixels of a level that cover the area, plus a margin for interpolation.
QRect around(const QRectF& area, const QSize& level) {
  return area.toAlignedRect().adjusted(-2, -2, 2, 2).intersected(QRect(QPoint(0, 0), level));
}

// Converts an area from device pixels to pixels of a level; scale: device pixels per pixel of the
// level.
QRectF onLevel(const QRect& area, const QSizeF& scale) {
  return {area.x() / scale.width(), area.y() / scale.height(), area.width() / scale.width(),
          area.height() / scale.height()};
}

} // namespace

void paintCheckers(QPainter& painter, const QRect& area) {
  painter.fillRect(area, QColor(204, 204, 204));
  for (int y = area.top() / checker; y * checker <= area.bottom(); ++y)
    for (int x = area.left() / checker; x * checker <= area.right(); ++x)
      if ((x + y) % 2)
        painter.fillRect(QRect(x * checker, y * checker, checker, checker).intersected(area),
                         QColor(153, 153, 153));
}

void Tiles::setScale(double scale) {
  if (scale == scale_)
    return;
  scale_ = scale;
  cache_.clear();
}

// Both sides end on a device pixel, so that the two scales differ slightly.
QSizeF Tiles::levelScale(int level) const {
  const QSize all = size(), picture = raster_->size();
  const int side = 1 << level;
  return {double(all.width()) * side / picture.width(),
          double(all.height()) * side / picture.height()};
}

QImage Tiles::make(const QPoint& place) {
  const QRect area =
      QRect(place * side, QSize(side, side)).intersected(QRect(QPoint(0, 0), size()));
  auto* tile = new QImage(rendered(area));
  const QImage copy = *tile; // shares the pixel data
  cache_.insert(key(place), tile, qsizetype(tile->sizeInBytes()));
  return copy;
}

// Uses the level with at least as many pixels as the window, and less than twice as many.
QImage Tiles::rendered(const QRect& area) const {
  int level = scale_ < 1 ? int(std::floor(std::log2(1 / scale_) + 1e-9)) : 0;
  level = std::clamp(level, 0, raster_->levels() - 1);
  const double scale = scale_ * (1 << level);
  const QRectF wanted = onLevel(area, levelScale(level));
  const QRect source = around(wanted, raster_->levelSize(level));
  if (scale_ == 1 && !raster_->hasAlpha())
    return raster_->part(level, area);
  QImage tile(area.size(), QImage::Format_RGB32);
  tile.fill(Qt::black);
  QPainter painter(&tile);
  if (raster_->hasAlpha())
    paintCheckers(painter, tile.rect());
  painter.setRenderHint(QPainter::SmoothPixmapTransform, scale < sharpFrom && scale != 1);
  const QSizeF unit = levelScale(level);
  painter.drawImage(QRectF((source.x() - wanted.x()) * unit.width(),
                           (source.y() - wanted.y()) * unit.height(), source.width() * unit.width(),
                           source.height() * unit.height()),
                    raster_->part(level, source));
  return tile;
}

void Tiles::paintCoarsely(QPainter& painter, const QRect& area) const {
  constexpr int enough = 1024; // pixels per side
  const int level = raster_->coarseLevel(enough);
  const double scale = scale_ * (1 << level);
  painter.drawImage(
      QRectF(area), *raster_->heldLevel(level),
      QRectF(area.x() / scale, area.y() / scale, area.width() / scale, area.height() / scale));
}

} // namespace desktop
