// Pixels on their way between a document, a filter and a surface, against plain twins that look up
// every pixel by itself.
#include <limits>

#include "host/lending/AdvanceState.h"
#include "host/session/Host.h"
#include "tests/support/HostFixture.h"

namespace {

using fixture::sampleAt;
using host::ColourMode;
using host::Document;

constexpr Fixed rateOne = 0x10000;

struct Shape {
  int32_t depth, channels;
  ColourMode mode;
  bool transparency;
};
constexpr Shape shapes[] = {
    {8, 3, ColourMode::rgb, false},       {16, 3, ColourMode::rgb, false},
    {32, 3, ColourMode::rgb, false},      {8, 4, ColourMode::rgb, true},
    {16, 4, ColourMode::rgb, true},       {32, 4, ColourMode::rgb, true},
    {8, 1, ColourMode::grayscale, false}, {16, 4, ColourMode::grayscale, true},
    {32, 5, ColourMode::rgb, true},       {8, 5, ColourMode::multichannel, false}};

// Whole numbers and random ones of a round of a test.
struct Dice {
  std::mt19937 random;
  int pick(int low, int high) { return low + int(random() % uint32_t(high - low + 1)); }
  Document document(const Shape& s, int32_t width, int32_t height) {
    return fixture::noise(width, height, s.depth, s.channels, s.mode, s.transparency, random());
  }
};

double alphaAt(const Document& d, int32_t x, int32_t y) {
  const double a = sampleAt(d, x, y, d.colourChannels()) / fixture::fullScale(d);
  return std::isfinite(a) ? std::clamp(a, 0.0, 1.0) : 0;
}

// What the filter sees of a sample at full rate.
double seenAt(const Document& d, int32_t x, int32_t y, int32_t channel) {
  double v = sampleAt(d, x, y, channel);
  if (!std::isfinite(v))
    v = 0;
  if (!d.hasTransparency() || channel >= d.colourChannels())
    return v;
  const double a = alphaAt(d, x, y), matted = v * a + fixture::fullScale(d) * (1 - a);
  return d.depth() == 32 ? matted : std::floor(matted + 0.5);
}

// Source pixels that output pixel `index` covers, and how many units of each: it is `step` units
// wide, a source pixel `unit`. Outside the edges: the nearest source pixel.
using Covered = std::vector<std::pair<int32_t, double>>;
Covered covered(int64_t index, int64_t step, int64_t unit, int32_t size) {
  Covered pixels;
  for (int32_t p = 0; p < size; p++) {
    const int64_t end = std::min((index + 1) * step, (p + 1) * unit);
    if (const int64_t share = end - std::max(index * step, p * unit); share > 0)
      pixels.emplace_back(p, double(share));
  }
  if (pixels.empty())
    pixels.emplace_back(index < 0 ? 0 : size - 1, 1.0);
  return pixels;
}

// Mean of value(x, y) with the weights weight(x, y); 0 where nothing weighs.
template <class Value, class Weight>
double mean(const Covered& columns, const Covered& rows, Value value, Weight weight) {
  double sum = 0, weights = 0;
  for (const auto& [y, wy] : rows)
    for (const auto& [x, wx] : columns) {
      sum += value(x, y) * wx * wy * weight(x, y);
      weights += wx * wy * weight(x, y);
    }
  return weights > 0 ? sum / weights : 0;
}

constexpr auto evenly = [](int32_t, int32_t) { return 1.0; };

struct Asker { // a record that asks for pixels
  explicit Asker(Document& d) : transfer(d, record) {
    record.inputRate = record.maskRate = rateOne;
    record.bigDocumentData = &big;
    big.PluginUsing32BitCoordinates = 1;
    record.haveMask = !d.selection().empty();
    record.inHiPlane = record.outHiPlane = int16_t(std::min(d.channels(), 3) - 1);
  }
  FilterRecord record{};
  BigDocumentData big{};
  host::Transfer transfer;
};

TEST(AdvanceState, DeliversAnyRectanglePlanesAndRate) {
  Dice dice{std::mt19937(7)};
  for (int round = 0; round < 900; round++) {
    Document d = dice.document(shapes[size_t(round) % std::size(shapes)], dice.pick(1, 40),
                               dice.pick(1, 30));
    if (d.depth() == 32 && round % 4 == 0)
      fixture::setSample(d, dice.pick(0, d.width() - 1), 0, dice.pick(0, d.channels() - 1), NAN);
    // Whole rates, the rate itself, odd ones, one below 1, and what only wide sums hold.
    const Fixed rates[] = {rateOne,       2 * rateOne, 5 * rateOne,
                           100 * rateOne, 0x28000,     Fixed(dice.random() % 400000 + 1),
                           0x8000,        0x10001,     0x7fffffff};
    const Fixed rate = rates[size_t(round / 10) % std::size(rates)];
    const int reach = int(45.0 * rateOne / std::max(rate, 0x8000)) + 2;
    const int left = dice.pick(-reach / 3, reach), top = dice.pick(-reach / 3, reach);
    const VRect rect{top, left, top + dice.pick(1, 12), left + dice.pick(1, reach)};
    const int low = dice.pick(0, d.channels() - 1), high = dice.pick(low, d.channels() - 1);
    Asker ask(d);
    ask.record.inputRate = rate;
    ask.record.inLoPlane = int16_t(low);
    ask.record.inHiPlane = int16_t(high);
    ask.big.inRect32 = rect;
    ASSERT_EQ(ask.transfer.advance(), noErr);

    const int width = rect.right - rect.left;
    ASSERT_EQ(ask.record.inRowBytes, width * (high - low + 1) * d.depth() / 8);
    EXPECT_EQ(ask.record.outData, nullptr);
    size_t i = 0;
    for (int y = rect.top; y < rect.bottom; y++)
      for (int x = rect.left; x < rect.right; x++)
        for (int c = low; c <= high; c++, i++) {
          const double expected = mean(
              covered(x, rate, rateOne, d.width()), covered(y, rate, rateOne, d.height()),
              [&](int32_t sx, int32_t sy) { return seenAt(d, sx, sy, c); }, evenly);
          // Rounded once; a matted float within its own precision.
          ASSERT_NEAR(fixture::getSample(ask.record.inData, d.depth(), i), expected,
                      d.depth() == 32 ? 3e-7 : 0.5000001)
              << "round " << round << " rate " << rate << " at " << x << ", " << y << ", " << c;
        }
  }
}

TEST(AdvanceState, TakesBackTheBandMattedMaskedAndFinite) {
  Dice dice{std::mt19937(9)};
  for (int round = 0; round < 600; round++) {
    Document d = dice.document(shapes[size_t(round) % std::size(shapes)], dice.pick(1, 24),
                               dice.pick(1, 16));
    const bool selected = round / 10 % 2;
    if (selected) {
      std::vector<uint8_t> weights(size_t(d.width()) * size_t(d.height()));
      for (uint8_t& w : weights)
        w = round / 10 % 4 == 1 ? uint8_t(dice.random() % 2 * 255) : uint8_t(dice.random());
      d.setSelection(std::move(weights));
    }
    if (d.depth() == 32 && round / 10 % 5 == 0)
      fixture::setSample(d, 0, dice.pick(0, d.height() - 1), dice.pick(0, d.channels() - 1),
                         INFINITY);
    const Document before = fixture::copyOf(d);
    Asker ask(d);
    const bool whole = round / 10 % 3 == 0; // lent in place where nothing has to be hidden
    const int left = whole ? 0 : dice.pick(-4, d.width() - 1);
    const int top = whole ? 0 : dice.pick(-4, d.height() - 1);
    VRect rect{top, left, dice.pick(top + 1, d.height() + 4 * !whole),
               whole ? d.width() : dice.pick(left + 1, d.width() + 4)};
    const int low = whole ? 0 : dice.pick(0, d.channels() - 1);
    const int high = whole ? d.channels() - 1 : dice.pick(low, d.channels() - 1);
    ask.record.outLoPlane = int16_t(low);
    ask.record.outHiPlane = int16_t(high);
    ask.big.outRect32 = rect;
    ASSERT_EQ(ask.transfer.advance(), noErr);

    const int planes = high - low + 1, width = rect.right - rect.left;
    ASSERT_EQ(ask.record.outRowBytes, width * planes * d.depth() / 8);
    std::vector<double> written;
    const double full = fixture::fullScale(d);
    for (size_t i = 0; i < size_t(width) * size_t(rect.bottom - rect.top) * size_t(planes); i++) {
      const double unit = double(dice.random() % 10001) / 10000;
      const bool lose = d.depth() == 32 && dice.random() % 9 == 0;
      written.push_back(lose              ? double(NAN)
                        : d.depth() == 32 ? double(float(unit))
                                          : std::floor(unit * full + 0.5));
      fixture::putSample(ask.record.outData, d.depth(), i, written.back());
    }
    ask.big.outRect32 = {};
    ASSERT_EQ(ask.transfer.advance(), noErr);
    EXPECT_EQ(ask.record.outData, nullptr);

    int64_t lost = 0;
    for (int y = 0; y < d.height(); y++)
      for (int x = 0; x < d.width(); x++)
        for (int c = 0; c < d.channels(); c++) {
          const double old = sampleAt(before, x, y, c), now = sampleAt(d, x, y, c);
          const bool inside = y >= rect.top && y < rect.bottom && x >= rect.left &&
                              x < rect.right && c >= low && c <= high;
          const bool isAlpha = d.hasTransparency() && c == d.colourChannels();
          const double weight =
              selected ? d.selection()[size_t(y) * size_t(d.width()) + size_t(x)] / 255.0 : 1;
          const bool matted = d.hasTransparency() && c < d.colourChannels();
          const double a = matted ? alphaAt(before, x, y) : 1;
          if (!inside || isAlpha || weight == 0 || a == 0 || !std::isfinite(old)) {
            ASSERT_EQ(now, old) << "round " << round << " at " << x << ", " << y << ", " << c;
            continue;
          }
          const double seen =
              written[(size_t(y - rect.top) * size_t(width) + size_t(x - rect.left)) *
                          size_t(planes) +
                      size_t(c - low)];
          // The colour under the matte, blended by the selection; compared as it shows over white,
          // where rounding has not been magnified.
          double colour = full - (full - seen) / a;
          if (!std::isfinite(seen)) {
            colour = 0;
            lost++;
          }
          if (d.depth() != 32)
            colour = std::clamp(colour, 0.0, full);
          const double expected = old + (colour - old) * weight;
          ASSERT_NEAR(now * a, expected * a, d.depth() == 32 ? 1e-6 : 1.01)
              << "round " << round << " at " << x << ", " << y << ", " << c;
          if (a == 1 && !selected) {
            ASSERT_EQ(now, colour);
          }
        }
    EXPECT_EQ(ask.transfer.lostSamples(), lost) << round;
  }
}

// Every colour under every alpha, faint ones too, comes back as it was.
TEST(AdvanceState, AnUntouchedBandChangesNothing) {
  Dice dice{std::mt19937(3)};
  for (const Shape& shape : shapes) {
    Document d = dice.document(shape, 64, 48);
    for (int32_t i = 0; d.hasTransparency() && i < 64 * 24; i++)
      fixture::setSample(d, i % 64, i / 64, d.colourChannels(),
                         fixture::fullScale(d) * (i / 64 % 4) / 128);
    const Document before = fixture::copyOf(d);
    Asker ask(d);
    for (int top = 0; top <= d.height(); top += 10) {
      ask.big.outRect32 = {top, 0, std::min(top + 10, d.height()), d.width()};
      ASSERT_EQ(ask.transfer.advance(), noErr);
    }
    ask.transfer.flush();
    EXPECT_TRUE(fixture::sameSamples(d, before));
  }
}

TEST(AdvanceState, DeliversTheSelectionAndTheRectanglesThatThePlugInChose) {
  Document d = fixture::noise(6, 4, 8);
  std::vector<uint8_t> weights(24);
  for (size_t i = 0; i < weights.size(); i++)
    weights[i] = uint8_t(i * 10);
  d.setSelection(weights);
  Asker ask(d);
  ask.big.maskRect32 = {1, 2, 3, 5};
  ASSERT_EQ(ask.transfer.advance(), noErr);
  ASSERT_EQ(ask.record.maskRowBytes, 3);
  const auto* mask = static_cast<uint8_t*>(ask.record.maskData);
  EXPECT_THAT(std::vector<uint8_t>(mask, mask + 6),
              testing::ElementsAre(80, 90, 100, 140, 150, 160));
  ask.record.maskRate = 2 * rateOne;
  ask.big.maskRect32 = {0, 0, 2, 3};
  ASSERT_EQ(ask.transfer.advance(), noErr);
  EXPECT_EQ(static_cast<uint8_t*>(ask.record.maskData)[0], 35); // of 0, 10, 60, 70
  ask.record.maskRate = 0;
  EXPECT_EQ(ask.transfer.advance(), filterBadParameters);
  ask.record.haveMask = false;
  ASSERT_EQ(ask.transfer.advance(), noErr);
  EXPECT_EQ(ask.record.maskData, nullptr);

  ask.record.inRect = {0, 0, 1, 2};
  ask.big.inRect32 = {0, 0, 1, 6};
  ASSERT_EQ(ask.transfer.advance(), noErr);
  EXPECT_EQ(ask.record.inRowBytes, 18);
  ask.big.PluginUsing32BitCoordinates = 0;
  ASSERT_EQ(ask.transfer.advance(), noErr);
  EXPECT_EQ(ask.record.inRowBytes, 6);
  ask.record.bigDocumentData = nullptr;
  ASSERT_EQ(ask.transfer.advance(), noErr);
  EXPECT_EQ(ask.record.inRowBytes, 6);
}

TEST(AdvanceState, RefusesWhatMakesNoSense) {
  constexpr int32_t most = std::numeric_limits<int32_t>::max(), least = -most - 1;
  const struct {
    int16_t low, high;
    Fixed rate;
    VRect rect;
    HostResult result;
  } cases[] = {{0, 2, rateOne, {0, 0, 5, 6}, noErr},
               {0, 3, rateOne, {0, 0, 5, 6}, filterBadParameters},
               {-1, 2, rateOne, {0, 0, 5, 6}, filterBadParameters},
               {2, 1, rateOne, {0, 0, 5, 6}, filterBadParameters},
               {0, 2, 0, {0, 0, 5, 6}, filterBadParameters},
               {0, 2, -rateOne, {0, 0, 5, 6}, filterBadParameters},
               {0, 2, rateOne, {least, least, most, most}, memFullErr},
               {0, 2, rateOne, {0, 0, 1, most}, memFullErr}, // a row of more than 32 bits
               {0, 2, rateOne, {most, most, least, least}, noErr}};
  for (const auto& c : cases) {
    Document d = fixture::noise(6, 5, 8);
    Asker ask(d);
    ask.record.inLoPlane = c.low;
    ask.record.inHiPlane = c.high;
    ask.record.inputRate = c.rate;
    ask.big.inRect32 = c.rect;
    EXPECT_EQ(ask.transfer.advance(), c.result);
    EXPECT_EQ(ask.record.inData != nullptr, c.result == noErr && c.rect.top == 0);
  }
}

TEST(Document, RefusesShapesThatCannotBeAndTellsItsMode) {
  constexpr int32_t most = std::numeric_limits<int32_t>::max();
  EXPECT_THROW(Document(0, 1, 3, 8), std::invalid_argument);
  EXPECT_THROW(Document(1, -1, 3, 8), std::invalid_argument);
  EXPECT_THROW(Document(1, 1, 3, 12), std::invalid_argument);
  EXPECT_THROW(Document(1, 1, 2, 8), std::invalid_argument);
  EXPECT_THROW(Document(1, 1, 3, 8, ColourMode::rgb, true), std::invalid_argument);
  EXPECT_THROW(Document(1, 1, 3, 8, ColourMode::cmyk), std::invalid_argument);
  EXPECT_THROW(Document(1, 1, 32768, 8), std::invalid_argument);
  EXPECT_THROW(Document(most, most, 32767, 32), std::bad_alloc);
  EXPECT_THROW(Document(2, 2, 3, 8).setSelection(std::vector<uint8_t>(3)), std::invalid_argument);

  const ImageMode modes[][3] = {
      {plugInModeGrayScale, plugInModeGray16, plugInModeGray32},
      {plugInModeRGBColor, plugInModeRGB48, plugInModeRGB96},
      {plugInModeCMYKColor, plugInModeCMYK64, plugInModeDeepMultichannel},
      {plugInModeMultichannel, plugInModeDeepMultichannel, plugInModeDeepMultichannel}};
  for (int mode = 0; mode < 4; mode++)
    for (int deep = 0; deep < 3; deep++)
      EXPECT_EQ(Document(1, 1, 4, 8 << deep, ColourMode(mode)).imageMode(), modes[mode][deep]);
}

TEST(Reduced, IsTheMeanOfWhatEachPixelCovers) {
  Dice dice{std::mt19937(5)};
  for (int round = 0; round < 40; round++) {
    const bool alpha = round % 4 == 0;
    const Shape shape{8 << round % 3, 3 + alpha + round % 2, ColourMode::rgb, alpha};
    Document d = dice.document(shape, dice.pick(1, 30), dice.pick(1, 25));
    if (d.depth() == 32)
      fixture::setSample(d, d.width() / 2, 0, 1, round % 2 ? NAN : INFINITY); // counts as 0
    // Halves and the size itself among them.
    const int32_t width = round % 5 ? dice.pick(1, d.width()) : d.width();
    const int32_t height = round % 7 ? dice.pick(1, d.height()) : (d.height() + 1) / 2;
    const Document low = host::reduced(d, width, height);
    ASSERT_EQ(low.channels(), d.channels());
    ASSERT_EQ(low.hasTransparency(), alpha);
    for (int32_t y = 0; y < height; y++)
      for (int32_t x = 0; x < width; x++)
        for (int32_t c = 0; c < d.channels(); c++) {
          const double expected = mean(
              covered(x, d.width(), width, d.width()), covered(y, d.height(), height, d.height()),
              [&](int32_t sx, int32_t sy) {
                const double v = sampleAt(d, sx, sy, c);
                return std::isfinite(v) ? v : 0;
              },
              [&](int32_t sx, int32_t sy) { return alpha && c < 3 ? alphaAt(d, sx, sy) : 1; });
          const double tolerance = d.depth() == 32 ? 1e-6 : alpha ? 0.51 : 0.5000001;
          ASSERT_NEAR(sampleAt(low, x, y, c), expected, tolerance)
              << "round " << round << " at " << x << ", " << y << ", " << c;
        }
  }
  const Document d = fixture::noise(4, 4, 8);
  for (const auto& [width, height] : {std::pair(5, 1), {1, 5}, {0, 1}, {1, 0}})
    EXPECT_THROW(host::reduced(d, width, height), std::invalid_argument);
}

// A surface with a margin around it.
struct Surface {
  static constexpr int width = 7, height = 5, stride = width + 4;
  std::vector<uint32_t> words = std::vector<uint32_t>(stride * (height + 2), 0x11223344);
  DisplaySurface surface{reinterpret_cast<uint8_t*>(&words[stride + 2]), width, height, stride * 4};
  uint32_t at(int x, int y) const { return words[size_t((y + 1) * stride + 2 + x)]; }
};

TEST(Display, DrawsWhatOverlapsAndNothingElse) {
  std::vector<uint8_t> pixels(4 * 3 * 3);
  for (size_t i = 0; i < pixels.size(); i++)
    pixels[i] = uint8_t(i * 7);
  PSPixelMap map{1, {2, 1, 5, 5}, plugInModeRGBColor, 12, 3, 1, pixels.data()};
  for (const VRect source : {VRect{2, 1, 5, 5}, VRect{3, 2, 4, 4}, VRect{-9, -9, 99, 99}})
    for (int row = -6; row <= Surface::height + 1; row++)
      for (int column = -6; column <= Surface::width + 1; column++) {
        Surface target;
        ASSERT_EQ(host::displayPixels(&map, &source, row, column, &target.surface), noErr);
        for (int y = -1; y <= Surface::height; y++)
          for (int x = -2; x < Surface::width + 2; x++) {
            const int my = y - row + source.top, mx = x - column + source.left;
            const bool drawn = x >= 0 && x < Surface::width && y >= 0 && y < Surface::height &&
                               my >= std::max(2, source.top) && my < std::min(5, source.bottom) &&
                               mx >= std::max(1, source.left) && mx < std::min(5, source.right);
            const size_t i = drawn ? size_t((my - 2) * 12 + (mx - 1) * 3) : 0;
            const uint32_t expected = 0xff000000u | uint32_t(pixels[i]) << 16 |
                                      uint32_t(pixels[i + 1]) << 8 | pixels[i + 2];
            ASSERT_EQ(target.at(x, y), drawn ? expected : 0x11223344u);
          }
      }
}

TEST(Display, KnowsTheShallowModesAndRefusesTheRest) {
  uint8_t planar[] = {10, 20, 30, 40, 50, 60}; // two pixels, plane by plane
  uint8_t ink[] = {255, 255, 255, 0, 255, 128, 0, 200};
  const VRect both{0, 0, 1, 2};
  for (int mode = -1; mode <= plugInModeGray32 + 1; mode++) {
    const bool rgb = mode == plugInModeRGBColor, cmyk = mode == plugInModeCMYKColor;
    const bool grey =
        mode == plugInModeGrayScale || mode == plugInModeMultichannel || mode == plugInModeDuotone;
    const PSPixelMap map =
        cmyk ? PSPixelMap{1, both, mode, 8, 4, 1, ink} : PSPixelMap{1, both, mode, 2, 1, 2, planar};
    Surface target;
    EXPECT_EQ(host::displayPixels(&map, &both, 0, 0, &target.surface),
              rgb || cmyk || grey ? noErr : filterBadParameters);
    EXPECT_EQ(target.at(1, 0), rgb    ? 0xff14283cu
                               : cmyk ? 0xffc86400u
                               : grey ? 0xff141414u
                                      : 0x11223344u);
    EXPECT_EQ(target.at(0, 0) == 0xff000000u, cmyk);
  }
}

} // namespace
