// The entry, the selectors and the memory budget, called as a host calls them.
#include <climits>

#include "frame/record/Rects.h"
#include "frame/selectors/Selectors.h"
#include "tests/frame/FrameFixture.h"

namespace {

using testing::HasSubstr;

class Selectors : public FrameTest {};

TEST_F(Selectors, OutOfRangeOnlyUnlocks) {
  ASSERT_EQ(call(filterSelectorParameters), 0);
  gThreadCount = 77;
  for (int selector : {6, 7, -1, SHRT_MAX, SHRT_MIN}) {
    parametersBlock().foregroundPosition = 0.5f;
    LockHandles();
    result = -5;
    runEnded = 9;
    call(int16_t(selector));
    EXPECT_EQ(result, -5);
    EXPECT_EQ(runEnded, 0);
    EXPECT_EQ(parametersBlock().foregroundPosition, 0.5f);
    EXPECT_TRUE(nothingLocked());
  }
  EXPECT_EQ(gThreadCount, 1);  // read at every entry
  record.parameters = nullptr; // a host without any handle
  dataSlot = 0;
  call(6);
}

TEST_F(Selectors, ParametersResetAndPrepareKeeps) {
  EXPECT_EQ(call(filterSelectorParameters), 0);
  const Parameters& p = parametersBlock();
  EXPECT_THAT((std::vector{p.foregroundPosition, p.foregroundIntensity, p.backgroundPosition,
                           p.backgroundIntensity, p.power}),
              testing::ElementsAre(0, -1, 1, -1, 1));
  EXPECT_EQ(p.outputMap, 0);
  EXPECT_EQ(p.preview, 1);
  EXPECT_EQ(dataBlock().queryForParameters, 1);
  EXPECT_EQ(dataBlock().scaleFactor, 1.0f);

  parametersBlock().foregroundIntensity = 0.3f;
  parametersBlock().displayMap = 7;
  dataBlock().queryForParameters = 0;
  dataBlock().memoryPeak = 11;
  for (int twice = 0; twice < 2; ++twice) {
    EXPECT_EQ(call(filterSelectorPrepare), 0);
    EXPECT_EQ(parametersBlock().foregroundIntensity, 0.3f);
    EXPECT_EQ(dataBlock().queryForParameters, 0);
  }
  EXPECT_EQ(call(filterSelectorParameters), 0);
  EXPECT_EQ(parametersBlock().foregroundIntensity, -1.0f);
  EXPECT_EQ(parametersBlock().displayMap, 7); // the start selector's to set
  EXPECT_EQ(dataBlock().memoryPeak, 11);
  EXPECT_EQ(runEnded, 0);
  EXPECT_TRUE(nothingLocked());
}

// A prepare that comes without parameters makes what is missing and starts from the defaults.
TEST_F(Selectors, PrepareMakesWhatIsMissing) {
  EXPECT_EQ(call(filterSelectorPrepare), 0);
  parametersBlock().power = 3.0f;
  dispose(reinterpret_cast<Handle>(dataSlot));
  dataSlot = 0;
  EXPECT_EQ(call(filterSelectorPrepare), 0);
  EXPECT_EQ(parametersBlock().power, 1.0f);
  EXPECT_EQ(handles.size(), 2u);
}

TEST_F(Selectors, HandlesThatCannotBeHad) {
  for (int16_t selector : {filterSelectorParameters, filterSelectorPrepare})
    for (int k : {1, 2}) {
      forgetHandles();
      failNew = k;
      EXPECT_EQ(call(selector), memFullErr);
      EXPECT_EQ(record.parameters == nullptr, k == 1);
      EXPECT_EQ(dataSlot == 0, k == 2);
    }
  failNew = 0;
  forgetHandles();
  ASSERT_EQ(call(filterSelectorParameters), 0);
  Parameters* const before = gParams;
  const intptr_t kept = dataSlot;
  dataSlot = 0;
  result = 0;
  EXPECT_FALSE(LockHandles());
  EXPECT_EQ(result, filterBadParameters);
  EXPECT_EQ(gParams, before);
  dataSlot = kept;
  failLock = true;
  for (int16_t selector : {filterSelectorPrepare, filterSelectorStart, filterSelectorFinish}) {
    EXPECT_EQ(call(selector), memFullErr);
    EXPECT_EQ(runEnded, selector == filterSelectorFinish);
  }
}

TEST_F(Selectors, RectanglesOfEitherGeneration) {
  ASSERT_EQ(call(filterSelectorParameters), 0);
  record.filterRect = {-1, -2, 300, 400};
  record.inRect = record.outRect = record.maskRect = {1, 2, 3, 4};
  EXPECT_EQ(GetFilterRect(), (VRect{-1, -2, 300, 400}));
  SetInRect(0x12345, 2, 3, -0x8001);
  EXPECT_EQ(GetInRect(), (VRect{0x2345, 2, 3, 0x7fff})); // sides cut to 16 bits
  EXPECT_EQ(call(filterSelectorContinue), 0);
  EXPECT_EQ(GetInRect(), (VRect{0, 0, 0, 0}));
  EXPECT_EQ(GetOutRect(), (VRect{0, 0, 0, 0}));
  EXPECT_EQ(record.maskRect.right, 0);

  BigDocumentData big = {0, {0, 0, 70000, 90000}, {1, 1, 1, 1}, {1, 1, 1, 1}, {1, 1, 1, 1}};
  record.bigDocumentData = &big;
  EXPECT_EQ(GetFilterRect().right, 400); // the flag is not set yet
  record.inRect = {5, 6, 7, 8};
  EXPECT_EQ(call(filterSelectorContinue), 0);
  EXPECT_EQ(big.PluginUsing32BitCoordinates, 1);
  EXPECT_EQ(GetFilterRect(), (VRect{0, 0, 70000, 90000}));
  for (const VRect& r : {big.inRect32, big.outRect32, big.maskRect32})
    EXPECT_EQ(r, (VRect{0, 0, 0, 0}));
  EXPECT_EQ(record.inRect.right, 8);
}

TEST_F(Selectors, PlanesOfEachMode) {
  const int32_t planes[] = {1, 1, 3, 3, 4, 3, 3, 9, 1, 3, 1, 3, 3, 4, 9, 1, 3, 1, 9};
  for (int32_t mode = 0; mode < 19; ++mode)
    EXPECT_EQ(CSPlanesFromMode(mode, 9), planes[mode]) << mode;
  EXPECT_EQ(CSPlanesFromMode(-1, 9), 9);
}

// The start selector zeroes the counters where the prepare selector left the record, runs without a
// dialog, and tells of a failing host in the result alone.
TEST_F(Selectors, StartAndFinish) {
  ASSERT_EQ(call(filterSelectorParameters), 0);
  ASSERT_EQ(call(filterSelectorPrepare), 0);
  dataBlock().queryForParameters = 0;
  dataBlock().memoryInUse = 5000;
  dataBlock().memoryPeak = 123456;
  dataBlock().light[1] = 0.5f;
  parametersBlock().outputMap = 0x300;
  parametersBlock().displayMap = 9;
  record.imageMode = plugInModeRGBColor;
  record.depth = 8;
  record.planes = 4;
  record.filterRect = {0, 0, 3, 5};
  record.haveMask = 1;
  record.inRect = {2, 3, 4, 5};
  advanceResult = -77;
  startTrace();
  EXPECT_EQ(call(filterSelectorStart), -77);
  EXPECT_EQ(runEnded, 0);
  EXPECT_EQ(advances, 1);
  EXPECT_EQ(dataBlock().memoryInUse, 0);
  EXPECT_EQ(dataBlock().memoryPeak, 0);
  EXPECT_EQ(parametersBlock().displayMap, 1);
  EXPECT_EQ(record.wantsAbsolute, 1);
  EXPECT_EQ(record.inputRate, 0x10000);
  EXPECT_EQ(record.maskRate, 0x10000);
  EXPECT_EQ(record.inHiPlane, 2);
  EXPECT_EQ(record.outHiPlane, 2);
  EXPECT_EQ(GetInRect(), (VRect{0, 0, 3, 5}));
  EXPECT_EQ(record.maskRect.top, 2); // top and bottom as the host left them
  EXPECT_EQ(record.maskRect.right, 5);
  EXPECT_EQ(call(filterSelectorFinish), 0);
  EXPECT_EQ(runEnded, 1);
  EXPECT_EQ(dataBlock().light[1], 0.0f);
  const std::string trace = stopTrace();
  for (const char* line :
       {"PluginMain_core (", " sizeof(void*) 8 - sizeof(size_t) 8 - sizeof(Data) ",
        " - sizeof(int32) 4\n", "PluginMain_core :: 1 threads, ",
        "DoStart :: depth: 8 bits, 4 planes\n", "DoFilter :: enter\n",
        "Rect 'DO FILTER filter rect': [0 5 0 3]\n", ") filterRect 5x3\n",
        ") - try to allocate main haze buffer (0 pixels)\n",
        "DoFilter :: Error with advanceState (-77)\n", "DoStart :: free allocated memory\n",
        "PluginMain_core :: DoFinish\n", "DoFinish :: enter\n",
        ") - memory in use 0 KBytes (peak: 0 KBytes)\n"})
    EXPECT_THAT(trace, HasSubstr(line));
}

struct Budget {
  int32_t width, height, space, ask; // ask -1: refused
};

// 172800 pixels of six bytes, stretched by the shape; beyond a height of 12427 the product wraps.
TEST_F(Selectors, PrepareAsksForItsBudget) {
  for (const Budget& b : {Budget{1000, 1000, 1036800, 1036800},
                          {1000, 1000, 1036799, -1},
                          {200, 100, 518400, 518400},
                          {100, 200, INT_MAX, 2073600},
                          {172801, 1, 0, 0},
                          {172800, 1, 6, 6},
                          {172800, 1, 5, -1},
                          {12427, 12427, INT_MAX, 1036800},
                          {12428, 12428, 0, -1036722},
                          {1, 12428, 448512, 448512},
                          {1, 12428, 448511, -1},
                          {7, 24856, INT_MAX, 128142},
                          {-1, 1, 0, -1036800},
                          {0, 5, 10, 0}}) {
    forgetHandles();
    VRect rect = {10, -20, 10 + b.height, b.width - 20};
    BigDocumentData big = {1, rect, {}, {}, {}};
    record.bigDocumentData = &big;
    spaceLeft = b.space;
    record.bufferSpace = -3;
    record.maxSpace = 5000000;
    startTrace();
    const int16_t code = call(filterSelectorPrepare);
    const std::string trace = stopTrace();
    const std::string what =
        std::to_string(b.width) + "x" + std::to_string(b.height) + "\n" + trace;
    if (b.ask == -1) {
      EXPECT_EQ(code, memFullErr) << what;
      EXPECT_EQ(record.bufferSpace, -3) << what;
      EXPECT_THAT(trace, HasSubstr(" KBytes > available 4882 KBytes\n"));
    } else {
      EXPECT_EQ(code, 0) << what;
      EXPECT_EQ(record.bufferSpace, b.ask) << what;
      EXPECT_THAT(trace, HasSubstr("maxspace 5000000 bytes, ask for " + std::to_string(b.ask)));
    }
    EXPECT_TRUE(nothingLocked());
  }
}

} // namespace
