// The export flag's way through a run: registry, script, dialog and back, with every call failing.
#include "tests/frame/FrameFixture.h"

namespace {

class Persistence : public FrameTest {
protected:
  Persistence() { reset(); }

  // A fresh host, at the moment before the start selector; its procedures are the test's to change.
  void reset() {
    open(7, 5, 8);
    prepare();
    LockHandles();
    suites = *record().sSPBasic;
    registrySuite = host::descriptorRegistrySuite;
    actionSuite = host::actionDescriptorSuite;
    readProcs = *host::readDescriptorProcs();
    writeProcs = *host::writeDescriptorProcs();
    record().sSPBasic = &suites;
    script() = {0, 0, 0, nullptr, &readProcs, &writeProcs};
    record().descriptorParameters = &script();
    record().advanceState = [] { return HostResult(-77); }; // the run ends there
  }
  DescriptorParameters& script() { return in->host.descriptorParameters; }
  void offer(const host::Script& content, int16_t play, int16_t recorded) {
    script().playInfo = play;
    script().recordInfo = recorded;
    script().descriptor = host::makeDescriptor(in->host.handles, content);
  }
  std::optional<host::Script> stored() { return registry.get(pluginUniqueString); }
  void store(bool flag) { registry.put(pluginUniqueString, {{keyOutputMap, flag}}, true); }

  static inline DescriptorRegistrySuite registrySuite;
  static inline ActionDescriptorSuite actionSuite;
  SPBasicSuite suites;
  ReadDescriptorProcs readProcs;
  WriteDescriptorProcs writeProcs;
};

// Whatever fails: the flag and the store stay, what was acquired is released, what was made is
// freed. The flag's low byte counts, and what is stored survives the host.
TEST_F(Persistence, EachRegistryCallFails) {
  for (bool write : {false, true})
    for (int calls = write ? 5 : 4, k = 1; k <= calls + 1; ++k) {
      reset();
      store(true);
      Failing<&SPBasicSuite::AcquireSuite>::install(suites);
      static auto acquire = suites.AcquireSuite;
      suites.AcquireSuite = [](const char* name, int32_t version, const void** suite) {
        const int32_t code = acquire(name, version, suite);
        if (code == 0)
          *suite = *suite == &host::descriptorRegistrySuite
                       ? static_cast<const void*>(&registrySuite)
                       : &actionSuite;
        return code;
      };
      Failing<&DescriptorRegistrySuite::Get>::install(registrySuite);
      Failing<&DescriptorRegistrySuite::Register>::install(registrySuite);
      Failing<&ActionDescriptorSuite::Make>::install(actionSuite);
      Failing<&ActionDescriptorSuite::GetBoolean>::install(actionSuite);
      Failing<&ActionDescriptorSuite::PutBoolean>::install(actionSuite);
      Strike::at = k;
      gParams->outputMap = 0x500;
      const bool done = k > calls;
      EXPECT_EQ(write ? WriteRegistryParameters() : ReadRegistryParameters(), done ? 0 : struck);
      EXPECT_EQ(Strike::calls, std::min(k, calls));
      EXPECT_EQ(gParams->outputMap, done && !write ? 1 : 0x500);
      EXPECT_EQ(*stored(), (host::Script{{keyOutputMap, !(done && write)}}));
      EXPECT_EQ(in->host.suiteCounts.acquired, in->host.suiteCounts.released);
      EXPECT_EQ(in->host.actionDescriptors.count(), 0u);
    }
  static bool persistent;
  registrySuite.Register = [](const char*, ActionDescriptor, Boolean isPersistent) {
    persistent = isPersistent == 1;
    return int32_t(0);
  };
  Strike::at = 0;
  EXPECT_EQ(WriteRegistryParameters(), 0);
  EXPECT_TRUE(persistent);

  registry = {}; // the first run on this host
  gParams->outputMap = 7;
  EXPECT_EQ(ReadRegistryParameters(), 0);
  EXPECT_EQ(gParams->outputMap, 7);
  record().sSPBasic = nullptr;
  EXPECT_EQ(ReadRegistryParameters(), errPlugInHostInsufficient);
  EXPECT_EQ(WriteRegistryParameters(), errPlugInHostInsufficient);
}

TEST_F(Persistence, ScriptReading) {
  const FourCharCode other = fourCharCode("Amnt");
  const struct {
    host::Script content;
    int failing; // call that fails: getBoolean or close
    int16_t code;
    int32_t outputMap;
  } cases[] = {
      {{{keyOutputMap, true}}, 0, 0, 1},
      {{{keyOutputMap, false}}, 0, 0, 0},
      {{}, 0, 0, 5},
      {{{other, true}, {keyOutputMap, true}}, 0, 0, 5}, // stops there; the close gives the code
      {{{keyOutputMap, true}, {other, false}}, 0, 0, 1},
      {{{keyOutputMap, false}}, 1, 0, 5},
      {{{keyOutputMap, false}}, 2, struck, 0},
  };
  for (const auto& c : cases) {
    reset();
    offer(c.content, plugInDialogSilent, plugInDialogOptional);
    Failing<&ReadDescriptorProcs::getBooleanProc>::install(readProcs);
    Failing<&ReadDescriptorProcs::closeReadDescriptorProc>::install(readProcs);
    Strike::at = c.failing;
    gParams->outputMap = 5;
    uint8_t dialog = 9;
    EXPECT_EQ(int16_t(ReadScriptParameters(&dialog)), c.code);
    EXPECT_EQ(dialog, 0);
    EXPECT_EQ(gParams->outputMap, c.outputMap);
    EXPECT_EQ(script().descriptor, nullptr);
    EXPECT_EQ(in->host.handles.counts().live, 2);
    EXPECT_EQ(in->host.readTokens.count(), c.failing == 2 ? 1u : 0u);
  }
  EXPECT_EQ(ReadScriptParameters(nullptr), errMissingParameter);
}

// With a descriptor the host's options decide; without one the plug-in's own wish.
TEST_F(Persistence, WhoDecidesOnTheDialog) {
  answer = 2;
  for (int wish : {0, 1})
    for (int play : {0, 1, 2})
      for (int recorded : {0, 1, 2})
        for (int missing = 0; missing <= 4; ++missing) {
          reset();
          gData->queryForParameters = wish;
          offer({{keyOutputMap, true}}, int16_t(play), int16_t(recorded));
          if (missing == 1)
            script().descriptor = nullptr;
          else if (missing == 2)
            script().readDescriptorProcs = nullptr;
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
  offer({{keyOutputMap, true}}, plugInDialogDisplay, plugInDialogRequired);
  readProcs.closeReadDescriptorProc = [](ReadToken) { return struck; };
  EXPECT_EQ(call(filterSelectorStart), -77); // a script in error: no dialog, and the run goes on
  EXPECT_EQ(opened, 0);
  EXPECT_EQ(runEnded, 0);
}

// A cancel stores the flag as it was before the script and the dialog, an OK what the user ticked;
// the mask is shown as the registry says.
TEST_F(Persistence, WhatTheDialogLeaves) {
  for (bool ok : {false, true})
    for (bool before : {false, true}) {
      reset();
      store(before);
      offer({{keyOutputMap, !before}}, plugInDialogDisplay, plugInDialogOptional);
      answer = ok ? 1 : 2;
      ticked = !before;
      EXPECT_EQ(call(filterSelectorStart), ok ? -77 : userCanceledErr);
      EXPECT_EQ(runEnded, !ok);
      EXPECT_EQ(gParams->outputMap, ok != before);
      EXPECT_EQ(gParams->displayMap, before);
      EXPECT_EQ(*stored(), (host::Script{{keyOutputMap, ok != before}}));
    }
}

TEST_F(Persistence, ScriptWriting) {
  offer({}, plugInDialogSilent, plugInDialogOptional);
  const ScriptDescriptor given = script().descriptor;
  gParams->outputMap = 0x201;
  Failing<&WriteDescriptorProcs::putBooleanProc>::install(writeProcs); // nobody looks
  for (int failing : {0, 1}) {
    Strike::at = failing + Strike::calls;
    EXPECT_EQ(call(filterSelectorFinish), 0);
    EXPECT_EQ(script().recordInfo, plugInDialogRequired);
    EXPECT_FALSE(in->host.handles.has(reinterpret_cast<intptr_t>(given)));
    EXPECT_EQ(*host::readDescriptor(in->host.handles, script().descriptor),
              failing ? host::Script() : (host::Script{{keyOutputMap, true}}));
  }
  script().recordInfo = 0;
  writeProcs.openWriteDescriptorProc = [] { return WriteToken(); };
  EXPECT_EQ(WriteScriptParameters(), errMissingParameter);
  script().writeDescriptorProcs = nullptr;
  EXPECT_EQ(WriteScriptParameters(), 0);
  record().descriptorParameters = nullptr;
  EXPECT_EQ(WriteScriptParameters(), 0);
  EXPECT_EQ(script().recordInfo, 0);
}

} // namespace
