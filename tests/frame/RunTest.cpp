// Whole runs of the built module in a host: bands, depths, failing memory, teams, and what lasts
// from one run to the next.
#include "frame/contract/Parameters.h"
#include "tests/support/HostFixture.h"

namespace {

using testing::HasSubstr;

constexpr FourCharCode flag = fourCharCode("oMap");

Parameters& settings(host::Session& session) {
  return *static_cast<Parameters*>(session.parameters());
}

// What an untouched sample comes back as.
double throughTheFrame(double v, int32_t depth) {
  return depth == 16 ? std::floor(std::floor(v * 10 / 1285) / 255.0 * 32768 + 0.5) : v;
}

// The reduced image cannot be had, so the core touches nothing and every sample makes the way in
// and out: bands of ten rows with any remainder.
TEST(Run, EveryBandHeight) {
  for (int32_t depth : {8, 16, 32})
    for (int32_t height = 1; height <= 23; ++height) {
      host::Document document = fixture::noise(7, height, depth, 4);
      const host::Document before = fixture::copyOf(document);
      host::SessionOptions options;
      options.failAllocation = 3; // behind the two handles
      options.wideRects = height % 2;
      host::Session session(fixture::builtModule(), document, options);
      fixture::Trace trace(fixture::builtModule());
      const host::RunOutcome outcome = session.playSilently({});
      EXPECT_EQ(outcome.result, noErr) << outcome.message;
      EXPECT_TRUE(outcome.starved);
      EXPECT_THAT(trace.text(), HasSubstr("DoFilter (")); // it did run
      for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < 7; ++x)
          for (int32_t c = 0; c < 4; ++c) {
            const double was = fixture::sampleAt(before, x, y, c);
            ASSERT_EQ(fixture::sampleAt(document, x, y, c),
                      c < 3 ? throughTheFrame(was, depth) : was)
                << height << " rows of " << depth << " bits";
          }
    }
}

// Intensities of 0 leave the picture but for the clamp; the mask at full intensity is white.
TEST(Run, EveryDepthThroughTheCore) {
  for (int32_t depth : {8, 16, 32})
    for (bool mask : {false, true}) {
      if (mask && depth == 8)
        continue; // SettingsLast has it
      host::Document document = fixture::hazyScene(31, 23, depth);
      const host::Document before = fixture::copyOf(document);
      host::Session session(fixture::builtModule(), document, {});
      Parameters& p = settings(session);
      p.foregroundIntensity = p.backgroundIntensity = mask ? 1.0f : 0.0f;
      const host::RunOutcome outcome = session.playSilently({{flag, mask}});
      ASSERT_TRUE(outcome.ok()) << outcome.message;
      for (int32_t y = 0; y < 23; ++y)
        for (int32_t x = 0; x < 31; ++x)
          for (int32_t c = 0; c < 3; ++c)
            ASSERT_NEAR(fixture::sampleAt(document, x, y, c),
                        mask ? fixture::fullScale(document)
                             : throughTheFrame(fixture::sampleAt(before, x, y, c), depth),
                        depth == 32 ? 1e-6 : 0);
      ASSERT_TRUE(session.recorded());
      EXPECT_EQ(*session.recorded(), (host::Script{{flag, mask}}));
      EXPECT_EQ(session.buffers().refusedFrees, 0);
    }
}

// Pictures that the method cannot read anything from: they stay as they are, and nothing fails.
TEST(Run, OddPictures) {
  struct Odd {
    int32_t width, height, depth;
    double value;
  };
  for (const Odd& o : {Odd{1, 1, 8, 0.4},
                       {60, 40, 8, 0},
                       {2, 30, 16, 1},
                       {21480, 2, 8, 0.3},
                       {42950, 3, 16, 1},
                       {1, 100200, 8, 0.2}}) {
    host::Document document(o.width, o.height, 3, o.depth);
    fixture::fill(document, [&](int32_t, int32_t, int32_t c) {
      return o.value == 1 || o.value == 0 ? o.value : o.value + 0.1 * c;
    });
    const host::Document before = fixture::copyOf(document);
    host::Session session(fixture::builtModule(), document, {});
    const host::RunOutcome outcome = session.playSilently({});
    EXPECT_TRUE(outcome.ok()) << outcome.message;
    EXPECT_TRUE(fixture::sameSamples(document, before)) << o.width << 'x' << o.height;
  }
}

// Each request of a handle or a buffer in turn. A failing handle refuses the run; a failing buffer
// lets it end as if all were well, with the picture as it was.
TEST(Run, EachFailingRequest) {
  const host::Document before = fixture::hazyScene(40, 30, 8);
  for (int k = 1;; ++k) {
    host::Document document = fixture::copyOf(before);
    host::SessionOptions options;
    options.failAllocation = k;
    host::Session session(fixture::builtModule(), document, options);
    const host::RunOutcome outcome = session.playSilently({});
    EXPECT_EQ(outcome.result, k <= 2 ? memFullErr : noErr) << k;
    EXPECT_EQ(outcome.starved, k >= 3 && k < 9) << k;
    EXPECT_EQ(session.buffers().refusedFrees, 0);
    EXPECT_LE(session.handles().refused, 1); // the disposal of a script that is not there
    if (!fixture::sameSamples(document, before)) {
      EXPECT_EQ(k, 9); // two handles and six buffers failed
      break;
    }
    ASSERT_LT(k, 9);
  }
}

TEST(Run, AbortAtOnceLeavesThePicture) {
  host::Document document = fixture::hazyScene(40, 30, 8);
  const host::Document before = fixture::copyOf(document);
  fixture::Watch watch;
  watch.stopAt = 1;
  host::Session session(fixture::builtModule(), document, watch.options());
  EXPECT_TRUE(session.playSilently({}).cancelled);
  EXPECT_TRUE(fixture::sameSamples(document, before));
}

// Never more than one level apart, the same in all but one of ten thousand samples; one thread
// twice is the same.
TEST(Run, TeamsAgree) {
  const host::Document before = fixture::hazyScene(500, 400, 8);
  std::vector<host::Document> results;
  for (int threads : {1, 1, 2, 4}) {
    results.push_back(fixture::copyOf(before));
    host::SessionOptions options;
    options.threads = threads;
    host::Session session(fixture::builtModule(), results.back(), options);
    fixture::Trace trace(fixture::builtModule());
    ASSERT_TRUE(session.playSilently({}).ok());
    EXPECT_THAT(trace.text(),
                HasSubstr("PluginMain_core :: " + std::to_string(threads) + " threads, "));
  }
  EXPECT_TRUE(fixture::sameSamples(results[0], results[1]));
  for (size_t team : {2, 3}) {
    EXPECT_LE(fixture::largestDifference(results[0], results[team]), 1);
    int different = 0;
    for (int32_t y = 0; y < 400; ++y)
      for (int32_t x = 0; x < 500; ++x)
        for (int32_t c = 0; c < 3; ++c)
          different +=
              fixture::sampleAt(results[0], x, y, c) != fixture::sampleAt(results[team], x, y, c);
    EXPECT_LE(different, 500 * 400 * 3 / 10000);
  }
}

// A repeat finds the settings of the run before; the flag lasts in the registry from session to
// session and wins over the handle's.
TEST(Run, SettingsLast) {
  host::Registry registry;
  host::SessionOptions options;
  options.registry = &registry;
  host::Document document = fixture::hazyScene(30, 20, 8);
  host::Session session(fixture::builtModule(), document, options);
  settings(session).foregroundIntensity = 0.125f;
  settings(session).backgroundIntensity = 0.25f;
  ASSERT_TRUE(session.playSilently({{flag, true}}).ok());
  EXPECT_EQ(settings(session).outputMap, 1);
  EXPECT_EQ(settings(session).displayMap, 0); // as the registry stood before the script
  ASSERT_TRUE(session.repeat().ok());
  EXPECT_EQ(settings(session).foregroundIntensity, 0.125f);
  EXPECT_EQ(settings(session).outputMap, 1);
  EXPECT_EQ(settings(session).displayMap, 1);
  // A mask between the two intensities.
  for (int32_t x = 0; x < 30; ++x) {
    EXPECT_GE(fixture::sampleAt(document, x, 5, 0), 31);
    EXPECT_LE(fixture::sampleAt(document, x, 5, 0), 64);
    EXPECT_EQ(fixture::sampleAt(document, x, 5, 0), fixture::sampleAt(document, x, 5, 2));
  }
  host::Document other = fixture::hazyScene(30, 20, 8);
  host::Session later(fixture::builtModule(), other, options);
  ASSERT_TRUE(later.playSilently({}).ok());
  EXPECT_EQ(settings(later).outputMap, 1);
  EXPECT_GT(settings(later).backgroundIntensity, 0.0f); // the estimate, in full
}

TEST(Run, HostWithoutSuites) {
  host::Document document = fixture::hazyScene(30, 20, 8);
  const host::Document before = fixture::copyOf(document);
  host::SessionOptions options;
  options.suites = options.wideRects = false;
  host::Session session(fixture::builtModule(), document, options);
  ASSERT_TRUE(session.playSilently({}).ok());
  EXPECT_FALSE(fixture::sameSamples(document, before));
}

} // namespace
