// Loading of modules, and their property lists: the filter's own one, changed, cut and damaged.
#include <dlfcn.h>

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

// Message of the exception that work throws; empty if it throws none.
template <class Work> std::string failureOf(Work work) {
  try {
    work();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

// The parts between semicolons.
std::vector<std::string> split(const std::string& list) {
  std::vector<std::string> parts;
  std::stringstream in(list);
  for (std::string part; std::getline(in, part, ';');)
    parts.push_back(part);
  return parts;
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

  char* text = nullptr;
  size_t length = 0;
  std::FILE* trace = open_memstream(&text, &length);
  EXPECT_TRUE(module.setTrace(trace));
  inside([](FilterRecord&) {});
  EXPECT_TRUE(module.setTrace(nullptr));
  inside([](FilterRecord&) {});
  std::fclose(trace);
  EXPECT_STREQ(text, "selector 1\nselector 2\nselector 3\nselector 4\nselector 5\n");
  std::free(text);
  module = Module::open(FAKE_FOLDER "/fake-plugin-broken-list.so");
  EXPECT_THAT(inside([](FilterRecord&) {}).message, HasSubstr("cannot be offered"));
}

using Bytes = std::vector<std::byte>;

// The filter's own list with another expression, and a filter case that it does not work on.
Bytes changedList(const std::string& expression, int noCase = -1) {
  const auto own = fixture::builtModule().record(host::propertyListName);
  Bytes list(own.begin(), own.end());
  auto* text = reinterpret_cast<char*>(list.data());
  char* enable = std::search(text, text + list.size(), "in(PSHOP", "in(PSHOP" + 8);
  std::strncpy(enable, expression.c_str(), 84);
  if (noCase >= 0)
    list[list.size() - 28 + 4 * size_t(noCase) + 1] = std::byte(0);
  return list;
}

// In a block of its exact size, so that the sanitizer sees a byte too many.
host::PropertyList readExact(const Bytes& bytes) {
  const std::unique_ptr<std::byte[]> copy(new std::byte[bytes.size()]);
  std::copy(bytes.begin(), bytes.end(), copy.get());
  return host::readPropertyList({copy.get(), bytes.size()});
}

constexpr char rgb3[] =
    "in(PSHOP_ImageMode, RGBMode, RGB48Mode, RGB96Mode) && PSHOP_NumTrueChannels >= 3";

TEST(PropertyList, SaysWhyADocumentIsRefused) {
  constexpr ColourMode rgb = ColourMode::rgb;
  const std::string onlyRgb = "works on RGB images", noWork = "does not work on images with";
  const std::string tooLarge = "takes at most 2000000 rows and 2000000 columns";
  const struct {
    std::string expression;
    int noCase;
    Document document;
    bool selected;
    std::string reason;
  } cases[] = {
      {rgb3, -1, Document(2, 1, 3, 16), true, ""},
      {rgb3, -1, Document(2, 1, 5, 32, rgb, true), false, ""},
      {rgb3, -1, Document(2, 1, 1, 8, ColourMode::grayscale), false, onlyRgb},
      {rgb3, -1, Document(2, 1, 4, 16, ColourMode::cmyk), false, onlyRgb},
      {rgb3, -1, Document(2000000, 1, 3, 8), false, ""},
      {rgb3, -1, Document(1, 2000001, 3, 8), false, tooLarge},
      {rgb3, -1, Document(2000001, 1, 3, 8), false, tooLarge},
      {"PSHOP_NumTrueChannels > 3", -1, Document(2, 1, 4, 8, rgb, true), false,
       "needs at least 4 colour channels"},
      {"PSHOP_ImageMode == 11", -1, Document(2, 1, 3, 8), false, onlyRgb},
      {"0", -1, Document(2, 1, 3, 8), false, "works on no image that this program knows"},
      {"", -1, Document(2, 1, 3, 8), false, ""}, // the flags decide alone: 8 bits only
      {"", -1, Document(2, 1, 3, 16), false, onlyRgb},
      {rgb3, 0, Document(2, 1, 3, 8), false, noWork + "out transparency"},
      {rgb3, 1, Document(2, 1, 3, 8), true, noWork + "out transparency within a selection"},
      {rgb3, 3, Document(2, 1, 4, 8, rgb, true), false, noWork + " transparency"},
      {rgb3, 4, Document(2, 1, 4, 8, rgb, true), true, noWork + " transparency within a selection"},
  };
  for (const auto& c : cases) {
    Document d = fixture::copyOf(c.document);
    d.setSelection(std::vector<uint8_t>(c.selected * 2, 1));
    const std::string reason =
        host::refusalReason(readExact(changedList(c.expression, c.noCase)), d);
    EXPECT_THAT(reason, testing::EndsWith(c.reason));
    EXPECT_EQ(reason.empty(), c.reason.empty());
  }
  const Bytes good = changedList(rgb3);
  for (size_t length = 0; length < good.size(); length++)
    EXPECT_NE(failureOf([&] { readExact({good.begin(), good.begin() + long(length)}); }), "");
  for (const auto& [at, value] : {std::pair(0, 2), {6, 0}, {25, 128}, {26, 'x'}}) {
    Bytes wrong = good; // another kind of record, no properties, a negative length, no filter
    wrong[size_t(at)] = std::byte(value);
    EXPECT_THAT(failureOf([&] { readExact(wrong); }), HasSubstr("the property list")) << at;
  }
  std::mt19937 random(3);
  for (int round = 0; round < 9000; round++) {
    Bytes bytes = good;
    for (uint32_t changes = 1 + random() % 4; changes > 0; changes--)
      bytes[random() % bytes.size()] = std::byte(random());
    failureOf([&] { host::refusalReason(readExact(bytes), Document(2, 2, 3, 8)); });
  }
}

TEST(EnableExpression, FollowsItsGrammar) {
  const host::EnableFacts facts{plugInModeRGB48, 3};
  const auto value = [&](const std::string& text) { return host::evaluateEnable(text, facts); };
  for (const std::string& yes :
       split("1;true;!false;!!7;1 || 0 && 0;(1||0)&&1;0 || 2;in(PSHOP_ImageMode,11);in(1, 0 < 1);"
             "in(3, 1, 2, 3);-1 < 0;3<=3;2 <= 3;3 != 4;4>3; 5>=5 ;6 >= 5;Gray32Mode == 17;1 == 1\t;"
             "2147483647 > 0;((((((((((((((((((((((((((((((1))))))))))))))))))))))))))))))"))
    EXPECT_TRUE(value(yes)) << yes;
  for (const std::string& no : split("0;1 && 0 || 0;in(PSHOP_ImageMode, RGBMode);!1;3 < 3;3 > 3;"
                                     "4 <= 3;2 >= 3;3 != 3;RGBMode == RGB48Mode;!(1 || 1)"))
    EXPECT_FALSE(value(no)) << no;
  const std::vector<std::string> wrong = split(
      " ;a number or a known name at character 2;1 1;an operator at character 3;(1;\")\" at "
      "character 3;in(1);\",\" at character 5;in 1;\"(\" at;1 &&;character 5;0 && foo;character "
      "6;2147483648;a number of 32 bits at;\xff;character 1;" +
      std::string(101, '(') + ";nesting at;" + std::string(100000, '!') + ";nesting at");
  for (size_t i = 0; i < wrong.size(); i += 2)
    EXPECT_THAT(failureOf([&] { value(wrong[i]); }), HasSubstr(wrong[i + 1]));
}

} // namespace
