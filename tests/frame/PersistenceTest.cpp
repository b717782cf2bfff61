// The export flag's two stores against a host whose every call can fail.
#include "frame/selectors/Persistence.h"
#include "frame/contract/ScriptKeys.h"
#include "tests/frame/FrameFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The host's scripting and registry, and the order in which they are called.
struct Store {
  std::vector<std::string> calls;
  std::string failing; // the call that fails, with code -42
  std::vector<std::pair<FourCharCode, Boolean>> keys;
  size_t next = 0;
  HostResult closeCode = 0;
  bool hasEntry = true;
  Boolean entry = 1, written = 9;

  int32_t note(const char* call) {
    calls.push_back(call);
    return failing == call ? -42 : 0;
  }
};
Store store;

ReadToken openRead(ScriptDescriptor, const FourCharCode* keys) {
  EXPECT_EQ(keys[0], 0x6f4d6170u);
  EXPECT_EQ(keys[1], 0u);
  return store.note("openRead") ? nullptr : reinterpret_cast<ReadToken>(&store);
}
HostResult closeRead(ReadToken) {
  store.note("closeRead");
  return store.closeCode;
}
Boolean getKey(ReadToken, FourCharCode* key, FourCharCode*, int32_t*) {
  if (store.next == store.keys.size())
    return 0;
  *key = store.keys[store.next++].first;
  return 1;
}
HostResult getBoolean(ReadToken, Boolean* value) {
  *value = store.keys[store.next - 1].second;
  return HostResult(store.note("getBoolean"));
}
WriteToken openWrite() {
  return store.note("openWrite") ? nullptr : reinterpret_cast<WriteToken>(&store);
}
Handle recordedScript = nullptr;
HostResult closeWrite(WriteToken, ScriptDescriptor* descriptor) {
  *descriptor = recordedScript;
  return HostResult(store.note("closeWrite"));
}
HostResult putBoolean(WriteToken, FourCharCode key, Boolean value) {
  EXPECT_EQ(key, 0x6f4d6170u);
  store.written = value;
  return HostResult(store.note("putBoolean"));
}

constexpr char ourKey[] = "3f1c8a52-6d07-4be9-9a41-c27e5d90b1f4";
const ActionDescriptor made = reinterpret_cast<ActionDescriptor>(&store);

const ActionDescriptorSuite descriptors = {[](ActionDescriptor* d) {
                                             *d = made;
                                             return store.note("Make");
                                           },
                                           [](ActionDescriptor) { return store.note("Free"); },
                                           [](ActionDescriptor, FourCharCode key, Boolean* value) {
                                             EXPECT_EQ(key, 0x6f4d6170u);
                                             *value = store.entry;
                                             return store.note("GetBoolean");
                                           },
                                           [](ActionDescriptor, FourCharCode, Boolean value) {
                                             store.written = value;
                                             return store.note("PutBoolean");
                                           }};
const DescriptorRegistrySuite registry = {
    [](const char* key, ActionDescriptor d, Boolean persistent) {
      EXPECT_STREQ(key, ourKey);
      EXPECT_EQ(d, made);
      EXPECT_EQ(persistent, 1);
      return store.note("Register");
    },
    [](const char* key, ActionDescriptor* d) {
      EXPECT_STREQ(key, ourKey);
      *d = store.hasEntry ? made : nullptr;
      return store.note("Get");
    }};

bool isRegistry(const char* name, int32_t version) {
  return std::string(name) == "61e608b0-40fd-11d1-8da3-00c04fd5f7ee" && version == 1;
}
int32_t acquire(const char* name, int32_t version, const void** suite) {
  *suite = isRegistry(name, version) ? static_cast<const void*>(&registry) : &descriptors;
  return store.note(isRegistry(name, version) ? "acquire registry" : "acquire descriptors");
}
int32_t releaseSuite(const char* name, int32_t version) {
  return store.note(isRegistry(name, version) ? "release registry" : "release descriptors");
}

class Persistence : public FrameTest {
protected:
  ReadDescriptorProcs readProcs = {0, 18, openRead, closeRead, getKey, getBoolean, {}};
  WriteDescriptorProcs writeProcs = {0, 16, openWrite, closeWrite, putBoolean, {}};
  DescriptorParameters script = {0, 0, 0, nullptr, &readProcs, &writeProcs};
  SPBasicSuite suites = {acquire, releaseSuite};

  Persistence() {
    record.descriptorParameters = &script;
    record.sSPBasic = &suites;
    start();
  }
  void start() {
    store = {};
    call(filterSelectorParameters);
    LockHandles();
  }
  // A script with these keys, to be read with these options.
  void give(std::vector<std::pair<FourCharCode, Boolean>> keys, int16_t play = 0,
            int16_t recorded = 0) {
    dispose(script.descriptor);
    script.descriptor = newHandle(4);
    script.playInfo = play;
    script.recordInfo = recorded;
    store.keys = std::move(keys);
    store.next = 0;
  }
};

TEST_F(Persistence, RegistryRead) {
  gParams->outputMap = 0;
  EXPECT_EQ(ReadRegistryParameters(), 0);
  EXPECT_EQ(gParams->outputMap, 1);
  EXPECT_THAT(store.calls,
              ElementsAre("acquire registry", "acquire descriptors", "Get", "GetBoolean", "Free",
                          "release registry", "release descriptors"));
  store = {.hasEntry = false}; // the first run on a host
  EXPECT_EQ(ReadRegistryParameters(), 0);
  EXPECT_EQ(gParams->outputMap, 1);
  EXPECT_THAT(store.calls, ElementsAre("acquire registry", "acquire descriptors", "Get",
                                       "release registry", "release descriptors"));
}

// Whatever fails: the flag stays, what was acquired is released, what was made is freed.
TEST_F(Persistence, RegistryFailures) {
  const auto count = [](const char* call) {
    return std::count(store.calls.begin(), store.calls.end(), call);
  };
  for (bool write : {false, true})
    for (const char* failing : {"acquire registry", "acquire descriptors", "Get", "GetBoolean",
                                "Make", "PutBoolean", "Register"}) {
      store = {.failing = failing, .entry = 0};
      gParams->outputMap = 0x1ff;
      const int32_t code = write ? WriteRegistryParameters() : ReadRegistryParameters();
      const bool reached = count(failing) > 0;
      EXPECT_EQ(code, reached ? -42 : 0) << failing;
      if (reached && !write) {
        EXPECT_EQ(gParams->outputMap, 0x1ff) << failing;
      }
      EXPECT_EQ(count("release registry"), failing != std::string("acquire registry")) << failing;
      EXPECT_EQ(count("release descriptors"), std::string(failing).find("acquire") != 0) << failing;
      EXPECT_EQ(count("Free"), count("GetBoolean") + count("PutBoolean")) << failing;
    }
  record.sSPBasic = nullptr;
  EXPECT_EQ(ReadRegistryParameters(), errPlugInHostInsufficient);
  EXPECT_EQ(WriteRegistryParameters(), errPlugInHostInsufficient);
}

TEST_F(Persistence, RegistryWrite) {
  gParams->outputMap = 0x1ff; // the low byte counts
  EXPECT_EQ(WriteRegistryParameters(), 0);
  EXPECT_EQ(store.written, 0xff);
  EXPECT_THAT(store.calls,
              ElementsAre("acquire registry", "acquire descriptors", "Make", "PutBoolean",
                          "Register", "Free", "release registry", "release descriptors"));
}

struct Reading {
  std::vector<std::pair<FourCharCode, Boolean>> keys;
  const char* failing;
  HostResult closeCode;
  int32_t low; // low half of the code, sign-extended, which is what the start selector looks at
  int32_t outputMap;
};

TEST_F(Persistence, ScriptReading) {
  const FourCharCode other = fourCharCode("Amnt");
  for (const Reading& r : {Reading{{{keyOutputMap, 1}}, "", 0, 0, 1},
                           {{{keyOutputMap, 0}}, "", 0, 0, 0},
                           {{{keyOutputMap, 7}}, "", 0, 0, 1},
                           {{}, "", 0, 0, 5},
                           {{{other, 1}, {keyOutputMap, 1}}, "", 0, 0, 5}, // stops at the key
                           {{{other, 1}}, "", -30, -30, 5},
                           {{{keyOutputMap, 1}, {other, 0}}, "", 0, 0, 1},
                           {{{keyOutputMap, 0}}, "getBoolean", -41, -41, 5}}) {
    start();
    give(r.keys, plugInDialogSilent);
    store.failing = r.failing;
    store.closeCode = r.closeCode;
    gParams->outputMap = 5;
    uint8_t dialog = 9;
    EXPECT_EQ(int16_t(ReadScriptParameters(&dialog)), r.low);
    EXPECT_EQ(dialog, 0);
    EXPECT_EQ(gParams->outputMap, r.outputMap);
    EXPECT_EQ(script.descriptor, nullptr); // disposed of
    EXPECT_EQ(handles.size(), 2u);
    EXPECT_EQ(store.calls.back(), "closeRead");
  }
  EXPECT_EQ(ReadScriptParameters(nullptr), errMissingParameter);
}

struct Asking {
  int16_t play, recorded;
  bool dialog;
};

// With a descriptor the host's options decide; without one the plug-in's own wish.
TEST_F(Persistence, DialogDecision) {
  for (int32_t wish : {0, 1})
    for (const Asking& a : {Asking{0, 0, false},
                            {1, 0, true},
                            {2, 0, false},
                            {0, 1, true},
                            {2, 1, true},
                            {1, 1, true},
                            {0, 2, false}}) {
      for (const char* failing : {"", "openRead"}) {
        start();
        gData->queryForParameters = wish;
        give({{keyOutputMap, 1}}, a.play, a.recorded);
        store.failing = failing;
        uint8_t dialog = 9;
        EXPECT_EQ(ReadScriptParameters(&dialog), 0);
        EXPECT_EQ(dialog, a.dialog) << a.play << a.recorded;
        EXPECT_EQ(script.descriptor != nullptr, *failing != 0);
      }
      dispose(script.descriptor);
      for (int missing = 0; missing < 3; ++missing) {
        script.descriptor = nullptr;
        script.readDescriptorProcs = missing == 1 ? nullptr : &readProcs;
        record.descriptorParameters = missing == 2 ? nullptr : &script;
        uint8_t dialog = 9;
        EXPECT_EQ(ReadScriptParameters(&dialog), 0);
        EXPECT_EQ(dialog, wish);
      }
      record.descriptorParameters = &script;
      script.readDescriptorProcs = &readProcs;
    }
}

TEST_F(Persistence, ScriptWriting) {
  give({});
  gParams->outputMap = 0x201;
  recordedScript = newHandle(4);
  store.failing = "putBoolean"; // nobody looks
  EXPECT_EQ(WriteScriptParameters(), 0);
  EXPECT_EQ(store.written, 1);
  EXPECT_EQ(script.descriptor, recordedScript);
  EXPECT_EQ(script.recordInfo, plugInDialogRequired);
  EXPECT_EQ(handles.size(), 3u); // the one given is gone
  EXPECT_THAT(store.calls, ElementsAre("openWrite", "putBoolean", "closeWrite"));

  store = {.failing = "openWrite"};
  EXPECT_EQ(WriteScriptParameters(), errMissingParameter);
  EXPECT_EQ(script.descriptor, recordedScript);
  store = {};
  script.writeDescriptorProcs = nullptr;
  EXPECT_EQ(WriteScriptParameters(), 0);
  record.descriptorParameters = nullptr;
  EXPECT_EQ(WriteScriptParameters(), 0);
  EXPECT_THAT(store.calls, IsEmpty());
}

} // namespace
