// Square parts of a picture at one scale, ready for copying to the window, with a cache of the
// newest ones.
#pragma once

#include <memory>

#include <QCache>
#include <QImage>
#include <QPainter>

#include "apps/desktop/Raster.h"
#include "apps/desktop/Viewport.h"

namespace desktop {

class Tiles {
public:
  static constexpr int side = 256; // device pixels

  explicit Tiles(std::shared_ptr<const Raster> raster) : raster_(std::move(raster)) {}
  const Raster& raster() const { return *raster_; }

  // Drops tiles of other scales.
  void setScale(double scale);
  void setBudget(int bytes) { cache_.setMaxCost(bytes); }

  const QImage* kept(const QPoint& place) const { return cache_.object(key(place)); }
  QImage make(const QPoint& place); // stores it in the cache, too

  // Paints the area (in device pixels of the picture) quickly and coarsely.
  void paintCoarsely(QPainter& painter, const QRect& area) const;

  QSize size() const { return scaledSize(raster_->size(), scale_); } // device pixels, of all

private:
  static quint64 key(const QPoint& place) { return quint64(place.x()) << 32 | quint32(place.y()); }
  QImage rendered(const QRect& area) const;
  QSizeF levelScale(int level) const; // device pixels per pixel of the level

  std::shared_ptr<const Raster> raster_;
  double scale_ = 0;
  QCache<quint64, QImage> cache_{64 << 20}; // bytes
};

// A checkerboard under transparent parts.
void paintCheckers(QPainter& painter, const QRect& area);

} // namespace desktop
