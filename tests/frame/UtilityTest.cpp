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

TEST(Texts, EndAt255BytesWithAZeroBehindThem) {
  PascalString text(std::string(250, 'a'));
  text.append("bcdefgh");
  EXPECT_EQ(text.view(), std::string(250, 'a') + "bcdef");
  EXPECT_EQ(text.bytes()[0], std::strlen(text.text()));
  text.cut(3);
  text.append(INT32_MIN);
  text.cut(300);
  EXPECT_STREQ(text.text(), "aaa-2147483648");
}

TEST(Texts, ReplaceTheirPlaceholders) {
  const std::string full(200, 'f'), limit(255, 'f');
  const std::string cases[][5] = {{"a^1b^0", "x", "", "y", "abx"},
                                  {"^0^2^", "xy", "", "z", "xyz^"},
                                  {"^3 ^/ ^^1", "", "z", "", "^3 ^/ ^z"},
                                  {"^1^2", "", "^2", "v", "^2v"},
                                  {"^0^1", full, full, "", limit}};
  for (const auto& [text, arg0, arg1, arg2, result] : cases) {
    PascalString replaced(text);
    ParamString(replaced, PascalString(arg0), PascalString(arg1), PascalString(arg2));
    EXPECT_EQ(replaced.view(), result);
  }
}

// Kind, number, and the digits that remain.
TEST(Numbers, AreReadWhole) {
  const std::string cases[][2] = {{"  042 ", "1 42 042"},
                                  {"-17", "2 -17 17"},
                                  {"999999999", "1 999999999 999999999"},
                                  {"-1000000000", "2 -2147483647 1000000000"},
                                  {" - ", "0 0 "},
                                  {"--1", "0 0 "},
                                  {"12 3", "0 0 12"}};
  for (const auto& [given, expected] : cases) {
    PascalString text(given);
    int32_t number = 77;
    const NumberKind kind = StringToNumber(text, number);
    EXPECT_EQ(std::to_string(int(kind)) + " " + std::to_string(number) + " " + text.text(),
              expected);
  }
}

// The last place is rounded, and dropped where it is 0.
TEST(Numbers, AreWrittenInDecimal) {
  const std::tuple<double, int, const char*> cases[] = {
      {2.675, 2, "2.68"}, {2.674999, 2, "2.67"}, {-0.125, 2, "-0.13"}, {9.996, 2, "10.0"},
      {-99.5, 0, "-100"}, {100, 0, "100"},       {2, 1, "2"},          {1.5, 3, "1.50"},
      {-0.004, 2, "0.0"}, {5e-324, 3, "0.00"},   {INFINITY, 2, "inf"}, {2.95, 1, "3"}};
  for (const auto& [value, precision, text] : cases)
    EXPECT_EQ(NumberToString(value, precision).view(), text);
  EXPECT_EQ(NumberToString(-1.7976931348623157e308, 4).view().substr(0, 8), "-1797693");
}

class Suites : public FrameTest {
protected:
  ~Suites() override { ReleaseHostSuites(); }
  static int32_t thrownBy(HostSuiteId id) {
    try {
      GetHostSuite<int>(id);
    } catch (int32_t code) {
      return code;
    }
    return 0;
  }
};

TEST_F(Suites, AreAcquiredOnceAndReleasedTogether) {
  std::string versions;
  for (int id = 0; id < int(HostSuiteId::count); ++id)
    versions += std::to_string(HostSuiteRecord(HostSuiteId(id)).version);
  EXPECT_EQ(versions, "2231112134135113");
  EXPECT_EQ(GetHostSuite<void>(HostSuiteId::handle), GetHostSuite<void>(HostSuiteId::handle));
  EXPECT_EQ(in->host.suiteCounts.acquired, 1);
  EXPECT_EQ(thrownBy(HostSuiteId::alias), errPlugInHostInsufficient);
  EXPECT_EQ(HostSuiteRecord(HostSuiteId::alias).lastError, errPlugInHostInsufficient);
  ReleaseHostSuites();
  ReleaseHostSuites();
  GetHostSuite<void>(HostSuiteId::handle);
  gBasicSuite = nullptr;
  ReleaseHostSuites(); // forgets without a host to tell
  EXPECT_EQ(in->host.suiteCounts.released, 1);
  EXPECT_EQ(thrownBy(HostSuiteId::handle), int32_t(0x5061726d)); // 'Parm'
}

TEST_F(Suites, TellTheModulesHandleOfAReference) {
  static PlatformAccess platform;
  static const AccessSuite access = {[](void*, PluginAccess*) { return int32_t(0); },
                                     [](PluginAccess, PlatformAccess* found) {
                                       *found = platform;
                                       return int32_t(platform.first ? 0 : -1);
                                     }};
  HostSuiteRecord(HostSuiteId::access).suite = &access;
  void* const own = GetDLLInstance(nullptr);
  EXPECT_NE(own, nullptr); // set when this program was loaded
  int first = 0, second = 0;
  const std::pair<PlatformAccess, void*> cases[] = {
      {{&first, &second}, &second}, {{&first, nullptr}, &first}, {{}, &first}};
  for (const auto& [answer, handle] : cases) {
    platform = answer;
    EXPECT_EQ(GetDLLInstance(&first), handle);
  }
  EXPECT_EQ(std::exchange(gDllInstance, own), &first);
  EXPECT_TRUE(ModuleFile().is_absolute() && std::filesystem::exists(ModuleFile()));
}

TEST_F(Suites, GiveProperties) {
  HostProperty property = intptr_t(5);
  EXPECT_EQ(GetHostProperty(fourCharCode("titl"), 0, property), -30900); // the host has none
  EXPECT_EQ(GetHostProperty(fourCharCode("docW"), 0, property), 0);
  EXPECT_EQ(std::get<intptr_t>(property), 7);
  static Handle large;
  static const PropertySuite any = {
      [](FourCharCode, FourCharCode, int32_t, PropertyAnswer* answer) {
        return answer->handle = large, noErr;
      }};
  HostSuiteRecord(HostSuiteId::property).suite = &any;
  EXPECT_EQ(GetHostProperty(fourCharCode("docw"), 0, property), -30900); // not a known key
  for (bool known : {true, false}) {
    large = known ? record().handleProcs->newProc(3) : reinterpret_cast<Handle>(77);
    EXPECT_EQ(GetHostProperty(fourCharCode("URL "), 0, property), known ? 0 : memFullErr);
    EXPECT_EQ(std::get<1>(property), std::vector<std::byte>(3));
    EXPECT_EQ(in->host.handles.counts().live, 0);
  }
}

using Handles = FrameTest;

TEST_F(Handles, AreTheHostsWhereItsRecordIsComplete) {
  HandleProcs procs = *record().handleProcs;
  const Handle handle = NewUtilityHandle(&procs, 5);
  EXPECT_EQ(GetUtilityHandleSize(&procs, handle), 5);
  EXPECT_EQ(LockUtilityHandle(&procs, handle),
            in->host.handles.data(reinterpret_cast<intptr_t>(handle)));
  EXPECT_EQ(SetUtilityHandleSize(&procs, handle, 7), memFullErr); // it is locked
  UnlockUtilityHandle(&procs, handle);
  EXPECT_EQ(SetUtilityHandleSize(&procs, handle, 7), 0);
  DisposeUtilityHandle(&procs, handle);
  EXPECT_EQ(in->host.handles.counts().live, 0);
  for (size_t flaw = 0; flaw <= 8; ++flaw) { // too few procedures, or one of them null
    procs = *record().handleProcs;
    if (flaw == 0)
      procs.count = 7;
    else
      std::memset(reinterpret_cast<char*>(&procs) + flaw * sizeof(UnusedProc), 0,
                  sizeof(UnusedProc));
    EXPECT_GT(GetUtilityHandleSize(&procs, NewUtilityHandle(&procs, 5)), 0);
    EXPECT_EQ(in->host.requests.count, 3); // the one handle and its two new sizes
  }
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
  EXPECT_EQ(gUtilityHandleError, nilHandleErr);
}

TEST(Identity, IsTheFirstRowThatFitsAndItsGroup) {
  EXPECT_EQ(HostSignature("my PM65"), fourCharCode("ALD6"));
  EXPECT_EQ(HostSignature("photoshp"), 0u);
  EXPECT_TRUE(SameHostGroup(fourCharCode("ARTZ"), fourCharCode("ART5")));
  EXPECT_FALSE(SameHostGroup(fourCharCode("ART5"), fourCharCode("ALD5")));
  EXPECT_FALSE(SameHostGroup(0, 0));
  EXPECT_EQ(HostVersion(fourCharCode("8BIM")), 0u);   // this program is none of them
  EXPECT_EQ(PackVersion("7.18.10.400"), 0x072a0190u); // four bits each
  EXPECT_EQ(PackVersion("beta"), 0u);
}

} // namespace
