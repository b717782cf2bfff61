// The preview's own steps over the real host library: how it is fitted, read, computed and drawn.
#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "haze/Haze.h"
#include "tests/support/HostFixture.h"
#include "tests/support/PlugInHost.h"
#include "tests/ui/PreviewWindow.h"
#include "ui/preview/ProxyPixels.h"

namespace {

using testing::Each;
using testing::ElementsAre;

constexpr WindowRect frame = {5, 6, 438, 298};

struct Preview {
  host::Document document;
  fixture::PlugInHost plugIn;
  fixture::PreviewWindow dialog{frame};

  explicit Preview(host::Document given, host::SessionOptions options = {})
      : document(std::move(given)), plugIn(document, std::move(options)) {
    plugIn.host.bigDocumentData.PluginUsing32BitCoordinates = 1;
    host = plugIn.host.record.advanceState;
    plugIn.host.record.advanceState = advance;
    asked.clear();
    failing = 0;
  }
  Preview(int32_t width, int32_t height, host::SessionOptions options = {})
      : Preview(fixture::hazyScene(width, height, 8), std::move(options)) {}
  ~Preview() { DeleteProxyBuffer(); }

  void fit() {
    GetProxyItemRect(dialog.window);
    SetupFilterRecordForProxy();
  }
  void open() {
    fit();
    CreateProxyBuffer();
  }
  int live() const { return plugIn.host.buffers.counts().live; }

  // Rectangles that the host was asked for, and the request that it does not fulfil.
  static inline std::vector<VRect> asked;
  static inline size_t failing;

private:
  static HostResult advance() {
    asked.push_back(gFilterRecord->bigDocumentData->inRect32);
    return asked.size() == failing ? readErr : host();
  }
  static inline HostResult (*host)();
};

TEST(Proxy, TheFactorIsWholeAndNeverEnlarges) {
  constexpr int32_t min = std::numeric_limits<int32_t>::min(), w = frame.width(),
                    max = std::numeric_limits<int32_t>::max(), h = frame.height();
  struct Case {
    VRect filter;
    float factor;
    VRect proxy;
  };
  Preview p(8, 8);
  for (const Case& c : {
           Case{{0, 0, 80, 100}, 1, {0, 0, 80, 100}}, Case{{0, 0, h, w}, 1, {0, 0, h, w}},
           Case{{0, 0, 50, w + 1}, 2, {0, 0, 25, 217}}, Case{{0, 0, 2 * h, 2 * w}, 2, {0, 0, h, w}},
           Case{{0, 0, 2 * h + 1, 2 * w}, 3, {0, 0, 195, 288}},
           Case{{0, 0, 4000, 6000}, 14, {0, 0, 285, 428}},
           Case{{0, 0, 6, 9000}, 21, {0, 0, 0, 428}},     // too flat: no rows
           Case{{5, 3, 905, 903}, 4, {1, 0, 226, 225}},   // sides are divided one by one,
           Case{{-7, -3, 893, 897}, 4, {-1, 0, 223, 224}} // toward zero
       }) {
    p.plugIn.host.bigDocumentData.filterRect32 = c.filter;
    p.fit();
    const FilterRecord& record = p.plugIn.host.record;
    EXPECT_EQ(gData->scaleFactor, c.factor);
    EXPECT_EQ(gData->proxyRect, c.proxy);
    EXPECT_EQ(gData->proxyWidth, c.proxy.right - c.proxy.left);
    EXPECT_EQ(gData->proxyHeight, c.proxy.bottom - c.proxy.top);
    EXPECT_EQ(gData->proxyPlaneSize, gData->proxyWidth * gData->proxyHeight);
    EXPECT_EQ(record.bigDocumentData->inRect32, c.proxy);
    EXPECT_EQ(record.bigDocumentData->maskRect32, c.proxy);
    EXPECT_THAT((std::array{record.inputRate, record.maskRate}), Each(int32_t(c.factor) << 16));
    EXPECT_THAT((std::array{record.inputPadding, record.maskPadding}), Each(-2));
  }
  // Nothing of these makes sense, and nothing of them is undefined.
  for (const VRect& rect : {VRect{0, 0, 0, 0}, VRect{0, 0, 0, 500}, VRect{9, 9, 3, 3},
                            VRect{0, 0, 6, 9000}, VRect{min, min, max, max}}) {
    p.plugIn.host.bigDocumentData.filterRect32 = rect;
    p.plugIn.result = 0;
    gParams->preview = rect.right == 9000;
    p.open();
    RefreshProxy(p.dialog.window);
    PaintProxy(p.dialog.window);
    EXPECT_EQ(gData->proxyHazeMap, nullptr);
    DeleteProxyBuffer();
  }
}

TEST(Proxy, TheFrameIsTakenInTheDialogAndCutTo16Bits) {
  Preview p(8, 8);
  const fixture::PreviewWindow far({4464 + 65536, -25536 + 65536, 4465 + 65536, -25535 + 65536});
  GetProxyItemRect(far.window);
  EXPECT_EQ(gData->proxyRect, (VRect{-25536, 4464, -25535, 4465}));
}

// 16 bits go into 256 levels and floats are clamped in the host's own memory, both truncated.
TEST(Proxy, TheSourceComesInStripsOfTenRowsAtEachDepth) {
  for (const int depth : {8, 16, 32}) {
    Preview p(fixture::noise(64, 25, depth));
    host::Document& d = p.document;
    if (depth == 32) {
      fixture::setSample(d, 0, 0, 0, 1.5);
      fixture::setSample(d, 1, 0, 0, -0.25);
      fixture::setSample(d, 2, 0, 0, 0.999);
    }
    p.open();
    ASSERT_TRUE(ResetProxyBuffer());
    EXPECT_THAT(p.asked,
                ElementsAre(VRect{0, 0, 10, 64}, VRect{10, 0, 20, 64}, VRect{20, 0, 25, 64}));
    EXPECT_EQ(p.plugIn.host.bigDocumentData.inRect32, gData->proxyRect); // put back
    EXPECT_EQ(p.plugIn.host.record.inHiPlane, 2);
    for (int32_t i = 0; i < 64 * 25 * 3; ++i) {
      const double sample = fixture::sampleAt(d, i / 3 % 64, i / 192, i % 3);
      const double level = depth == 8    ? sample
                           : depth == 16 ? std::floor(sample * 10 / 1285)
                                         : std::floor(std::clamp(sample, 0.0, 1.0) * 255.0);
      ASSERT_EQ(gData->proxySourceBuffer[i], uint8_t(level)) << depth << " " << i;
      ASSERT_EQ(gData->proxyBuffer[i], uint8_t(level));
    }
    ASSERT_TRUE(ResetProxyBuffer());
    EXPECT_EQ(p.asked.size(), 3u); // the host is read once
  }
  float floats[] = {1.5f, -0.25f, 0.999f, std::nanf("")};
  uint8_t bytes[] = {9, 9, 9, 9, 9};
  HostSamplesToBytes(floats, 32, 4, bytes);
  EXPECT_THAT(bytes, ElementsAre(255, 0, 254, 0, 9));
  EXPECT_THAT((std::array{floats[0], floats[1]}), ElementsAre(1.0f, 0.0f));
  HostSamplesToBytes(floats, 64, 4, bytes);
  HostSamplesToBytes(nullptr, 8, 0, bytes);
  EXPECT_EQ(bytes[0], 255);
  for (const auto& [sample, level] : {std::pair(128, 0), {129, 1}, {32767, 254}, {32768, 255}}) {
    uint16_t word = uint16_t(sample);
    HostSamplesToBytes(&word, 16, 1, bytes);
    EXPECT_EQ(bytes[0], level);
  }
}

TEST(Proxy, AFailingHostLeavesItsCodeAndTheStrip) {
  Preview p(64, 25);
  p.open();
  p.failing = 2;
  RefreshProxy(p.dialog.window);
  EXPECT_EQ(p.plugIn.result, readErr);
  EXPECT_EQ(gData->proxySourceValid, 0);
  EXPECT_EQ(p.plugIn.host.bigDocumentData.inRect32, (VRect{10, 0, 20, 64}));
  EXPECT_NE(gData->proxyHazeMap, nullptr); // the pipeline ran once all the same
  RefreshProxy(p.dialog.window);           // and from now on nothing does
  EXPECT_EQ(p.asked.size(), 2u);
  EXPECT_EQ(p.dialog.refreshed, 1);
}

TEST(Proxy, BuffersAreCountedAndGivenBackOnce) {
  Preview p(60, 40);
  constexpr int32_t size = 60 * 40 * 3;
  p.open();
  CreateProxyBuffer(); // there is one
  EXPECT_EQ(p.live(), 2);
  EXPECT_EQ(gData->memoryInUse, 2 * size);
  RefreshProxy(p.dialog.window);
  EXPECT_EQ(p.plugIn.host.buffers.counts().bytesPeak, gData->memoryPeak);
  EXPECT_GE(gData->memoryPeak, 2 * size + 60 * 40 * 16); // while the pipeline ran
  const int left = p.live();                             // the resampling's work buffer stays
  for (int again = 0; again < 2; ++again) {
    DeleteProxyBuffer();
    EXPECT_EQ(p.live(), left - 2);
    EXPECT_EQ(gData->proxyBuffer, nullptr);
    EXPECT_EQ(gData->proxySourceBuffer, nullptr);
    EXPECT_EQ(gData->proxySourceValid, 0);
  }
  EXPECT_EQ(p.plugIn.host.buffers.counts().refusedReleases, 0);
}

TEST(Proxy, ThePipelineRunsOverACopy) {
  Preview p(60, 40);
  const auto pixels = [] { return std::vector(gData->proxyBuffer, gData->proxyBuffer + 7200); };
  gParams->preview = 0;
  gParams->displayMap = 1;
  p.open();
  RefreshProxy(p.dialog.window);
  const std::vector<uint8_t> untouched = pixels();
  EXPECT_EQ(untouched, std::vector(gData->proxySourceBuffer, gData->proxySourceBuffer + 7200));
  EXPECT_EQ(gData->proxyHazeMap, nullptr);
  EXPECT_EQ(gParams->foregroundIntensity, intensityUnset);
  gParams->preview = 1;
  RefreshProxy(p.dialog.window);
  const float* const map = gData->proxyHazeMap;
  ASSERT_NE(map, nullptr);
  EXPECT_NE(gParams->foregroundIntensity, intensityUnset);
  for (size_t i = 0; i < 7200; i += 3) // the mask is grey
    ASSERT_TRUE(gData->proxyBuffer[i] == gData->proxyBuffer[i + 1] &&
                gData->proxyBuffer[i] == gData->proxyBuffer[i + 2]);
  gParams->displayMap = 0;
  RefreshProxy(p.dialog.window);
  const std::vector<uint8_t> corrected = pixels();
  EXPECT_NE(corrected, untouched);
  RefreshProxy(p.dialog.window); // from the source again, over the same map
  EXPECT_EQ(pixels(), corrected);
  EXPECT_EQ(gData->proxyHazeMap, map);
  EXPECT_EQ(p.dialog.refreshed, 4);
}

// Whichever block the host refuses: -108, no further refresh, and what was taken is given back.
TEST(Proxy, EachMissingBlockFreezesThePreview) {
  int refused = 0;
  for (int k = 3; k < 100; ++k) { // the first two are the handles
    host::SessionOptions options;
    options.failAllocation = k;
    Preview p(60, 40, options);
    p.open();
    RefreshProxy(p.dialog.window);
    const bool failed = p.plugIn.host.requests.count >= k;
    EXPECT_EQ(p.plugIn.result, failed ? memFullErr : noErr) << k;
    EXPECT_EQ(p.dialog.refreshed, 1);
    DeleteProxyBuffer();
    EXPECT_LE(p.live(), k > 5 ? 2 : 0) << k; // the float buffer, after an error
    if (!failed)
      break;
    ++refused;
  }
  EXPECT_GE(refused, 4);
}

TEST(Proxy, ThePictureIsCentredOnDarkGrey) {
  struct Case {
    int32_t width, height, row, column;
  };
  constexpr int32_t w = frame.width(), h = frame.height();
  for (const Case& c : {Case{100, 80, 106, 166}, Case{101, 81, 105, 166}, Case{w, h, 0, 0}}) {
    Preview p(fixture::noise(c.width, c.height, 8));
    gParams->preview = 0;
    p.open();
    RefreshProxy(p.dialog.window);
    PaintProxy(p.dialog.window);
    ASSERT_EQ(p.dialog.picture.size(), size_t(w) * size_t(h));
    EXPECT_EQ(p.dialog.drawn.x, 5);
    EXPECT_EQ(p.dialog.drawn.y, 6);
    for (int32_t i = 0; i < w * h; ++i) {
      const int32_t x = i % w - c.column, y = i / w - c.row;
      uint32_t expected = 0xff404040;
      if (x >= 0 && x < c.width && y >= 0 && y < c.height) {
        const auto sample = [&](int32_t channel) {
          return uint32_t(fixture::sampleAt(p.document, x, y, channel));
        };
        expected = 0xff000000 | sample(0) << 16 | sample(1) << 8 | sample(2);
      }
      ASSERT_EQ(p.dialog.picture[size_t(i)], expected) << x << " " << y;
    }
  }
}

TEST(Proxy, DeepModesAreDrawnAsTheir8BitOnes) {
  const std::pair<int, int> modes[] = {{10, 1}, {17, 1}, {11, 3}, {16, 3}, {12, 9}, {13, 4},
                                       {14, 7}, {15, 8}, {3, 3},  {1, 1},  {0, 0},  {18, 18}};
  for (const auto& [deep, shown] : modes)
    EXPECT_EQ(MapDisplayMode(deep), shown) << deep;
}

} // namespace
