// The named suites, as a plug-in reaches them through SPBasicSuite.
#include "hostapi/UtilitySuites.h"
#include "tests/host/FakeFixture.h"

namespace {

using host::Script;
using host::Session;

constexpr FourCharCode key = fourCharCode("oMap");

struct SuitesTest : FakeModuleTest {
  host::Document document = fixture::noise(9, 4, 16);
  host::SessionOptions options;

  template <class Suite>
  static const Suite* acquire(FilterRecord& r, const char* name, int version) {
    const void* suite = nullptr;
    EXPECT_EQ(r.sSPBasic->AcquireSuite(name, version, &suite), noErr) << name;
    return static_cast<const Suite*>(suite);
  }

  // Runs the lambda in the start selector.
  void inside(const std::function<void(FilterRecord&)>& work) {
    serve = [&](int16_t selector, FilterRecord& r, intptr_t&, int16_t&) {
      if (selector == filterSelectorStart)
        work(r);
    };
    Session session(module, document, options);
    EXPECT_TRUE(session.runFromMenu().ok());
    counts = session.suites();
  }
  Session::SuiteCounts counts{};
};

TEST_F(SuitesTest, AreKnownByNameAndVersionAndCounted) {
  inside([](FilterRecord& r) {
    acquire<void>(r, actionDescriptorSuiteName, 2);
    acquire<void>(r, descriptorRegistrySuiteName, 1);
    const void* suite = &r;
    EXPECT_NE(r.sSPBasic->AcquireSuite(actionDescriptorSuiteName, 1, &suite), noErr);
    EXPECT_EQ(suite, nullptr);
    EXPECT_NE(r.sSPBasic->AcquireSuite("no such suite", 1, &suite), noErr);
    EXPECT_NE(r.sSPBasic->AcquireSuite(nullptr, 1, &suite), noErr);
    EXPECT_EQ(r.sSPBasic->ReleaseSuite(actionDescriptorSuiteName, 2), noErr);
    EXPECT_NE(r.sSPBasic->ReleaseSuite("no such suite", 1), noErr);
  });
  EXPECT_EQ(counts.acquired, 2);
  EXPECT_EQ(counts.released, 1);
  EXPECT_EQ(counts.refused, 4);
  options.suites = false;
  inside([](FilterRecord& r) { EXPECT_EQ(r.sSPBasic, nullptr); });
}

TEST_F(SuitesTest, RegistryGivesCopiesOfWhatWasRegistered) {
  host::Registry registry;
  options.registry = &registry;
  inside([](FilterRecord& r) {
    const auto* actions =
        acquire<ActionDescriptorSuite>(r, actionDescriptorSuiteName, actionDescriptorSuiteVersion);
    const auto* entries = acquire<DescriptorRegistrySuite>(r, descriptorRegistrySuiteName,
                                                           descriptorRegistrySuiteVersion);
    ActionDescriptor made = nullptr, got = nullptr;
    EXPECT_EQ(entries->Get("entry", &got), noErr);
    EXPECT_EQ(got, nullptr);
    EXPECT_EQ(actions->Make(&made), noErr);
    Boolean value = 9;
    EXPECT_EQ(actions->GetBoolean(made, key, &value), errMissingParameter);
    EXPECT_EQ(actions->PutBoolean(made, key, 5), noErr);
    EXPECT_EQ(entries->Register("entry", made, 1), noErr);
    EXPECT_EQ(actions->PutBoolean(made, key, 0), noErr); // no longer the registry's
    EXPECT_EQ(actions->Free(made), noErr);
    EXPECT_NE(actions->Free(made), noErr);
    EXPECT_NE(actions->PutBoolean(made, key, 1), noErr);
    EXPECT_NE(entries->Register("entry", made, 1), noErr);
    EXPECT_EQ(entries->Get("entry", &got), noErr);
    EXPECT_EQ(actions->GetBoolean(got, key, &value), noErr);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(actions->Free(got), noErr);
  });
  EXPECT_EQ(registry.get("entry"), (Script{{key, true}}));
}

TEST_F(SuitesTest, UtilitySuitesAnswer) {
  std::string opened;
  options.openAddress = [&](const std::string& address) {
    opened = address;
    return true;
  };
  inside([](FilterRecord& r) {
    const auto* properties = acquire<PropertySuite>(r, "Photoshop Property Suite for Plug-ins", 1);
    const auto ask = [&](const char(&name)[5]) {
      PropertyAnswer answer{-1, nullptr};
      const HostResult result =
          properties->getProperty(fourCharCode("8BIM"), fourCharCode(name), 0, &answer);
      return result == noErr ? answer.number : -1;
    };
    EXPECT_EQ(ask("docW"), 9);
    EXPECT_EQ(ask("docH"), 4);
    EXPECT_EQ(ask("mode"), plugInModeRGB48);
    EXPECT_EQ(ask("EXIF"), -1);
    const auto* handles = acquire<HandleSuite>(r, "Photoshop Handle Suite for Plug-ins", 2);
    const Handle handle = handles->newHandle(3);
    EXPECT_EQ(r.handleProcs->getSizeProc(handle), 3);
    handles->dispose(handle);
    const auto* files = acquire<FileListSuite>(r, "Photoshop GetFileList Suite for Plug-ins", 4);
    EXPECT_EQ(files->openAddress("http://example.org/"), noErr);
    EXPECT_NE(files->openAddress(nullptr), noErr);
  });
  EXPECT_EQ(opened, "http://example.org/");
}

} // namespace
