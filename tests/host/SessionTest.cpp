// Sessions over a module that does what a test tells it, and over the built one: selectors,
// scripts, memory, suites, stops, threads and failures.
#include "host/session/Session.h"

#include <omp.h>
#include <sys/resource.h>

#include <stdexcept>
#include <thread>

#include "hostapi/UtilitySuites.h"
#include "tests/host/FakeFixture.h"
#include "tests/support/FailingMemory.h"

namespace {

using host::Document;
using host::RunOutcome;
using host::Script;
using host::Session;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr FourCharCode keyA = fourCharCode("aaaa"), keyB = fourCharCode("b b!");

using SessionTest = FakeModuleTest;

TEST_F(SessionTest, CallsTheSelectorsOfEachKindOfRun) {
  serve = [](int16_t selector, FilterRecord& r, intptr_t&, int16_t&) {
    if (selector == filterSelectorParameters && !r.parameters)
      r.parameters = r.handleProcs->newProc(16);
  };
  Session session(module, document, {});
  EXPECT_TRUE(session.runFromMenu().ok());
  EXPECT_THAT(std::exchange(selectors, {}), ElementsAre(1, 2, 3, 4, 5));
  for (const RunOutcome& outcome :
       {session.repeat(), session.playSilently({}), session.replay({}, plugInDialogDisplay)}) {
    EXPECT_TRUE(outcome.ok());
    EXPECT_EQ(outcome.message, "");
  }
  EXPECT_THAT(std::exchange(selectors, {}), ElementsAre(2, 3, 4, 5, 2, 3, 4, 5, 2, 3, 4, 5));
  Session fresh(module, document, {});
  EXPECT_TRUE(fresh.playSilently({}).ok());
  EXPECT_THAT(std::exchange(selectors, {}), ElementsAre(1, 2, 3, 4, 5));
  EXPECT_TRUE(fresh.about().ok());
  EXPECT_THAT(selectors, ElementsAre(0));
}

// Nothing of the last band may be lost, whether the plug-in asks for another one or not.
TEST_F(SessionTest, BandsReachTheDocumentAndTheFilterRectIsTheSelection) {
  for (const bool selected : {false, true}) {
    document = fixture::noise(20, 13, 32);
    std::vector<uint8_t> weights(20 * 13);
    weights[3 * 20 + 7] = weights[9 * 20 + 4] = 255;
    if (selected)
      document.setSelection(weights);
    const Document before = fixture::copyOf(document);
    const RunOutcome outcome = inside([&](FilterRecord& r) {
      EXPECT_EQ(r.haveMask, selected);
      r.bigDocumentData->PluginUsing32BitCoordinates = 1;
      r.outHiPlane = 2;
      const VRect all = r.bigDocumentData->filterRect32;
      EXPECT_EQ(all, selected ? (VRect{3, 4, 10, 8}) : (VRect{0, 0, 13, 20}));
      EXPECT_EQ(r.filterRect.right, all.right);
      for (int top = all.top; top < all.bottom; top += 5) {
        VRect& out = r.bigDocumentData->outRect32;
        out = {top, all.left, std::min(top + 5, all.bottom), all.right};
        ASSERT_EQ(r.advanceState(), noErr);
        auto* samples = static_cast<float*>(r.outData);
        for (int i = 0; i < (out.bottom - out.top) * r.outRowBytes / 4; i++)
          samples[i] = i == 0 ? NAN : 1 - samples[i];
      }
    });
    EXPECT_TRUE(outcome.ok());
    EXPECT_EQ(outcome.lostSamples, selected ? 0 : 3);
    fixture::fill(document, [&](int x, int y, int c) {
      const bool taken = !selected || weights[size_t(y * 20 + x)];
      const float old = float(fixture::sampleAt(before, x, y, c));
      const bool lost = !selected && x == 0 && y % 5 == 0 && c == 0;
      EXPECT_EQ(fixture::sampleAt(document, x, y, c), lost ? 0 : taken ? 1 - old : old);
      return 0;
    });
  }
  document.setSelection(std::vector<uint8_t>(20 * 13));
  EXPECT_EQ(inside([](FilterRecord&) { FAIL(); }).message, "nothing is selected");
}

TEST_F(SessionTest, StopsAtTheFirstSelectorThatFails) {
  for (const int16_t failing : {1, 2, 3, 4, 5}) {
    serve = [&](int16_t selector, FilterRecord&, intptr_t&, int16_t& result) {
      result = selector == failing ? memFullErr : noErr;
    };
    const RunOutcome outcome = Session(module, document, {}).runFromMenu();
    EXPECT_EQ(outcome.result, memFullErr);
    EXPECT_FALSE(outcome.cancelled || outcome.unfinished || outcome.ok());
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

// The plug-in reports success whatever happened; its progress tells.
TEST_F(SessionTest, ARunShortOfItsLastStepIsUnfinished) {
  for (const int done : {0, 2, 3, 4})
    for (const bool refused : {false, true}) {
      steps = done;
      options.maxSpace = refused ? 10 : 1000;
      const RunOutcome outcome = inside([](FilterRecord& r) {
        BufferID id;
        r.bufferProcs->allocateProc(100, &id);
        r.progressProc(0, 99); // an older count
      });
      EXPECT_EQ(outcome.result, noErr);
      EXPECT_EQ(outcome.unfinished, done < 3) << done;
      EXPECT_EQ(outcome.ok(), done >= 3);
      EXPECT_THAT(outcome.message, HasSubstr(done >= 3 ? "" : refused ? "not enough" : "ran out"));
      EXPECT_EQ(outcome.message.empty(), outcome.ok());
    }
  steps = 0;
  EXPECT_TRUE(Session(module, document, {}).runFromMenu().unfinished); // announced nothing
}

TEST_F(SessionTest, EveryExceptionBecomesACodeAndTheSessionGoesOn) {
  Session session(module, document, {});
  Handle held = nullptr;
  std::function<void()> fail;
  serve = [&](int16_t selector, FilterRecord& r, intptr_t&, int16_t&) {
    if (selector != filterSelectorStart)
      return;
    held = held ? held : r.handleProcs->newProc(4);
    EXPECT_EQ(r.handleProcs->setSizeProc(held, 8), noErr); // which a lock left behind would refuse
    r.handleProcs->lockProc(held, 1);
    EXPECT_EQ(r.handleProcs->setSizeProc(held, 8), memFullErr);
    fail();
    r.handleProcs->unlockProc(held);
  };
  const struct {
    std::function<void()> fail;
    HostResult result;
    const char* message;
  } cases[] = {
      {[] { throw std::bad_alloc(); }, memFullErr, "there is not enough memory for this image"},
      {[] { throw std::runtime_error("the pivot broke"); }, host::errPlugInThrew,
       "the filter failed, most likely because memory ran out (the pivot broke)"},
      {[] { throw int32_t(7); }, host::errPlugInThrew, "(exception int)"},
      {[&] { throwOwnType = true; }, host::errPlugInThrew, "OwnError"},
      {[&] { throwOwnType = false; }, noErr, ""}};
  for (const auto& c : cases) {
    fail = c.fail;
    const RunOutcome outcome = session.runFromMenu();
    EXPECT_EQ(outcome.result, c.result);
    EXPECT_THAT(outcome.message, HasSubstr(c.message));
    throwOwnType = false;
  }
}

TEST_F(SessionTest, PlaysAndRecordsScripts) {
  Script seen;
  int playInfo = -1, recordInfo = -1;
  serve = [&](int16_t selector, FilterRecord& r, intptr_t&, int16_t&) {
    DescriptorParameters& d = *r.descriptorParameters;
    if (selector == filterSelectorStart) {
      playInfo = d.playInfo;
      recordInfo = d.recordInfo;
      const ReadDescriptorProcs& read = *d.readDescriptorProcs;
      const ReadToken token = read.openReadDescriptorProc(d.descriptor, nullptr);
      EXPECT_EQ(token != nullptr, d.descriptor != nullptr);
      FourCharCode key, type;
      int32_t flags;
      Boolean value;
      const bool early = playInfo == plugInDialogSilent; // reads before the first key
      if (token && early) {
        EXPECT_EQ(read.getBooleanProc(token, &value), errMissingParameter);
      }
      while (read.getKeyProc(token, &key, &type, &flags)) {
        EXPECT_EQ(type, fourCharCode("bool"));
        EXPECT_EQ(read.getBooleanProc(token, &value), noErr);
        seen.emplace_back(key, value);
      }
      if (token) {
        EXPECT_EQ(read.closeReadDescriptorProc(token), early ? errMissingParameter : noErr);
      }
      EXPECT_EQ(read.closeReadDescriptorProc(token), filterBadParameters); // no second time
      EXPECT_EQ(read.getBooleanProc(token, &value), filterBadParameters);
      EXPECT_EQ(read.unused[13](), errPlugInHostInsufficient);
      r.handleProcs->disposeProc(std::exchange(d.descriptor, nullptr));
    }
    if (selector == filterSelectorFinish) {
      const WriteDescriptorProcs& write = *d.writeDescriptorProcs;
      const WriteToken token = write.openWriteDescriptorProc();
      EXPECT_EQ(write.putBooleanProc(token, keyB, 0), noErr);
      EXPECT_EQ(write.putBooleanProc(token, keyA, 1), noErr);
      EXPECT_EQ(write.putBooleanProc(token, keyB, 7), noErr);
      EXPECT_EQ(write.closeWriteDescriptorProc(token, &d.descriptor), noErr);
      EXPECT_EQ(write.putBooleanProc(token, keyA, 1), filterBadParameters);
      ScriptDescriptor none = d.descriptor;
      EXPECT_EQ(write.closeWriteDescriptorProc(token, &none), filterBadParameters);
      EXPECT_EQ(none, nullptr);
      EXPECT_EQ(write.unused[12](), errPlugInHostInsufficient);
      d.recordInfo = plugInDialogRequired;
    }
  };
  Session session(module, document, {});
  ASSERT_TRUE(session.runFromMenu().ok());
  EXPECT_TRUE(seen.empty());
  EXPECT_EQ(playInfo, plugInDialogDisplay);
  EXPECT_EQ(recordInfo, plugInDialogOptional);
  ASSERT_TRUE(session.recorded());
  const host::Recording recording = *session.recorded();
  EXPECT_EQ(recording.script, (Script{{keyB, true}, {keyA, true}}));
  for (const int16_t play : {plugInDialogDontDisplay, plugInDialogSilent}) {
    seen.clear();
    ASSERT_TRUE(session.replay(recording, play).ok());
    EXPECT_EQ(seen, recording.script);
    EXPECT_EQ(playInfo, play);
    EXPECT_EQ(recordInfo, plugInDialogRequired);
  }
  ASSERT_TRUE(session.repeat().ok());
  EXPECT_EQ(playInfo, plugInDialogDontDisplay);
  serve = nullptr; // leaves what it is given: that is no recording, and nothing is lost
  ASSERT_TRUE(session.replay(recording, 0).ok());
  EXPECT_FALSE(session.recorded());
  EXPECT_EQ(session.handles().live, 0);

  options.scripting = false;
  EXPECT_TRUE(inside([](FilterRecord& r) { EXPECT_EQ(r.descriptorParameters, nullptr); }).ok());
  EXPECT_EQ(Session(module, document, options).replay({}, 0).result, errPlugInHostInsufficient);
}

TEST_F(SessionTest, SettingsOfAFailedFirstSelectorAreNoDefaults) {
  bool fail = true;
  serve = [&](int16_t selector, FilterRecord& r, intptr_t&, int16_t& result) {
    if (selector != filterSelectorParameters)
      return;
    if (!r.parameters)
      r.parameters = r.handleProcs->newProc(4);
    if (fail)
      result = memFullErr;
    else
      std::memcpy(r.handleProcs->lockProc(r.parameters, 1), "set", 4);
  };
  Session session(module, document, {});
  RunOutcome outcome;
  EXPECT_EQ(session.parameters(&outcome), nullptr);
  EXPECT_EQ(session.parameters(), nullptr);
  EXPECT_EQ(outcome.result, memFullErr);
  EXPECT_EQ(session.playSilently({}).result, memFullErr);
  EXPECT_THAT(selectors, ElementsAre(1, 1, 1));
  fail = false;
  EXPECT_STREQ(static_cast<const char*>(session.parameters(&outcome)), "set");
  EXPECT_TRUE(outcome.ok());
  fail = true; // and settings that were there before stay
  EXPECT_FALSE(session.runFromMenu().ok());
  EXPECT_STREQ(static_cast<const char*>(session.parameters()), "set");
  serve = nullptr;
  EXPECT_EQ(Session(module, document, {}).parameters(&outcome), nullptr);
  EXPECT_THAT(outcome.message, HasSubstr("no settings"));
}

TEST_F(SessionTest, BuffersAndHandlesKeepTheBudgetAndRefuseMisuse) {
  options.maxSpace = 1000;
  Session session(module, document, options);
  serve = [](int16_t selector, FilterRecord& r, intptr_t& data, int16_t&) {
    const BufferProcs& b = *r.bufferProcs;
    const HandleProcs& h = *r.handleProcs;
    if (selector == filterSelectorParameters) {
      const Handle handle = h.newProc(6);
      EXPECT_EQ(h.getSizeProc(handle), 6);
      EXPECT_EQ(std::memcmp(h.lockProc(handle, 1), "\0\0\0\0\0\0", 6), 0);
      std::memcpy(h.lockProc(handle, 1), "abcdef", 6);
      h.unlockProc(handle);
      EXPECT_EQ(h.setSizeProc(handle, 8), memFullErr); // still locked once
      h.unlockProc(handle);
      data = reinterpret_cast<intptr_t>(handle);
    }
    if (selector != filterSelectorStart)
      return;
    const Handle kept = reinterpret_cast<Handle>(data);
    for (const int size : {8, 4, 8}) {
      EXPECT_EQ(h.setSizeProc(kept, size), noErr);
      EXPECT_EQ(h.getSizeProc(kept), size);
    }
    EXPECT_EQ(h.setSizeProc(kept, -1), memFullErr);
    EXPECT_EQ(std::memcmp(h.lockProc(kept, 1), "abcd\0\0\0\0", 8), 0);
    h.unlockProc(kept);
    const Handle gone = h.newProc(1);
    h.disposeProc(gone);
    h.disposeProc(gone); // refused, as are the next four
    h.disposeProc(nullptr);
    EXPECT_EQ(h.lockProc(gone, 1), nullptr);
    EXPECT_EQ(h.getSizeProc(gone), 0);
    EXPECT_EQ(h.setSizeProc(gone, 1), nilHandleErr);

    EXPECT_EQ(r.maxSpace, 1000);
    BufferID first = 0, second = 0, none = 77;
    EXPECT_EQ(b.allocateProc(600, &first), noErr);
    EXPECT_EQ(b.allocateProc(401, &none), memFullErr);
    EXPECT_EQ(none, 0);
    EXPECT_EQ(b.allocateProc(-1, &none), memFullErr);
    EXPECT_EQ(b.allocateProc(400, &second), noErr);
    EXPECT_EQ(b.spaceProc(), 0);
    std::memset(b.lockProc(first, 1), 1, 600);
    EXPECT_EQ(b.lockProc(0, 1), nullptr);
    b.unlockProc(first);
    b.unlockProc(first); // refused: not locked
    b.freeProc(first);
    b.freeProc(first); // refused, as are the next three
    b.freeProc(4711);
    b.unlockProc(first);
    EXPECT_EQ(b.lockProc(first, 1), nullptr);
    EXPECT_EQ(b.spaceProc(), 600);
    EXPECT_EQ(b.allocateProc(0, &none), noErr); // an empty block is a block
    EXPECT_NE(b.lockProc(none, 1), nullptr);
    EXPECT_NE(none, first);
  };
  EXPECT_TRUE(session.runFromMenu().ok());
  const host::StoreCounts &buffers = session.buffers(), &handles = session.handles();
  EXPECT_EQ(handles.live, 1);
  EXPECT_EQ(handles.refusedReleases + handles.refusedLocks + handles.refusedOthers, 5);
  EXPECT_EQ(buffers.live, 2); // for the session to free
  EXPECT_EQ(buffers.denied, 2);
  EXPECT_EQ(buffers.bytesInUse, 400);
  EXPECT_EQ(buffers.bytesPeak, 1000);
  EXPECT_EQ(buffers.refusedReleases, 2);
  EXPECT_EQ(buffers.refusedLocks, 2);
  EXPECT_EQ(buffers.refusedUnlocks, 2);

  for (int k = 0; k <= 5; k++) { // the k-th request fails, of both kinds together
    options.failAllocation = k;
    std::vector<int> failed;
    inside([&](FilterRecord& r) {
      BufferID id = 0;
      for (int i = 1; i <= 4; i++)
        if (i % 2 ? !r.handleProcs->newProc(4) : r.bufferProcs->allocateProc(4, &id) != noErr)
          failed.push_back(i);
    });
    EXPECT_EQ(failed, k >= 1 && k <= 4 ? std::vector<int>{k} : std::vector<int>{}) << k;
  }
}

TEST_F(SessionTest, StopsAndReportsFromManyThreads) {
  std::atomic<int> calls = 0, inCallback = 0;
  std::vector<std::pair<int32_t, int32_t>> shown;
  bool stop = false;
  options.abort = [&] { return ++calls == 50 && stop; };
  options.progress = [&](int32_t done, int32_t total) {
    EXPECT_EQ(++inCallback, 1); // one at a time
    std::this_thread::yield();
    if (total == 400)
      shown.emplace_back(done, total);
    inCallback--;
    if (stop && done >= 300)
      throw 1; // counts as a wish to stop
  };
  const auto run = [&] {
    return inside([&](FilterRecord& r) {
      std::vector<std::thread> threads;
      for (int t = 0; t < 4; t++)
        threads.emplace_back([&, t] {
          for (int i = 0; i < 100; i++) {
            r.progressProc(i * 4 + t, 400);
            r.progressProc(i * 4 + t, 400); // reported twice, shown once
            r.abortProc();
          }
        });
      for (std::thread& thread : threads)
        thread.join();
      EXPECT_EQ(r.abortProc(), stop); // a wish to stop stays
    });
  };
  EXPECT_TRUE(run().ok());
  ASSERT_FALSE(shown.empty());
  EXPECT_EQ(shown.back(), std::pair(399, 400));
  for (size_t i = 1; i < shown.size(); i++)
    ASSERT_LT(shown[i - 1].first, shown[i].first);

  // The plug-in goes through to its end; the session remembers that it was asked to stop.
  stop = true;
  for (const int firstCall : {0, 1000}) { // by the abort callback, by the one that throws
    calls = firstCall;
    const RunOutcome stopped = run();
    EXPECT_EQ(stopped.result, noErr);
    EXPECT_TRUE(stopped.cancelled);
    EXPECT_FALSE(stopped.ok());
  }
  options.abort = [] { return throw 1, false; };
  EXPECT_TRUE(inside([](FilterRecord& r) { EXPECT_TRUE(r.abortProc()); }).cancelled);
}

TEST_F(SessionTest, ThePlugInFindsATeamWhoseMembersSleep) {
  const auto userSeconds = [] {
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec) + 1e-6 * double(usage.ru_utime.tv_usec);
  };
  omp_set_max_active_levels(1);
  for (const int threads : {0, 1, 3}) {
    int inner = 0;
    double used = 0;
    options.threads = threads;
    EXPECT_TRUE(inside([&](FilterRecord&) {
                  EXPECT_EQ(omp_get_num_threads(), std::max(threads, 1));
#pragma omp parallel num_threads(std::max(threads, 1))
#pragma omp master
                  inner = omp_get_num_threads();
                  const double before = userSeconds();
                  std::this_thread::sleep_for(std::chrono::milliseconds(80));
                  used = userSeconds() - before;
                }).ok());
    EXPECT_EQ(inner, std::max(threads, 1));
    EXPECT_LT(used, 0.05) << threads;
  }
  EXPECT_EQ(omp_get_max_active_levels(), 1);
}

TEST_F(SessionTest, RefusesDocumentsBeforeAnySelector) {
  Document gray = fixture::noise(3, 3, 8, 1, host::ColourMode::grayscale);
  Session session(module, gray, {});
  for (const RunOutcome& outcome :
       {session.runFromMenu(), session.playSilently({}), session.repeat(), session.replay({}, 0)}) {
    EXPECT_EQ(outcome.result, filterBadParameters);
    EXPECT_EQ(outcome.message, "the filter works on RGB images");
  }
  EXPECT_EQ(session.parameters(), nullptr);
  for (const int width : {32767, 32768}) {
    document = Document(width, 1, 3, 8);
    options.wideRects = false;
    EXPECT_EQ(Session(module, document, options).refusal().empty(), width == 32767);
    EXPECT_TRUE(selectors.empty());
    // A host with wide rectangles, a filter that does not use them.
    EXPECT_EQ(Session(module, document, {}).runFromMenu().ok(), width == 32767);
    EXPECT_EQ(std::exchange(selectors, {}).size(), width == 32767 ? 5u : 2u);
  }
  document = Document(1, 32768, 3, 8);
  EXPECT_THAT(Session(module, document, {}).runFromMenu().message, HasSubstr("too large"));
  selectors.clear();
  for (const std::string& list : {std::string("nonsense"), std::string(40000, ' ')}) {
    list.size() > 100 ? setList({}) : setList(filterList(list));
    EXPECT_THAT(Session(module, document, {}).refusal(), HasSubstr("cannot be offered"));
  }
  EXPECT_TRUE(selectors.empty());
}

TEST_F(SessionTest, OneRunAtATime) {
  Document other = fixture::noise(2, 2, 8);
  Session second(module, other, {});
  RunOutcome inner;
  EXPECT_TRUE(inside([&](FilterRecord&) { inner = second.runFromMenu(); }).ok());
  EXPECT_EQ(inner.result, filterBadParameters);
  EXPECT_THAT(inner.message, HasSubstr("not ended"));
  EXPECT_TRUE(second.runFromMenu().ok());
}

template <class Suite> const Suite* acquire(FilterRecord& r, const char* name, int version) {
  const void* suite = nullptr;
  EXPECT_EQ(r.sSPBasic->AcquireSuite(name, version, &suite), noErr) << name;
  return static_cast<const Suite*>(suite);
}

TEST_F(SessionTest, TheRegistryKeepsCopiesAndKnowsWhatPersists) {
  const std::filesystem::path file =
      std::filesystem::path(testing::TempDir()) / ("session" + std::to_string(getpid()) + ".ini");
  host::Registry registry(file);
  options.registry = &registry;
  EXPECT_TRUE(inside([](FilterRecord& r) {
                const auto* actions = acquire<ActionDescriptorSuite>(r, actionDescriptorSuiteName,
                                                                     actionDescriptorSuiteVersion);
                const auto* entries = acquire<DescriptorRegistrySuite>(
                    r, descriptorRegistrySuiteName, descriptorRegistrySuiteVersion);
                ActionDescriptor made = nullptr, got = nullptr;
                EXPECT_EQ(entries->Get("lasting", &got), noErr);
                EXPECT_EQ(got, nullptr);
                EXPECT_EQ(actions->Make(&made), noErr);
                Boolean value = 9;
                EXPECT_EQ(actions->GetBoolean(made, keyA, &value), errMissingParameter);
                EXPECT_EQ(actions->PutBoolean(made, keyA, 5), noErr);
                EXPECT_EQ(entries->Register("lasting", made, 1), noErr);
                EXPECT_EQ(entries->Register("passing", made, 0), noErr);
                EXPECT_EQ(actions->PutBoolean(made, keyA, 0), noErr); // no longer the registry's
                EXPECT_EQ(actions->Free(made), noErr);
                EXPECT_EQ(actions->Free(made), filterBadParameters);
                EXPECT_EQ(actions->PutBoolean(made, keyA, 1), filterBadParameters);
                EXPECT_EQ(actions->GetBoolean(made, keyA, &value), filterBadParameters);
                EXPECT_EQ(entries->Register("lasting", made, 1), filterBadParameters);
                EXPECT_EQ(entries->Get("lasting", &got), noErr);
                EXPECT_EQ(actions->GetBoolean(got, keyA, &value), noErr);
                EXPECT_EQ(value, 1);
              }).ok());
  EXPECT_EQ(host::Registry(file).get("lasting"), (Script{{keyA, true}}));
  EXPECT_EQ(host::Registry(file).get("passing"), std::nullopt);
  EXPECT_NE(registry.get("passing"), std::nullopt);
  std::filesystem::remove(file);
}

TEST_F(SessionTest, SuitesAreKnownByNameAndVersion) {
  std::string opened;
  options.openAddress = [&](const std::string& address) {
    opened = address;
    return address != "bad";
  };
  inside([](FilterRecord& r) {
    const void* suite = &r;
    for (const char* name : {actionDescriptorSuiteName, "no such suite"}) {
      EXPECT_NE(r.sSPBasic->AcquireSuite(name, 1, &suite), noErr);
      EXPECT_EQ(suite, nullptr);
      EXPECT_NE(r.sSPBasic->ReleaseSuite(name, 1), noErr);
    }
    EXPECT_EQ(r.sSPBasic->ReleaseSuite(actionDescriptorSuiteName, 2), noErr);
    const auto* properties = acquire<PropertySuite>(r, "Photoshop Property Suite for Plug-ins", 1);
    const auto ask = [&](const char(&signature)[5], const char(&name)[5]) {
      PropertyAnswer answer{-1, nullptr};
      const HostResult result =
          properties->getProperty(fourCharCode(signature), fourCharCode(name), 0, &answer);
      return result == noErr ? answer.number : -1;
    };
    EXPECT_EQ(ask("8BIM", "docW"), 20);
    EXPECT_EQ(ask("8BIM", "docH"), 13);
    EXPECT_EQ(ask("8BIM", "mode"), plugInModeRGBColor);
    EXPECT_EQ(ask("8BIM", "nuch"), 3);
    EXPECT_EQ(ask("8BIM", "EXIF"), -1);
    EXPECT_EQ(ask("othr", "docW"), -1);
    const auto* handles = acquire<HandleSuite>(r, "Photoshop Handle Suite for Plug-ins", 2);
    EXPECT_EQ(r.handleProcs->getSizeProc(handles->newHandle(3)), 3);
    const auto* files = acquire<FileListSuite>(r, "Photoshop GetFileList Suite for Plug-ins", 4);
    EXPECT_EQ(files->openAddress("http://example.org/"), noErr);
    EXPECT_EQ(files->openAddress("bad"), errPlugInHostInsufficient);
  });
  EXPECT_EQ(opened, "bad");
  options.suites = false;
  inside([](FilterRecord& r) { EXPECT_EQ(r.sSPBasic, nullptr); });
}

// Over the real filter, whose every request of the heap may be the one that fails. The first ones
// are tried one by one, then some in between, and those that only the correction comes after.
TEST(BuiltModule, ARunWithoutMemoryIsNeverTakenForAResult) {
  const Document before = fixture::hazyScene(60, 41, 8);
  const auto run = [&](int served, RunOutcome& outcome) {
    Document document = fixture::copyOf(before);
    Session session(fixture::builtModule(), document, {});
    FailingMemory memory(served);
    outcome = session.playSilently({});
    return std::pair(std::move(document), memory.hasRefused());
  };
  RunOutcome outcome;
  const Document expected = run(1 << 30, outcome).first;
  ASSERT_TRUE(outcome.ok()) << outcome.message;
  EXPECT_GT(fixture::largestDifference(expected, before), 9);
  int failures = 0;
  for (int served = 0; served < 4000000; served += served < 40 ? 1 : served) {
    const auto [document, refused] = run(served, outcome);
    EXPECT_TRUE(outcome.ok() ? fixture::sameSamples(document, expected) : !outcome.message.empty())
        << served;
    EXPECT_TRUE(refused || outcome.ok());
    failures += !outcome.ok();
    if (!refused)
      break;
  }
  EXPECT_GT(failures, 20);
}

} // namespace
