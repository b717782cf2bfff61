// A picture as the view asks for it: upright, in the screen's colours, in levels that halve it.
//
// Level 0 has the picture's samples; a pixel of level n is the mean of 2^n by 2^n of them, weighted
// by alpha. From level 2 on a level is held as an image, a sixteenth of the picture and less; the
// parts of levels 0 and 1 that are asked for are made each time.
#pragma once

#include <memory>
#include <vector>

#include <QImage>

#include "apps/desktop/Colours.h"
#include "apps/photo/Picture.h"

namespace desktop {

class Raster {
public:
  // Makes the images of the levels that are held; takes a few hundredths of a second for a large
  // picture. Throws std::bad_alloc.
  Raster(std::shared_ptr<const photo::Picture> picture, std::unique_ptr<const Colours> colours,
         int orientation);

  QSize size() const { return levelSize(0); } // upright
  QSize levelSize(int level) const;
  int levels() const { return firstHeld + int(held_.size()); }
  const Colours& colours() const { return *colours_; }
  bool hasAlpha() const { return picture_->document.hasTransparency(); }

  // A part of a level, which must lie within it.
  QImage part(int level, const QRect& where) const;

  // The coarsest level with at least so many pixels a side, or the coarsest that there is.
  int coarseLevel(int side) const;
  const QImage* heldLevel(int level) const; // null for levels 0 and 1
  static constexpr int firstHeld = 2;

private:
  QImage stored(int level, const QRect& where) const; // as the document lies
  QImage turned(const QImage& image) const;
  QRect storedPlace(const QRect& upright, const QSize& level) const;
  QSize storedSize(int level) const;

  std::shared_ptr<const photo::Picture> picture_;
  std::unique_ptr<const Colours> colours_;
  int orientation_;
  std::vector<QImage> held_; // upright, from level firstHeld on
};

} // namespace desktop
