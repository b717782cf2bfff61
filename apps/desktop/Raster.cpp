#include "apps/desktop/Raster.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

namespace desktop {
namespace {

constexpr int smallestSide = 64; // pixels; a level below would show nothing

bool exchangesSides(int orientation) { return orientation >= 5; }
bool fromRight(int orientation) {
  return orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
}
bool fromBelow(int orientation) {
  return orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
}

QImage makeImage(const QSize& size, bool alpha) {
  QImage image(size, alpha ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32);
  if (image.isNull())
    throw std::bad_alloc();
  return image;
}

// What a sample counts: a float that is not finite nothing, like in the filter.
float valueOf(uint8_t sample) { return sample; }
float valueOf(float sample) { return std::isfinite(sample) ? sample : 0.0f; }
uint8_t sampleOf(float value, uint8_t) { return uint8_t(value + 0.5f); }
float sampleOf(float value, float) { return value; }

// Means of side by side samples: `count` pixels from the block column `left` on, of the block row
// `top`. Blocks at the right and lower edge are cut.
template <class Sample>
void meanRow(const host::Document& document, int side, int left, int top, int count, Sample* out) {
  const int channels = document.channels();
  const int alpha = document.hasTransparency() ? 3 : -1;
  const int bottom = std::min((top + 1) * side, document.height());
  std::vector<float> sums(size_t(count) * size_t(channels), 0.0f);
  for (int y = top * side; y < bottom; ++y) {
    const auto* row = reinterpret_cast<const Sample*>(document.row(y));
    for (int i = 0; i < count; ++i) {
      float* sum = sums.data() + size_t(i) * size_t(channels);
      const int end = std::min((left + i + 1) * side, document.width());
      for (int x = (left + i) * side; x < end; ++x) {
        const Sample* pixel = row + size_t(x) * size_t(channels);
        const float weight = alpha < 0 ? 1.0f : valueOf(pixel[alpha]);
        for (int c = 0; c < channels; ++c)
          sum[c] += valueOf(pixel[c]) * (c == alpha ? 1.0f : weight);
      }
    }
  }
  for (int i = 0; i < count; ++i) {
    float* sum = sums.data() + size_t(i) * size_t(channels);
    const int columns = std::min((left + i + 1) * side, document.width()) - (left + i) * side;
    const auto area = float(columns * (bottom - top * side));
    for (int c = 0; c < channels; ++c) {
      const float weight = alpha < 0 || c == alpha ? area : sum[alpha];
      *out++ = sampleOf(weight > 0 ? sum[c] / weight : 0.0f, Sample());
    }
  }
}

} // namespace

Raster::Raster(std::shared_ptr<const photo::Picture> picture,
               std::unique_ptr<const Colours> colours, int orientation)
    : picture_(std::move(picture)), colours_(std::move(colours)), orientation_(orientation) {
  QImage level = turned(stored(firstHeld, QRect(QPoint(0, 0), storedSize(firstHeld))));
  held_.push_back(level);
  while (std::max(level.width(), level.height()) >= 2 * smallestSide) {
    const QSize next((level.width() + 1) / 2, (level.height() + 1) / 2);
    level = level.scaled(next, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                .convertToFormat(held_.front().format());
    held_.push_back(level);
  }
}

QSize Raster::storedSize(int level) const {
  const host::Document& document = picture_->document;
  const int side = 1 << level;
  return {(document.width() + side - 1) / side, (document.height() + side - 1) / side};
}

QSize Raster::levelSize(int level) const {
  const QSize size = storedSize(level);
  return exchangesSides(orientation_) ? size.transposed() : size;
}

int Raster::coarseLevel(int side) const {
  int level = firstHeld;
  while (level + 1 < levels() &&
         std::max(levelSize(level + 1).width(), levelSize(level + 1).height()) >= side)
    ++level;
  return level;
}

const QImage* Raster::heldLevel(int level) const {
  return level < firstHeld ? nullptr : &held_[size_t(level - firstHeld)];
}

QImage Raster::part(int level, const QRect& where) const {
  if (const QImage* held = heldLevel(level))
    return held->copy(where);
  return turned(stored(level, storedPlace(where, levelSize(level))));
}

// Where the part lies in the document: the inverse of `turned`.
QRect Raster::storedPlace(const QRect& upright, const QSize& level) const {
  QRect place = upright;
  QSize size = level;
  if (exchangesSides(orientation_)) {
    place = QRect(upright.y(), upright.x(), upright.height(), upright.width());
    size.transpose();
  }
  if (fromRight(orientation_))
    place.moveLeft(size.width() - place.x() - place.width());
  if (fromBelow(orientation_))
    place.moveTop(size.height() - place.y() - place.height());
  return place;
}

QImage Raster::turned(const QImage& image) const {
  if (orientation_ == 1)
    return image;
  const QImage mirrored = image.mirrored(fromRight(orientation_), fromBelow(orientation_));
  if (!exchangesSides(orientation_))
    return mirrored;
  return mirrored.transformed(QTransform(0, 1, 1, 0, 0, 0)); // rows become columns
}

QImage Raster::stored(int level, const QRect& where) const {
  const host::Document& document = picture_->document;
  QImage image = makeImage(where.size(), hasAlpha());
  auto* pixels = reinterpret_cast<uint32_t*>(image.bits());
  const auto stride = size_t(image.bytesPerLine()) / sizeof(uint32_t);
  const size_t pixelBytes = size_t(document.channels()) * document.sampleBytes();
  const int width = where.width();
  // The few rows of a tile are not worth a team.
#pragma omp parallel for schedule(static) if (int64_t(width) * where.height() > 400000)
  for (int v = 0; v < where.height(); ++v) {
    const int y = where.y() + v;
    uint32_t* out = pixels + size_t(v) * stride;
    if (level == 0) {
      colours_->convert(document.row(y) + size_t(where.x()) * pixelBytes, width, out);
      continue;
    }
    std::vector<std::byte> row(size_t(width) * pixelBytes);
    if (document.depth() == 8)
      meanRow(document, 1 << level, where.x(), y, width, reinterpret_cast<uint8_t*>(row.data()));
    else
      meanRow(document, 1 << level, where.x(), y, width, reinterpret_cast<float*>(row.data()));
    colours_->convert(row.data(), width, out);
  }
  return image;
}

} // namespace desktop
