// Loading modules; their property lists (the filter's own one, changed, cut and damaged); the
// registry's file, read by other instances and another process, and with other contents.
#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "host/module/EnableExpression.h"
#include "host/module/PropertyList.h"
#include "host/scripting/Registry.h"
#include "tests/host/FakeFixture.h"

namespace {

using host::Document;
using host::Module;
using host::Registry;
using host::Script;
using testing::HasSubstr;
using testing::Optional;

// Message of the exception that work throws; empty if it throws none.
template <class Work> std::string failureOf(Work work) {
  try {
    work();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

TEST_F(FakeModuleTest, TheLoaderTakesTheBestThatRunsAndSaysWhatFails) {
  const std::filesystem::path folder = testing::TempDir() + "loader" + std::to_string(getpid());
  const auto v2 = folder / "fogdissolver-v2.so", v3 = folder / "fogdissolver-v3.so";
  std::filesystem::create_directories(folder);
  const auto best = [&] { return Module::openBest(folder).file(); };
  EXPECT_THAT(failureOf([&] { Module::open(v2); }), HasSubstr("v2.so: "));
  Dl_info library; // a shared library that is not a module
  ASSERT_NE(dladdr(reinterpret_cast<void*>(&std::fopen), &library), 0);
  EXPECT_THAT(failureOf([&] { Module::open(library.dli_fname); }), HasSubstr("no filter module"));
  EXPECT_THAT(failureOf(best), HasSubstr("no filter module for this processor"));
  std::filesystem::copy_file(module.file(), v2);
  EXPECT_EQ(best(), v2);
  if (__builtin_cpu_supports("x86-64-v3")) {
    std::filesystem::copy_file(module.file(), v3);
    EXPECT_EQ(best(), v3);
    std::ofstream(v3, std::ios::trunc) << "damaged";
    EXPECT_EQ(best(), v2);
    std::ofstream(v2, std::ios::trunc) << "damaged";
    EXPECT_THAT(failureOf(best), testing::ContainsRegex("v3.so: .*; cannot load .*v2.so: "));
  }
  std::filesystem::remove_all(folder);
  module = Module::open(FAKE_FOLDER "/fake-plugin-broken-list.so");
  EXPECT_THAT(inside([](FilterRecord&) {}).message, HasSubstr("cannot be offered"));
}

constexpr char rgb3[] =
    "in(PSHOP_ImageMode, RGBMode, RGB48Mode, RGB96Mode) && PSHOP_NumTrueChannels >= 3";

// The filter's own list with another expression, and without support for one filter case.
std::vector<std::byte> changedList(const std::string& expression, int noCase = -1) {
  const auto own = fixture::builtModule().record(host::propertyListName);
  std::vector<std::byte> list(own.begin(), own.end());
  auto* text = reinterpret_cast<char*>(list.data());
  std::strncpy(std::search(text, text + list.size(), rgb3, rgb3 + 8), expression.c_str(), 84);
  if (noCase >= 0)
    list[list.size() - 28 + 4 * size_t(noCase) + size_t(noCase % 2)] = std::byte(0);
  return list;
}

TEST(PropertyList, SaysWhyADocumentIsRefused) {
  const std::string onlyRgb = "works on RGB images", noWork = "does not work on images with";
  const std::string tooLarge = "takes at most 2000000 rows and 2000000 columns";
  const struct {
    std::string expression;
    int noCase, width, height, channels, depth, mode, transparency, selected;
    std::string reason;
  } cases[] = {
      {rgb3, -1, 2, 1, 3, 16, 1, 0, 1, ""},
      {rgb3, -1, 2, 1, 5, 32, 1, 1, 0, ""},
      {rgb3, -1, 2, 1, 1, 8, 0, 0, 0, onlyRgb},
      {rgb3, -1, 2, 1, 4, 16, 2, 0, 0, onlyRgb},
      {rgb3, -1, 2000000, 1, 3, 8, 1, 0, 0, ""},
      {rgb3, -1, 1, 2000001, 3, 8, 1, 0, 0, tooLarge},
      {rgb3, -1, 2000001, 1, 3, 8, 1, 0, 0, tooLarge},
      {"PSHOP_NumTrueChannels > 3", -1, 2, 1, 4, 8, 1, 1, 0, "needs at least 4 colour channels"},
      {"PSHOP_ImageMode == 11", -1, 2, 1, 3, 8, 1, 0, 0, onlyRgb},
      {"0", -1, 2, 1, 3, 8, 1, 0, 0, "works on no image that this program knows"},
      {"", -1, 2, 1, 3, 8, 1, 0, 0, ""}, // only the flags decide: 8 bits only
      {"", -1, 2, 1, 3, 16, 1, 0, 0, onlyRgb},
      {rgb3, 0, 2, 1, 3, 8, 1, 0, 0, noWork + "out transparency"},
      {rgb3, 1, 2, 1, 3, 8, 1, 0, 1, noWork + "out transparency within a selection"},
      {rgb3, 3, 2, 1, 4, 8, 1, 1, 0, noWork + " transparency"},
      {rgb3, 4, 2, 1, 4, 8, 1, 1, 1, noWork + " transparency within a selection"},
  };
  for (const auto& c : cases) {
    Document d(c.width, c.height, c.channels, c.depth, host::ColourMode(c.mode), c.transparency);
    d.setSelection(std::vector<uint8_t>(size_t(c.selected) * 2, 1));
    const auto list = host::readPropertyList(changedList(c.expression, c.noCase));
    const std::string reason = host::refusalReason(list, d);
    EXPECT_THAT(reason, testing::EndsWith(c.reason));
    EXPECT_EQ(reason.empty(), c.reason.empty());
  }

  // In a block of its exact size, so that the sanitizer detects reads beyond it.
  const auto readDamaged = [](std::vector<std::byte> bytes, size_t at, int value) {
    bytes[at] = std::byte(value);
    bytes.shrink_to_fit();
    return failureOf([&] { host::refusalReason(host::readPropertyList(bytes), {2, 2, 3, 8}); });
  };
  const std::vector<std::byte> good = changedList(rgb3);
  for (size_t size = 1; size < good.size(); size++)
    EXPECT_NE(readDamaged({good.begin(), good.begin() + long(size)}, 0, 1), "");
  for (const auto& [at, value] : {std::pair(0, 2), {6, 0}, {25, 128}, {26, 'x'}})
    // another kind of record, no properties, a negative length, no filter
    EXPECT_THAT(readDamaged(good, size_t(at), value), HasSubstr("the property list")) << at;
  std::mt19937 random(3);
  for (int round = 0; round < 9000; round++)
    readDamaged(good, random() % good.size(), int(random() % 256));
}

TEST(EnableExpression, FollowsItsGrammar) {
  const host::EnableFacts facts{plugInModeRGB48, 3};
  const auto value = [&](const std::string& text) { return host::evaluateEnable(text, facts); };
  for (const char* yes :
       {"true", "!false", "!!7", "1 || 0 && 0", "(1||0)&&1", "0 || 2", "in(PSHOP_ImageMode,11)",
        "in(1, 0 < 1)", "in(3, 1, 2, 3)", "-1 < 0", "3<=3", "2 <= 3", "3 != 4", " 5>=5 ", "6 >= 5",
        "Gray32Mode == 17", "1 == 1\t", "2147483647>0", "(((((((((((((1)))))))))))))"})
    EXPECT_TRUE(value(yes)) << yes;
  for (const char* no : {"0", "1 && 0 || 0", "in(PSHOP_ImageMode, RGBMode)", "!1", "3 < 3", "3 > 3",
                         "4 <= 3", "2 >= 3", "3 != 3", "RGBMode == RGB48Mode", "!(1 || 1)"})
    EXPECT_FALSE(value(no)) << no;
  const char* const wrong[] = {" ",          "a number or a known name at character 2",
                               "1 1",        "an operator at character 3",
                               "in(1)",      "\",\" at character 5",
                               "1 &&",       "character 5",
                               "0 && foo",   "character 6",
                               "2147483648", "a number of 32 bits at"};
  for (size_t i = 0; i < std::size(wrong); i += 2)
    EXPECT_THAT(failureOf([&] { value(wrong[i]); }), HasSubstr(wrong[i + 1]));
  for (const std::string& deep : {std::string(101, '('), std::string(100000, '!')})
    EXPECT_THAT(failureOf([&] { value(deep); }), HasSubstr("nesting at"));
}

constexpr FourCharCode oMap = fourCharCode("oMap");

TEST(Registry, KeepsPersistentEntriesAcrossProcesses) {
  setenv("XDG_CONFIG_HOME", testing::TempDir().c_str(), 1);
  const std::filesystem::path file = Registry::defaultFile(), folder = file.parent_path();
  EXPECT_EQ(folder.filename() / file.filename(), "fogdissolver/registry.ini");
  std::filesystem::remove_all(folder);
  const std::string key = "3f1c/8a 52\\=ä";
  const Script script{{oMap, true}, {fourCharCode("a  b"), false}, {0x1ff5b3d, true}};
  Registry mine(file), other(file);
  EXPECT_EQ(mine.get(key), std::nullopt);
  EXPECT_TRUE(other.put(key, script, true));
  EXPECT_THAT(mine.get(key), Optional(script));
  EXPECT_EQ(mine.get("another"), std::nullopt);
  if (fork() == 0)
    _exit(other.get(key) == script && other.put(key, {}, true) ? 0 : 1);
  int status = -1;
  wait(&status);
  EXPECT_EQ(status, 0);
  EXPECT_THAT(mine.get(key), Optional(Script{})); // what the other process wrote last

  const auto before = std::filesystem::last_write_time(file) - std::chrono::hours(1);
  std::filesystem::last_write_time(file, before);
  EXPECT_TRUE(mine.put(key, {}, true)); // an unchanged entry does not touch the file
  EXPECT_EQ(std::filesystem::last_write_time(file), before);
  EXPECT_TRUE(mine.put(key, script, false)); // lives as long as the object, hides the other one
  EXPECT_THAT(mine.get(key), Optional(script));
  EXPECT_THAT(other.get(key), Optional(Script{}));
  EXPECT_TRUE(mine.put(key, {}, true));
  EXPECT_THAT(mine.get(key), Optional(Script{}));

  auto time = before;
  // The user may edit the file: a value that this class cannot have written is not a script.
  for (const std::string value : {"5", "oMap=yes", "toolong=true", "0xzzzzzzzz=true",
                                  "1x01020304=true", "0x6f4d6170=true", "oMap=true"}) {
    std::ofstream(file) << "[registry]\nk=\"" << value << "\"\n" << std::flush;
    std::filesystem::last_write_time(file, time += std::chrono::hours(1)); // else not read again
    const bool good = value.ends_with("70=true") || value == "oMap=true";
    EXPECT_EQ(Registry(file).get("k").value_or(Script{}), good ? (Script{{oMap, true}}) : Script{});
  }
  std::filesystem::remove_all(folder);
  std::ofstream(folder) << "a file where the folder should be";
  EXPECT_FALSE(mine.put(key, script, true));
  EXPECT_THAT(mine.get(key), Optional(script)); // kept at least for the session
  std::filesystem::remove(folder);
}

} // namespace
