// Pixels between a document and a filter, and reduced documents, against plain reference code that
// looks up every pixel separately.
#include <limits>

#include "host/lending/AdvanceState.h"
#include "tests/support/HostFixture.h"

namespace {

using fixture::sampleAt;
using host::ColourMode;
using host::Document;

constexpr Fixed rateOne = 0x10000;
constexpr int32_t most = std::numeric_limits<int32_t>::max();

struct Dice {
  std::mt19937 random;
  int pick(int low, int high) { return low + int(random() % uint32_t(high - low + 1)); }
  // Every depth, with or without alpha and further channels, with three colours or one.
  Document picture(int round, int32_t widest, int32_t highest) {
    const bool alpha = round / 3 % 2, grey = round / 6 % 4 == 3;
    Document d = fixture::noise(pick(1, widest), pick(1, highest), 8 << round % 3,
                                (grey ? 1 : 3) + alpha + round / 24 % 2,
                                grey ? ColourMode::grayscale : ColourMode::rgb, alpha, random());
    if (d.depth() == 32 && round % 5 == 0)
      fixture::setSample(d, 0, pick(0, d.height() - 1), pick(0, d.channels() - 1), INFINITY);
    for (int y = 0; alpha && y < d.height(); y += 2) // fully transparent
      fixture::setSample(d, 0, y, d.colourChannels(), 0);
    return d;
  }
};

double finite(double v) { return std::isfinite(v) ? v : 0; }

// Opacity of a colour sample, 0 to 1; 1 for other samples.
double opacity(const Document& d, int32_t x, int32_t y, int32_t channel) {
  if (!d.hasTransparency() || channel >= d.colourChannels())
    return 1;
  const double a = sampleAt(d, x, y, d.colourChannels()) / fixture::fullScale(d);
  return std::clamp(finite(a), 0.0, 1.0);
}

// The filter's view of a sample at full rate: the colour over white.
double seenAt(const Document& d, int32_t x, int32_t y, int32_t channel) {
  const double v = finite(sampleAt(d, x, y, channel)), a = opacity(d, x, y, channel);
  const double matted = v * a + fixture::fullScale(d) * (1 - a);
  return d.depth() == 32 ? matted : std::floor(matted + 0.5);
}

// One axis: an output pixel is `step` units large, a source pixel `unit`.
struct Axis {
  int64_t step, unit;
  int32_t size;
  // How much of source pixel p output pixel i covers; an output pixel outside takes the nearest.
  double share(int64_t i, int32_t p) const {
    if (i < 0 || i * step >= size * unit)
      return p == (i < 0 ? 0 : size - 1);
    const int64_t end = std::min((i + 1) * step, (p + 1) * unit);
    return double(std::max<int64_t>(0, end - std::max(i * step, p * unit)));
  }
};

// Weighted mean over the area of output pixel (x, y); valueAt and weightAt take a source pixel.
double evenly(int, int) { return 1; }
template <class Value, class Weight = double(int, int)>
double mean(const Axis& columns, int64_t x, const Axis& rows, int64_t y, Value valueAt,
            const Weight& weightAt = evenly) {
  double sum = 0, weights = 0;
  for (int32_t sy = 0; sy < rows.size; sy++)
    for (int32_t sx = 0; sx < columns.size; sx++)
      if (const double w = columns.share(x, sx) * rows.share(y, sy); w > 0) {
        sum += valueAt(sx, sy) * w * weightAt(sx, sy);
        weights += w * weightAt(sx, sy);
      }
  return weights > 0 ? sum / weights : 0;
}

struct Asker { // a record that requests pixels
  explicit Asker(Document& d, int low = 0, int high = 2) : transfer(d, record) {
    record.inputRate = record.maskRate = rateOne;
    record.bigDocumentData = &big;
    big.PluginUsing32BitCoordinates = 1;
    record.haveMask = !d.selection().empty();
    record.inLoPlane = record.outLoPlane = int16_t(low);
    record.inHiPlane = record.outHiPlane = int16_t(high);
  }
  FilterRecord record{};
  BigDocumentData big{};
  host::Transfer transfer;
};

// In and mask at any rate, for any rectangle and planes; then the band of the output, which comes
// back matted, masked and finite.
TEST(AdvanceState, LendsAnyRectangleAndTakesItBack) {
  constexpr double untouched = INFINITY;
  Dice dice{std::mt19937(7)};
  const auto narrow = [](const VRect& r) {
    return Rect16{int16_t(r.top), int16_t(r.left), int16_t(r.bottom), int16_t(r.right)};
  };
  for (int round = 0; round < 900; round++) {
    Document d = dice.picture(round, 32, 24);
    const int masking = round / 11 % 4; // none, all or nothing, shades, none
    std::vector<uint8_t> weights(size_t(d.width() * d.height()), 255);
    for (uint8_t& w : weights)
      w = uint8_t(masking == 1 ? dice.pick(0, 1) * 255 : masking == 2 ? dice.pick(0, 255) : 255);
    if (masking % 3)
      d.setSelection(weights);
    const Document before = fixture::copyOf(d);
    const bool whole = round % 11 < 4; // lent in place if nothing needs conversion
    const int low = whole ? 0 : dice.pick(0, d.channels() - 1);
    const int high = whole ? d.channels() - 1 : dice.pick(low, d.channels() - 1);
    const int left = whole ? 0 : dice.pick(-4, d.width() - 1);
    const int top = dice.pick(whole ? 0 : -4, d.height() - 1);
    const VRect band{top, left, dice.pick(top + 1, d.height() + 4 * !whole),
                     whole ? d.width() : dice.pick(left + 1, d.width() + 4)};
    // Whole rates, fractional ones, one below 1, and one that needs the wide sums.
    const Fixed rates[] = {rateOne, 2 * rateOne, 5 * rateOne, 100 * rateOne, dice.pick(1, 400000),
                           0x8000,  0x10001,     most};
    const Fixed rate = rates[size_t(round / 7) % std::size(rates)];
    const int reach = int(40.0 * rateOne / std::max(rate, 0x8000)) + 2;
    const int inLeft = dice.pick(-reach / 3, reach), inTop = dice.pick(-reach / 3, reach);
    const VRect in{inTop, inLeft, inTop + dice.pick(1, 12), inLeft + dice.pick(1, reach)};
    Asker ask(d, low, high);
    ask.record.inputRate = ask.record.maskRate = rate;
    ask.record.inRect = ask.record.maskRect = narrow(in);
    ask.record.outRect = narrow(band);
    // Without the wide rectangles the narrow ones count.
    ask.big = round % 2 ? BigDocumentData{1, {}, in, band, in} : BigDocumentData{};
    ask.record.bigDocumentData = round % 4 ? &ask.big : nullptr;
    ASSERT_EQ(ask.transfer.advance(), noErr);
    const int planes = high - low + 1, width = band.right - left, bytes = planes * d.depth() / 8;
    ASSERT_EQ(ask.record.inRowBytes, (in.right - inLeft) * bytes);
    ASSERT_EQ(ask.record.outRowBytes, width * bytes);
    const Axis columns{rate, rateOne, d.width()}, rows{rate, rateOne, d.height()};
    size_t sample = 0, m = 0;
    for (int y = inTop; y < in.bottom; y++)
      for (int x = inLeft; x < in.right; x++) {
        const auto near = [&](double got, double tolerance, auto valueAt) {
          EXPECT_NEAR(got, mean(columns, x, rows, y, valueAt), tolerance) << x << ", " << y;
        };
        if (masking % 3)
          near(static_cast<uint8_t*>(ask.record.maskData)[m++], 0.5000001,
               [&](int sx, int sy) { return double(weights[size_t(sy * d.width() + sx)]); });
        for (int c = low; c <= high; c++) // rounded once; a matted float within its own precision
          near(fixture::getSample(ask.record.inData, d.depth(), sample++),
               d.depth() == 32 ? 3e-7 : 0.5000001,
               [&](int sx, int sy) { return seenAt(d, sx, sy, c); });
      }

    const double full = fixture::fullScale(d);
    std::vector<double> written(size_t(width * (band.bottom - top) * planes), untouched);
    for (size_t i = 0; i < written.size(); i++)
      if (dice.pick(0, 2)) {
        const double v = dice.pick(0, 10000) * full / 10000;
        written[i] = d.depth() < 32 ? std::floor(v + 0.5) : dice.pick(0, 8) ? float(v) : NAN;
        fixture::putSample(ask.record.outData, d.depth(), i, written[i]);
      }
    ask.big.outRect32 = {};
    ask.record.outRect = {};
    ASSERT_EQ(ask.transfer.advance(), noErr);

    int64_t lost = 0;
    fixture::forEachSample(d, [&](int x, int y, int c) {
      const double old = sampleAt(before, x, y, c), now = sampleAt(d, x, y, c);
      const bool inside = y >= top && y < band.bottom && x >= left && x < band.right && c >= low &&
                          c <= high && !(d.hasTransparency() && c == d.colourChannels());
      const int at = ((y - top) * width + x - left) * planes + c - low;
      const double seen = inside ? written[size_t(at)] : untouched;
      const double weight = weights[size_t(y * d.width() + x)] / 255.0;
      const double a = opacity(before, x, y, c);
      if (seen == untouched || weight == 0 || a == 0 || !std::isfinite(old)) {
        EXPECT_EQ(now, old) << x << ", " << y << ", " << c;
        return;
      }
      // The colour below the matte, blended by the selection; compared as it appears over white,
      // where rounding errors are not magnified.
      lost += std::isnan(seen);
      double colour = std::isnan(seen) ? 0 : full - (full - seen) / a;
      colour = d.depth() == 32 ? colour : std::clamp(colour, 0.0, full);
      const double tolerance = d.depth() == 32 ? 1e-6 : a == 1 && weight == 1 ? 0 : 1.01;
      EXPECT_NEAR(now * a, (old + (colour - old) * weight) * a, tolerance) << x << ", " << y;
    });
    EXPECT_EQ(ask.transfer.lostSamples(), lost);
    ASSERT_FALSE(testing::Test::HasFailure()) << "round " << round << " rate " << rate;
  }
}

TEST(AdvanceState, RefusesNonsense) {
  Document d = fixture::noise(6, 4, 8);
  const auto resultOf = [&](int low, int high, Fixed rate, const VRect& rect) {
    Asker ask(d, low, high);
    ask.record.inputRate = rate;
    ask.big.inRect32 = rect;
    const HostResult result = ask.transfer.advance();
    EXPECT_EQ(ask.record.inData != nullptr, result == noErr && rect.top == 0);
    EXPECT_EQ(ask.record.outData, nullptr);
    return result;
  };
  EXPECT_EQ(resultOf(0, 2, rateOne, {0, 0, 4, 6}), noErr);
  for (const auto& [low, high, rate] : {std::tuple(0, 3, 1), {-1, 2, 1}, {2, 1, 1}, {0, 2, 0}})
    EXPECT_EQ(resultOf(low, high, rate, {0, 0, 4, 6}), filterBadParameters);
  EXPECT_EQ(resultOf(0, 2, rateOne, {-most, -most, most, most}), memFullErr);
  EXPECT_EQ(resultOf(0, 2, rateOne, {0, 0, 1, most}), memFullErr); // a row of more than 32 bits
  EXPECT_EQ(resultOf(0, 2, rateOne, {most, most, -most, -most}), noErr);
}

TEST(Document, RefusesShapesThatCannotBe) {
  for (const auto& [width, height, channels, depth] :
       {std::tuple(0, 1, 4, 8), {1, 0, 4, 8}, {1, 1, 4, 12}, {1, 1, 3, 8}, {1, 1, 32768, 8}})
    EXPECT_THROW(Document(width, height, channels, depth, ColourMode::rgb, true),
                 std::invalid_argument);
  EXPECT_THROW(Document(most, most, 32767, 32), std::bad_alloc);
  EXPECT_THROW(Document(2, 2, 3, 8).setSelection(std::vector<uint8_t>(3)), std::invalid_argument);
  for (const auto& [width, height] : {std::pair(5, 1), {1, 5}, {0, 1}, {1, 0}})
    EXPECT_THROW(host::reduced(fixture::noise(4, 4, 8), width, height), std::invalid_argument);
}

TEST(Document, ReducedIsTheMeanOfWhatEachPixelCovers) {
  Dice dice{std::mt19937(5)};
  for (int round = 0; round < 48; round++) {
    const Document d = dice.picture(round, 20, 16);
    // Includes halves and the size itself.
    const int32_t width = round % 5 ? dice.pick(1, d.width()) : d.width();
    const int32_t height = round % 7 ? dice.pick(1, d.height()) : (d.height() + 1) / 2;
    const Document low = host::reduced(d, width, height);
    ASSERT_EQ(low.channels(), d.channels());
    ASSERT_EQ(low.hasTransparency(), d.hasTransparency());
    fixture::forEachSample(low, [&](int x, int y, int c) {
      const double expected = mean(
          {d.width(), width, d.width()}, x, {d.height(), height, d.height()}, y,
          [&](int sx, int sy) { return finite(sampleAt(d, sx, sy, c)); },
          [&](int sx, int sy) { return opacity(d, sx, sy, c); });
      const double tolerance = d.depth() == 32 ? 1e-6 : d.hasTransparency() ? 0.51 : 0.5000001;
      EXPECT_NEAR(sampleAt(low, x, y, c), expected, tolerance) << round << ": " << x << ", " << y;
    });
  }
}

} // namespace
