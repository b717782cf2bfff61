// The frame's utility layer: texts and numbers, suites, properties, handles, and the detection of
// the host.
#include "frame/text/Numbers.h"
#include "frame/utility/DllInstance.h"
#include "frame/utility/HostIdentity.h"
#include "frame/utility/HostProperties.h"
#include "frame/utility/HostSuites.h"
#include "frame/utility/UtilityHandles.h"
#include "hostapi/UtilitySuites.h"
#include "tests/frame/FrameFixture.h"

namespace {

TEST(Texts, EndAt255BytesAndReplaceTheirPlaceholders) {
  PascalString text(std::string(250, 'a'));
  text.append(INT32_MIN);
  EXPECT_EQ(text.text(), std::string(250, 'a').append("-2147"));
  const std::string full(200, 'f'), limit(255, 'f');
  const std::array<std::string, 4> cases[] = {
      {"a^1^0^", "x", "", "ax^"}, {"^3 ^/ ^^2", "", "z", "^3 ^/ ^z"}, {"^0^2", full, full, limit}};
  for (const auto& [given, arg0, arg2, result] : cases) {
    PascalString replaced(given);
    ParamString(replaced, PascalString(arg0), {}, PascalString(arg2));
    EXPECT_EQ(replaced.view(), result);
  }
}

TEST(Numbers, AreWrittenInDecimal) {
  const std::tuple<double, int, const char*> written[] = {
      {2.675, 2, "2.68"}, {2.674999, 2, "2.67"}, {-0.125, 2, "-0.13"}, {9.996, 2, "10.0"},
      {-99.5, 0, "-100"}, {100, 0, "100"},       {2, 1, "2"},          {1.5, 3, "1.50"},
      {-0.004, 2, "0.0"}, {5e-324, 3, "0.00"},   {INFINITY, 2, "inf"}, {2.95, 1, "3"}};
  for (const auto& [value, precision, text] : written)
    EXPECT_EQ(NumberToString(value, precision).view(), text);
}

class Suites : public FrameTest {
protected:
  ~Suites() override { ReleaseHostSuites(); }
};

TEST_F(Suites, AreAcquiredOnceAndReleasedTogether) {
  for (int times = 0; times < 2; ++times)
    EXPECT_EQ(GetHostSuite<void>(HostSuiteId::descriptorRegistry), &host::descriptorRegistrySuite);
  EXPECT_EQ(in->host.suiteCounts.acquired, 1);
  EXPECT_THROW(GetHostSuite<void>(HostSuiteId::alias), int32_t);
  EXPECT_EQ(HostSuiteRecord(HostSuiteId::alias).lastError, errPlugInHostInsufficient);
  ReleaseHostSuites();
  ReleaseHostSuites();
  GetHostSuite<void>(HostSuiteId::descriptorRegistry);
  gBasicSuite = nullptr;
  ReleaseHostSuites(); // forgets the suites even without a host
  EXPECT_EQ(in->host.suiteCounts.released, 1);
  EXPECT_THROW(GetHostSuite<void>(HostSuiteId::descriptorRegistry), int32_t);
}

TEST_F(Suites, TellTheModulesHandleOfAReference) {
  static const AccessSuite access = {[](void*, PluginAccess*) { return int32_t(0); },
                                     [](PluginAccess, PlatformAccess* found) {
                                       return *found = {&gData, nullptr}, int32_t(0);
                                     }};
  HostSuiteRecord(HostSuiteId::access).suite = &access;
  void* const own = GetDLLInstance(nullptr);
  EXPECT_TRUE(own && GetDLLInstance(this) == &gData);
  gDllInstance = own;
}

TEST_F(Suites, GiveProperties) {
  static const HandleProcs& procs = *record().handleProcs;
  static const HandleSuite handles = {procs.newProc,     procs.disposeProc, procs.getSizeProc,
                                      procs.setSizeProc, procs.lockProc,    procs.unlockProc};
  static PropertyAnswer answer = {7, nullptr};
  static const PropertySuite properties = {
      [](FourCharCode, FourCharCode key, int32_t index, PropertyAnswer* given) {
        *given = answer;
        return key == fourCharCode("URL ") && index == 2 ? noErr : HostResult(-50);
      }};
  HostSuiteRecord(HostSuiteId::property).suite = &properties;
  HostSuiteRecord(HostSuiteId::handle).suite = &handles;
  HostProperty property = intptr_t(5);
  EXPECT_EQ(GetHostProperty(fourCharCode("titl"), 2, property), -30900); // the host has none
  EXPECT_EQ(GetHostProperty(fourCharCode("URL "), 2, property), 0);
  EXPECT_EQ(std::get<intptr_t>(property), 7);
  for (bool known : {true, false}) {
    answer.handle = known ? procs.newProc(3) : reinterpret_cast<Handle>(77);
    EXPECT_EQ(GetHostProperty(fourCharCode("URL "), 2, property), known ? 0 : memFullErr);
    EXPECT_EQ(std::get<1>(property), std::vector<std::byte>(3));
    EXPECT_EQ(in->host.handles.counts().live, 0);
  }
}

using Handles = FrameTest;

TEST_F(Handles, AreTheHostsWhereItsRecordIsComplete) {
  HandleProcs procs;
  for (size_t flaw = 0; flaw <= 9; ++flaw) { // too few procedures, one of them null, no flaw
    procs = *record().handleProcs;
    procs.count = flaw == 0 ? 7 : 8;
    if (flaw >= 1 && flaw <= 8)
      std::memset(reinterpret_cast<char*>(&procs) + flaw * sizeof procs.newProc, 0, 8);
    const Handle handle = NewUtilityHandle(&procs, 4);
    EXPECT_EQ(in->host.handles.counts().live, flaw == 9);
    std::memcpy(LockUtilityHandle(&procs, handle), "abcd", 4);
    UnlockUtilityHandle(&procs, handle);
    EXPECT_EQ(SetUtilityHandleSize(&procs, handle, 6), 0); // because it is unlocked
    EXPECT_EQ(GetUtilityHandleSize(&procs, handle), 6);
    EXPECT_EQ(std::memcmp(LockUtilityHandle(&procs, handle), "abcd\0\0", 6), 0);
    DisposeUtilityHandle(&procs, handle);
    EXPECT_EQ(in->host.handles.counts().live, 0);
  }
}

TEST_F(Handles, OfOurOwnTellTheirErrors) {
  const Handle handle = NewUtilityHandle(nullptr, 4);
  EXPECT_EQ(*reinterpret_cast<void**>(handle), LockUtilityHandle(nullptr, handle));
  EXPECT_EQ(SetUtilityHandleSize(nullptr, handle, -1), memFullErr);
  DisposeUtilityHandle(nullptr, handle);
  UnlockUtilityHandle(nullptr, handle);
  EXPECT_EQ(gUtilityHandleError, memWZErr);
  EXPECT_EQ(LockUtilityHandle(nullptr, nullptr), nullptr);
  EXPECT_EQ(gUtilityHandleError, nilHandleErr);
}

TEST(Identity, IsTheFirstRowThatFitsAndItsGroup) {
  EXPECT_EQ(HostSignature("my PM65"), fourCharCode("ALD6"));
  EXPECT_EQ(HostSignature("photoshp"), 0u);
  EXPECT_TRUE(SameHostGroup(fourCharCode("ARTZ"), fourCharCode("ART5")));
  EXPECT_FALSE(SameHostGroup(fourCharCode("ART5"), fourCharCode("ALD5")));
  EXPECT_EQ(PackVersion("7.18.10.400"), 0x072a0190u); // four bits each, and 16
}

} // namespace
