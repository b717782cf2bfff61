// Loading of modules.
#include "host/module/FilterModule.h"

#include <filesystem>
#include <fstream>

#include "tests/host/FakeFixture.h"

namespace {

using host::Module;
using testing::HasSubstr;

std::string failureOf(const std::function<void()>& load) {
  try {
    load();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

struct LoaderTest : testing::Test {
  const std::filesystem::path folder =
      std::filesystem::path(testing::TempDir()) / ("loader" + std::to_string(getpid()));
  LoaderTest() { std::filesystem::create_directories(folder); }
  ~LoaderTest() override { std::filesystem::remove_all(folder); }
};

TEST_F(LoaderTest, SaysWhatItCannotLoadAndWhy) {
  EXPECT_THAT(failureOf([&] { Module::open(folder / "none.so"); }), HasSubstr("none.so"));
  EXPECT_THAT(failureOf([] { Module::open(FAKE_FOLDER "/fake-no-plugin.so"); }),
              HasSubstr("no filter module"));
  EXPECT_THAT(failureOf([&] { Module::openBest(folder); }), HasSubstr("no filter module"));
  std::ofstream(folder / "fogdissolver-v2.so") << "not a library";
  EXPECT_THAT(failureOf([&] { Module::openBest(folder); }), HasSubstr("fogdissolver-v2.so"));
}

TEST_F(LoaderTest, TakesTheBestThatRunsAndFallsBack) {
  if (!__builtin_cpu_supports("x86-64-v3"))
    GTEST_SKIP() << "needs a processor with two levels";
  const std::filesystem::path fake = FAKE_FOLDER "/fake-plugin.so";
  std::filesystem::copy_file(fake, folder / "fogdissolver-v2.so");
  EXPECT_EQ(Module::openBest(folder).file().filename(), "fogdissolver-v2.so");
  std::filesystem::copy_file(fake, folder / "fogdissolver-v3.so");
  EXPECT_EQ(Module::openBest(folder).file().filename(), "fogdissolver-v3.so");
  std::ofstream(folder / "fogdissolver-v3.so", std::ios::trunc) << "damaged";
  EXPECT_EQ(Module::openBest(folder).file().filename(), "fogdissolver-v2.so");
}

TEST_F(FakeModuleTest, FindsRecordsAndSendsTheTrace) {
  EXPECT_TRUE(module.record("PIPL_16000").empty());
  const Module listed = Module::open(FAKE_FOLDER "/fake-plugin-broken-list.so");
  EXPECT_EQ(listed.record("PIPL_16000").size(), 12u);

  host::Document document = fixture::noise(2, 2, 8);
  const fixture::Trace trace(module);
  host::Session(module, document, {}).runFromMenu();
  EXPECT_EQ(trace.text(), "selector 1\nselector 2\nselector 3\nselector 4\nselector 5\n");

  host::Session broken(listed, document, {});
  EXPECT_THAT(broken.runFromMenu().message, HasSubstr("cannot be offered"));

  Module moved = Module::open(FAKE_FOLDER "/fake-plugin.so");
  const Module target = std::move(moved);
  EXPECT_NE(target.entry(), nullptr);
  EXPECT_FALSE(Module::open(FAKE_FOLDER "/fake-plugin.so").file().empty());
}

} // namespace
