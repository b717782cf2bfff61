// The export flag's path through a run: registry, script, dialog and back, with every call failing.
#include "tests/frame/FrameFixture.h"

namespace {

using fixture::failing, fixture::Strike, fixture::struck;

class Persistence : public FrameTest {
protected:
  Persistence() { reset(); }

  // A new host before the start selector; each of its calls can fail.
  void reset() {
    open(7, 5, 8);
    prepare();
    LockHandles();
    suites.ReleaseSuite = host::basicSuite()->ReleaseSuite;
    suites.AcquireSuite = [](const char* name, int32_t version, const void** suite) {
      const int32_t code = Strike::code(host::basicSuite()->AcquireSuite, name, version, suite);
      const bool first = *suite == &host::descriptorRegistrySuite;
      *suite = code ? nullptr : first ? static_cast<const void*>(&entries) : &actions;
      return code;
    };
    entries = failing<&DescriptorRegistrySuite::Get, &DescriptorRegistrySuite::Register>(
        host::descriptorRegistrySuite);
    actions = failing<&ActionDescriptorSuite::Make, &ActionDescriptorSuite::GetBoolean,
                      &ActionDescriptorSuite::PutBoolean>(host::actionDescriptorSuite);
    readProcs =
        failing<&ReadDescriptorProcs::getBooleanProc,
                &ReadDescriptorProcs::closeReadDescriptorProc>(*host::readDescriptorProcs());
    writeProcs = *host::writeDescriptorProcs();
    record().sSPBasic = &suites;
    record().descriptorParameters = &script;
    record().advanceState = [] { return HostResult(-77); }; // the run ends there
    offer({}, plugInDialogSilent, plugInDialogOptional);
  }
  void offer(const host::Script& content, int play, int recorded) {
    script = {0, int16_t(play), int16_t(recorded), nullptr, &readProcs, &writeProcs};
    script.descriptor = host::makeDescriptor(in->host.handles, content);
  }
  host::Script stored() { return registry.get(pluginUniqueString).value(); }
  void store(bool flag) { registry.put(pluginUniqueString, flagged(flag), true); }
  static host::Script flagged(bool flag) { return {{fourCharCode("oMap"), flag}}; }

  static inline DescriptorRegistrySuite entries;
  static inline ActionDescriptorSuite actions;
  SPBasicSuite suites;
  ReadDescriptorProcs readProcs;
  WriteDescriptorProcs writeProcs;
  DescriptorParameters script;
};

// Whatever fails: the flag and the store stay as they are, what was acquired is released, what was
// allocated is freed.
TEST_F(Persistence, EachRegistryCallFails) {
  for (bool write : {false, true})
    for (int calls = write ? 5 : 4, k = 1; k <= calls + 1; ++k) {
      reset();
      store(true);
      Strike::at = k;
      gParams->outputMap = 0x500; // only its low byte counts
      const bool done = k > calls;
      EXPECT_EQ(write ? WriteRegistryParameters() : ReadRegistryParameters(), done ? 0 : struck);
      EXPECT_EQ(Strike::calls, std::min(k, calls));
      EXPECT_EQ(gParams->outputMap, done && !write ? 1 : 0x500);
      EXPECT_EQ(stored(), flagged(!(done && write)));
      EXPECT_EQ(in->host.suiteCounts.acquired, in->host.suiteCounts.released);
      EXPECT_EQ(in->host.actionDescriptors.count(), 0u);
    }
  entries.Register = [](const char*, ActionDescriptor, Boolean isPersistent) {
    return isPersistent == 1 ? 0 : -1;
  };
  Strike::at = 0;
  EXPECT_EQ(WriteRegistryParameters(), 0);
  registry = {}; // the first run on this host
  EXPECT_EQ(ReadRegistryParameters(), 0);
  EXPECT_EQ(gParams->outputMap, 0x500);
  record().sSPBasic = nullptr;
  EXPECT_EQ(ReadRegistryParameters(), errPlugInHostInsufficient);
  EXPECT_EQ(WriteRegistryParameters(), errPlugInHostInsufficient);
}

TEST_F(Persistence, ScriptReading) {
  // The script, the call that fails (getBoolean, close), the code, the setting. The fourth stops at
  // another key, and close returns the code.
  const host::Script on = flagged(true), off = flagged(false),
                     two = {{fourCharCode("Amnt"), true}, {fourCharCode("oMap"), true}};
  const std::tuple<host::Script, int, int, int> cases[] = {{on, 0, 0, 1},  {off, 0, 0, 0},
                                                           {{}, 0, 0, 5},  {two, 0, 0, 5},
                                                           {off, 1, 0, 5}, {off, 2, struck, 0}};
  for (const auto& [content, failing, code, outputMap] : cases) {
    reset();
    offer(content, plugInDialogSilent, plugInDialogOptional);
    Strike::at = failing;
    gParams->outputMap = 5;
    uint8_t dialog = 9;
    EXPECT_EQ(int16_t(ReadScriptParameters(&dialog)), code);
    EXPECT_EQ(std::tuple(dialog, gParams->outputMap), std::tuple(0, outputMap));
    EXPECT_EQ(script.descriptor, nullptr);
    EXPECT_EQ(in->host.readTokens.count(), failing == 2 ? 1u : 0u);
  }
  EXPECT_EQ(ReadScriptParameters(nullptr), errMissingParameter);
}

// With a descriptor the host's options decide; without one the plug-in itself.
TEST_F(Persistence, WhoDecidesOnTheDialog) {
  answer = 2;
  for (int i = 0; i < 2 * 3 * 3 * 5; ++i) {
    const int wish = i % 2, play = i / 2 % 3, recorded = i / 6 % 3, missing = i / 18;
    reset();
    gData->queryForParameters = wish;
    offer(flagged(true), play, recorded);
    if (missing == 1)
      script.descriptor = nullptr;
    else if (missing == 2)
      script.readDescriptorProcs = nullptr;
    else if (missing == 3)
      record().descriptorParameters = nullptr;
    else if (missing == 4)
      readProcs.openReadDescriptorProc = [](ScriptDescriptor, const FourCharCode* keys) {
        EXPECT_EQ(std::pair(keys[0], keys[1]), std::pair(0x6f4d6170u, 0u));
        return ReadToken();
      };
    const bool asks = missing % 4 ? wish : recorded == 1 || play == 1;
    EXPECT_EQ(call(filterSelectorStart), asks ? userCanceledErr : -77);
    EXPECT_EQ(opened, asks) << wish << play << recorded << missing;
    EXPECT_EQ(gData->queryForParameters, 0);
  }
  reset();
  offer(flagged(true), plugInDialogDisplay, plugInDialogRequired);
  readProcs.closeReadDescriptorProc = [](ReadToken) { return struck; };
  EXPECT_EQ(call(filterSelectorStart), -77); // script error: no dialog, and the run continues
  EXPECT_EQ(opened + runEnded, 0);
}

// Cancel stores the flag from before the script and the dialog, OK stores the user's choice; the
// registry's flag decides whether the mask is shown.
TEST_F(Persistence, WhatTheDialogLeaves) {
  for (bool ok : {false, true})
    for (bool before : {false, true}) {
      reset();
      store(before);
      offer(flagged(!before), plugInDialogDisplay, plugInDialogOptional);
      answer = ok ? 1 : 2;
      ticked = !before;
      EXPECT_EQ(call(filterSelectorStart), ok ? -77 : userCanceledErr);
      EXPECT_EQ(std::tuple(runEnded, gParams->outputMap, gParams->displayMap, stored()),
                std::tuple(!ok, ok != before, before, flagged(ok != before)));
    }
}

TEST_F(Persistence, ScriptWriting) {
  const auto given = reinterpret_cast<intptr_t>(script.descriptor);
  gParams->outputMap = 0x201; // only its low byte counts
  EXPECT_EQ(call(filterSelectorFinish), 0);
  EXPECT_FALSE(in->host.handles.has(given));
  EXPECT_EQ(*host::readDescriptor(in->host.handles, script.descriptor), flagged(true));
  EXPECT_EQ(std::exchange(script.recordInfo, 0), plugInDialogRequired);
  writeProcs.openWriteDescriptorProc = [] { return WriteToken(); };
  EXPECT_EQ(WriteScriptParameters(), errMissingParameter);
  script.writeDescriptorProcs = nullptr;
  EXPECT_EQ(WriteScriptParameters(), 0);
  record().descriptorParameters = nullptr;
  EXPECT_EQ(WriteScriptParameters() + script.recordInfo, 0);
}

} // namespace
