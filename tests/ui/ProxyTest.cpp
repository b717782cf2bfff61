// The preview's own steps, over a host of a few lines.
#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "haze/Haze.h"
#include "tests/ui/StandInDialog.h"
#include "tests/ui/StandInHost.h"
#include "ui/dialog/DialogTables.h"
#include "ui/dialog/Dialogs.h"
#include "ui/preview/Proxy.h"

namespace {

using testing::Each;
using testing::ElementsAre;

constexpr int32_t frameWidth = 433, frameHeight = 292; // a dialog unit is a pixel here

intptr_t silent(Window, uint32_t, uintptr_t, intptr_t) { return 0; }

// A host, a dialog with the frame in it, and the proxy fitted.
struct Preview {
  StandInDesktop desktop;
  StandInHost host;
  StandInDialog dialog{FOGDISSOLVER_DIALOG, silent};

  Preview(int32_t width, int32_t height, int32_t depth = 8) : host(width, height, depth) {}

  void fit() {
    GetProxyItemRect(dialog.window);
    SetupFilterRecordForProxy();
  }
  void open() {
    fit();
    CreateProxyBuffer();
  }
};

TEST(ProxyFit, TheFactorIsWholeAndNeverEnlarges) {
  struct Case {
    int32_t width, height;
    float factor;
    int32_t proxyWidth, proxyHeight;
  };
  for (const Case& c : {
           Case{100, 80, 1, 100, 80},
           Case{1, 1, 1, 1, 1},
           Case{frameWidth, frameHeight, 1, frameWidth, frameHeight},
           Case{frameWidth + 1, 50, 2, 217, 25},
           Case{2 * frameWidth, 2 * frameHeight, 2, frameWidth, frameHeight},
           Case{2 * frameWidth, 2 * frameHeight + 1, 3, 288, 195},
           Case{6000, 4000, 14, 428, 285},
           Case{20000, 3, 47, 425, 0},
       }) {
    Preview p(c.width, c.height);
    p.fit();
    EXPECT_EQ(gData->scaleFactor, c.factor);
    EXPECT_EQ(gData->proxyWidth, c.proxyWidth);
    EXPECT_EQ(gData->proxyHeight, c.proxyHeight);
    EXPECT_EQ(gData->proxyPlaneSize, c.proxyWidth * c.proxyHeight);
    EXPECT_EQ(p.host.record.inputRate, int32_t(c.factor) << 16);
    EXPECT_EQ(p.host.record.maskRate, p.host.record.inputRate);
    EXPECT_EQ(p.host.record.inputPadding, -2);
    EXPECT_EQ(p.host.record.maskPadding, -2);
    EXPECT_EQ(p.host.big.inRect32, gData->proxyRect);
    EXPECT_EQ(p.host.big.maskRect32, gData->proxyRect);
  }
}

TEST(ProxyFit, SidesOfAnOffsetRectangleAreDividedOneByOne) {
  Preview p(0, 0);
  p.host.big.filterRect32 = {5, 3, 5 + 900, 3 + 900};
  p.fit();
  EXPECT_EQ(gData->scaleFactor, 4);
  EXPECT_EQ(gData->proxyRect, (VRect{1, 0, 226, 225}));
  p.host.big.filterRect32 = {-7, -3, 893, 897};
  p.fit();
  EXPECT_EQ(gData->proxyRect, (VRect{-1, 0, 223, 224})); // toward zero, not down
}

TEST(ProxyFit, TheFrameIsTakenInTheDialogAndCutTo16Bits) {
  Preview p(10, 10);
  GetProxyItemRect(p.dialog.window);
  EXPECT_EQ(gData->proxyRect, (VRect{6, 5, 298, 438}));
  p.dialog[idFrame].rect = {100 + 70000, 50 + 40000, 100 + 70001, 50 + 40001};
  GetProxyItemRect(p.dialog.window);
  EXPECT_EQ(gData->proxyRect, (VRect{-25536, 4464, -25535, 4465}));
}

TEST(ProxyFit, EmptyAndHugeRectanglesAreSurvived) {
  for (const VRect& rect :
       {VRect{0, 0, 0, 0}, VRect{0, 0, 0, 500}, VRect{9, 9, 3, 3},
        VRect{std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::min(),
              std::numeric_limits<int32_t>::max(), std::numeric_limits<int32_t>::max()}}) {
    Preview p(0, 0);
    p.host.big.filterRect32 = rect;
    p.host.params.preview = 0;
    p.open();
    RefreshProxy(p.dialog.window);
    DeleteProxyBuffer();
    EXPECT_TRUE(p.host.blocks.empty());
  }
}

TEST(ProxySource, ComesInStripsOfTenRows) {
  Preview p(64, 25);
  p.open();
  ASSERT_TRUE(ResetProxyBuffer());
  EXPECT_THAT(p.host.asked,
              ElementsAre(VRect{0, 0, 10, 64}, VRect{10, 0, 20, 64}, VRect{20, 0, 25, 64}));
  EXPECT_EQ(p.host.big.inRect32, gData->proxyRect); // put back
  for (int32_t y = 0; y < 25; ++y)
    for (int32_t x = 0; x < 64; ++x)
      for (int c = 0; c < 3; ++c)
        ASSERT_EQ(gData->proxyBuffer[(y * 64 + x) * 3 + c], uint8_t(p.host.sample(x, y, c)));
  ASSERT_TRUE(ResetProxyBuffer());
  EXPECT_EQ(p.host.asked.size(), 3u); // the host is read once
}

TEST(ProxySource, DeepSamplesAreTruncated) {
  struct Case {
    int32_t depth;
    float sample;
    uint8_t byte;
  };
  static float value;
  for (const Case& c :
       {Case{16, 0, 0}, Case{16, 128, 0}, Case{16, 129, 1}, Case{16, 1000, 7}, Case{16, 32767, 254},
        Case{16, 32768, 255}, Case{32, 1.5f, 255}, Case{32, -0.25f, 0}, Case{32, 0.999f, 254},
        Case{32, 1.0f, 255}, Case{32, 0.5f, 127},
        Case{32, std::numeric_limits<float>::quiet_NaN(), 0}}) {
    Preview p(4, 2, c.depth);
    value = c.sample;
    p.host.sample = [](int32_t, int32_t, int) { return value; };
    p.open();
    ASSERT_TRUE(ResetProxyBuffer());
    EXPECT_THAT(std::vector<uint8_t>(gData->proxyBuffer, gData->proxyBuffer + 24), Each(c.byte))
        << c.depth << " " << c.sample;
    if (c.depth == 32 && !std::isnan(c.sample)) { // clamped in the host's own buffer
      EXPECT_EQ(reinterpret_cast<float*>(p.host.in.data())[0], std::clamp(c.sample, 0.0f, 1.0f));
    }
  }
}

TEST(ProxySource, AFailingHostLeavesItsCodeAndTheStrip) {
  Preview p(64, 25);
  p.open();
  p.host.failAdvance = 2;
  RefreshProxy(p.dialog.window);
  EXPECT_EQ(p.host.result, readErr);
  EXPECT_EQ(gData->proxySourceValid, 0);
  EXPECT_EQ(p.host.big.inRect32, (VRect{10, 0, 20, 64}));
  EXPECT_NE(gData->proxyHazeMap, nullptr); // the pipeline ran once all the same
  EXPECT_EQ(p.dialog.invalidated.size(), 1u);
  RefreshProxy(p.dialog.window); // and from now on nothing does
  EXPECT_EQ(p.host.asked.size(), 2u);
  EXPECT_EQ(p.dialog.invalidated.size(), 1u);
}

TEST(ProxyBuffers, AreCountedAndGivenBackOnce) {
  Preview p(60, 40);
  p.open();
  const int32_t size = 60 * 40 * 3;
  EXPECT_EQ(p.host.blocks.size(), 2u);
  EXPECT_EQ(gData->memoryInUse, 2 * size);
  CreateProxyBuffer(); // there is one
  EXPECT_EQ(p.host.blocks.size(), 2u);
  ResetProxyBuffer();
  DeleteProxyBuffer();
  EXPECT_TRUE(p.host.blocks.empty());
  EXPECT_EQ(gData->memoryInUse, 0);
  EXPECT_EQ(gData->memoryPeak, 2 * size);
  EXPECT_EQ(gData->proxySourceValid, 0);
  EXPECT_EQ(gData->proxyBuffer, nullptr);
  DeleteProxyBuffer();
  EXPECT_EQ(gData->memoryInUse, 0);
}

TEST(ProxyPipeline, TheFloatBufferIsGivenBackAndTheSourceKept) {
  Preview p(60, 40);
  p.open();
  RefreshProxy(p.dialog.window);
  EXPECT_EQ(p.host.result, 0);
  EXPECT_EQ(p.host.blocks.size(), 2u);
  EXPECT_GE(gData->memoryPeak, 2 * 60 * 40 * 3 + 60 * 40 * 16);
  const float* map = gData->proxyHazeMap;
  ASSERT_NE(map, nullptr);
  const std::vector<uint8_t> first(gData->proxyBuffer, gData->proxyBuffer + 7200);
  gParams->displayMap = 1;
  RefreshProxy(p.dialog.window);
  for (size_t i = 0; i < 7200; i += 3) { // the mask is grey
    ASSERT_EQ(gData->proxyBuffer[i], gData->proxyBuffer[i + 1]);
    ASSERT_EQ(gData->proxyBuffer[i], gData->proxyBuffer[i + 2]);
  }
  gParams->displayMap = 0;
  RefreshProxy(p.dialog.window);
  EXPECT_EQ(std::vector<uint8_t>(gData->proxyBuffer, gData->proxyBuffer + 7200), first);
  EXPECT_EQ(gData->proxyHazeMap, map);
  EXPECT_EQ(StandInDesktop::state.busy, 1); // the cursor is busy for the first map alone
}

TEST(ProxyPipeline, WithThePreviewOffThePixelsStayUnprocessed) {
  Preview p(60, 40);
  p.host.params.preview = 0;
  p.host.params.displayMap = 1;
  p.open();
  RefreshProxy(p.dialog.window);
  EXPECT_EQ(gData->proxyHazeMap, nullptr);
  EXPECT_EQ(gParams->foregroundIntensity, intensityUnset);
  EXPECT_EQ(std::memcmp(gData->proxyBuffer, gData->proxySourceBuffer, 7200), 0);
  gParams->preview = 1;
  RefreshProxy(p.dialog.window);
  EXPECT_NE(gData->proxyHazeMap, nullptr);
  EXPECT_NE(gParams->foregroundIntensity, intensityUnset);
}

// Whichever block the host does not give: no crash, -108, and what was taken can be given back.
TEST(ProxyPipeline, EachMissingBlockFreezesThePreview) {
  int refused = 0;
  for (int k = 1; k < 100; ++k) {
    Preview p(60, 40);
    p.host.failRequest = k;
    p.open();
    RefreshProxy(p.dialog.window);
    const bool failed = p.host.requests >= k;
    EXPECT_EQ(p.host.result, failed ? memFullErr : noErr) << k;
    DeleteProxyBuffer();
    if (!failed)
      break;
    ++refused;
    EXPECT_LE(p.host.blocks.size(), k > 3 ? 1u : 0u) << k; // the float buffer, after an error
  }
  EXPECT_GE(refused, 4);
}

TEST(ProxyPaint, ThePictureIsCentredOnDarkGrey) {
  struct Case {
    int32_t width, height, row, column;
  };
  for (const Case& c :
       {Case{100, 80, 106, 166}, Case{101, 81, 105, 166}, Case{frameWidth, frameHeight, 0, 0}}) {
    Preview p(c.width, c.height);
    p.host.params.preview = 0;
    p.open();
    RefreshProxy(p.dialog.window);
    DeviceContext* context = CreateCompatibleDC(nullptr);
    Bitmap bitmap = CreateCompatibleBitmap(nullptr, frameWidth, frameHeight);
    SelectObject(context, bitmap);
    offscreenContext = context;
    PaintProxy(p.dialog.window);
    offscreenContext = nullptr;
    DeleteDC(context);
    DeleteObject(bitmap);

    ASSERT_EQ(p.host.drawn.size(), 1u);
    EXPECT_EQ(p.host.drawn[0].row, c.row);
    EXPECT_EQ(p.host.drawn[0].column, c.column);
    const PSPixelMap& map = p.host.drawn[0].map;
    EXPECT_EQ(map.version, 1);
    EXPECT_EQ(map.imageMode, plugInModeRGBColor);
    EXPECT_EQ(map.rowBytes, c.width * 3);
    EXPECT_EQ(map.colBytes, 3);
    EXPECT_EQ(map.planeBytes, 1);
    ASSERT_EQ(p.dialog.blits.size(), 1u);
    EXPECT_EQ(p.dialog.blits[0].x, 5);
    EXPECT_EQ(p.dialog.blits[0].y, 6);
    const auto at = [&](int32_t x, int32_t y) { return p.dialog.picture[y * frameWidth + x]; };
    const auto pixel = [&](int32_t x, int32_t y) {
      return 0xff000000u | uint32_t(p.host.sample(x, y, 0)) << 16 |
             uint32_t(p.host.sample(x, y, 1)) << 8 | uint32_t(p.host.sample(x, y, 2));
    };
    EXPECT_EQ(at(c.column, c.row), pixel(0, 0));
    EXPECT_EQ(at(c.column + c.width - 1, c.row + c.height - 1), pixel(c.width - 1, c.height - 1));
    if (c.row > 0) {
      EXPECT_EQ(at(c.column - 1, c.row), 0xff404040);
      EXPECT_EQ(at(c.column, c.row - 1), 0xff404040);
      EXPECT_EQ(at(c.column + c.width, c.row + c.height - 1), 0xff404040);
      EXPECT_EQ(at(frameWidth - 1, frameHeight - 1), 0xff404040);
    }
  }
}

} // namespace
