// The frame's utility layer: texts and numbers, suites, properties, handles, and which host runs.
#include "frame/record/ModuleFile.h"
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
  text.append("bcdefgh");
  EXPECT_EQ(text.view(), std::string(250, 'a') + "bcdef");
  EXPECT_EQ(text.bytes()[0], std::strlen(text.text()));
  PascalString number("a");
  number.append(INT32_MIN);
  EXPECT_STREQ(number.text(), "a-2147483648");
  const std::string full(200, 'f'), limit(255, 'f');
  // clang-format off
  const std::string cases[][4] = {
      {"a^1b^0", "x", "", "abx"}, {"^0^2^", "xy", "z", "xyz^"}, {"^3 ^/ ^^2", "", "z", "^3 ^/ ^z"},
      {"^1^2", "x", "v", "v"},    {"^0^2", full, full, limit}};
  // clang-format on
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
  EXPECT_EQ(NumberToString(-1.7976931348623157e308, 4).view().substr(0, 8), "-1797693");
}

class Suites : public FrameTest {
protected:
  ~Suites() override { ReleaseHostSuites(); }
};

TEST_F(Suites, AreAcquiredOnceAndReleasedTogether) {
  std::string versions;
  for (int id = 0; id < int(HostSuiteId::count); ++id)
    versions += std::to_string(HostSuiteRecord(HostSuiteId(id)).version);
  EXPECT_EQ(versions, "2231112134135113");
  for (int times = 0; times < 2; ++times)
    EXPECT_EQ(GetHostSuite<void>(HostSuiteId::descriptorRegistry), &host::descriptorRegistrySuite);
  EXPECT_EQ(in->host.suiteCounts.acquired, 1);
  EXPECT_THROW(GetHostSuite<void>(HostSuiteId::alias), int32_t);
  EXPECT_EQ(HostSuiteRecord(HostSuiteId::alias).lastError, errPlugInHostInsufficient);
  ReleaseHostSuites();
  ReleaseHostSuites();
  GetHostSuite<void>(HostSuiteId::descriptorRegistry);
  gBasicSuite = nullptr;
  ReleaseHostSuites(); // forgets without a host to tell
  EXPECT_EQ(in->host.suiteCounts.released, 1);
  EXPECT_THROW(GetHostSuite<void>(HostSuiteId::descriptorRegistry), int32_t);
  EXPECT_EQ(errNoBasicSuite, 0x5061726d); // 'Parm'
}

TEST_F(Suites, TellTheModulesHandleOfAReference) {
  static PlatformAccess platform;
  static const AccessSuite access = {
      [](void*, PluginAccess*) { return int32_t(0); },
      [](PluginAccess, PlatformAccess* found) { return *found = platform, int32_t(0); }};
  void* const own = GetDLLInstance(nullptr);
  EXPECT_NE(own, nullptr); // set when this program was loaded
  HostSuiteRecord(HostSuiteId::access).suite = &access;
  for (void* second : {own, static_cast<void*>(nullptr)}) {
    platform = {this, second};
    EXPECT_EQ(GetDLLInstance(this), second ? second : this);
  }
  gDllInstance = own;
  EXPECT_TRUE(ModuleFile().is_absolute() && std::filesystem::exists(ModuleFile()));
}

TEST_F(Suites, GiveProperties) {
  static const HandleProcs& procs = *record().handleProcs;
  static const HandleSuite handles = {procs.newProc,     procs.disposeProc, procs.getSizeProc,
                                      procs.setSizeProc, procs.lockProc,    procs.unlockProc};
  static PropertyAnswer answer = {7, nullptr};
  static const PropertySuite properties = {
      [](FourCharCode signature, FourCharCode key, int32_t index, PropertyAnswer* given) {
        *given = answer;
        const bool has = signature == fourCharCode("8BIM") && key != fourCharCode("titl");
        return has && index == 2 ? noErr : HostResult(-50);
      }};
  HostProperty property = intptr_t(5);
  EXPECT_THROW(GetHostProperty(fourCharCode("URL "), 2, property), int32_t); // no suite
  HostSuiteRecord(HostSuiteId::property).suite = &properties;
  HostSuiteRecord(HostSuiteId::handle).suite = &handles;
  EXPECT_EQ(GetHostProperty(fourCharCode("titl"), 2, property), -30900); // the host has none
  EXPECT_EQ(GetHostProperty(fourCharCode("URL "), 2, property), 0);
  EXPECT_EQ(std::get<intptr_t>(property), 7);
  EXPECT_EQ(GetHostProperty(fourCharCode("url "), 2, property), -30900); // not a known key
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
  for (size_t flaw = 0; flaw <= 8; ++flaw) { // too few procedures, or one of them null
    procs = *record().handleProcs;
    procs.count = flaw == 0 ? 7 : 8;
    if (flaw > 0)
      std::memset(reinterpret_cast<char*>(&procs) + flaw * sizeof procs.newProc, 0, 8);
    EXPECT_EQ(GetUtilityHandleSize(&procs, NewUtilityHandle(&procs, 5)), 5);
    EXPECT_EQ(in->host.handles.counts().live, 0);
  }
  procs = *record().handleProcs;
  const Handle handle = NewUtilityHandle(&procs, 5);
  const intptr_t id = reinterpret_cast<intptr_t>(handle);
  EXPECT_EQ(LockUtilityHandle(&procs, handle), in->host.handles.data(id));
  UnlockUtilityHandle(&procs, handle);
  EXPECT_EQ(SetUtilityHandleSize(&procs, handle, 7), 0); // it is unlocked
  EXPECT_EQ(GetUtilityHandleSize(&procs, handle), in->host.handles.size(id));
  DisposeUtilityHandle(&procs, handle);
  EXPECT_FALSE(in->host.handles.has(id));
}

TEST_F(Handles, OfOurOwnKeepTheirContentAndTellTheirErrors) {
  const Handle handle = NewUtilityHandle(nullptr, 4);
  std::memcpy(LockUtilityHandle(nullptr, handle), "abcd", 4);
  EXPECT_EQ(SetUtilityHandleSize(nullptr, handle, 6), 0);
  EXPECT_EQ(std::memcmp(*reinterpret_cast<char**>(handle), "abcd\0\0", 6), 0);
  EXPECT_EQ(SetUtilityHandleSize(nullptr, handle, -1), memFullErr);
  EXPECT_EQ(GetUtilityHandleSize(nullptr, handle), 6);
  DisposeUtilityHandle(nullptr, handle);
  EXPECT_EQ(gUtilityHandleError, noErr);
  UnlockUtilityHandle(nullptr, handle);
  EXPECT_EQ(gUtilityHandleError, memWZErr);
  EXPECT_EQ(LockUtilityHandle(nullptr, nullptr), nullptr);
  EXPECT_EQ(GetUtilityHandleSize(nullptr, nullptr), 0);
  EXPECT_EQ(gUtilityHandleError, nilHandleErr);
}

TEST(Identity, IsTheFirstRowThatFitsAndItsGroup) {
  EXPECT_EQ(HostSignature("my PM65"), fourCharCode("ALD6"));
  EXPECT_EQ(HostSignature("photoshp"), 0u);
  EXPECT_TRUE(SameHostGroup(fourCharCode("ARTZ"), fourCharCode("ART5")));
  EXPECT_FALSE(SameHostGroup(fourCharCode("ART5"), fourCharCode("ALD5")));
  EXPECT_FALSE(SameHostGroup(0, 0));
  EXPECT_EQ(HostVersion(fourCharCode("8BIM")), 0u);   // this program is none of them
  EXPECT_EQ(PackVersion("7.18.10.400"), 0x072a0190u); // four bits each, and 16
  EXPECT_EQ(PackVersion("beta"), 0u);
}

} // namespace
