// Runs of a session: selectors, handles, scripts, memory, stops, threads and failures.
#include "host/session/Session.h"

#include <omp.h>
#include <sys/resource.h>

#include <stdexcept>
#include <thread>

#include "tests/host/FakeFixture.h"

namespace {

using host::Document;
using host::RunOutcome;
using host::Script;
using host::Session;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr FourCharCode keyA = fourCharCode("aaaa"), keyB = fourCharCode("b b!");

struct SessionTest : FakeModuleTest {
  Document document = fixture::noise(20, 13, 8);

  // A filter in the classic shape: a settings block, and bands of so many rows inverted.
  void serveInverting(int bandRows) {
    serve = [bandRows](int16_t selector, FilterRecord& r, intptr_t&, int16_t& result) {
      if (selector == filterSelectorParameters && !r.parameters)
        r.parameters = r.handleProcs->newProc(16);
      if (selector != filterSelectorStart)
        return;
      r.bigDocumentData->PluginUsing32BitCoordinates = 1;
      r.outHiPlane = 2;
      const VRect all = r.bigDocumentData->filterRect32;
      for (int top = all.top; top < all.bottom && result == noErr; top += bandRows) {
        VRect& out = r.bigDocumentData->outRect32;
        out = {top, all.left, std::min(top + bandRows, all.bottom), all.right};
        result = r.advanceState();
        auto* bytes = static_cast<uint8_t*>(r.outData);
        for (int i = 0; i < (out.bottom - out.top) * r.outRowBytes; i++)
          bytes[i] = uint8_t(255 - bytes[i]);
      }
    };
  }
};

TEST_F(SessionTest, CallsTheSelectorsOfEachKindOfRun) {
  serveInverting(10);
  Session session(module, document, {});
  EXPECT_TRUE(session.runFromMenu().ok());
  EXPECT_THAT(std::exchange(selectors, {}), ElementsAre(1, 2, 3, 4, 5));
  EXPECT_TRUE(session.repeat().ok());
  EXPECT_THAT(std::exchange(selectors, {}), ElementsAre(2, 3, 4, 5));
  EXPECT_TRUE(session.playSilently({}).ok());
  EXPECT_THAT(std::exchange(selectors, {}), ElementsAre(2, 3, 4, 5));

  Session fresh(module, document, {});
  EXPECT_TRUE(fresh.playSilently({}).ok());
  EXPECT_THAT(std::exchange(selectors, {}), ElementsAre(1, 2, 3, 4, 5));
  EXPECT_NE(fresh.parameters(), nullptr);
  EXPECT_TRUE(fresh.about().ok());
  EXPECT_THAT(selectors, ElementsAre(0));
}

TEST_F(SessionTest, TheLastBandReachesTheDocumentInEveryBandHeight) {
  for (const int rows : {1, 5, 10, 13, 40})
    for (const bool transparent : {false, true}) {
      document = fixture::noise(20, 13, 8, 3 + transparent, host::ColourMode::rgb, transparent);
      if (transparent) // opaque, so that inverting shows in full
        fixture::fill(document, [](int x, int y, int c) { return c == 3 ? 1 : x * y / 400.0; });
      Document expected = fixture::copyOf(document);
      fixture::fill(expected, [&](int x, int y, int c) {
        const double v = fixture::sampleAt(document, x, y, c);
        return (c == 3 ? v : 255 - v) / 255;
      });
      serveInverting(rows);
      Session session(module, document, {});
      EXPECT_TRUE(session.runFromMenu().ok());
      EXPECT_TRUE(fixture::sameSamples(document, expected)) << rows << " rows";
    }
}

TEST_F(SessionTest, FilterRectIsTheBoxOfTheSelection) {
  const auto rectOf = [&] {
    VRect rect{};
    serve = [&](int16_t, FilterRecord& r, intptr_t&, int16_t&) {
      rect = r.bigDocumentData->filterRect32;
      EXPECT_EQ(r.filterRect.right, rect.right);
      EXPECT_EQ(r.haveMask, !document.selection().empty());
    };
    EXPECT_TRUE(Session(module, document, {}).runFromMenu().ok());
    return rect;
  };
  EXPECT_EQ(rectOf(), (VRect{0, 0, 13, 20}));
  std::vector<uint8_t> weights(20 * 13);
  weights[3 * 20 + 7] = 1;
  weights[9 * 20 + 4] = 255;
  document.setSelection(weights);
  EXPECT_EQ(rectOf(), (VRect{3, 4, 10, 8}));
  document.setSelection(std::vector<uint8_t>(20 * 13));
  selectors.clear();
  EXPECT_THAT(Session(module, document, {}).runFromMenu().message, "nothing is selected");
  EXPECT_TRUE(selectors.empty());
}

TEST_F(SessionTest, StopsAtTheFirstSelectorThatFails) {
  for (const int16_t failing : {1, 2, 3, 4, 5}) {
    serve = [&](int16_t selector, FilterRecord&, intptr_t&, int16_t& result) {
      result = selector == failing ? memFullErr : noErr;
    };
    selectors.clear();
    const RunOutcome outcome = Session(module, document, {}).runFromMenu();
    EXPECT_EQ(outcome.result, memFullErr);
    EXPECT_FALSE(outcome.cancelled);
    EXPECT_THAT(outcome.message, HasSubstr("not enough memory"));
    EXPECT_EQ(selectors.back(), failing);
  }
  serve = [&](int16_t selector, FilterRecord&, intptr_t&, int16_t& result) {
    result = selector == filterSelectorStart ? userCanceledErr : noErr;
  };
  const RunOutcome outcome = Session(module, document, {}).runFromMenu();
  EXPECT_TRUE(outcome.cancelled);
  EXPECT_EQ(outcome.message, "cancelled");
}

TEST_F(SessionTest, EveryExceptionBecomesACodeAndTheSessionGoesOn) {
  Session session(module, document, {});
  Handle held = nullptr;
  std::function<void()> fail;
  serve = [&](int16_t selector, FilterRecord& r, intptr_t&, int16_t&) {
    if (selector != filterSelectorStart)
      return;
    held = held ? held : r.handleProcs->newProc(4);
    r.handleProcs->lockProc(held, 1);
    // A lock that an exception left would make this fail.
    EXPECT_EQ(r.handleProcs->setSizeProc(held, 8), memFullErr);
    r.handleProcs->unlockProc(held);
    EXPECT_EQ(r.handleProcs->setSizeProc(held, 8), noErr);
    r.handleProcs->lockProc(held, 1);
    fail();
    r.handleProcs->unlockProc(held);
  };
  const auto outcomeOf = [&](std::function<void()> how) {
    fail = std::move(how);
    return session.runFromMenu();
  };
  EXPECT_EQ(outcomeOf([] { throw std::bad_alloc(); }).result, memFullErr);
  RunOutcome outcome = outcomeOf([] { throw std::runtime_error("the pivot broke"); });
  EXPECT_EQ(outcome.result, host::errPlugInThrew);
  EXPECT_THAT(outcome.message, HasSubstr("the pivot broke"));
  outcome = outcomeOf([] { throw int32_t(7); });
  EXPECT_EQ(outcome.result, host::errPlugInThrew);
  EXPECT_THAT(outcome.message, HasSubstr("exception int"));
  outcome = outcomeOf([&] { leave = fakeThrowsOwnType; });
  EXPECT_THAT(outcome.message, HasSubstr("OwnError"));
  leave = fakeReturns;
  EXPECT_TRUE(outcomeOf([] {}).ok());
}

TEST_F(SessionTest, PlaysAndRecordsScripts) {
  Script seen;
  int playInfo = -1, recordInfo = -1;
  HostResult closed = -1;
  serve = [&](int16_t selector, FilterRecord& r, intptr_t&, int16_t&) {
    DescriptorParameters& d = *r.descriptorParameters;
    if (selector == filterSelectorStart) {
      playInfo = d.playInfo;
      recordInfo = d.recordInfo;
      seen.clear();
      if (!d.descriptor)
        return;
      const ReadDescriptorProcs& read = *d.readDescriptorProcs;
      const FourCharCode keys[] = {keyA, 0};
      const ReadToken token = read.openReadDescriptorProc(d.descriptor, keys);
      FourCharCode key, type;
      int32_t flags;
      Boolean value;
      while (read.getKeyProc(token, &key, &type, &flags)) {
        EXPECT_EQ(type, fourCharCode("bool"));
        EXPECT_EQ(read.getBooleanProc(token, &value), noErr);
        seen.emplace_back(key, value);
      }
      closed = read.closeReadDescriptorProc(token);
      EXPECT_NE(read.closeReadDescriptorProc(token), noErr); // no second time
      r.handleProcs->disposeProc(d.descriptor);
      d.descriptor = nullptr;
    }
    if (selector == filterSelectorFinish) {
      const WriteDescriptorProcs& write = *d.writeDescriptorProcs;
      const WriteToken token = write.openWriteDescriptorProc();
      write.putBooleanProc(token, keyB, 0);
      write.putBooleanProc(token, keyA, 1);
      write.putBooleanProc(token, keyB, 7);
      r.handleProcs->disposeProc(d.descriptor);
      EXPECT_EQ(write.closeWriteDescriptorProc(token, &d.descriptor), noErr);
      EXPECT_NE(write.putBooleanProc(token, keyA, 1), noErr);
    }
  };
  Session session(module, document, {});
  ASSERT_TRUE(session.runFromMenu().ok());
  EXPECT_THAT(session.recorded(), testing::Optional(Script{{keyB, true}, {keyA, true}}));
  EXPECT_TRUE(seen.empty());

  const Script script{{keyA, true}, {keyB, false}};
  ASSERT_TRUE(session.replay(script, plugInDialogDisplay, plugInDialogRequired).ok());
  EXPECT_EQ(seen, script);
  EXPECT_EQ(closed, noErr);
  EXPECT_EQ(playInfo, plugInDialogDisplay);
  EXPECT_EQ(recordInfo, plugInDialogRequired);

  serve = nullptr; // leaves what it is given: that is no recording, and nothing is lost
  ASSERT_TRUE(session.replay(script, 0, 0).ok());
  EXPECT_EQ(session.recorded(), std::nullopt);
  EXPECT_EQ(session.handles().live, 0);

  host::SessionOptions silent;
  silent.scripting = false;
  serve = [](int16_t, FilterRecord& r, intptr_t&, int16_t&) {
    EXPECT_EQ(r.descriptorParameters, nullptr);
  };
  Session withoutScripts(module, document, silent);
  EXPECT_TRUE(withoutScripts.runFromMenu().ok());
  EXPECT_EQ(withoutScripts.playSilently({}).result, errPlugInHostInsufficient);
}

TEST_F(SessionTest, ReadingBeforeTheFirstKeyFailsTheClose) {
  serve = [](int16_t selector, FilterRecord& r, intptr_t&, int16_t&) {
    if (selector != filterSelectorStart)
      return;
    const ReadDescriptorProcs& read = *r.descriptorParameters->readDescriptorProcs;
    EXPECT_EQ(read.openReadDescriptorProc(nullptr, nullptr), nullptr);
    const ReadToken token =
        read.openReadDescriptorProc(r.descriptorParameters->descriptor, nullptr);
    Boolean value = 0;
    EXPECT_EQ(read.getBooleanProc(token, &value), errMissingParameter);
    EXPECT_TRUE(read.getKeyProc(token, nullptr, nullptr, nullptr));
    EXPECT_EQ(read.getBooleanProc(token, &value), noErr);
    EXPECT_EQ(read.closeReadDescriptorProc(token), errMissingParameter);
    EXPECT_FALSE(read.getKeyProc(token, nullptr, nullptr, nullptr));
    for (const UnusedProc slot : read.unused)
      EXPECT_NE(slot(), noErr);
    for (const UnusedProc slot : r.descriptorParameters->writeDescriptorProcs->unused)
      EXPECT_NE(slot(), noErr);
  };
  EXPECT_TRUE(Session(module, document, {}).replay({{keyA, true}}, 0, 0).ok());
}

TEST_F(SessionTest, BuffersKeepTheBudgetAndRefuseMisuse) {
  host::SessionOptions options;
  options.maxSpace = 1000;
  Session session(module, document, options);
  serve = [](int16_t selector, FilterRecord& r, intptr_t&, int16_t&) {
    if (selector != filterSelectorStart)
      return;
    const BufferProcs& b = *r.bufferProcs;
    EXPECT_EQ(r.maxSpace, 1000);
    BufferID first = 0, second = 0, none = 77;
    EXPECT_EQ(b.allocateProc(600, &first), noErr);
    EXPECT_EQ(b.spaceProc(), 400);
    EXPECT_EQ(b.allocateProc(401, &none), memFullErr);
    EXPECT_EQ(none, 0);
    EXPECT_EQ(b.allocateProc(-1, &none), memFullErr);
    EXPECT_EQ(b.allocateProc(400, &second), noErr);
    EXPECT_EQ(b.spaceProc(), 0);
    void* block = b.lockProc(first, 1);
    ASSERT_NE(block, nullptr);
    std::memset(block, 1, 600);
    EXPECT_EQ(b.lockProc(0, 1), nullptr);
    b.unlockProc(first);
    b.unlockProc(first); // refused: not locked
    b.freeProc(first);
    EXPECT_EQ(b.spaceProc(), 600);
    b.freeProc(first); // refused, and so are the next four
    b.freeProc(0);
    b.freeProc(4711);
    b.unlockProc(first);
    EXPECT_EQ(b.lockProc(first, 1), nullptr);
    EXPECT_EQ(b.spaceProc(), 600);
    BufferID third = 0;
    EXPECT_EQ(b.allocateProc(0, &third), noErr); // an empty block is a block
    EXPECT_NE(b.lockProc(third, 1), nullptr);
    EXPECT_NE(third, first);
  };
  const RunOutcome starved = session.runFromMenu();
  EXPECT_EQ(starved.result, noErr); // the filter went on without; the outcome tells
  EXPECT_TRUE(starved.starved);
  EXPECT_FALSE(starved.ok());
  EXPECT_THAT(starved.message, HasSubstr("not enough memory"));
  const Session::BufferCounts counts = session.buffers();
  EXPECT_EQ(counts.requests, 5);
  EXPECT_EQ(counts.live, 2); // left to the session to free
  EXPECT_EQ(counts.bytesInUse, 400);
  EXPECT_EQ(counts.bytesPeak, 1000);
  EXPECT_EQ(counts.refusedFrees, 3);
  EXPECT_EQ(counts.refusedLocks, 2);
  EXPECT_EQ(counts.refusedUnlocks, 2);
  serve = nullptr;
  EXPECT_TRUE(session.repeat().ok()); // each run is told by itself
}

TEST_F(SessionTest, HandlesOutliveTheRunAndRefuseMisuse) {
  Session session(module, document, {});
  serve = [](int16_t selector, FilterRecord& r, intptr_t& data, int16_t&) {
    const HandleProcs& h = *r.handleProcs;
    if (selector == filterSelectorParameters) {
      const Handle handle = h.newProc(6);
      EXPECT_EQ(h.getSizeProc(handle), 6);
      EXPECT_EQ(std::memcmp(h.lockProc(handle, 1), "\0\0\0\0\0\0", 6), 0);
      std::memcpy(h.lockProc(handle, 1), "abcdef", 6);
      h.unlockProc(handle);
      h.unlockProc(handle);
      data = reinterpret_cast<intptr_t>(handle);
    } else if (selector == filterSelectorStart) {
      const Handle handle = reinterpret_cast<Handle>(data);
      EXPECT_EQ(h.setSizeProc(handle, 8), noErr);
      EXPECT_EQ(std::memcmp(h.lockProc(handle, 1), "abcdef\0\0", 8), 0);
      h.unlockProc(handle);
      const Handle other = h.newProc(1);
      h.disposeProc(other);
      h.disposeProc(other);
      h.disposeProc(nullptr);
      EXPECT_EQ(h.lockProc(other, 1), nullptr);
      EXPECT_EQ(h.getSizeProc(other), 0);
      EXPECT_EQ(h.setSizeProc(other, 1), nilHandleErr);
    }
  };
  ASSERT_TRUE(session.runFromMenu().ok());
  ASSERT_TRUE(session.repeat().ok());
  EXPECT_EQ(session.handles().live, 1);
  EXPECT_EQ(session.handles().refused, 2 * 5);
}

TEST_F(SessionTest, FailsTheRequestItIsToldTo) {
  serve = [](int16_t selector, FilterRecord& r, intptr_t&, int16_t& result) {
    if (selector != filterSelectorStart)
      return;
    BufferID id = 0;
    int failures = 0;
    for (int i = 0; i < 2; i++) {
      failures += r.handleProcs->newProc(4) == nullptr;
      failures += r.bufferProcs->allocateProc(4, &id) != noErr && id == 0;
    }
    result = int16_t(failures);
  };
  for (int k = 0; k <= 5; k++) {
    host::SessionOptions options;
    options.failAllocation = k;
    Session session(module, document, options);
    EXPECT_EQ(session.runFromMenu().result, k >= 1 && k <= 4) << k;
    EXPECT_EQ(session.buffers().requests, 4);
    EXPECT_EQ(session.buffers().live, 2 - (k == 2 || k == 4));
  }
}

TEST_F(SessionTest, StopsAndReportsFromManyThreads) {
  std::atomic<int> calls = 0;
  std::vector<std::pair<int32_t, int32_t>> shown;
  std::atomic<int> inside = 0;
  bool stop = false;
  host::SessionOptions options;
  options.abort = [&] { return ++calls == 50 && stop; };
  options.progress = [&](int32_t done, int32_t total) {
    EXPECT_EQ(++inside, 1); // one at a time, however long it takes
    std::this_thread::sleep_for(std::chrono::microseconds(20));
    shown.emplace_back(done, total);
    inside--;
  };
  serve = [](int16_t selector, FilterRecord& r, intptr_t&, int16_t&) {
    if (selector != filterSelectorStart)
      return;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++)
      threads.emplace_back([&, t] {
        for (int i = 0; i < 100; i++) {
          r.progressProc(i * 4 + t, 400);
          r.progressProc(i * 4 + t, 400); // said twice, shown once
          r.abortProc();
        }
      });
    for (std::thread& thread : threads)
      thread.join();
  };
  Session session(module, document, options);
  EXPECT_TRUE(session.runFromMenu().ok());
  ASSERT_FALSE(shown.empty());
  EXPECT_EQ(shown.back(), std::pair(399, 400));
  for (size_t i = 1; i < shown.size(); i++)
    ASSERT_LT(shown[i - 1].first, shown[i].first);

  // The plug-in went through to its end; the session remembers who asked it to stop.
  stop = true;
  calls = 0;
  const RunOutcome stopped = session.repeat();
  EXPECT_EQ(stopped.result, noErr);
  EXPECT_TRUE(stopped.cancelled);
  EXPECT_FALSE(stopped.ok());
  EXPECT_EQ(calls, 400);
  stop = false;
  EXPECT_TRUE(session.repeat().ok());
}

double userSeconds() {
  rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  return double(usage.ru_utime.tv_sec) + 1e-6 * double(usage.ru_utime.tv_usec);
}

TEST_F(SessionTest, ThePlugInFindsATeamWhoseMembersSleep) {
  omp_set_max_active_levels(1);
  for (const int threads : {1, 2, 4}) {
    int found = 0, inner = 0;
    double used = 0;
    serve = [&](int16_t selector, FilterRecord&, intptr_t&, int16_t&) {
      if (selector != filterSelectorStart)
        return;
      found = omp_get_num_threads();
#pragma omp parallel num_threads(threads)
#pragma omp master
      inner = omp_get_num_threads();
      const double before = userSeconds();
      std::this_thread::sleep_for(std::chrono::milliseconds(300));
      used = userSeconds() - before;
    };
    host::SessionOptions options;
    options.threads = threads;
    EXPECT_TRUE(Session(module, document, options).runFromMenu().ok());
    EXPECT_EQ(found, threads);
    EXPECT_EQ(inner, threads);
    EXPECT_LT(used, 0.15) << threads;
  }
  EXPECT_EQ(omp_get_max_active_levels(), 1);
}

TEST_F(SessionTest, RefusesDocumentsBeforeAnySelector) {
  Document gray = fixture::noise(3, 3, 8, 1, host::ColourMode::grayscale);
  Session session(module, gray, {});
  for (const RunOutcome& outcome : {session.runFromMenu(), session.playSilently({}),
                                    session.repeat(), session.replay({}, 0, 0)}) {
    EXPECT_EQ(outcome.result, filterBadParameters);
    EXPECT_EQ(outcome.message, "the filter works on RGB images");
  }
  EXPECT_EQ(session.refusal(), "the filter works on RGB images");
  EXPECT_EQ(session.parameters(), nullptr);
  EXPECT_TRUE(selectors.empty());

  Document wide(40000, 1, 3, 8);
  host::SessionOptions narrow;
  narrow.wideRects = false;
  EXPECT_THAT(Session(module, wide, narrow).runFromMenu().message, HasSubstr("too large"));
  EXPECT_TRUE(selectors.empty());
  // The host has wide rectangles, but the filter does not use them.
  EXPECT_THAT(Session(module, wide, {}).runFromMenu().message, HasSubstr("32-bit"));
  EXPECT_THAT(selectors, ElementsAre(1, 2));
}

TEST_F(SessionTest, OneRunAtATime) {
  Document other = fixture::noise(2, 2, 8);
  Session second(module, other, {});
  RunOutcome inner;
  serve = [&](int16_t selector, FilterRecord&, intptr_t&, int16_t&) {
    if (selector == filterSelectorStart)
      inner = second.runFromMenu();
  };
  EXPECT_TRUE(Session(module, document, {}).runFromMenu().ok());
  EXPECT_EQ(inner.result, filterBadParameters);
  EXPECT_THAT(inner.message, HasSubstr("not finished"));
  serve = nullptr;
  EXPECT_TRUE(second.runFromMenu().ok());
}

} // namespace
