// The utility layer: texts and numbers, suites, properties, handles, and the knowing of hosts.
#include <gmock/gmock.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "frame/record/Globals.h"
#include "frame/record/ModuleFile.h"
#include "frame/text/Numbers.h"
#include "frame/text/PascalString.h"
#include "frame/utility/DllInstance.h"
#include "frame/utility/HostIdentity.h"
#include "frame/utility/HostProperties.h"
#include "frame/utility/HostSuites.h"
#include "frame/utility/UtilityHandles.h"
#include "hostapi/UtilitySuites.h"
#include "ui/toolkit/Services.h"
#include "ui/utility/Alerts.h"
#include "ui/utility/HostAlerts.h"

namespace {

using testing::ElementsAre;

TEST(PascalText, EndsAt255BytesWithAZeroBehindThem) {
  PascalString text(std::string(250, 'a'));
  text.append("bcdefgh");
  EXPECT_EQ(text.view(), std::string(250, 'a') + "bcdef");
  EXPECT_EQ(text.bytes()[0], 255);
  EXPECT_EQ(std::strlen(text.text()), 255u);
  text.cut(3);
  text.append(-2147483647 - 1);
  EXPECT_STREQ(text.text(), "aaa-2147483648");
}

TEST(ParamString, ReplacesPlaceholders) {
  struct Case {
    const char *text, *arg0, *arg1, *arg2, *result;
  };
  for (const Case& c :
       {Case{"between ^1 and ^2.", "x", "0", "100", "between 0 and 100."},
        Case{"a^1b", "x", "", "y", "ab"}, Case{"^0^0^", "xy", "", "", "xyxy^"},
        Case{"^3 ^a ^^1", "x", "z", "", "^3 ^a ^z"}, Case{"^1^2", "", "^2", "v", "^2v"}}) {
    PascalString text(c.text);
    ParamString(text, c.arg0, c.arg1, c.arg2);
    EXPECT_EQ(text.view(), c.result);
  }
}

TEST(ParamString, CutsWhatGrowsBeyondTheLimit) {
  PascalString text("^0^1"), full(std::string(200, 'f'));
  ParamString(text, full, full, {});
  EXPECT_EQ(text.view(), std::string(255, 'f'));
}

TEST(StringToNumber, ReadsWholeNumbersOnly) {
  struct Case {
    const char* text;
    NumberKind kind;
    int32_t number;
    const char* bare;
  };
  for (const Case& c :
       {Case{"  042 ", NumberKind::positive, 42, "042"},
        Case{"-17", NumberKind::negative, -17, "17"},
        Case{"999999999", NumberKind::positive, 999999999, "999999999"},
        Case{"1000000000", NumberKind::positive, 0x7fffffff, "1000000000"},
        Case{"-99999999999", NumberKind::negative, -0x7fffffff, "99999999999"},
        Case{"", NumberKind::none, 0, ""}, Case{" - ", NumberKind::none, 0, ""},
        Case{"--1", NumberKind::none, 0, ""}, Case{"12x", NumberKind::none, 0, "12"},
        Case{"12 3", NumberKind::none, 0, "12"}}) {
    PascalString text(c.text);
    int32_t number = 77;
    EXPECT_EQ(StringToNumber(text, number), c.kind) << c.text;
    EXPECT_EQ(number, c.number) << c.text;
    EXPECT_EQ(text.view(), c.bare);
  }
}

TEST(NumberToString, RoundsTheLastPlaceAndDropsItsZero) {
  struct Case {
    double value;
    int precision;
    const char* text;
  };
  for (const Case& c : {Case{2.675, 2, "2.68"}, Case{2.674999, 2, "2.67"}, Case{-0.125, 2, "-0.13"},
                        Case{9.996, 2, "10.0"}, Case{99.5, 0, "100"}, Case{-99.5, 0, "-100"},
                        Case{100, 0, "100"}, Case{2, 1, "2"}, Case{1.5, 3, "1.50"},
                        Case{0.04, 1, "0"}, Case{-0.004, 2, "0.0"}, Case{5e-324, 3, "0.00"}})
    EXPECT_EQ(NumberToString(c.value, c.precision).view(), c.text);
}

TEST(NumberToString, CutsTheLongestNumbers) {
  const PascalString text = NumberToString(-1.7976931348623157e308, 4);
  EXPECT_EQ(text.length(), 255u);
  EXPECT_EQ(text.view().substr(0, 8), "-1797693");
}

// A host with any suites; counts what is taken and given back.
struct FakeHost : testing::Test {
  static inline std::map<std::string, std::pair<int32_t, const void*>> offered;
  static inline std::vector<std::string> acquired, released;

  static int32_t acquire(const char* name, int32_t version, const void** suite) {
    acquired.push_back(name);
    const auto found = offered.find(name);
    if (found == offered.end() || found->second.first != version)
      return -30123;
    *suite = found->second.second;
    return 0;
  }
  static int32_t release(const char* name, int32_t version) {
    released.push_back(std::string(name) + " " + std::to_string(version));
    return 0;
  }

  SPBasicSuite basic = {acquire, release};

  void SetUp() override { gBasicSuite = &basic; }
  void TearDown() override {
    ReleaseHostSuites();
    gBasicSuite = nullptr;
    offered.clear();
    acquired.clear();
    released.clear();
  }
};

int32_t thrownBy(HostSuiteId id) {
  try {
    GetHostSuite<int>(id);
  } catch (int32_t code) {
    return code;
  }
  return 0;
}

using HostSuites = FakeHost;

TEST_F(HostSuites, AreAcquiredOnceAndReleasedTogether) {
  const int text = 1, runtime = 2;
  offered = {{"AS ZString Suite", {1, &text}}, {"SP Runtime Suite", {5, &runtime}}};
  EXPECT_EQ(GetHostSuite<int>(HostSuiteId::text), &text);
  EXPECT_EQ(GetHostSuite<int>(HostSuiteId::text), &text);
  EXPECT_EQ(GetHostSuite<int>(HostSuiteId::runtime), &runtime);
  EXPECT_THAT(acquired, ElementsAre("AS ZString Suite", "SP Runtime Suite"));
  ReleaseHostSuites();
  ReleaseHostSuites();
  EXPECT_THAT(released, ElementsAre("AS ZString Suite 1", "SP Runtime Suite 5"));
  EXPECT_EQ(GetHostSuite<int>(HostSuiteId::text), &text);
  EXPECT_EQ(acquired.size(), 3u);
}

TEST_F(HostSuites, ThrowTheCodeOfAFailure) {
  EXPECT_EQ(thrownBy(HostSuiteId::alias), -30123);
  EXPECT_EQ(HostSuiteRecord(HostSuiteId::alias).lastError, -30123);
  gBasicSuite = nullptr;
  EXPECT_EQ(thrownBy(HostSuiteId::alias), int32_t(0x5061726d)); // 'Parm'
}

TEST_F(HostSuites, AreForgottenWhenTheHostIsGone) {
  const int text = 1;
  offered = {{"AS ZString Suite", {1, &text}}};
  GetHostSuite<int>(HostSuiteId::text);
  gBasicSuite = nullptr;
  ReleaseHostSuites();
  EXPECT_THAT(released, testing::IsEmpty());
  EXPECT_EQ(thrownBy(HostSuiteId::text), errNoBasicSuite);
}

TEST_F(HostSuites, TellTheModulesHandleOfAReference) {
  static PlatformAccess platform;
  const AccessSuite suite = {
      [](void* reference, PluginAccess* access) {
        *access = static_cast<PluginAccess>(reference);
        return int32_t(0);
      },
      [](PluginAccess access, PlatformAccess* result) {
        *result = platform;
        return int32_t(access ? 0 : -1);
      },
  };
  offered = {{"SP Access Suite", {3, &suite}}};
  void* const own = gDllInstance;
  EXPECT_NE(own, nullptr); // set when this program was loaded
  EXPECT_EQ(GetDLLInstance(nullptr), own);

  int reference = 0, first = 0, second = 0;
  platform = {&first, &second};
  EXPECT_EQ(GetDLLInstance(&reference), &second);
  platform = {&first, nullptr};
  EXPECT_EQ(GetDLLInstance(&reference), &first);
  EXPECT_EQ(gDllInstance, &first);
  gDllInstance = own;
}

TEST(ModuleFileTest, IsAbsoluteAndExists) {
  EXPECT_TRUE(ModuleFile().is_absolute());
  EXPECT_TRUE(std::filesystem::exists(ModuleFile()));
}

// Properties: "docW" is a number, "URL " a handle, "EXIF" a handle that cannot be locked.
struct Properties : FakeHost {
  static inline int disposed = 0;
  static inline char address[] = "about:blank";

  PropertySuite properties = {
      [](FourCharCode signature, FourCharCode key, int32_t index, PropertyAnswer* answer) {
        if (signature != fourCharCode("8BIM"))
          return filterBadParameters;
        if (key == fourCharCode("docW"))
          *answer = {4000 + index, nullptr};
        else if (key == fourCharCode("URL "))
          answer->handle = reinterpret_cast<Handle>(address);
        else if (key == fourCharCode("EXIF"))
          answer->handle = reinterpret_cast<Handle>(&disposed);
        else
          return errMissingParameter;
        return noErr;
      }};
  HandleSuite handles = {
      nullptr,
      [](Handle) { ++disposed; },
      [](Handle) { return int32_t(sizeof address - 1); },
      nullptr,
      [](Handle handle, Boolean) -> void* {
        return reinterpret_cast<char*>(handle) == address ? address : nullptr;
      },
      [](Handle) {},
  };

  void SetUp() override {
    FakeHost::SetUp();
    disposed = 0;
    offered = {{"Photoshop Property Suite for Plug-ins", {1, &properties}},
               {"Photoshop Handle Suite for Plug-ins", {2, &handles}}};
  }
};

TEST_F(Properties, ComeAsNumbersOrAsTheContentOfAHandle) {
  HostProperty property;
  EXPECT_EQ(GetHostProperty(fourCharCode("docW"), 3, property), 0);
  EXPECT_EQ(std::get<intptr_t>(property), 4003);
  EXPECT_EQ(disposed, 0);

  EXPECT_EQ(GetHostProperty(fourCharCode("URL "), 0, property), 0);
  const auto& content = std::get<std::vector<std::byte>>(property);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(content.data()), content.size()),
            "about:blank");
  EXPECT_EQ(disposed, 1);
}

TEST_F(Properties, ThatAreMissingHaveOneCode) {
  HostProperty property = intptr_t(5);
  EXPECT_EQ(GetHostProperty(fourCharCode("titl"), 0, property), -30900);
  EXPECT_EQ(GetHostProperty(fourCharCode("docw"), 0, property), -30900); // not a known key
  EXPECT_EQ(GetHostProperty(fourCharCode("EXIF"), 0, property), -108);
  EXPECT_EQ(disposed, 1);
  EXPECT_EQ(std::get<intptr_t>(property), 5);
}

// Handle procedures of a host, complete or with something amiss.
struct UtilityHandles : testing::Test {
  static inline int made = 0, gone = 0;
  static HostResult nothing() { return noErr; }
  HandleProcs procs = {1,
                       8,
                       [](int32_t) {
                         ++made;
                         return reinterpret_cast<Handle>(&made);
                       },
                       [](Handle) { ++gone; },
                       [](Handle) { return int32_t(12); },
                       [](Handle, int32_t) { return readErr; },
                       [](Handle handle, Boolean) { return static_cast<void*>(handle); },
                       [](Handle) {},
                       {nothing, nothing}};
};

TEST_F(UtilityHandles, AreTheHostsWhereItsRecordIsComplete) {
  made = gone = 0;
  const Handle handle = NewUtilityHandle(&procs, 5);
  EXPECT_EQ(made, 1);
  EXPECT_EQ(GetUtilityHandleSize(&procs, handle), 12);
  EXPECT_EQ(SetUtilityHandleSize(&procs, handle, 6), readErr);
  EXPECT_EQ(LockUtilityHandle(&procs, handle), &made);
  DisposeUtilityHandle(&procs, handle);
  EXPECT_EQ(gone, 1);

  for (int flaw = 0; flaw < 4; ++flaw) {
    HandleProcs flawed = procs;
    flawed.version = flaw == 0 ? 2 : 1;
    flawed.count = flaw == 1 ? 7 : 8;
    if (flaw == 2)
      flawed.unlockProc = nullptr;
    const HandleProcs* used = flaw == 3 ? nullptr : &flawed;
    const Handle own = NewUtilityHandle(used, 5);
    EXPECT_EQ(GetUtilityHandleSize(used, own), 5);
    DisposeUtilityHandle(used, own);
  }
  EXPECT_EQ(made, 1);
}

TEST_F(UtilityHandles, OfOurOwnKeepTheirContentAndTellTheirErrors) {
  const Handle handle = NewUtilityHandle(nullptr, 4);
  std::memcpy(LockUtilityHandle(nullptr, handle), "abcd", 4);
  UnlockUtilityHandle(nullptr, handle);
  EXPECT_EQ(SetUtilityHandleSize(nullptr, handle, 6), 0);
  EXPECT_EQ(std::memcmp(LockUtilityHandle(nullptr, handle), "abcd\0\0", 6), 0);
  EXPECT_EQ(**reinterpret_cast<const char**>(handle), 'a'); // the first word leads to the content
  EXPECT_EQ(SetUtilityHandleSize(nullptr, handle, -1), -108);
  EXPECT_EQ(GetUtilityHandleSize(nullptr, handle), 6);
  EXPECT_EQ(gUtilityHandleError, 0);

  DisposeUtilityHandle(nullptr, handle);
  DisposeUtilityHandle(nullptr, handle);
  EXPECT_EQ(gUtilityHandleError, -111);
  EXPECT_EQ(LockUtilityHandle(nullptr, nullptr), nullptr);
  EXPECT_EQ(gUtilityHandleError, -109);
  EXPECT_EQ(NewUtilityHandle(nullptr, -5), nullptr);
  EXPECT_EQ(gUtilityHandleError, -108);
}

TEST(HostIdentity, FindsTheFirstRowThatFits) {
  EXPECT_EQ(HostSignature("my Photoshp 7"), fourCharCode("8BIM"));
  EXPECT_EQ(HostSignature("PM65"), fourCharCode("ALD6"));
  EXPECT_EQ(HostSignature("photoshp"), 0u);
}

TEST(HostIdentity, ComparesWithinAGroup) {
  EXPECT_TRUE(SameHostGroup(fourCharCode("ARTZ"), fourCharCode("ART5")));
  EXPECT_TRUE(SameHostGroup(fourCharCode("PrMr"), fourCharCode("PrMr")));
  EXPECT_FALSE(SameHostGroup(fourCharCode("ART5"), fourCharCode("ALD5")));
  EXPECT_FALSE(SameHostGroup(fourCharCode("none"), fourCharCode("none")));
  EXPECT_FALSE(SameHostGroup(0, 0));
  EXPECT_EQ(HostVersion(fourCharCode("8BIM")), 0u); // this program is none of them
}

TEST(HostIdentity, PacksFourPartsOfAVersion) {
  EXPECT_EQ(PackVersion("7.2.10.400"), 0x072a0190u);
  EXPECT_EQ(PackVersion("3.1"), 0x03100000u);
  EXPECT_EQ(PackVersion("22.0.1"), 0x06010000u); // four bits each
  EXPECT_EQ(PackVersion("beta"), 0u);
}

// What the message box was asked to show.
struct Alerts : testing::Test {
  static inline std::vector<std::pair<std::string, uint32_t>> shown;
  void SetUp() override {
    shown.clear();
    services.messageBox = [](Window, const std::string& text, uint32_t style) {
      shown.emplace_back(text, style);
      return 41;
    };
    gServices = &services;
  }
  void TearDown() override { gServices = &noServices; }
  ToolkitServices services = noServices;
};

TEST_F(Alerts, ShowTheirStringWithItsArguments) {
  EXPECT_EQ(ShowCaution(nullptr, 0, 16990, "1", "2"), 0);
  EXPECT_TRUE(shown.empty());
  EXPECT_EQ(ShowCaution(nullptr, 1, 16990, "1", "2"), 41);
  EXPECT_EQ(ShowAlert(nullptr, 1, 16991, "", "2.5", 1), 41);
  EXPECT_EQ(ShowAlert(nullptr, 1, 16994, "a", "b", 0), 41);
  EXPECT_EQ(ShowAlert(nullptr, 1, 0, "a", "b", 2), 41);
  EXPECT_THAT(shown,
              ElementsAre(std::pair("An integer is required between 1 and 2.", MB_ICONEXCLAMATION),
                          std::pair("A decimal number is required between  and 2.5.", MB_ICONHAND),
                          std::pair("the required suite \\'\\' is unavailable", MB_ICONEXCLAMATION),
                          std::pair("", MB_ICONEXCLAMATION)));
}

TEST_F(Alerts, TellWhatIsAmissWithTheHostsRecords) {
  const auto needs = [](const std::string& version) {
    return "This plug-in requires Adobe Photoshop® " + version + " or later functionality.";
  };
  const std::string incompatible =
      "This plug-in is incompatible with this version of the host program.";
  struct Record {
    int16_t version, count;
    UnusedProc procs[20];
  };
  for (const HostRecordRule& rule : hostRecordRules) {
    Record record = {rule.version, rule.leastCount, {}};
    std::fill_n(record.procs, rule.procedures, [] { return noErr; });
    shown.clear();
    EXPECT_TRUE(HostRecordUsable(rule, &record));
    EXPECT_TRUE(shown.empty());
    ++record.version;
    EXPECT_FALSE(HostRecordUsable(rule, &record));
    EXPECT_EQ(shown.back().first, incompatible);
    record.version = int16_t(rule.version - 1);
    EXPECT_FALSE(HostRecordUsable(rule, &record));
    record.version = rule.version;
    --record.count;
    EXPECT_FALSE(HostRecordUsable(rule, &record));
    ++record.count;
    record.procs[rule.procedures - 1] = nullptr;
    EXPECT_FALSE(HostRecordUsable(rule, &record));
    EXPECT_FALSE(HostRecordUsable(rule, nullptr));
    ASSERT_EQ(shown.size(), 5u);
    for (size_t i = 1; i < shown.size(); ++i)
      EXPECT_EQ(shown[i].first, needs(rule.hostVersion));
  }

  ReadDescriptorProcs read = {0, 18};
  WriteDescriptorProcs write = {1, 16};
  shown.clear();
  EXPECT_FALSE(HostDescriptorsUsable(&read, &write)); // no procedures: the first one tells
  EXPECT_TRUE(HostPointerUsable("2.5", &read));
  EXPECT_FALSE(HostPointerUsable("2.5", nullptr));
  EXPECT_THAT(shown, ElementsAre(std::pair(needs("4.0"), MB_ICONHAND),
                                 std::pair(needs("2.5"), MB_ICONHAND)));
}

} // namespace
