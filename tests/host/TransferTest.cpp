// advanceState against a plain twin that looks up every pixel by itself.
#include "host/lending/AdvanceState.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/support/HostFixture.h"

namespace {

using fixture::sampleAt;
using host::ColourMode;
using host::Document;
using host::Transfer;

constexpr Fixed rateOne = 0x10000;

// What the filter sees of a sample at full rate.
double seenAt(const Document& d, int32_t x, int32_t y, int32_t channel) {
  const double full = fixture::fullScale(d);
  double v = sampleAt(d, x, y, channel);
  if (!std::isfinite(v))
    v = 0;
  if (!d.hasTransparency() || channel >= d.colourChannels())
    return v;
  const double a = std::clamp(sampleAt(d, x, y, d.colourChannels()) / full, 0.0, 1.0);
  const double matted = v * a + full * (1 - a);
  return d.depth() == 32 ? matted : std::floor(matted + 0.5);
}

// Units of 1/65536 that [begin, begin + rate) covers of source pixel p.
int64_t overlap(int64_t begin, Fixed rate, int64_t p) {
  return std::max<int64_t>(0, std::min(begin + rate, (p + 1) * rateOne) -
                                  std::max(begin, p * rateOne));
}

// Source pixels that a delivered one covers, with their weights; the nearest one outside the edges.
std::vector<std::pair<int32_t, double>> covered(int64_t index, Fixed rate, int32_t size) {
  std::vector<std::pair<int32_t, double>> pixels;
  for (int32_t p = 0; p < size; p++)
    if (const int64_t weight = overlap(index * rate, rate, p))
      pixels.emplace_back(p, double(weight));
  if (pixels.empty())
    pixels.emplace_back(index < 0 ? 0 : size - 1, 1.0);
  return pixels;
}

double deliveredAt(const Document& d, int64_t x, int64_t y, int32_t channel, Fixed rate) {
  double sum = 0, weight = 0;
  for (const auto& [sy, wy] : covered(y, rate, d.height()))
    for (const auto& [sx, wx] : covered(x, rate, d.width())) {
      sum += seenAt(d, sx, sy, channel) * wx * wy;
      weight += wx * wy;
    }
  return sum / weight;
}

double bandSample(const void* band, int32_t depth, size_t i) {
  return depth == 8    ? static_cast<const uint8_t*>(band)[i]
         : depth == 16 ? static_cast<const uint16_t*>(band)[i]
                       : static_cast<const float*>(band)[i];
}

void setBandSample(void* band, int32_t depth, size_t i, double v) {
  if (depth == 8)
    static_cast<uint8_t*>(band)[i] = uint8_t(v);
  else if (depth == 16)
    static_cast<uint16_t*>(band)[i] = uint16_t(v);
  else
    static_cast<float*>(band)[i] = float(v);
}

struct Shape {
  int32_t depth, channels;
  ColourMode mode;
  bool transparency;
};

void PrintTo(const Shape& s, std::ostream* out) {
  *out << s.depth << " bits, " << s.channels << " channels" << (s.transparency ? ", alpha" : "");
}

class TransferShapes : public testing::TestWithParam<Shape> {
protected:
  Document make(int32_t width, int32_t height, uint32_t seed) {
    const Shape& s = GetParam();
    return fixture::noise(width, height, s.depth, s.channels, s.mode, s.transparency, seed);
  }
};

struct Asker { // a record that asks a transfer
  explicit Asker(Document& d) : transfer(d, record) {
    record.inputRate = record.maskRate = rateOne;
    record.bigDocumentData = &big;
    big.PluginUsing32BitCoordinates = 1;
    record.haveMask = !d.selection().empty();
  }
  FilterRecord record{};
  BigDocumentData big{};
  Transfer transfer;
};

TEST_P(TransferShapes, DeliversAnyRectanglePlanesAndRate) {
  std::mt19937 random(7);
  const auto pick = [&](int low, int high) {
    return low + int(random() % uint32_t(high - low + 1));
  };
  for (int round = 0; round < 120; round++) {
    Document d = make(pick(1, 40), pick(1, 30), uint32_t(round));
    Asker ask(d);
    // Whole rates, the rate itself, odd ones, and one below 1.
    const Fixed rates[] = {rateOne,       2 * rateOne, 5 * rateOne,
                           100 * rateOne, 0x28000,     Fixed(random() % 400000 + 1),
                           0x8000,        0x10001,     0x7fffffff};
    const Fixed rate = rates[size_t(round) % std::size(rates)];
    const int reach = int(45.0 * rateOne / std::max(rate, 0x8000)) + 2;
    const int left = pick(-reach / 3, reach), top = pick(-reach / 3, reach);
    const VRect rect{top, left, top + pick(1, 12), left + pick(1, reach)};
    const int low = pick(0, d.channels() - 1), high = pick(low, d.channels() - 1);
    ask.record.inputRate = rate;
    ask.record.inLoPlane = int16_t(low);
    ask.record.inHiPlane = int16_t(high);
    ask.big.inRect32 = rect;
    ASSERT_EQ(ask.transfer.advance(), noErr);

    const int planes = high - low + 1, width = rect.right - rect.left;
    ASSERT_EQ(ask.record.inRowBytes, width * planes * d.depth() / 8);
    size_t i = 0;
    for (int y = rect.top; y < rect.bottom; y++)
      for (int x = rect.left; x < rect.right; x++)
        for (int c = low; c <= high; c++, i++) {
          const double expected = deliveredAt(d, x, y, c, rate);
          const double got = bandSample(ask.record.inData, d.depth(), i);
          // Rounded once; a matted float within its own precision.
          ASSERT_NEAR(got, expected, d.depth() == 32 ? 3e-7 : 0.5000001)
              << "round " << round << " rate " << rate << " at " << x << ", " << y << ", " << c;
        }
    EXPECT_EQ(ask.record.outData, nullptr);
  }
}

TEST_P(TransferShapes, TakesBackWhatWasWrittenAndNothingElse) {
  std::mt19937 random(11);
  const auto pick = [&](int low, int high) {
    return low + int(random() % uint32_t(high - low + 1));
  };
  for (int round = 0; round < 60; round++) {
    Document d = make(pick(1, 24), pick(1, 16), uint32_t(round));
    const bool selected = round % 2;
    if (selected) {
      std::vector<uint8_t> weights(size_t(d.width()) * size_t(d.height()));
      for (uint8_t& w : weights)
        w = round % 4 == 1 ? uint8_t(random() % 2 * 255) : uint8_t(random());
      d.setSelection(std::move(weights));
    }
    const Document before = fixture::copyOf(d);
    Asker ask(d);
    const int left = pick(-4, d.width() - 1), top = pick(-4, d.height() - 1);
    VRect rect{top, left, pick(top + 1, d.height() + 4), pick(left + 1, d.width() + 4)};
    if (round % 3 == 0)
      rect = {0, 0, d.height(), d.width()};
    const int low = round % 3 == 0 ? 0 : pick(0, d.channels() - 1);
    const int high = round % 3 == 0 ? d.channels() - 1 : pick(low, d.channels() - 1);
    ask.record.outLoPlane = int16_t(low);
    ask.record.outHiPlane = int16_t(high);
    ask.big.outRect32 = rect;
    ASSERT_EQ(ask.transfer.advance(), noErr);

    const int planes = high - low + 1, width = rect.right - rect.left;
    ASSERT_EQ(ask.record.outRowBytes, width * planes * d.depth() / 8);
    std::vector<double> written;
    const double full = fixture::fullScale(d);
    for (size_t i = 0; i < size_t(width) * size_t(rect.bottom - rect.top) * size_t(planes); i++) {
      const double unit = double(random() % 10001) / 10000;
      written.push_back(d.depth() == 32 ? double(float(unit)) : std::floor(unit * full + 0.5));
      setBandSample(ask.record.outData, d.depth(), i, written.back());
    }
    ask.big.outRect32 = {};
    ASSERT_EQ(ask.transfer.advance(), noErr);
    EXPECT_EQ(ask.record.outData, nullptr);

    for (int y = 0; y < d.height(); y++)
      for (int x = 0; x < d.width(); x++)
        for (int c = 0; c < d.channels(); c++) {
          const double old = sampleAt(before, x, y, c), now = sampleAt(d, x, y, c);
          const bool inside = y >= rect.top && y < rect.bottom && x >= rect.left &&
                              x < rect.right && c >= low && c <= high;
          const bool isAlpha = d.hasTransparency() && c == d.colourChannels();
          const double weight =
              selected ? d.selection()[size_t(y) * size_t(d.width()) + size_t(x)] / 255.0 : 1;
          const double a = d.hasTransparency() && c < d.colourChannels()
                               ? sampleAt(before, x, y, d.colourChannels()) / full
                               : 1;
          if (!inside || isAlpha || weight == 0 || a == 0) {
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
          if (d.depth() != 32)
            colour = std::clamp(colour, 0.0, full);
          const double expected = old + (colour - old) * weight;
          const double tolerance = d.depth() == 32 ? 1e-6 : 1.01;
          ASSERT_NEAR(now * a, expected * a, tolerance)
              << "round " << round << " at " << x << ", " << y << ", " << c;
          if (a == 1 && !selected) {
            ASSERT_EQ(now, seen);
          }
        }
  }
}

// Every colour under every alpha comes back as it was when the filter changes nothing.
TEST_P(TransferShapes, AnUntouchedBandChangesNothing) {
  Document d = make(64, 48, 3);
  if (d.hasTransparency())
    for (int32_t y = 0; y < d.height(); y++) // faint ones too, where the matte hides the colour
      for (int32_t x = 0; x < d.width(); x++)
        fixture::setSample(d, x, y, d.colourChannels(), fixture::fullScale(d) * (y % 4) / 128);
  const Document before = fixture::copyOf(d);
  Asker ask(d);
  ask.record.outHiPlane = int16_t(std::min(d.channels(), 3) - 1);
  for (int top = 0; top < d.height(); top += 10) {
    ask.big.outRect32 = {top, 0, std::min(top + 10, d.height()), d.width()};
    ASSERT_EQ(ask.transfer.advance(), noErr);
  }
  ask.big.outRect32 = {};
  ASSERT_EQ(ask.transfer.advance(), noErr);
  EXPECT_TRUE(fixture::sameSamples(d, before));
}

INSTANTIATE_TEST_SUITE_P(
    Documents, TransferShapes,
    testing::Values(Shape{8, 3, ColourMode::rgb, false}, Shape{16, 3, ColourMode::rgb, false},
                    Shape{32, 3, ColourMode::rgb, false}, Shape{8, 4, ColourMode::rgb, true},
                    Shape{16, 4, ColourMode::rgb, true}, Shape{32, 4, ColourMode::rgb, true},
                    Shape{8, 1, ColourMode::grayscale, false},
                    Shape{16, 4, ColourMode::grayscale, true},
                    Shape{8, 5, ColourMode::multichannel, false}));

TEST(Transfer, HidesSamplesThatAreNotFinite) {
  Document d = fixture::noise(5, 4, 32);
  const float odd[] = {std::numeric_limits<float>::infinity(), -INFINITY, NAN};
  for (int i = 0; i < 3; i++)
    fixture::setSample(d, i, i, i, odd[i]);
  EXPECT_EQ(d.nonFiniteSamples(), 3);
  Asker ask(d);
  ask.record.inHiPlane = ask.record.outHiPlane = 2;
  ask.big.inRect32 = ask.big.outRect32 = {0, 0, 4, 5};
  ASSERT_EQ(ask.transfer.advance(), noErr);
  for (int i = 0; i < 3; i++)
    EXPECT_EQ(static_cast<float*>(ask.record.inData)[(i * 5 + i) * 3 + i], 0);
  std::fill_n(static_cast<float*>(ask.record.outData), 60, 0.25f);
  ask.big.inRect32 = ask.big.outRect32 = {};
  ASSERT_EQ(ask.transfer.advance(), noErr);
  EXPECT_EQ(d.nonFiniteSamples(), 3);
  EXPECT_EQ(sampleAt(d, 4, 3, 2), 0.25);
}

TEST(Transfer, UsesTheRectanglesThatThePlugInChose) {
  Document d = fixture::noise(6, 5, 8);
  Asker ask(d);
  ask.record.inHiPlane = 2;
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

TEST(Transfer, DeliversTheSelectionBesideTheImage) {
  Document d = fixture::noise(6, 4, 8);
  std::vector<uint8_t> weights(24);
  for (size_t i = 0; i < weights.size(); i++)
    weights[i] = uint8_t(i * 10);
  d.setSelection(weights);
  Asker ask(d);
  ask.big.maskRect32 = {1, 2, 3, 5};
  ASSERT_EQ(ask.transfer.advance(), noErr);
  ASSERT_EQ(ask.record.maskRowBytes, 3);
  EXPECT_THAT(std::vector<uint8_t>(static_cast<uint8_t*>(ask.record.maskData),
                                   static_cast<uint8_t*>(ask.record.maskData) + 6),
              testing::ElementsAre(80, 90, 100, 140, 150, 160));
  ask.record.maskRate = 2 * rateOne;
  ask.big.maskRect32 = {0, 0, 2, 3};
  ASSERT_EQ(ask.transfer.advance(), noErr);
  EXPECT_EQ(static_cast<uint8_t*>(ask.record.maskData)[0], 35); // 0, 10, 60, 70
}

TEST(Transfer, RefusesWhatMakesNoSense) {
  Document d = fixture::noise(6, 5, 8);
  const auto resultOf = [&](auto change) {
    Asker ask(d);
    ask.record.inHiPlane = 2;
    ask.big.inRect32 = {0, 0, 5, 6};
    change(ask);
    const HostResult result = ask.transfer.advance();
    EXPECT_TRUE(result == noErr || ask.record.inData == nullptr);
    return result;
  };
  EXPECT_EQ(resultOf([](Asker& a) { a.record.inHiPlane = 3; }), filterBadParameters);
  EXPECT_EQ(resultOf([](Asker& a) { a.record.inLoPlane = -1; }), filterBadParameters);
  EXPECT_EQ(resultOf([](Asker& a) { a.record.inLoPlane = 2, a.record.inHiPlane = 1; }),
            filterBadParameters);
  EXPECT_EQ(resultOf([](Asker& a) { a.record.inputRate = 0; }), filterBadParameters);
  EXPECT_EQ(resultOf([](Asker& a) { a.record.inputRate = -rateOne; }), filterBadParameters);
  const int32_t most = std::numeric_limits<int32_t>::max(), least = -most - 1;
  EXPECT_EQ(resultOf([&](Asker& a) { a.big.inRect32 = {least, least, most, most}; }), memFullErr);
  EXPECT_EQ(resultOf([&](Asker& a) { a.big.inRect32 = {most, most, least, least}; }), noErr);
}

} // namespace
