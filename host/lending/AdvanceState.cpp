#include "host/lending/AdvanceState.h"

#include <algorithm>
#include <limits>
#include <new>
#include <type_traits>
#include <vector>

#include "host/document/BoxAverage.h"

namespace host {

namespace {

constexpr Fixed fullRate = 0x10000;

bool isEmpty(const VRect& r) { return r.left >= r.right || r.top >= r.bottom; }
int64_t widthOf(const VRect& r) { return int64_t(r.right) - r.left; }
int64_t heightOf(const VRect& r) { return int64_t(r.bottom) - r.top; }

VRect chosen(bool wide, const VRect& rect32, const Rect16& rect16) {
  return wide ? rect32 : VRect{rect16.top, rect16.left, rect16.bottom, rect16.right};
}

// Pixels in memory: the document's, or the selection as one plane of bytes.
struct Raster {
  const void* samples;
  int32_t width, height;
  PlaneRange range;
};

template <class Sample> const Sample* pixelAt(const Raster& raster, int32_t x, int32_t y) {
  return static_cast<const Sample*>(raster.samples) +
         (int64_t(y) * raster.width + x) * raster.range.channels;
}

// Columns `left` to `right` of one row, converted for the filter; the row may lie outside.
template <class Sample>
void fetchRow(const Raster& raster, int64_t y, int64_t left, int64_t right, Sample* seen) {
  const int32_t row = int32_t(std::clamp<int64_t>(y, 0, raster.height - 1));
  const int64_t planes = raster.range.planes;
  const int64_t lastColumn = raster.width - 1;
  const int64_t first = std::clamp<int64_t>(left, 0, lastColumn);
  const int64_t last = std::clamp<int64_t>(right - 1, 0, lastColumn);
  // Place of the first of these pixels; a run completely outside keeps room for one.
  Sample* const inside = seen + std::clamp<int64_t>(first - left, 0, right - left - 1) * planes;
  fetchPixels(pixelAt<Sample>(raster, int32_t(first), row), raster.range, last - first + 1, inside);
  for (Sample* p = seen; p < inside; p += planes)
    std::copy_n(inside, planes, p);
  Sample* const end = seen + (right - left) * planes;
  Sample* const edge = inside + (last - first) * planes;
  for (Sample* p = edge + planes; p < end; p += planes)
    std::copy_n(edge, planes, p);
}

template <class Sample> void fetchFullRate(const Raster& raster, const VRect& rect, Sample* seen) {
  const int64_t rowSamples = widthOf(rect) * raster.range.planes;
  const bool wholeRows = rect.left == 0 && rect.right == raster.width;
  if (wholeRows && rect.top >= 0 && rect.bottom <= raster.height)
    return fetchPixels(pixelAt<Sample>(raster, 0, rect.top), raster.range,
                       widthOf(rect) * heightOf(rect), seen);
  for (int64_t y = rect.top; y < rect.bottom; y++, seen += rowSamples)
    fetchRow(raster, y, rect.left, rect.right, seen);
}

template <class Sample>
void fetchReduced(const Raster& raster, const VRect& rect, Fixed rate, Sample* seen) {
  const bool direct = plainBytes(raster.range, std::is_floating_point_v<Sample>);
  std::vector<Sample> rows[boxRowSlots];
  const BoxRows<Sample> source = [&](int32_t y, int32_t left, int32_t count, int slot) {
    const Sample* pixels = pixelAt<Sample>(raster, left, y);
    if (direct)
      return pixels;
    rows[slot].resize(size_t(count) * size_t(raster.range.planes));
    fetchPixels(pixels, raster.range, count, rows[slot].data());
    return static_cast<const Sample*>(rows[slot].data());
  };
  boxAverage<Sample>(boxAxis(raster.width, rate, fullRate), boxAxis(raster.height, rate, fullRate),
                     {rect.left, rect.right, rect.top, rect.bottom, raster.range.planes}, source,
                     seen);
}

template <class Sample>
void fetch(const Raster& raster, const VRect& rect, Fixed rate, void* seen) {
  if (rate == fullRate)
    fetchFullRate(raster, rect, static_cast<Sample*>(seen));
  else
    fetchReduced(raster, rect, rate, static_cast<Sample*>(seen));
}

// Bytes of a row and of the whole band; false if a row exceeds the interface's 32 bits.
bool bandSize(const VRect& rect, int64_t pixelBytes, int32_t* rowBytes, size_t* bytes) {
  int64_t row, all;
  if (__builtin_mul_overflow(widthOf(rect), pixelBytes, &row) ||
      row > std::numeric_limits<int32_t>::max() ||
      __builtin_mul_overflow(row, heightOf(rect), &all))
    return false;
  *rowBytes = int32_t(row);
  *bytes = size_t(all);
  return true;
}

int32_t alphaOf(const Document& document) {
  return document.hasTransparency() ? document.colourChannels() : -1;
}

} // namespace

std::byte* Transfer::Band::reserve(size_t bytes) {
  if (bytes > capacity) {
    memory.reset();
    capacity = 0;
    memory = allocateArray<std::byte>(bytes);
    capacity = bytes;
  }
  return memory.get();
}

bool Transfer::wide() const {
  return record_.bigDocumentData && record_.bigDocumentData->PluginUsing32BitCoordinates;
}

bool Transfer::hasPlanes(const Delivery& delivery) const {
  return delivery.low >= 0 && delivery.low <= delivery.high && delivery.high < document_.channels();
}

void Transfer::drop() {
  outRect_ = {};
  finite_.reset();
  lostSamples_ = 0;
}

// Whether the rectangle consists of whole rows of colours only, neither matted nor masked, and all
// finite.
bool Transfer::outInPlace(const Delivery& out) {
  const VRect& r = out.rect;
  if (r.left != 0 || r.right != document_.width() || r.top < 0 || r.bottom > document_.height() ||
      out.low != 0 || out.high != document_.channels() - 1 ||
      document_.channels() != document_.colourChannels() || !document_.selection().empty() ||
      document_.rowBytes() > size_t(std::numeric_limits<int32_t>::max()))
    return false;
  if (!finite_)
    finite_ = document_.nonFiniteSamples() == 0;
  return *finite_;
}

HostResult Transfer::advance() {
  flush();
  record_.inData = record_.outData = record_.maskData = nullptr;
  record_.inRowBytes = record_.outRowBytes = record_.maskRowBytes = 0;

  static const BigDocumentData none{};
  const BigDocumentData& big = record_.bigDocumentData ? *record_.bigDocumentData : none;
  const Delivery in{chosen(wide(), big.inRect32, record_.inRect), record_.inLoPlane,
                    record_.inHiPlane, record_.inputRate};
  const Delivery out{chosen(wide(), big.outRect32, record_.outRect), record_.outLoPlane,
                     record_.outHiPlane, fullRate};
  const Delivery mask{chosen(wide(), big.maskRect32, record_.maskRect), 0, 0, record_.maskRate};

  HostResult result = deliver(in, in_, &record_.inData, &record_.inRowBytes);
  if (result == noErr && !isEmpty(out.rect) && hasPlanes(out) && outInPlace(out)) {
    record_.outData = document_.row(out.rect.top);
    record_.outRowBytes = int32_t(document_.rowBytes());
    outRect_ = out.rect;
    lentInPlace_ = true;
    return deliverMask(mask);
  }
  if (result == noErr)
    result = deliver(out, out_, &record_.outData, &record_.outRowBytes);
  if (result == noErr && record_.outData) {
    outRect_ = out.rect;
    lentInPlace_ = false;
    outRange_ = {document_.channels(), out.low, out.high - out.low + 1, alphaOf(document_)};
  }
  return result == noErr ? deliverMask(mask) : result;
}

HostResult Transfer::deliver(const Delivery& delivery, Band& band, void** data, int32_t* rowBytes) {
  if (isEmpty(delivery.rect))
    return noErr;
  if (!hasPlanes(delivery) || delivery.rate <= 0)
    return filterBadParameters;
  const PlaneRange range{document_.channels(), delivery.low, delivery.high - delivery.low + 1,
                         alphaOf(document_)};
  const Raster raster{document_.row(0), document_.width(), document_.height(), range};
  size_t bytes;
  if (!bandSize(delivery.rect, int64_t(range.planes) * int64_t(document_.sampleBytes()), rowBytes,
                &bytes))
    return memFullErr;
  try {
    *data = band.reserve(bytes);
    if (document_.depth() == 8)
      fetch<uint8_t>(raster, delivery.rect, delivery.rate, *data);
    else if (document_.depth() == 16)
      fetch<uint16_t>(raster, delivery.rect, delivery.rate, *data);
    else
      fetch<float>(raster, delivery.rect, delivery.rate, *data);
  } catch (const std::bad_alloc&) {
    *data = nullptr;
    return memFullErr;
  }
  return noErr;
}

HostResult Transfer::deliverMask(const Delivery& delivery) {
  if (!record_.haveMask || isEmpty(delivery.rect))
    return noErr;
  if (delivery.rate <= 0)
    return filterBadParameters;
  const Raster raster{
      document_.selection().data(), document_.width(), document_.height(), {1, 0, 1, -1}};
  size_t bytes;
  if (!bandSize(delivery.rect, 1, &record_.maskRowBytes, &bytes))
    return memFullErr;
  try {
    void* weights = mask_.reserve(bytes);
    fetch<uint8_t>(raster, delivery.rect, delivery.rate, weights);
    record_.maskData = weights;
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
  return noErr;
}

void Transfer::flush() {
  if (isEmpty(outRect_))
    return;
  if (lentInPlace_)
    checkRows();
  else if (document_.depth() == 8)
    giveBackRows<uint8_t>();
  else if (document_.depth() == 16)
    giveBackRows<uint16_t>();
  else
    giveBackRows<float>();
  outRect_ = {};
}

// The rows are already in the document; only non-finite samples must be replaced.
void Transfer::checkRows() {
  if (document_.depth() == 32)
    lostSamples_ +=
        zeroNotFinite(reinterpret_cast<float*>(document_.row(outRect_.top)),
                      heightOf(outRect_) * int64_t(document_.width()) * document_.channels());
}

template <class Sample> void Transfer::giveBackRows() {
  const int32_t left = std::max(outRect_.left, 0), top = std::max(outRect_.top, 0);
  const int32_t right = std::min(outRect_.right, document_.width());
  const int32_t bottom = std::min(outRect_.bottom, document_.height());
  if (left >= right || top >= bottom)
    return;
  const int64_t rowSamples = widthOf(outRect_) * outRange_.planes;
  const auto* band = reinterpret_cast<const Sample*>(out_.memory.get());
  const std::vector<uint8_t>& selection = document_.selection();
  for (int32_t y = top; y < bottom; y++) {
    const Sample* seen = band + (int64_t(y) - outRect_.top) * rowSamples +
                         (int64_t(left) - outRect_.left) * outRange_.planes;
    const uint8_t* weights =
        selection.empty() ? nullptr : selection.data() + int64_t(y) * document_.width() + left;
    Sample* samples =
        reinterpret_cast<Sample*>(document_.row(y)) + int64_t(left) * document_.channels();
    lostSamples_ += storePixels(seen, weights, outRange_, right - left, samples);
  }
}

} // namespace host
