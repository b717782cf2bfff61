// Loading of modules, and their property lists: well made, cut short, and made of noise.
#include <link.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "host/module/EnableExpression.h"
#include "host/module/PropertyList.h"
#include "tests/host/FakeFixture.h"

namespace {

using host::ColourMode;
using host::Document;
using host::Module;
using testing::HasSubstr;

// Of the exception that work throws; empty if it throws none.
template <class Work> std::string failureOf(Work work) {
  try {
    work();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

TEST_F(FakeModuleTest, TheLoaderTakesTheBestThatRunsAndSaysWhatFails) {
  const std::filesystem::path folder =
      std::filesystem::path(testing::TempDir()) / ("loader" + std::to_string(getpid()));
  std::filesystem::create_directories(folder);
  const auto best = [&] { return Module::openBest(folder).file().filename(); };
  EXPECT_THAT(failureOf([&] { Module::open(folder / "none.so"); }), HasSubstr("none.so"));
  Dl_info library; // a shared library that is no module
  ASSERT_NE(dladdr(reinterpret_cast<void*>(&std::fopen), &library), 0);
  EXPECT_THAT(failureOf([&] { Module::open(library.dli_fname); }), HasSubstr("no filter module"));
  EXPECT_THAT(failureOf(best), HasSubstr("no filter module for this processor"));
  const auto v2 = folder / "fogdissolver-v2.so", v3 = folder / "fogdissolver-v3.so";
  std::filesystem::copy_file(module.file(), v2);
  EXPECT_EQ(best(), v2.filename());
  if (__builtin_cpu_supports("x86-64-v3")) {
    std::filesystem::copy_file(module.file(), v3);
    EXPECT_EQ(best(), v3.filename());
    std::ofstream(v3, std::ios::trunc) << "damaged";
    EXPECT_EQ(best(), v2.filename());
    std::ofstream(v2, std::ios::trunc) << "damaged";
    EXPECT_THAT(failureOf(best), testing::AllOf(HasSubstr("v2.so"), HasSubstr("; cannot load")));
  }
  std::filesystem::remove_all(folder);

  Module moved = Module::open(module.file());
  moved = Module::open(fixture::builtModule().file());
  EXPECT_EQ(moved.entry(), fixture::builtModule().entry());
}

TEST_F(FakeModuleTest, SendsTheTrace) {
  char* text = nullptr;
  size_t length = 0;
  std::FILE* stream = open_memstream(&text, &length);
  EXPECT_TRUE(module.setTrace(stream));
  host::Session(module, document, {}).runFromMenu();
  EXPECT_TRUE(module.setTrace(nullptr));
  host::Session(module, document, {}).runFromMenu();
  std::fclose(stream);
  EXPECT_STREQ(text, "selector 1\nselector 2\nselector 3\nselector 4\nselector 5\n");
  std::free(text);
}

// In a block of its exact size, so that the sanitizer sees a byte too many.
host::PropertyList readExact(const std::vector<std::byte>& bytes) {
  const std::unique_ptr<std::byte[]> copy(new std::byte[bytes.size()]);
  std::copy(bytes.begin(), bytes.end(), copy.get());
  return host::readPropertyList({copy.get(), bytes.size()});
}

TEST(PropertyList, SurvivesEveryTruncationAndNoise) {
  const std::vector<std::byte> good = filterList(rgbImages);
  readExact(good);
  for (size_t length = 0; length < good.size(); length++)
    EXPECT_NE(failureOf([&] {
                readExact({good.begin(), good.begin() + long(length)});
              }),
              "")
        << length;
  std::mt19937 random(3);
  for (int round = 0; round < 20000; round++) {
    std::vector<std::byte> bytes = good;
    for (uint32_t changes = 1 + random() % 4; changes > 0; changes--)
      bytes[random() % bytes.size()] = std::byte(random());
    failureOf([&] { host::refusalReason(readExact(bytes), Document(2, 2, 3, 8)); });
  }
  for (const auto& [at, value] : {std::pair(0, 2), {10, 0}, {good.size() - 4, 0}, {25, 128}}) {
    std::vector<std::byte> wrong = good; // the kind of record, an empty list, no filter, a length
    wrong[size_t(at) == 10 ? 6 : size_t(at)] = std::byte(value);
    EXPECT_THAT(failureOf([&] { readExact(wrong); }), HasSubstr("the property list")) << at;
  }
}

TEST(PropertyList, SaysWhyADocumentIsRefused) {
  constexpr ColourMode rgb = ColourMode::rgb, cmyk = ColourMode::cmyk, grey = ColourMode::grayscale;
  const struct {
    std::string expression;
    int noCase;
    int32_t width, height, channels, depth;
    ColourMode mode;
    bool transparency, selected;
    const char* reason;
  } cases[] = {
      {rgbImages, -1, 2, 2, 3, 8, rgb, false, false, ""},
      {rgbImages, -1, 2, 2, 3, 16, rgb, false, true, ""},
      {rgbImages, -1, 2, 2, 5, 32, rgb, true, false, ""},
      {rgbImages, -1, 2, 2, 1, 8, grey, false, false, "the filter works on RGB images"},
      {rgbImages, -1, 2, 2, 4, 16, cmyk, false, false, "the filter works on RGB images"},
      {rgbImages, -1, 40000, 300, 3, 8, rgb, false, false, ""},
      {rgbImages, -1, 1, 301, 3, 8, rgb, false, false,
       "the image is too large: the filter takes at most 300 rows and 40000 columns"},
      {rgbImages, -1, 40001, 1, 3, 8, rgb, false, false,
       "the image is too large: the filter takes at most 300 rows and 40000 columns"},
      {"PSHOP_NumTrueChannels > 3", -1, 2, 2, 4, 8, rgb, true, false,
       "the filter needs at least 4 colour channels"},
      {"PSHOP_ImageMode == 11", -1, 2, 2, 3, 8, rgb, false, false,
       "the filter works on RGB images"},
      {"0", -1, 2, 2, 3, 8, rgb, false, false,
       "the filter works on no image that this program knows"},
      {"", -1, 2, 2, 3, 8, rgb, false, false, ""}, // the flags decide alone: 8 bits only
      {"", -1, 2, 2, 3, 16, rgb, false, false, "the filter works on RGB images"},
      {rgbImages, 0, 2, 2, 3, 8, rgb, false, false,
       "the filter does not work on images without transparency"},
      {rgbImages, 1, 2, 2, 3, 8, rgb, false, true,
       "the filter does not work on images without transparency within a selection"},
      {rgbImages, 3, 2, 2, 4, 8, rgb, true, false,
       "the filter does not work on images with transparency"},
      {rgbImages, 4, 2, 2, 4, 8, rgb, true, true,
       "the filter does not work on images with transparency within a selection"},
      {rgbImages, 4, 2, 2, 4, 8, rgb, true, false, ""},
  };
  for (const auto& c : cases) {
    Document d(c.width, c.height, c.channels, c.depth, c.mode, c.transparency);
    if (c.selected)
      d.setSelection({1, 1, 1, 1});
    EXPECT_EQ(host::refusalReason(readExact(filterList(c.expression, c.noCase)), d), c.reason);
  }
  EXPECT_EQ(host::refusalReason(host::assumedPropertyList(), Document(1, 1, 3, 32)), "");
  EXPECT_NE(host::refusalReason(host::assumedPropertyList(), Document(1, 1, 1, 8, grey)), "");
}

TEST(EnableExpression, FollowsItsGrammar) {
  const host::EnableFacts facts{plugInModeRGB48, 3};
  for (const char* yes : {rgbImages,
                          "1",
                          "true",
                          "!false",
                          "!!7",
                          "1 || 0 && 0",
                          "(1||0)&&1",
                          "0 || 2",
                          "in(PSHOP_ImageMode,11)",
                          "in(1, 0 < 1)",
                          "in(3, 1, 2, 3)",
                          "-1 < 0",
                          "3<=3",
                          "2 <= 3",
                          "3 != 4",
                          "4>3",
                          " 5>=5 ",
                          "6 >= 5",
                          "Gray32Mode == 17",
                          "2147483647 > 0",
                          "1 == 1\t"})
    EXPECT_TRUE(host::evaluateEnable(yes, facts)) << yes;
  for (const char* no : {"0", "1 && 0 || 0", "in(PSHOP_ImageMode, RGBMode)", "!1", "3 < 3", "3 > 3",
                         "4 <= 3", "2 >= 3", "3 != 3", "RGBMode == RGB48Mode", "!(1 || 1)"})
    EXPECT_FALSE(host::evaluateEnable(no, facts)) << no;
  for (const auto& [wrong, place] : std::vector<std::pair<std::string, std::string>>{
           {"", "a number or a known name at character 1"},
           {"1 1", "an operator at character 3"},
           {"(1", "\")\" at character 3"},
           {"in(1)", "\",\" at character 5"},
           {"in(1,", "6"},
           {"in 1", "\"(\""},
           {"1 &&", "5"},
           {"0 && foo", "6"},
           {"RGBmode", "1"},
           {"1 & 1", "3"},
           {"2147483648", "a number of 32 bits"},
           {"1)", "2"},
           {"\xff", "1"},
           {std::string(101, '('), "nesting"},
           {std::string(100000, '!'), "nesting"}})
    EXPECT_THAT(failureOf([&] { host::evaluateEnable(wrong, facts); }),
                testing::AllOf(HasSubstr("at character"), HasSubstr(place)))
        << wrong.substr(0, 20);
  EXPECT_TRUE(host::evaluateEnable(std::string(98, '(') + "1" + std::string(98, ')'), facts));
}

} // namespace
