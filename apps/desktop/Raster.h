// A picture for the view: upright, in the screen's colours, in levels of halved size.
//
// Level 0 has the picture's samples; a pixel of level n is the mean of 2^n by 2^n of them, weighted
// by alpha. Levels from 2 on are stored as images, at most a sixteenth of the picture; parts of
// levels 0 and 1 are computed on each request.
#pragma once

#include <memory>
#include <vector>

#include <QImage>

#include "apps/desktop/Colours.h"
#include "apps/photo/Picture.h"

namespace desktop {

class Raster {
public:
  // Makes the images of the stored levels, which takes some hundredths of a second for a large
  // picture. Throws std::bad_alloc.
  Raster(std::shared_ptr<const photo::Picture> picture, std::unique_ptr<const Colours> colours,
         int orientation);

  QSize size() const { return levelSize(0); } // upright
  QSize levelSize(int level) const;
  int levels() const { return firstHeld + int(held_.size()); }
  const Colours& colours() const { return *colours_; }
  bool hasAlpha() const { return picture_->document.hasTransparency(); }

  // A part of a level; it must lie within the level.
  QImage part(int level, const QRect& where) const;

  // The coarsest level with at least `side` pixels per side, or the coarsest of all.
  int coarseLevel(int side) const;
  const QImage* heldLevel(int level) const; // null for levels 0 and 1
  static constexpr int firstHeld = 2;

private:
  QImage stored(int level, const QRect& where) const; // in the document's orientation
  QImage turned(const QImage& image) const;
  QRect storedPlace(const QRect& upright, const QSize& level) const;
  QSize storedSize(int level) const;

  std::shared_ptr<const photo::Picture> picture_;
  std::unique_ptr<const Colours> colours_;
  int orientation_;
  std::vector<QImage> held_; // upright, from level firstHeld on
};

} // namespace desktop
