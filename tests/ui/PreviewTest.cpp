// The preview's own steps with the real host library: how it is fitted, read and computed.
#include <gmock/gmock.h>

#include <QByteArray>

#include <cmath>

#include "frame/record/Rects.h"
#include "tests/support/HostFixture.h"
#include "tests/support/PlugInHost.h"
#include "ui/preview/Proxy.h"
#include "ui/preview/ProxyPixels.h"

namespace {

using testing::Each;
using testing::ElementsAre;

constexpr int32_t frameWidth = 433, frameHeight = 292;

struct Preview {
  host::Document document;
  fixture::PlugInHost plugIn;
  BigDocumentData& big = plugIn.host.bigDocumentData;

  explicit Preview(host::Document given, host::SessionOptions options = {})
      : document(std::move(given)), plugIn(document, std::move(options)) {
    big.PluginUsing32BitCoordinates = 1;
    host = std::exchange(plugIn.host.record.advanceState, advance);
    asked.clear();
    failing = 0;
  }
  ~Preview() { DeleteProxyBuffer(); }

  void open() {
    gData->proxyRect = {6, 5, 6 + frameHeight, 5 + frameWidth};
    SetupFilterRecordForProxy();
    CreateProxyBuffer();
  }
  int live() const { return plugIn.host.buffers.counts().live; }
  static std::vector<uint8_t> pixels(const uint8_t* buffer) {
    return {buffer, buffer + gData->proxyPlaneSize * 3};
  }

  // Rectangles in the requests to the host, and the number of the failing request.
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
  constexpr int32_t w = frameWidth, h = frameHeight, min = std::numeric_limits<int32_t>::min(),
                    max = std::numeric_limits<int32_t>::max();
  struct Case {
    VRect filter;
    float factor;
    VRect proxy;
  };
  Preview p(fixture::hazyScene(8, 8, 8));
  gParams->preview = 0;
  for (const Case& c : {
           Case{{0, 0, 80, 100}, 1, {0, 0, 80, 100}}, Case{{0, 0, h, w}, 1, {0, 0, h, w}},
           Case{{0, 0, 50, w + 1}, 2, {0, 0, 25, 217}}, Case{{0, 0, 2 * h, 2 * w}, 2, {0, 0, h, w}},
           Case{{0, 0, 2 * h + 1, 2 * w}, 3, {0, 0, 195, 288}},
           Case{{0, 0, 4000, 6000}, 14, {0, 0, 285, 428}},
           Case{{5, 3, 905, 903}, 4, {1, 0, 226, 225}},   // sides are divided one by one,
           Case{{-7, -3, 893, 897}, 4, {-1, 0, 223, 224}} // toward zero
       }) {
    p.big.filterRect32 = c.filter;
    p.open();
    const FilterRecord& record = p.plugIn.host.record;
    EXPECT_EQ(gData->scaleFactor, c.factor);
    EXPECT_THAT((std::array{gData->proxyRect, p.big.inRect32, p.big.maskRect32}), Each(c.proxy));
    EXPECT_THAT((std::array{gData->proxyWidth, gData->proxyHeight, gData->proxyPlaneSize}),
                ElementsAre(RectWidth(c.proxy), RectHeight(c.proxy),
                            RectWidth(c.proxy) * RectHeight(c.proxy)));
    EXPECT_THAT((std::array{record.inputRate, record.maskRate}), Each(int32_t(c.factor) << 16));
    EXPECT_THAT((std::array{record.inputPadding, record.maskPadding}), Each(-2));
    DeleteProxyBuffer();
  }
  // All of these are invalid, and one has a width but no rows; none may cause undefined behaviour.
  for (const VRect& rect : {VRect{0, 0, 6, 9000}, VRect{0, 0, 0, 0}, VRect{0, 0, 0, 500},
                            VRect{9, 9, 3, 3}, VRect{min, min, max, max}}) {
    p.big.filterRect32 = rect;
    p.plugIn.result = 0;
    gParams->preview = rect.right == 9000;
    p.open();
    RefreshProxy(nullptr);
    EXPECT_EQ(gData->proxyHazeMap, nullptr);
    EXPECT_EQ(gParams->foregroundIntensity, intensityUnset);
    DeleteProxyBuffer();
  }
}

// 16 bits become 256 levels; floats are clamped in the host's own memory. Both are truncated.
TEST(Proxy, TheSourceComesInStripsOfTenRowsAtEachDepth) {
  for (const int depth : {8, 16, 32}) {
    Preview p(fixture::noise(64, 25, depth));
    p.open();
    for (int again = 0; again < 2; ++again) // the host is read only once
      ASSERT_TRUE(ResetProxyBuffer());
    EXPECT_THAT(p.asked,
                ElementsAre(VRect{0, 0, 10, 64}, VRect{10, 0, 20, 64}, VRect{20, 0, 25, 64}));
    EXPECT_EQ(p.big.inRect32, gData->proxyRect); // restored
    for (int32_t i = 0; i < 64 * 25 * 3; ++i) {
      const double sample = fixture::sampleAt(p.document, i / 3 % 64, i / 192, i % 3);
      const double level = std::floor(depth == 8    ? sample
                                      : depth == 16 ? sample * 10 / 1285
                                                    : sample * 255);
      ASSERT_EQ(gData->proxyBuffer[i], uint8_t(level)) << depth << " " << i;
    }
    EXPECT_EQ(p.pixels(gData->proxyBuffer), p.pixels(gData->proxySourceBuffer));
  }
  float floats[] = {1.5f, -0.25f, 0.999f, std::nanf("")};
  uint8_t bytes[] = {9, 9, 9, 9, 9};
  HostSamplesToBytes(floats, 32, 4, bytes);
  EXPECT_THAT(bytes, ElementsAre(255, 0, 254, 0, 9));
  EXPECT_THAT((std::array{floats[0], floats[1]}), ElementsAre(1.0f, 0.0f));
}

TEST(Proxy, AFailingHostLeavesItsCodeAndTheStrip) {
  Preview p(fixture::hazyScene(64, 25, 8));
  p.open();
  p.failing = 2;
  for (int again = 0; again < 2; ++again) { // the second call has no effect
    RefreshProxy(nullptr);
    EXPECT_EQ(p.plugIn.result, readErr);
    EXPECT_EQ(gData->proxySourceValid, 0);
    EXPECT_EQ(p.big.inRect32, (VRect{10, 0, 20, 64}));
    EXPECT_NE(gData->proxyHazeMap, nullptr); // the pipeline still ran once
    EXPECT_EQ(p.asked.size(), 2u);
  }
}

TEST(Proxy, ThePipelineRunsOverACopyInCountedBuffers) {
  Preview p(fixture::hazyScene(60, 40, 8));
  constexpr int32_t size = 60 * 40 * 3;
  gParams->preview = 0;
  gParams->displayMap = 1;
  p.plugIn.startTrace();
  p.open();
  CreateProxyBuffer(); // it exists already
  EXPECT_EQ(p.live(), 2);
  EXPECT_EQ(gData->memoryInUse, 2 * size);
  RefreshProxy(nullptr);
  const std::vector<uint8_t> untouched = p.pixels(gData->proxyBuffer);
  EXPECT_EQ(untouched, p.pixels(gData->proxySourceBuffer));
  EXPECT_EQ(gData->proxyHazeMap, nullptr);
  gParams->preview = 1;
  RefreshProxy(nullptr);
  const float* const map = gData->proxyHazeMap;
  ASSERT_NE(map, nullptr);
  EXPECT_NE(gParams->foregroundIntensity, intensityUnset);
  for (size_t i = 0; i < size; i += 3) // the mask is grey
    ASSERT_TRUE(gData->proxyBuffer[i] == gData->proxyBuffer[i + 1] &&
                gData->proxyBuffer[i] == gData->proxyBuffer[i + 2]);
  gParams->displayMap = 0;
  RefreshProxy(nullptr);
  const std::vector<uint8_t> corrected = p.pixels(gData->proxyBuffer);
  EXPECT_NE(corrected, untouched);
  RefreshProxy(nullptr); // from the source again, with the same map
  EXPECT_EQ(p.pixels(gData->proxyBuffer), corrected);
  EXPECT_EQ(gData->proxyHazeMap, map);

  EXPECT_GE(gData->memoryPeak, 2 * size + 60 * 40 * 16);
  const auto inUse = [&] { return p.plugIn.host.buffers.counts().bytesInUse; };
  const int left = p.live(); // the resampling's work buffer stays
  EXPECT_EQ(inUse(), gData->memoryInUse);
  for (int again = 0; again < 2; ++again) {
    DeleteProxyBuffer();
    EXPECT_EQ(p.live(), left - 2);
    EXPECT_EQ(inUse(), gData->memoryInUse);
    EXPECT_TRUE(!gData->proxyBuffer && !gData->proxySourceBuffer && !gData->proxySourceValid);
  }
  EXPECT_EQ(p.plugIn.host.buffers.counts().refusedReleases, 0);

  const std::string trace = p.plugIn.stopTrace();
  EXPECT_THAT(trace, testing::HasSubstr("(60x40) - memory in use 14 MBytes")); // really KBytes
  EXPECT_THAT(trace, testing::HasSubstr("haze buffer (37 KBytes)"));
  const auto times = [&](const char* text) { return QByteArray::fromStdString(trace).count(text); };
  EXPECT_EQ(times("Rect '"), 3);
  EXPECT_EQ(times("UpdateProxyBuffer ("), 9);
  EXPECT_EQ(times("DeleteProxyBuffer ("), 2);
}

// Whichever block the host refuses: -108, and all allocated blocks are released.
TEST(Proxy, EachMissingBlockFreezesThePreview) {
  int refused = 0;
  for (int k = 3; k < 100; ++k) { // the first two are the handles
    Preview p(fixture::hazyScene(60, 40, 8), {.failAllocation = k});
    p.open();
    RefreshProxy(nullptr);
    const bool failed = p.plugIn.host.requests.count >= k;
    EXPECT_EQ(p.plugIn.result, failed ? memFullErr : noErr) << k;
    DeleteProxyBuffer();
    EXPECT_LE(p.live(), k > 5 ? 2 : 0) << k; // after an error the float buffer stays
    if (!failed)
      break;
    ++refused;
  }
  EXPECT_GE(refused, 4);
}

TEST(Proxy, DeepModesAreDrawnAsTheir8BitOnes) {
  const std::pair<int, int> modes[] = {{10, 1}, {17, 1}, {11, 3}, {16, 3}, {12, 9}, {13, 4},
                                       {14, 7}, {15, 8}, {3, 3},  {1, 1},  {0, 0},  {18, 18}};
  for (const auto& [deep, shown] : modes)
    EXPECT_EQ(MapDisplayMode(deep), shown) << deep;
}

} // namespace
