#include "host/document/BoxAverage.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <type_traits>
#include <vector>

namespace host {

namespace {

__extension__ using Wide = unsigned __int128;

// Types of a column's sum and of the box's sum. The narrow pair is used if the box's weight times
// the largest sample fits it; very large boxes and boxes with awkward fractions take the wide pair.
template <class ColumnSum, class BoxSum> struct Sums {
  using Column = ColumnSum;
  using Box = BoxSum;
};

int64_t unitsCovered(const BoxAxis& axis) {
  return std::min<int64_t>(axis.step, int64_t(axis.sourceSize) * axis.unit);
}

template <class Sample, class Column>
void addFourRows(const Sample* const rows[4], size_t count, Column* sums) {
  const Sample *a = rows[0], *b = rows[1], *c = rows[2], *d = rows[3];
  if constexpr (std::is_floating_point_v<Sample>)
    for (size_t i = 0; i < count; i++)
      sums[i] += (Column(a[i]) + Column(b[i])) + (Column(c[i]) + Column(d[i]));
  else
    for (size_t i = 0; i < count; i++)
      sums[i] += Column(a[i] + b[i] + c[i] + d[i]); // four samples fit an int
}

// sums = sums * scale + row * weight
template <class Sample, class Column>
void scaleAndAddRow(const Sample* row, size_t count, Column scale, Column weight, Column* sums) {
  if (scale == 1 && weight == 1)
    for (size_t i = 0; i < count; i++)
      sums[i] += Column(row[i]);
  else
    for (size_t i = 0; i < count; i++)
      sums[i] = sums[i] * scale + Column(row[i]) * weight;
}

// Weighted sums down the columns of one output row.
template <class Sample, class Column>
void sumColumns(const BoxSpan& span, Column unit, int32_t left, int32_t width, int32_t channels,
                const BoxRows<Sample>& source, Column* sums) {
  const size_t count = size_t(width) * size_t(channels);
  std::fill_n(sums, count, Column(0));
  int32_t y = span.first + 1;
  for (; y + 4 <= span.last; y += 4) {
    const Sample* four[4];
    for (int slot = 0; slot < 4; slot++)
      four[slot] = source(y + slot, left, width, slot);
    addFourRows(four, count, sums);
  }
  for (; y < span.last; y++)
    scaleAndAddRow(source(y, left, width, 0), count, Column(1), Column(1), sums);
  scaleAndAddRow(source(span.first, left, width, 0), count, unit, Column(span.firstWeight), sums);
  if (span.lastWeight)
    scaleAndAddRow(source(span.last, left, width, 0), count, Column(1), Column(span.lastWeight),
                   sums);
}

template <class Sample, class Box> Sample average(Box sum, Box weight) {
  if constexpr (std::is_floating_point_v<Sample>)
    return Sample(sum / weight);
  else
    return Sample((sum + weight / 2) / weight);
}

template <class Sample, class Kind, int fixedChannels>
void averageRow(const std::vector<BoxSpan>& spans, const BoxSpan& rowSpan, int64_t unit,
                int32_t left, int32_t anyChannels, const typename Kind::Column* sums,
                Sample* output) {
  using Box = typename Kind::Box;
  const int32_t channels = fixedChannels ? fixedChannels : anyChannels;
  for (const BoxSpan& span : spans) {
    const auto* first = sums + size_t(span.first - left) * size_t(channels);
    const auto* last = sums + size_t(span.last - left) * size_t(channels);
    const Box weight = Box(span.total) * Box(rowSpan.total);
    for (int32_t c = 0; c < channels; c++) {
      Box inner = 0;
      for (const auto* sum = first + channels; sum < last; sum += channels)
        inner += Box(sum[c]);
      inner = inner * Box(unit) + Box(first[c]) * Box(span.firstWeight);
      if (span.lastWeight)
        inner += Box(last[c]) * Box(span.lastWeight);
      *output++ = average<Sample>(inner, weight);
    }
  }
}

template <class Sample, class Kind>
void averageRegion(const BoxAxis& columns, const BoxAxis& rows, const BoxRegion& region,
                   const BoxRows<Sample>& source, Sample* output) {
  std::vector<BoxSpan> spans;
  for (int64_t x = region.left; x < region.right; x++)
    spans.push_back(boxSpan(columns, x));
  const int32_t left = spans.front().first;
  const int32_t width = spans.back().last + 1 - left;
  std::vector<typename Kind::Column> sums(size_t(width) * size_t(region.channels));

  const auto finishRow = region.channels == 3   ? averageRow<Sample, Kind, 3>
                         : region.channels == 1 ? averageRow<Sample, Kind, 1>
                                                : averageRow<Sample, Kind, 0>;
  for (int64_t y = region.top; y < region.bottom; y++) {
    const BoxSpan span = boxSpan(rows, y);
    sumColumns(span, typename Kind::Column(rows.unit), left, width, region.channels, source,
               sums.data());
    finishRow(spans, span, columns.unit, left, region.channels, sums.data(), output);
    output += spans.size() * size_t(region.channels);
  }
}

} // namespace

BoxAxis boxAxis(int32_t sourceSize, int64_t step, int64_t unit) {
  const int64_t common = std::gcd(step, unit);
  return {sourceSize, step / common, unit / common};
}

BoxSpan boxSpan(const BoxAxis& axis, int64_t index) {
  const int64_t size = int64_t(axis.sourceSize) * axis.unit;
  const int64_t begin = std::clamp<int64_t>(index * axis.step, 0, size);
  const int64_t end = std::clamp<int64_t>((index + 1) * axis.step, 0, size);
  if (begin >= end) {
    const int32_t nearest = index < 0 ? 0 : axis.sourceSize - 1;
    return {nearest, nearest, axis.unit, 0, axis.unit};
  }
  const int32_t first = int32_t(begin / axis.unit), last = int32_t((end - 1) / axis.unit);
  if (first == last)
    return {first, last, end - begin, 0, end - begin};
  return {first, last, (int64_t(first) + 1) * axis.unit - begin, end - last * axis.unit,
          end - begin};
}

template <class Sample>
void boxAverage(const BoxAxis& columns, const BoxAxis& rows, const BoxRegion& region,
                const BoxRows<Sample>& source, Sample* output) {
  if (region.left >= region.right || region.top >= region.bottom)
    return;
  if constexpr (std::is_floating_point_v<Sample>) {
    averageRegion<Sample, Sums<double, double>>(columns, rows, region, source, output);
  } else {
    const Wide column =
        Wide(std::max(unitsCovered(rows), rows.unit)) * std::numeric_limits<Sample>::max();
    const Wide box = column * Wide(std::max(unitsCovered(columns), columns.unit));
    if (column <= std::numeric_limits<uint32_t>::max() &&
        box <= Wide(std::numeric_limits<int64_t>::max()))
      averageRegion<Sample, Sums<uint32_t, uint64_t>>(columns, rows, region, source, output);
    else
      averageRegion<Sample, Sums<uint64_t, Wide>>(columns, rows, region, source, output);
  }
}

template void boxAverage(const BoxAxis&, const BoxAxis&, const BoxRegion&, const BoxRows<uint8_t>&,
                         uint8_t*);
template void boxAverage(const BoxAxis&, const BoxAxis&, const BoxRegion&, const BoxRows<uint16_t>&,
                         uint16_t*);
template void boxAverage(const BoxAxis&, const BoxAxis&, const BoxRegion&, const BoxRows<float>&,
                         float*);

} // namespace host
