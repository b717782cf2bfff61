// Sessions with a module that the test controls, and with the built one: selectors, memory, stops,
// threads and failures.
#include <omp.h>

#include <stdexcept>
#include <thread>

#include "frame/contract/Parameters.h"
#include "tests/host/FakeFixture.h"
#include "tests/support/FailingMemory.h"

namespace {

using host::RunOutcome;
using host::Session;
using testing::ElementsAre;
using testing::HasSubstr;
using SessionTest = FakeModuleTest;

TEST_F(SessionTest, CallsTheSelectorsOfEachKindOfRun) {
  bool fail = true;
  serve = [&](int16_t selector, FilterRecord& r, int16_t& result) {
    if (selector != filterSelectorParameters)
      return;
    r.parameters = r.parameters ? r.parameters : r.handleProcs->newProc(4);
    std::strcpy(static_cast<char*>(r.handleProcs->lockProc(r.parameters, 1)), fail ? "bad" : "set");
    result = fail ? memFullErr : noErr;
  };
  Session session(module, document, {});
  RunOutcome outcome; // what a failed first selector left does not count as settings
  EXPECT_EQ(session.parameters(&outcome), nullptr);
  EXPECT_EQ(outcome.result, memFullErr);
  EXPECT_EQ(session.playSilently({}).result, memFullErr);
  fail = false;
  EXPECT_TRUE(session.playSilently({}).ok());
  EXPECT_STREQ(static_cast<const char*>(session.parameters(&outcome)), "set");
  EXPECT_TRUE(outcome.ok());
  for (const RunOutcome& run : {session.repeat(), session.playSilently({}), session.replay({}, 1),
                                session.runFromMenu(), session.about()})
    EXPECT_TRUE(run.ok() && run.message.empty());
  fail = true; // earlier settings stay
  EXPECT_FALSE(session.runFromMenu().ok());
  EXPECT_NE(session.parameters(), nullptr);
  EXPECT_THAT(selectors, ElementsAre(1, 1, 1, 2, 3, 4, 5, 2, 3, 4, 5, 2, 3, 4, 5, 2, 3, 4, 5, 1, 2,
                                     3, 4, 5, 0, 1));
  serve = nullptr;
  EXPECT_EQ(Session(module, document, {}).parameters(&outcome), nullptr);
  EXPECT_THAT(outcome.message, HasSubstr("no settings"));
}

// The last band counts, too, although the plug-in requests no further one.
TEST_F(SessionTest, BandsReachTheDocumentAndTheFilterRectIsTheSelection) {
  for (const bool selected : {false, true}) {
    document = fixture::noise(20, 13, 32);
    std::vector<uint8_t> weights(20 * 13);
    weights[3 * 20 + 7] = weights[9 * 20 + 4] = 255;
    if (selected)
      document.setSelection(weights);
    const RunOutcome outcome = inside([&](FilterRecord& r) {
      BigDocumentData& big = *r.bigDocumentData;
      EXPECT_EQ(r.haveMask, selected);
      EXPECT_EQ(big.filterRect32, selected ? (VRect{3, 4, 10, 8}) : (VRect{0, 0, 13, 20}));
      EXPECT_EQ(r.filterRect.right, big.filterRect32.right);
      big.PluginUsing32BitCoordinates = 1;
      for (const int row : {3, 9}) {
        big.outRect32 = {row, 4, row + 1, 8};
        ASSERT_EQ(r.advanceState(), noErr);
        static_cast<float*>(r.outData)[0] = NAN;
        static_cast<float*>(r.outData)[3] = 2;
      }
    });
    EXPECT_TRUE(outcome.ok());
    EXPECT_EQ(outcome.lostSamples, selected ? 1 : 2);
    EXPECT_EQ(fixture::sampleAt(document, 7, 3, 0), 2);
    EXPECT_EQ(fixture::sampleAt(document, 4, 9, 0), 0);
  }
}

// The plug-in always reports success; only its progress shows the failure.
TEST_F(SessionTest, ARunShortOfItsLastStepIsUnfinished) {
  for (steps = 0; steps < 5; steps++)
    for (const bool refused : {false, true}) {
      options.maxSpace = refused ? 10 : 1000;
      const RunOutcome outcome = inside([&](FilterRecord& r) {
        BufferID id;
        r.bufferProcs->allocateProc(100, &id);
        if (steps > 0)
          r.progressProc(0, 99); // an older count
      });
      EXPECT_EQ(outcome.result, noErr);
      EXPECT_EQ(outcome.unfinished, steps < 3) << steps;
      EXPECT_EQ(outcome.message.empty(), outcome.ok());
      EXPECT_THAT(outcome.message, HasSubstr(steps >= 3 ? "" : refused ? "not enough" : "ran out"));
    }
}

TEST_F(SessionTest, FailuresOfEveryKindBecomeCodesAndTheSessionGoesOn) {
  const struct {
    std::function<void(int16_t& result)> fail;
    HostResult result;
    const char* message;
  } cases[] = {
      {[](int16_t& result) { result = userCanceledErr; }, userCanceledErr, "cancelled"},
      {[](int16_t& result) { result = -77; }, -77, "failed with code -77"},
      {[](int16_t&) { throw std::bad_alloc(); }, memFullErr, "not enough memory for this image"},
      {[](int16_t&) { throw std::runtime_error("a pivot"); }, host::errPlugInThrew,
       "the filter failed, most likely because memory ran out (a pivot)"},
      {[](int16_t&) { throw int32_t(7); }, host::errPlugInThrew, "(exception int)"},
      {[&](int16_t&) { throwOwnType = true; }, host::errPlugInThrew, "OwnError"},
      {[](int16_t&) {}, noErr, ""}};
  Session session(module, document, {});
  Handle held = nullptr;
  int16_t failing;
  for (const auto& c : cases)
    for (failing = 1; failing <= 5; failing++) {
      serve = [&](int16_t selector, FilterRecord& r, int16_t& result) {
        throwOwnType = false;
        if (selector != failing)
          return;
        held = held ? held : r.handleProcs->newProc(4);
        EXPECT_EQ(r.handleProcs->setSizeProc(held, 8), noErr); // a leftover lock would refuse it
        r.handleProcs->lockProc(held, 1);
        c.fail(result);
        if (!throwOwnType)
          r.handleProcs->unlockProc(held);
      };
      const RunOutcome outcome = session.runFromMenu();
      EXPECT_EQ(outcome.result, c.result);
      EXPECT_EQ(outcome.cancelled, c.result == userCanceledErr);
      EXPECT_FALSE(outcome.unfinished);
      EXPECT_THAT(outcome.message, HasSubstr(c.message));
      EXPECT_EQ(selectors.back(), c.result ? failing : 5);
    }
}

TEST_F(SessionTest, AReplayGetsWhatTheRecordingKept) {
  std::vector<int> offered;
  serve = [&](int16_t selector, FilterRecord& r, int16_t&) {
    DescriptorParameters& d = *r.descriptorParameters;
    if (selector == filterSelectorStart)
      offered.insert(offered.end(),
                     {d.playInfo, d.recordInfo, r.handleProcs->getSizeProc(d.descriptor)});
    if (selector == filterSelectorFinish)
      d = {0, 0, plugInDialogRequired, r.handleProcs->newProc(5), nullptr, nullptr};
  };
  Session session(module, document, {});
  ASSERT_TRUE(session.runFromMenu().ok());
  const host::Recording recording = session.recorded().value();
  EXPECT_EQ(recording.script, (host::Script{{0, false}}));
  for (const int16_t play : {plugInDialogDontDisplay, plugInDialogSilent})
    ASSERT_TRUE(session.replay(recording, play).ok());
  ASSERT_TRUE(session.repeat().ok());
  EXPECT_THAT(offered,
              ElementsAre(plugInDialogDisplay, plugInDialogOptional, 0, plugInDialogDontDisplay,
                          plugInDialogRequired, 5, plugInDialogSilent, plugInDialogRequired, 5,
                          plugInDialogDontDisplay, plugInDialogOptional, 0));
  serve = nullptr; // leaves its descriptor alone: that is not a recording, and nothing leaks
  ASSERT_TRUE(session.replay(recording, 0).ok());
  EXPECT_FALSE(session.recorded());
  EXPECT_EQ(session.handles().live, 0);
  options.scripting = false;
  EXPECT_EQ(Session(module, document, options).replay({}, 0).result, errPlugInHostInsufficient);
}

TEST_F(SessionTest, BuffersAndHandlesKeepTheBudgetAndRefuseMisuse) {
  options.maxSpace = 1000;
  Session session(module, document, options);
  serve = [](int16_t selector, FilterRecord& r, int16_t&) {
    const BufferProcs& b = *r.bufferProcs;
    const HandleProcs& h = *r.handleProcs;
    if (selector != filterSelectorStart)
      return;
    const Handle kept = h.newProc(6), gone = h.newProc(1);
    EXPECT_EQ(std::memcmp(h.lockProc(kept, 1), "\0\0\0\0\0\0", 6), 0);
    std::memcpy(h.lockProc(kept, 1), "abcdef", 6);
    h.unlockProc(kept);
    EXPECT_EQ(h.setSizeProc(kept, 8), memFullErr); // still locked once
    h.unlockProc(kept);
    for (const int size : {8, 4, 8, -1})
      EXPECT_EQ(h.setSizeProc(kept, size), size < 0 ? memFullErr : noErr);
    EXPECT_EQ(std::memcmp(h.lockProc(kept, 1), "abcd\0\0\0\0", 8), 0);
    h.disposeProc(gone);
    h.disposeProc(gone); // refused, like the next three
    EXPECT_EQ(h.lockProc(gone, 1), nullptr);
    EXPECT_EQ(h.getSizeProc(gone), 0);
    EXPECT_EQ(h.setSizeProc(gone, 1), nilHandleErr);

    BufferID id = 0;
    EXPECT_EQ(b.allocateProc(400, &id), noErr);
    EXPECT_EQ(b.allocateProc(600, &id), noErr);
    std::memset(b.lockProc(id, 1), 1, 600);
    for (int releases = 0; releases < 2; releases++) { // each refused once, like the next two
      b.unlockProc(id);
      b.freeProc(id);
    }
    EXPECT_EQ(b.lockProc(id, 1), nullptr);
    for (const int size : {601, -1})
      EXPECT_EQ(b.allocateProc(size, &id), memFullErr);
    EXPECT_EQ(id, 0);
    EXPECT_EQ(b.spaceProc(), r.maxSpace - 400);
    EXPECT_EQ(b.allocateProc(0, &id), noErr); // an empty block is a valid block
    EXPECT_NE(b.lockProc(id, 1), nullptr);
  };
  EXPECT_TRUE(session.runFromMenu().ok());
  const auto all = [](const host::StoreCounts& c) {
    return std::array<int64_t, 5>{c.live, c.refusedReleases, c.refusedUses, c.bytesInUse,
                                  c.bytesPeak};
  };
  EXPECT_THAT(all(session.handles()), ElementsAre(1, 1, 3, 8, 9));
  EXPECT_THAT(all(session.buffers()), ElementsAre(2, 1, 2, 400, 1000));
}

TEST_F(SessionTest, StopsAndReportsFromAnyThreadOfASleepingTeam) {
  std::atomic<int> calls = 0, inCallback = 0;
  int shown = -1;
  bool stop = false;
  options.threads = 3;
  options.abort = [&] { return ++calls == 50 && stop; };
  options.progress = [&](int32_t done, int32_t total) {
    EXPECT_EQ(++inCallback, 1); // one at a time
    EXPECT_TRUE(total != 400 || done > std::exchange(shown, done));
    inCallback--;
    if (stop && done >= 300)
      throw 1; // counts as a wish to stop
  };
  omp_set_max_active_levels(1);
  for (const int firstCall : {-1, 0, 1000}) { // stopped by nobody, by abort, by the one that throws
    stop = firstCall >= 0;
    calls = firstCall;
    shown = -1;
    const RunOutcome outcome = inside([&](FilterRecord& r) {
      EXPECT_EQ(omp_get_num_threads(), 3);
      const std::clock_t before = std::clock();
      std::this_thread::sleep_for(std::chrono::milliseconds(80));
      EXPECT_LT(double(std::clock() - before) / CLOCKS_PER_SEC, 0.05);
#pragma omp parallel num_threads(4)
      for (int i = 0; i < 200; i++) { // each number reported twice, shown once
        EXPECT_EQ(omp_get_num_threads(), 4);
        r.progressProc(i / 2 * 4 + omp_get_thread_num(), 400);
        r.abortProc();
      }
      EXPECT_EQ(r.abortProc(), stop); // a wish to stop is permanent
    });
    EXPECT_EQ(shown, 399);
    EXPECT_EQ(outcome.result, noErr); // the plug-in ran to its end
    EXPECT_EQ(outcome.cancelled, stop);
  }
  EXPECT_EQ(omp_get_max_active_levels(), 1);
  options.abort = [] { return throw 1, false; };
  EXPECT_TRUE(inside([](FilterRecord& r) { EXPECT_TRUE(r.abortProc()); }).cancelled);
}

TEST_F(SessionTest, RefusesBeforeAnySelector) {
  for (const auto& [width, height] : {std::pair(32767, 1), {32768, 1}, {1, 32768}}) {
    document = host::Document(width, height, 3, 8);
    EXPECT_EQ(Session(module, document, {.wideRects = false}).refusal().empty(), width == 32767);
    EXPECT_TRUE(selectors.empty());
    // A host with wide rectangles, which the filter does not use.
    EXPECT_EQ(inside([](FilterRecord&) {}).ok(), width == 32767);
    EXPECT_EQ(std::exchange(selectors, {}).size(), width == 32767 ? 5u : 2u);
  }
  document = fixture::noise(3, 3, 8);
  Session session(module, document, {});
  RunOutcome inner; // of a run within a run
  EXPECT_TRUE(inside([&](FilterRecord&) { inner = session.runFromMenu(); }).ok());
  EXPECT_THAT(inner.message, HasSubstr("not ended"));
  selectors.clear();
  document.setSelection(std::vector<uint8_t>(9));
  for (const RunOutcome& outcome :
       {session.runFromMenu(), session.playSilently({}), session.repeat(), session.replay({}, 0)}) {
    EXPECT_EQ(outcome.result, filterBadParameters);
    EXPECT_EQ(outcome.message, "nothing is selected");
  }
  EXPECT_TRUE(selectors.empty());
}

// The filter asks for an abort after it sets its estimates and before it reads them: values
// adjusted at that point have the same effect as given values.
TEST(BuiltModule, ReadsItsEstimatesOnceTheyAreAdjusted) {
  host::Document adjusted = fixture::hazyScene(60, 41, 8), given = fixture::copyOf(adjusted);
  std::vector<Parameters> seen;
  const auto halve = [&](void* block) {
    auto& settings = *static_cast<Parameters*>(block);
    const bool isSet = settings.foregroundIntensity != intensityUnset;
    if (isSet)
      settings.backgroundIntensity *= 0.5f, seen.push_back(settings);
    return isSet;
  };
  const host::SessionOptions options{.threads = 2, .adjustSettings = halve};
  EXPECT_TRUE(Session(fixture::builtModule(), adjusted, options).playSilently({}).ok());
  Session plain(fixture::builtModule(), given, {});
  *static_cast<Parameters*>(plain.parameters()) = seen.at(0);
  EXPECT_TRUE(plain.playSilently({}).ok() && seen.size() == 1);
  EXPECT_TRUE(fixture::sameSamples(adjusted, given));
  EXPECT_GT(fixture::largestDifference(given, fixture::hazyScene(60, 41, 8)), 9);
}

// With the real filter; its k-th heap request fails: the first ones, and some later ones.
TEST(BuiltModule, ARunWithoutMemoryIsNeverTakenForAResult) {
  const host::Document before = fixture::hazyScene(60, 41, 8);
  const host::Script script = {{fourCharCode("oMap"), false}};
  host::Document expected = fixture::copyOf(before);
  ASSERT_TRUE(Session(fixture::builtModule(), expected, {}).playSilently(script).ok());
  EXPECT_GT(fixture::largestDifference(expected, before), 9);
  int failures = 0;
  for (int served = 0, refused = 1; refused; served += served < 40 ? 1 : 8 * served) {
    host::Document document = fixture::copyOf(before);
    Session session(fixture::builtModule(), document, {});
    const FailingMemory memory(served);
    const RunOutcome outcome = session.playSilently(script);
    refused = memory.hasRefused();
    failures += !outcome.ok();
    EXPECT_EQ(outcome.ok(), outcome.message.empty());
    EXPECT_TRUE(outcome.ok() ? fixture::sameSamples(document, expected) : refused) << served;
  }
  EXPECT_GT(failures, 20);
}

} // namespace
