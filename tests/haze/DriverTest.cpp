// The driver as the frame calls it: sizes, kept maps, what a run takes and gives back, and what is
// left when memory fails or the user stops at any place.
#include "tests/haze/CoreFixture.h"

#include <algorithm>
#include <cmath>

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

class Driver : public CoreTest {
protected:
  // Small runs: a reduced size of 16 by 12 for a picture of 40 by 30.
  static constexpr int32_t lowPixels = 16 * 12, lowImage = lowPixels * 16, lowMap = lowPixels * 4;
  static constexpr int32_t lowTotal = 4 + (3 * 12 + 1) + 30 + 30;

  int32_t run(FloatImage& image, bool isFilter = true, int32_t showMap = 0) {
    int32_t error = 0;
    DoFogdissolve(image.samples.data(), nullptr, image.rect(), 32, isFilter, 0, showMap, &error);
    return error;
  }

  // Back to before the run.
  void restart() {
    dropMaps();
    for (const auto& [id, block] : live)
      std::free(reinterpret_cast<void*>(id));
    live.clear();
    requests.clear();
    progress.clear();
    abortCalls = 0;
    badReleases = 0;
    result = 0;
    data.memoryInUse = data.memoryPeak = 0;
    InitParameters();
  }
};

struct Reduction {
  int32_t width, height, lowWidth, lowHeight; // 0: refused
};

// The size formula, seen in the first request, which fails: no pixel is touched. Widths beyond
// 21474 wrap, to sizes below 0 or to others that are no use.
TEST_F(Driver, ReducedSizes) {
  failRequest = 1;
  float untouched[4] = {1, 2, 3, 4};
  for (const Reduction& r : {Reduction{3000, 2000, 387, 258},
                             {100, 100, 316, 316},
                             {1, 1, 316, 316},
                             {21474, 3, 26754, 3},
                             {21475, 3, 0, 0},
                             {30000, 2, 0, 0},
                             {43000, 2000, 50, 2},
                             {42950, 100, 0, 0},
                             {1, 100000, 1, 100000},
                             {1, 100001, 0, 0},
                             {0, 7, 0, 0},
                             {7, 0, 0, 0},
                             {2000000, 1, 0, 0}}) {
    restart();
    gProgressTotal = -1;
    int32_t error = 0;
    DoFogdissolve(untouched, nullptr, {-5, -9, r.height - 5, r.width - 9}, 8, true, 0, 0, &error);
    EXPECT_EQ(error, hazeOutOfMemory);
    EXPECT_EQ(requests,
              r.lowHeight ? std::vector{r.lowWidth * r.lowHeight * 16} : std::vector<int32_t>{})
        << r.width << 'x' << r.height;
    EXPECT_EQ(data.memoryInUse, 0);
  }
  EXPECT_THAT(untouched, ElementsAre(1, 2, 3, 4));
}

struct Total {
  int32_t lowWidth, lowHeight, width, height, steps;
};

TEST_F(Driver, ProgressTotals) {
  for (const Total& t : {Total{387, 258, 3000, 2000, 6327},
                         {100, 80, 100, 80, 405},
                         {316, 316, 100, 100, 1153},
                         {50, 40, 149, 90, 305},
                         {50, 40, 150, 90, 385},
                         {50, 40, 450, 90, 865}}) {
    startTrace();
    resetProgressProc(t.lowWidth, t.lowHeight, t.width, t.height);
    EXPECT_EQ(gProgressTotal, t.steps) << t.width;
    EXPECT_THAT(stopTrace(),
                testing::EndsWith(" - total progress steps: " + std::to_string(t.steps) + "\n"));
  }
}

// The plan adds up: one thread reports each step once, from 0 to the last but the total.
TEST_F(Driver, EveryStepIsReported) {
  for (int32_t width : {10, 40, 90, 200}) { // ratios 0, 2, 5 and 12 to 16
    restart();
    pretendProxy(16, 12);
    FloatImage image = scene(width, 30);
    EXPECT_EQ(run(image), 0);
    ASSERT_EQ(progress.size(), size_t(gProgressTotal));
    for (int32_t k = 0; k < gProgressTotal; ++k)
      ASSERT_EQ(progress[size_t(k)], std::pair(k, gProgressTotal));
  }
  restart();
  gThreadCount = 4;
  FloatImage image = scene(200, 150);
  EXPECT_EQ(run(image), 0);
  for (const auto& [done, total] : progress)
    ASSERT_LE(done, total);
  EXPECT_GT(progress.size(), size_t(gProgressTotal) / 2);
}

TEST_F(Driver, CountsWhatItTakes) {
  pretendProxy(16, 12);
  FloatImage image = scene(40, 30);
  EXPECT_EQ(run(image), 0);
  // Reduced image, its work buffer, map; filtered image, its work buffer; the solver's vector.
  ASSERT_EQ(requests.size(), 6u);
  EXPECT_EQ(requests[0], lowImage);
  EXPECT_EQ(requests[2], lowMap);
  EXPECT_EQ(requests[3], lowImage);
  EXPECT_EQ(requests[5], lowMap);
  // The reduced image's size is never subtracted, the map's by the proxy's size; the resampling's
  // work buffer is left to the host.
  EXPECT_EQ(data.memoryInUse, lowImage);
  EXPECT_EQ(data.memoryPeak, lowImage + lowMap + lowImage + requests[4]);
  EXPECT_EQ(live.size(), 1u);
  EXPECT_EQ(live.begin()->second.size, requests[1]);
  EXPECT_EQ(data.filterHazeMapSize, 40 * 30 * 4);
  EXPECT_EQ(data.proxyHazeMap, nullptr);
  EXPECT_EQ(badReleases, 0);
}

// Without a proxy there is no size to subtract for the map. A picture of one column, whose system
// is no work.
TEST_F(Driver, CountsWithoutProxy) {
  FloatImage image = scene(1, 90000);
  EXPECT_EQ(run(image), 0);
  EXPECT_EQ(requests[0], 90000 * 16);
  EXPECT_EQ(data.memoryInUse, 90000 * (16 + 4));
}

TEST_F(Driver, EachFailingRequest) {
  const FloatImage before = scene(40, 30);
  struct Left {
    size_t live;
    int32_t inUse;
  };
  const Left expected[] = {{0, 0},        {1, lowImage}, {1, lowImage},
                           {1, lowImage}, {1, lowImage}, {1, lowImage}};
  for (int k = 1; k <= 7; ++k) {
    restart();
    pretendProxy(16, 12);
    failRequest = k;
    FloatImage image = before;
    const int32_t error = run(image);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(badReleases, 0);
    if (k == 7) { // there is no seventh request
      EXPECT_EQ(error, 0);
      EXPECT_NE(image.samples, before.samples);
      continue;
    }
    EXPECT_EQ(error, hazeOutOfMemory) << k;
    EXPECT_EQ(image.samples, before.samples) << k;
    EXPECT_EQ(live.size(), expected[k - 1].live) << k;
    EXPECT_EQ(data.memoryInUse, expected[k - 1].inUse) << k;
    EXPECT_EQ(data.filterHazeMap, nullptr);
    EXPECT_EQ(parameters.foregroundIntensity, intensityUnset);
  }
}

// The user stops at the k-th question, and means it or thinks better of it.
TEST_F(Driver, AbortAtEachStep) {
  const FloatImage before = scene(40, 30);
  constexpr int corrections = lowTotal - 30; // steps before the correction
  constexpr int questions = lowTotal + 2;    // the driver asks before the correction and after it
  FloatImage corrected = before;
  pretendProxy(16, 12);
  run(corrected);
  ASSERT_EQ(abortCalls, questions);
  for (bool stays : {true, false})
    for (int k = 1; k <= questions; ++k) {
      restart();
      pretendProxy(16, 12);
      abortAt = k;
      abortStays = stays;
      FloatImage image = before;
      const int32_t error = run(image);
      const bool mapReady = k > corrections, reachedCorrection = k > corrections + 1;
      // An abort inside the correction that does not last ends the run in the ordinary way.
      const bool failureExit = mapReady && (stays || !reachedCorrection || k == questions);
      EXPECT_EQ(result, userCanceledErr) << k;
      EXPECT_EQ(error, mapReady ? 0 : hazeCancelled) << k;
      EXPECT_EQ(image.samples, reachedCorrection ? corrected.samples : before.samples) << k;
      EXPECT_EQ(data.filterHazeMap != nullptr, mapReady) << k;
      EXPECT_EQ(data.memoryInUse, lowImage - (failureExit ? lowMap : 0)) << k;
      EXPECT_EQ(badReleases, failureExit ? 1 : 0) << k; // the one exit gives the map back again
      EXPECT_EQ(live.size(), 1u) << k;
      for (const auto& [done, total] : progress)
        ASSERT_LE(done, total);
    }
}

// Stopped before its solve, the matting leaves the intensities' marker, and both become 0. So they
// do when it is not stopped itself and finds a dark map that nobody has written.
TEST_F(Driver, EarlyAbortMakesTheIntensitiesZero) {
  for (bool stays : {true, false}) {
    restart();
    pretendProxy(16, 12);
    FloatImage image = scene(40, 30);
    abortAt = 2;
    abortStays = stays;
    run(image);
    EXPECT_EQ(parameters.foregroundIntensity, 0.0f);
    EXPECT_EQ(parameters.backgroundIntensity, 0.0f);
  }
}

// The total itself is reported, and nothing beyond it; outside a filter run nobody is asked.
TEST_F(Driver, StepsEndAtTheTotal) {
  gFilterRunning = true;
  gProgressTotal = 2;
  for (int k = 0; k < 5; ++k)
    EXPECT_TRUE(stepProgress());
  EXPECT_THAT(progress, ElementsAre(std::pair(0, 2), std::pair(1, 2), std::pair(2, 2)));
  abortAt = 1;
  EXPECT_FALSE(stepProgress());
  gFilterRunning = false;
  EXPECT_TRUE(stepProgress());
  EXPECT_EQ(abortCalls, 6);
}

TEST_F(Driver, ProxyIsItsOwnReducedImage) {
  FloatImage proxy = scene(40, 30);
  pretendProxy(40, 30);
  abortAt = 1; // nobody asks
  EXPECT_EQ(run(proxy, false), 0);
  EXPECT_EQ(result, 0);
  EXPECT_THAT(progress, IsEmpty());
  EXPECT_EQ(abortCalls, 0);
  EXPECT_EQ(requests.size(), 4u); // map, filtered image and its work buffer, the solver's vector
  EXPECT_EQ(data.memoryInUse, 0);
  EXPECT_TRUE(live.empty());
  EXPECT_EQ(data.proxyHazeMapSize, 4800);
  EXPECT_EQ(data.filterHazeMap, nullptr);

  // The estimates are taken once; a second pass runs the correction alone, on the kept map.
  EXPECT_GE(parameters.backgroundIntensity, parameters.foregroundIntensity);
  parameters.foregroundIntensity = 0.25f;
  parameters.backgroundIntensity = -1.0f;
  const std::vector<float> light(data.light, data.light + 3);
  const float* map = data.proxyHazeMap;
  FloatImage other(40, 30, 0.5f);
  gProgressStep = 7;
  EXPECT_EQ(run(other, false, 1), 0);
  EXPECT_EQ(gProgressStep, 11);
  EXPECT_EQ(requests.size(), 4u);
  EXPECT_EQ(data.proxyHazeMap, map);
  EXPECT_THAT(data.light, testing::ElementsAreArray(light));
  EXPECT_EQ(parameters.backgroundIntensity, -1.0f); // goes on to the correction as it is
  for (size_t k = 0; k < other.pixels(); ++k)
    ASSERT_NEAR(other.samples[k * 4], std::max(0.0f, 0.25f - 1.25f * map[k]), 1e-6);

  // A kept filter map: the abort's exit then gives back nothing, an id and a size of 0.
  restart();
  abortAt = 0;
  FloatImage image = scene(40, 30);
  EXPECT_EQ(run(image), 0);
  const int32_t inUse = data.memoryInUse;
  abortAt = 1;
  EXPECT_EQ(run(image), 0);
  EXPECT_EQ(result, userCanceledErr);
  EXPECT_EQ(data.memoryInUse, inUse);
}

// Black: a light of 0, a map without numbers, and a black result; no failure.
TEST_F(Driver, BlackPictures) {
  for (int32_t size : {1, 2, 40}) {
    restart();
    pretendProxy(std::min(size, 12), std::min(size, 9));
    FloatImage image(size, size);
    EXPECT_EQ(run(image), 0);
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(std::isnan(data.filterHazeMap[0]));
    EXPECT_EQ(parameters.foregroundIntensity, 1.0f); // the starts of minimum and maximum
    EXPECT_EQ(parameters.backgroundIntensity, 0.0f);
  }
}

TEST_F(Driver, TellsWhatItDoes) {
  pretendProxy(16, 12);
  FloatImage image = scene(80, 60);
  startTrace();
  run(image);
  const std::string trace = stopTrace();
  size_t place = 0;
  for (const char* line :
       {"DoFogdissolve :: enter [FILTER] 80x60\n",
        ") - estimateDarkChannel : 4 progress steps\n",
        ") - computteMatting : 37 progress steps\n",
        ") - hazeCorrection : 60 progress steps\n",
        ") - total progress steps: 233\n",
        "DoFogdissolve (",
        ") - memory in use 3 KBytes (peak: 3 KBytes)\n",
        "DoFogdissolve :: ippiResizeSqrPixel_32f_C4R 80x60 (1280 bytes/line) -> 16x12 (256 "
        "bytes/line), ipp buffer: 0x",
        "DoFogdissolve :: compute haze dark map and light (low buffer 16x12)\n",
        "DoFogdissolve (",
        ") hazeLowInput buffer 0x",
        "(16x12)\n",
        "estimateDarkChannel (",
        ") - ipp alloc buffer ",
        "computeMatting (",
        ") - fmin: ",
        " - bmax: ",
        ") - allocation out of PS: 18 KBytes\n",
        "upsampleSolutionBySteps (",
        ") - 3 steps\n",
        "[ALLOC] SHaze 0x",
        "[ALLOC] SHaze data 0x",
        "allocation out of PS: 48 KBytes (ptr: 0x",
        "[ALLOC] ippBuffer 0x",
        "delete ptr: 0x",
        "[ALLOC] SHaze 0x",
        "allocation out of PS: 12 KBytes (ptr: 0x",
        "[ALLOC] pSol.first 0x",
        "call upsampleSolution (round 0) (0x",
        "call upsampleSolution (round 1) (0x",
        "delete garbage ptr: 0x",
        "call upsampleSolution (round 2) (0x",
        "delete garbage ptr: 0x",
        "delete ptr: 0x",
        "delete ptr: 0x",
        "delete ptr: 0x",
        "delete ptr: 0x",
        "delete ptr: 0x",
        "DoFogdissolve :: hazeCorrection (dark: 0x",
        " fore:",
        " back:",
        ", power:1.000000\n"}) {
    const size_t found = trace.find(line, place);
    ASSERT_NE(found, std::string::npos) << line << "\nnot behind\n" << trace.substr(0, place);
    place = found + std::strlen(line);
  }
}

// A clear picture with dark places everywhere, haze over it that grows from the foot to the head,
// and its removal with the estimates taken in full: how often the square error of the hazy picture
// holds that of the result. Measured 9.6, 3.5 and 68.
struct Haze {
  float atFoot, atHead; // optical depth
  double atLeast;
};

TEST_F(Driver, InventedHazeIsRemoved) {
  const float air[3] = {0.88f, 0.9f, 0.94f};
  for (const Haze haze : {Haze{0.1f, 1.2f, 7}, {0.0f, 2.5f, 3}, {0.6f, 0.9f, 40}}) {
    restart();
    FloatImage clear = scene(240, 180);
    for (int32_t y = 0; y < 180; ++y)
      for (int32_t x = 0; x < 240; ++x)
        if (x % 12 < 3 || y % 15 < 3) // dark bars, but for the sky
          for (int c = 0; c < 3; ++c)
            clear.at(x, y)[c] *= 0.08f;
    FloatImage image = clear;
    for (int32_t y = 0; y < 180; ++y) {
      const float depth = haze.atHead + (haze.atFoot - haze.atHead) * float(y) / 179;
      const float t = y < 14 ? 0.0f : std::exp(-depth); // open sky at the head
      for (int32_t x = 0; x < 240; ++x)
        for (int c = 0; c < 3; ++c)
          image.at(x, y)[c] = clear.at(x, y)[c] * t + air[c] * (1 - t);
    }
    auto meanSquare = [&](FloatImage& a) {
      double sum = 0;
      for (int32_t y = 14; y < 180; ++y)
        for (int32_t x = 0; x < 240; ++x)
          for (int c = 0; c < 3; ++c)
            sum += std::pow(a.at(x, y)[c] - clear.at(x, y)[c], 2);
      return sum;
    };
    const double before = meanSquare(image);
    pretendProxy(120, 90);
    EXPECT_EQ(run(image), 0);
    EXPECT_GT(before / meanSquare(image), haze.atLeast);
    for (int c = 0; c < 3; ++c)
      EXPECT_NEAR(data.light[c], air[c], 0.03);
  }
}

// Samples at 8 bits: never more than a level apart, all but one in ten thousand the same.
TEST_F(Driver, TeamsAgree) {
  const FloatImage before = scene(700, 500);
  std::vector<std::vector<int>> levels;
  std::vector<std::vector<float>> results;
  for (int threads : {1, 1, 2, 4}) {
    restart();
    gThreadCount = threads;
    pretendProxy(175, 125);
    FloatImage image = before;
    EXPECT_EQ(run(image), 0);
    results.push_back(image.samples);
    levels.emplace_back();
    for (float v : image.samples)
      levels.back().push_back(int(v * 255.0 + 0.5));
  }
  EXPECT_EQ(results[0], results[1]);
  for (size_t team = 2; team < 4; ++team) {
    size_t different = 0;
    for (size_t k = 0; k < levels[0].size(); ++k) {
      const int apart = std::abs(levels[0][k] - levels[team][k]);
      ASSERT_LE(apart, 1);
      different += apart != 0;
    }
    EXPECT_LE(different, levels[0].size() / 10000);
  }
}

} // namespace
