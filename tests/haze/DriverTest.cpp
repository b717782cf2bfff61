// The driver as the frame calls it: sizes, kept maps, the memory that a run takes and releases, and
// the state after a failed allocation or an abort at any point.
#include <algorithm>
#include <cmath>
#include <map>

#include "tests/haze/HazeTest.h"
#include "tests/support/FailingMemory.h"

namespace {

// Small runs: a reduced size of 16 by 12 for a picture of 40 by 30.
constexpr int32_t lowImage = 16 * 12 * 16, lowMap = 16 * 12 * 4;

struct Driver : HazeTest {
  static int32_t run(FloatImage& image, bool isFilter = true, int32_t showMap = 0) {
    int32_t error = 0;
    DoFogdissolve(image.samples.data(), nullptr, {-5, 3, image.height - 5, image.width + 3}, 32,
                  isFilter, 0, showMap, &error);
    return error;
  }

  // A new host, with a proxy of this size.
  void restartWithProxy(int32_t width = 16, int32_t height = 12) {
    static uint8_t pixel;
    restart();
    gData->proxyBuffer = &pixel;
    gData->proxyWidth = width;
    gData->proxyHeight = height;
  }
};

// The total is right: one thread reports each step once, from 0 to the total minus one, for every
// number of rounds. Steps beyond the plan are not reported, except the total itself.
TEST_F(Driver, EveryStepIsReported) {
  for (int32_t width : {10, 16, 47, 48, 79, 80, 143, 144}) {
    restartWithProxy();
    FloatImage image = scene(width, 30);
    ASSERT_EQ(run(image), 0) << width;
    EXPECT_GT(gData->light[1], 0.3f); // reduced, enlarged, or one side of each
    ASSERT_EQ(progress.size(), size_t(gProgressTotal));
    EXPECT_TRUE(stepProgress() && stepProgress() && stepProgress());
    ASSERT_EQ(progress.size(), size_t(gProgressTotal) + 1); // one of the three
    for (int32_t k = 0; k <= gProgressTotal; ++k)
      ASSERT_EQ(progress[size_t(k)], std::pair(k, gProgressTotal));
  }
}

// The host refuses the k-th request: reduced image, its work buffer, map; filtered image, its work
// buffer; the solver's vector; none. The first work buffer is not counted and stays with the host,
// the reduced image stays counted, and the proxy's size is subtracted for the map.
TEST_F(Driver, CountsWhatItTakes) {
  const FloatImage before = scene(40, 30);
  for (int k = 1; k <= 7; ++k) {
    restartWithProxy();
    requests().failing = requests().count + k;
    FloatImage image = before;
    EXPECT_EQ(run(image), k < 7 ? hazeOutOfMemory : 0) << k;
    EXPECT_EQ(image.samples == before.samples, k < 7) << k;
    EXPECT_EQ(gParams->foregroundIntensity == intensityUnset, k < 7);
    EXPECT_EQ(gData->memoryInUse, k > 1 ? lowImage : 0) << k;
    EXPECT_EQ(buffers().live, k > 1) << k;
    EXPECT_EQ(host->result + buffers().refusedReleases, 0);
  }
  EXPECT_EQ(gData->memoryPeak, buffers().bytesPeak - buffers().bytesInUse);
  FloatImage black(40, 30); // its map is NaN, and the estimates are the start values of the scan
  restartWithProxy();
  EXPECT_EQ(run(black), 0);
  EXPECT_TRUE(std::isnan(gData->filterHazeMap[0]));
  EXPECT_EQ(gParams->foregroundIntensity - gParams->backgroundIntensity, 1.0f);
  restart(); // without a proxy
  FloatImage column = scene(1, 90000), tooHigh(1, 100001), tooWide(21475, 3);
  EXPECT_EQ(run(tooHigh) + run(tooWide) + gData->memoryInUse, 2 * hazeOutOfMemory);
  EXPECT_EQ(run(column), 0);
  EXPECT_EQ(gData->memoryInUse, 90000 * (16 + 4));
}

// The heap refuses the k-th request, on any thread. The run ends with an error, a std::bad_alloc or
// a solver exception (from at least two phases), and the picture is unchanged.
TEST_F(Driver, EachFailingHeapBlock) {
  const FloatImage before = scene(20, 11);
  for (int threads : {1, 2}) {
    std::map<std::string, int> ends;
    for (int k = 0; ends["served"] == 0; k += threads * threads) {
      restartWithProxy(6, 5);
      gThreadCount = threads;
      FloatImage image = before;
      std::optional<FailingMemory> memory(k);
      std::string end;
      try {
        const int32_t error = run(image);
        end = error ? "error " + std::to_string(error) : memory->hasRefused() ? "bad" : "served";
      } catch (const std::exception& failure) {
        end = failure.what();
      }
      memory.reset();
      ++ends[end];
      EXPECT_EQ(image.samples == before.samples, end != "served") << k;
    }
    EXPECT_EQ(ends["bad"], 0);
    EXPECT_GE(ends.size(), 6u) << testing::PrintToString(ends);
  }
}

// The user stops at the k-th question, permanently or only once. After a stop before the solve, the
// matting leaves the intensities at their "unset" marker, and both become 0.
TEST_F(Driver, AbortAtEachStep) {
  const FloatImage before = scene(50, 30);
  constexpr int solved = 4 + 1 + 10 + 2, corrections = 4 + 37 + 24 + 30; // steps before each
  constexpr int questions = corrections + 30 + 2; // the driver asks before and after the correction
  restartWithProxy();
  FloatImage corrected = before;
  host->startTrace();
  run(corrected);
  const std::string trace = host->stopTrace();
  EXPECT_EQ(std::count(trace.begin(), trace.end(), '\n'), 35) << trace;
  ASSERT_EQ(abortCalls, questions);
  for (bool stays : {true, false})
    for (int k = 1; k <= questions; ++k) {
      restartWithProxy();
      abortAt = k;
      abortStays = stays;
      FloatImage image = before;
      const bool mapReady = k > corrections, isCorrected = k > corrections + 1;
      // A temporary abort inside the correction ends the run in the ordinary way.
      const bool failureExit = mapReady && (stays || !isCorrected || k == questions);
      EXPECT_EQ(run(image), mapReady ? 0 : hazeCancelled) << k;
      EXPECT_EQ(host->result, userCanceledErr) << k;
      EXPECT_EQ(image.samples, isCorrected ? corrected.samples : before.samples) << k;
      EXPECT_EQ(gData->filterHazeMap != nullptr, mapReady) << k;
      EXPECT_EQ(gData->light[0] != 0, k > 2) << k;
      const bool isEstimated = k > solved + 12 || (k == 4 && !stays);
      const bool isInScan = k > solved && !isEstimated; // part of the solution has been scanned
      EXPECT_TRUE(isInScan || (gParams->backgroundIntensity > 0) == isEstimated) << k;
      EXPECT_EQ(gData->memoryInUse, lowImage - (failureExit ? lowMap : 0)) << k;
      EXPECT_EQ(buffers().live, 1) << k; // the common exit releases the map again
      EXPECT_EQ(buffers().refusedReleases, failureExit) << k;
    }
}

// A proxy is its own reduced image: there are no abort questions and no progress, and all memory is
// released. A second pass runs only the correction, with the kept map and the user's values.
TEST_F(Driver, ProxyKeepsItsMap) {
  restartWithProxy(40, 30);
  abortAt = 1;
  FloatImage proxy = scene(40, 30), image = proxy, grey(40, 30, 0.5f);
  const int already = requests().count;
  EXPECT_EQ(run(proxy, false), 0);
  EXPECT_EQ(requests().count, already + 4); // map, filtered image, its work, the solver's vector
  EXPECT_EQ(gData->memoryInUse + buffers().live, 0);
  EXPECT_EQ(gData->proxyHazeMapSize, 4800);
  EXPECT_GT(gParams->backgroundIntensity, gParams->foregroundIntensity);

  gParams->foregroundIntensity = 0.25f;
  gParams->backgroundIntensity = -1.0f; // reaches the correction unchanged
  gProgressStep = 7;
  EXPECT_EQ(run(grey, false, 1), 0);
  EXPECT_EQ(gProgressStep, 11);
  EXPECT_EQ(requests().count, already + 4);
  for (size_t k = 0; k < grey.pixels(); ++k)
    ASSERT_NEAR(grey.samples[k * 4], std::max(0.0f, 0.25f - 1.25f * gData->proxyHazeMap[k]), 1e-6);
  EXPECT_EQ(abortCalls, 0);

  abortAt = 0; // in a new computation, too, the background's marker does not request estimates
  EXPECT_EQ(run(image) + gParams->backgroundIntensity, -1.0f);
  EXPECT_EQ(gData->filterHazeMapSize, gData->proxyHazeMapSize);
  const int32_t inUse = gData->memoryInUse;
  abortAt = 1; // with a kept map, an abort releases nothing
  EXPECT_EQ(run(image) + host->result, userCanceledErr);
  EXPECT_EQ(gData->memoryInUse, inUse);
}

// Adds haze to a scene and removes it with the full estimates; the ratio of the square errors of
// the hazy picture and of the result. Measured: 4.4. All teams give the same bits.
TEST_F(Driver, InventedHazeIsRemoved) {
  constexpr int32_t width = 241, height = 181;
  const FloatImage hazy = scene(width, height);
  std::vector<float> alone;
  for (int threads = 1; threads <= 8; ++threads) {
    restartWithProxy(120, 90);
    gThreadCount = threads;
    FloatImage image = hazy;
    EXPECT_EQ(run(image), 0);
    EXPECT_GT(progress.size(), size_t(gProgressTotal) / 2); // some rows report the same number
    alone = threads == 1 ? image.samples : alone;
    EXPECT_EQ(image.samples, alone) << threads;
  }
  double before = 0, after = 0;
  for (size_t k = 0; k < alone.size(); ++k) {
    const float t = 0.25f + 0.75f * (float(k / 4 / width) + 0.5f) / height;
    const float clear = k % 4 == 3 ? 1.0f : (hazy.samples[k] - 0.85f * (1 - t)) / t;
    before += std::pow(hazy.samples[k] - clear, 2);
    after += std::pow(alone[k] - clear, 2);
  }
  EXPECT_GT(before / after, 4);
}

} // namespace
