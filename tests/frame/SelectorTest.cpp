// The entry, its selectors, the memory budget, and the pixels' path in and out.
#include <climits>

#include "frame/contract/Limits.h"
#include "frame/contract/Sliders.h"
#include "frame/record/Memory.h"
#include "tests/frame/FrameFixture.h"

namespace {

using testing::HasSubstr;

using Selectors = FrameTest;

TEST_F(Selectors, OutOfRangeOnlyUnlock) {
  call(6); // a host without handles
  prepare();
  for (int16_t selector : {6, -1, SHRT_MAX, SHRT_MIN}) {
    LockHandles();
    gParams->power = 0.5f;
    gThreadCount = 77; // read at every entry
    EXPECT_EQ(call(selector, -5), -5);
    EXPECT_EQ(std::tuple(runEnded, gParams->power, gThreadCount), std::tuple(0, 0.5f, 1));
    EXPECT_FALSE(in->host.handles.unlock(reinterpret_cast<intptr_t>(record().parameters)));
    EXPECT_FALSE(in->host.handles.unlock(in->data));
  }
}

TEST_F(Selectors, ParametersResetsAndPrepareKeeps) {
  prepare();
  EXPECT_EQ(std::memcmp(gParams, std::array{0.0f, -1.0f, 1.0f, -1.0f, 1.0f}.data(), 20), 0);
  EXPECT_EQ(std::tuple(gParams->outputMap, gParams->preview), std::tuple(0, 1));
  EXPECT_EQ(std::tuple(gData->queryForParameters, gData->scaleFactor), std::tuple(1, 1.0f));
  gParams->foregroundIntensity = 0.3f;
  gParams->displayMap = 7; // the start selector sets it
  gData->proxyWidth = gData->memoryInUse = gData->memoryPeak = 11;
  const auto kept = [&](int16_t selector) {
    EXPECT_EQ(call(selector), 0);
    EXPECT_EQ(std::tuple(gParams->displayMap, gData->memoryInUse + gData->memoryPeak, runEnded),
              std::tuple(7, 22, 0));
    return std::pair(gParams->foregroundIntensity, gData->proxyWidth);
  };
  EXPECT_EQ(kept(filterSelectorPrepare), std::pair(0.3f, 11));
  EXPECT_EQ(kept(filterSelectorParameters), std::pair(-1.0f, 0));
  in->host.handles.release(std::exchange(in->data, 0));
  gParams->power = 3.0f;
  EXPECT_EQ(call(filterSelectorPrepare), 0); // creates what is missing, with the defaults
  EXPECT_EQ(gParams->power, 1.0f);
}

TEST_F(Selectors, HandlesThatCannotBeHad) {
  for (int16_t selector : {filterSelectorParameters, filterSelectorPrepare})
    for (int k : {1, 2}) {
      open(7, 5, 8, {.failAllocation = k});
      EXPECT_EQ(call(selector), memFullErr);
      EXPECT_EQ(in->data == 0, k == 2);
    }
  open(7, 5, 8);
  prepare();
  for (intptr_t* handle : {&in->data, reinterpret_cast<intptr_t*>(&record().parameters)}) {
    const intptr_t kept = std::exchange(*handle, 0);
    Parameters* const before = std::exchange(gParams, nullptr);
    EXPECT_EQ(call(filterSelectorFinish), filterBadParameters);
    EXPECT_EQ(std::exchange(gParams, before), nullptr); // untouched
    *handle = kept;
  }
  static HandleProcs procs;
  procs = *record().handleProcs;
  record().handleProcs = &procs;
  procs.lockProc = [](Handle handle, Boolean) -> void* {
    return handle == gFilterRecord->parameters ? gParams : nullptr;
  };
  for (int16_t selector : {filterSelectorPrepare, filterSelectorStart, filterSelectorFinish}) {
    EXPECT_EQ(call(selector), memFullErr);
    EXPECT_EQ(runEnded, selector == filterSelectorFinish);
  }
}

TEST_F(Selectors, RectanglesOfEitherGeneration) {
  const VRect none = {0, 0, 0, 0}, large = {0, 0, 70000, 90000};
  record().filterRect = {-1, -2, 300, 400};
  record().inRect = record().outRect = record().maskRect = {1, 2, 3, 4};
  in->host.bigDocumentData = {0, large, {1, 1, 1, 1}, {1, 1, 1, 1}, {1, 1, 1, 1}};
  EXPECT_EQ(GetFilterRect(), (VRect{-1, -2, 300, 400})); // the flag is not set yet
  SetInRect(0x12345, 2, 3, -0x8001);
  EXPECT_EQ(GetInRect(), (VRect{0x2345, 2, 3, 0x7fff})); // sides cut to 16 bits
  for (BigDocumentData* big : {static_cast<BigDocumentData*>(nullptr), &in->host.bigDocumentData}) {
    record().bigDocumentData = big;
    EXPECT_EQ(GetOutRect(), (big ? VRect{1, 2, 0, 0} : VRect{1, 2, 3, 4}));
    EXPECT_EQ(call(filterSelectorContinue), 0);
    EXPECT_EQ(std::tuple(GetInRect(), GetOutRect(), runEnded), std::tuple(none, none, 0));
    EXPECT_EQ(record().maskRect.right, 0);
    record().outRect = {1, 2, 0, 0};
  }
  const BigDocumentData& big = in->host.bigDocumentData;
  EXPECT_EQ(std::tuple(big.PluginUsing32BitCoordinates, GetFilterRect()), std::tuple(1, large));
  EXPECT_EQ(std::tuple(big.maskRect32, record().outRect.left), std::tuple(none, 2));
  std::string planes;
  for (int32_t mode = 0; mode < 19; ++mode)
    planes += std::to_string(CSPlanesFromMode(mode, 9));
  EXPECT_EQ(planes, "1133433913133491319");
}

// 172800 pixels of six bytes, scaled by the shape; above a height of 12427 the product wraps.
TEST_F(Selectors, PrepareAsksForItsBudget) {
  constexpr int32_t refused = -1;
  const std::array<int32_t, 4> cases[] = {
      {9, 9, 1036800, 1036800},    {9, 9, 1036799, refused},    {200, 100, 518400, 518400},
      {172801, 1, 0, 0},           {172800, 1, 6, 6},           {12428, 12428, 0, -1036722},
      {1, 12428, 448511, refused}, {7, 24856, INT_MAX, 128142}, {0, 5, 10, 0}};
  for (const auto& [width, height, space, ask] : cases) {
    open(7, 5, 8, {.maxSpace = space});
    in->host.bigDocumentData.filterRect32 = {10, -20, 10 + height, width - 20};
    record().bufferSpace = -3;
    const std::pair expected = ask == refused ? std::pair(memFullErr, -3) : std::pair(noErr, ask);
    EXPECT_EQ(call(filterSelectorPrepare), expected.first);
    EXPECT_EQ(record().bufferSpace, expected.second) << width << 'x' << height;
  }
}

using Filtering = FrameTest;

// The rectangles in each request to the host: in and out. The k-th call can fail.
std::vector<std::pair<VRect, VRect>> asked;
size_t failingAdvance = 0;

// The reduced image is not available, so the core changes nothing: each sample goes in and out. The
// host delivers ten rows at a time, and finally takes the whole rectangle back.
TEST_F(Filtering, MovesBandsOfTenRows) {
  for (int32_t depth : {8, 16, 32})
    for (int32_t height : {1, 10, 23}) {
      open(7, height, depth, {.wideRects = height != 10});
      const host::Document before = fixture::copyOf(*document);
      prepare();
      gData->queryForParameters = 0;
      static HostResult (*advance)();
      advance = std::exchange(record().advanceState, [] {
        asked.emplace_back(GetInRect(), GetOutRect());
        return asked.size() == failingAdvance ? HostResult(-77) : advance();
      });
      const size_t bands = size_t(height + 9) / 10, all = 2 * bands + 1;
      for (failingAdvance = 1; failingAdvance <= all + 1; ++failingAdvance) {
        asked.clear();
        in->host.requests.failing = in->host.requests.count + 1;
        EXPECT_EQ(call(filterSelectorStart), failingAdvance <= all ? -77 : 0);
        EXPECT_EQ(asked.size(), std::min(failingAdvance, all));
      }
      for (size_t i = 0; i < bands; ++i) {
        const VRect band = {int32_t(i) * 10, 0, std::min(int32_t(i) * 10 + 10, height), 7};
        EXPECT_EQ(std::pair(asked[i].first, asked[bands + i].second), std::pair(band, band));
      }
      EXPECT_EQ(asked.back().second, (VRect{0, 0, height, 7}));
      EXPECT_EQ(runEnded + call(filterSelectorContinue), 0);
      for (int32_t i = 0; i < height * 7 * 4; ++i) {
        const double was = fixture::sampleAt(before, i / 4 % 7, i / 28, i % 4);
        const double coarse = std::floor(std::floor(was * 10 / 1285) / 255.0 * 32768 + 0.5);
        ASSERT_EQ(fixture::sampleAt(*document, i / 4 % 7, i / 28, i % 4),
                  depth == 16 && i % 4 < 3 ? coarse : was); // 16 bits pass with 256 levels
      }
    }
}

TEST_F(Filtering, KeepsTheRectanglesAndTellsItsSteps) {
  prepare();
  gData->queryForParameters = 0;
  gData->memoryInUse = gData->memoryPeak = 5000;
  gData->proxyHazeMap = allocateArray<float>(1).release(); // of an earlier run
  record().haveMask = 1;
  record().maskRate = record().inputRate = 3;
  SetInRect(2, 3, 4, 5);
  record().advanceState = [] { return HostResult(-77); };
  in->startTrace();
  EXPECT_EQ(call(filterSelectorStart), -77);
  EXPECT_EQ(std::tuple(record().wantsAbsolute, record().inputRate, record().maskRate),
            std::tuple(1, 0x10000, 0x10000));
  EXPECT_EQ(in->host.bigDocumentData.maskRect32, (VRect{2, 0, 4, 7})); // the old height stays
  EXPECT_FALSE(gData->memoryInUse || gData->memoryPeak || gData->proxyHazeMap);
  gData->memoryPeak = 2048;
  gData->light[2] = 0.5f;
  EXPECT_EQ(call(filterSelectorFinish), 0);
  EXPECT_EQ(std::tuple(runEnded, gData->light[2]), std::tuple(1, 0.0f));
  in->host.bigDocumentData.filterRect32 = {0, 0, 1 << 14, 1 << 14}; // 2^28 pixels are too many
  EXPECT_THROW(call(filterSelectorStart), std::bad_alloc);
  const std::string trace = in->stopTrace();
  for (const char* line :
       {"PluginMain_core :: 1 threads, ", "Rect 'DO FILTER filter rect': [0 7 0 5]\n",
        "main haze buffer (1048576 pixels)\n", "DoFilter :: Error with advanceState (-77)\n",
        "0 KBytes (peak: 2 KBytes)\n"})
    EXPECT_THAT(trace, HasSubstr(line));
  in->host.bigDocumentData.filterRect32 = {0, 0, 0, 0}; // one advance, after the last band
  SetInRect(2, 3, 4, 5);
  EXPECT_EQ(call(filterSelectorStart), -77);
  EXPECT_EQ(GetInRect(), (VRect{2, 0, 4, 0}));
  record().imageMode = plugInModeCMYKColor;
  EXPECT_EQ(call(filterSelectorStart), filterBadParameters);
}

TEST_F(Filtering, BuffersAreCountedAndGivenBack) {
  prepare();
  LockHandles();
  const HostBuffer buffer = TakeHostBuffer(64);
  EXPECT_NE(buffer.data, nullptr);
  CountTaken(64);
  CountTaken(INT_MAX); // wraps
  CountReleased(INT_MAX);
  EXPECT_EQ(std::pair(gData->memoryInUse, gData->memoryPeak), std::pair(64, 64));
  ReleaseHostBuffer(buffer.id);
  EXPECT_EQ(in->host.buffers.counts().live + in->host.buffers.counts().refusedUses, 0);
}

// The rules that both sides of the interface share.
TEST(Contract, SlidersAndLimits) {
  EXPECT_EQ(PowerOfPosition(33), float(std::exp(double(float(33 / 25.0 - 2.0)))));
  EXPECT_EQ(PositionOfPower(PowerOfPosition(100)), 100);
  EXPECT_NEAR(BalanceOfPower(PowerOfPosition(62.5)), 62.5, 1e-4);
  EXPECT_EQ(PositionOfValue(0.35f), 34); // the float is slightly below
  EXPECT_EQ(PositionOfValue(ValueOfPosition(-70)), -69);
  const std::array<int32_t, 4> sizes[] = {
      {3000, 2000, 387, 258}, {100, 100, 316, 316}, {1, 100000, 1, 100000}, {0, 9, 0, 0}};
  for (const auto& [width, height, lowWidth, lowHeight] : sizes) {
    const EstimateSize size = estimateSize(width, height);
    EXPECT_EQ(std::pair(size.width, size.height), std::pair(lowWidth, lowHeight));
  }
  EXPECT_TRUE(tooWideForEstimate(21475) && !tooWideForEstimate(21474));
  EXPECT_TRUE(tooHighForEstimate(3, 300001) && !tooHighForEstimate(3, 300000));
}

} // namespace
