#include "apps/desktop/Raster.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

namespace desktop {
namespace {

constexpr int smallestSide = 64; // pixels; a smaller level would be useless

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

// The value of a sample: a float that is not finite counts as 0, as in the filter.
uint8_t valueOf(uint8_t sample) { return sample; }
float valueOf(float sample) { return std::isfinite(sample) ? sample : 0.0f; }
uint8_t sampleOf(float value, uint8_t) { return uint8_t(value + 0.5f); }
float sampleOf(float value, float) { return value; }

// A row of blocks of `side` by `side` samples: `count` blocks from block column `left` on, in row
// `top`. The picture's right and lower edges cut off blocks.
struct Blocks {
  int side, left, top, count;
  int firstRow() const { return top * side; }
  int endRow(const host::Document& d) const { return std::min(firstRow() + side, d.height()); }
  int firstColumn(int i) const { return (left + i) * side; }
  int endColumn(int i, const host::Document& d) const {
    return std::min(firstColumn(i) + side, d.width());
  }
};

// Type of a sum that can hold the samples of the largest block.
template <class Sample> struct SumOf;
template <> struct SumOf<uint8_t> { using Type = uint32_t; };
template <> struct SumOf<float> { using Type = float; };

// Adds up rows first, which is one pass over adjacent numbers.
template <class Sample>
void meanOpaque(const host::Document& document, const Blocks& blocks, Sample* out) {
  using Sum = typename SumOf<Sample>::Type;
  const auto channels = size_t(document.channels());
  const int from = blocks.firstColumn(0), end = blocks.endColumn(blocks.count - 1, document);
  const size_t samples = size_t(end - from) * channels;
  thread_local std::vector<Sum> sums;
  sums.assign(samples, Sum(0));
  const int rows = blocks.endRow(document) - blocks.firstRow();
  for (int y = blocks.firstRow(); y < blocks.endRow(document); ++y) {
    const auto* row = reinterpret_cast<const Sample*>(document.row(y)) + size_t(from) * channels;
    for (size_t i = 0; i < samples; ++i)
      sums[i] += Sum(valueOf(row[i]));
  }
  const Sum* sum = sums.data();
  for (int i = 0; i < blocks.count; ++i) {
    const int columns = blocks.endColumn(i, document) - blocks.firstColumn(i);
    const float share = 1.0f / float(columns * rows);
    for (size_t c = 0; c < channels; ++c) {
      Sum total = 0;
      for (int x = 0; x < columns; ++x)
        total += sum[size_t(x) * channels + c];
      *out++ = sampleOf(float(total) * share, Sample());
    }
    sum += size_t(columns) * channels;
  }
}

// Colours are weighted by their alpha.
template <class Sample>
void meanWithAlpha(const host::Document& document, const Blocks& blocks, Sample* out) {
  const auto channels = size_t(document.channels());
  constexpr size_t alpha = 3;
  std::vector<float> sum(channels);
  for (int i = 0; i < blocks.count; ++i) {
    std::fill(sum.begin(), sum.end(), 0.0f);
    int area = 0;
    for (int y = blocks.firstRow(); y < blocks.endRow(document); ++y)
      for (int x = blocks.firstColumn(i); x < blocks.endColumn(i, document); ++x, ++area) {
        const Sample* pixel =
            reinterpret_cast<const Sample*>(document.row(y)) + size_t(x) * channels;
        const float weight = valueOf(pixel[alpha]);
        for (size_t c = 0; c < channels; ++c)
          sum[c] += valueOf(pixel[c]) * (c == alpha ? 1.0f : weight);
      }
    for (size_t c = 0; c < channels; ++c) {
      const float weight = c == alpha ? float(area) : sum[alpha];
      *out++ = sampleOf(weight > 0 ? sum[c] / weight : 0.0f, Sample());
    }
  }
}

template <class Sample>
void meanRow(const host::Document& document, const Blocks& blocks, std::byte* out) {
  auto* samples = reinterpret_cast<Sample*>(out);
  if (document.hasTransparency())
    meanWithAlpha(document, blocks, samples);
  else
    meanOpaque(document, blocks, samples);
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

// Position of the part in the document: the inverse of `turned`.
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
  // The few rows of a tile do not need a team.
#pragma omp parallel for schedule(static) if (int64_t(width) * where.height() > 400000)
  for (int v = 0; v < where.height(); ++v) {
    const int y = where.y() + v;
    uint32_t* out = pixels + size_t(v) * stride;
    if (level == 0) {
      colours_->convert(document.row(y) + size_t(where.x()) * pixelBytes, width, out);
      continue;
    }
    std::vector<std::byte> row(size_t(width) * pixelBytes);
    const Blocks blocks{1 << level, where.x(), y, width};
    (document.depth() == 8 ? meanRow<uint8_t> : meanRow<float>)(document, blocks, row.data());
    colours_->convert(row.data(), width, out);
  }
  return image;
}

} // namespace desktop
