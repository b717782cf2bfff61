// Looks, and the filter's runs over documents without a dialog.

#include "apps/shared/Correction.h"

#include <cmath>
#include <set>

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "apps/commandline/Options.h"
#include "apps/shared/Errors.h"
#include "tests/apps/Folder.h"
#include "tests/apps/Pictures.h"

namespace {

using shared::Look;

class Correction : public FolderTest {
protected:
  // A document of floats, or of bytes.
  static host::Document documentOf(const Samples& samples, int depth) {
    host::Document document(samples.width, samples.height, samples.channels, depth);
    for (size_t i = 0; i < samples.values.size(); ++i)
      if (depth == 32)
        reinterpret_cast<float*>(document.row(0))[i] = samples.values[i];
      else
        document.row(0)[i] = std::byte(std::lround(samples.values[i] * 255));
    return document;
  }
  std::vector<float> corrected(const Look& look, int threads = 1) {
    host::Document document = documentOf(scene, 32);
    report = shared::correct(module, document, look, threads, watch);
    const auto* samples = reinterpret_cast<const float*>(document.row(0));
    return {samples, samples + scene.values.size()};
  }
  std::string refusalOf(host::Document document, const Look& look = {}) {
    try {
      shared::correct(module, document, look, 1, watch);
      return "";
    } catch (const std::exception& error) {
      return error.what();
    }
  }
  // Spread of the samples in the upper half, where the haze is: what correction enlarges.
  static double contrast(const std::vector<float>& values) {
    double sum = 0, squares = 0, count = double(values.size() / 2);
    for (size_t i = 0; i < values.size() / 2; ++i)
      sum += values[i], squares += double(values[i]) * values[i];
    return std::sqrt(squares / count - std::pow(sum / count, 2));
  }
  static float largest(const std::vector<float>& a, const std::vector<float>& b) {
    return largestDifference({1, int(a.size()), 1, 0, false, a},
                             {1, int(b.size()), 1, 0, false, b});
  }
  static double mean(const std::vector<float>& values) {
    double sum = 0;
    for (float v : values)
      sum += v;
    return sum / double(values.size());
  }

  const host::Module module = host::Module::openBest(FOG_MODULES);
  Samples scene = hazyScene(160, 120);
  shared::CorrectionReport report;
  std::vector<double> shares; // of the progress
  photo::Watch watch{[this](double share) { shares.push_back(share); }};
};

TEST_F(Correction, StrengthIsTheShareOfTheEstimates) {
  EXPECT_LE(largest(corrected({.strength = 0}), scene.values), 1e-6f);
  const auto strong = corrected({.strength = 100});
  EXPECT_FALSE(report.estimate) << "the run itself estimates";
  const auto own = report.used;
  EXPECT_GT(own.backgroundIntensity, own.foregroundIntensity);
  shares.clear();
  const auto usual = corrected({});
  EXPECT_TRUE(std::is_sorted(shares.begin(), shares.end()));
  EXPECT_LT(shares.front(), 0.1);
  EXPECT_GT(shares.back(), 0.99);
  EXPECT_NEAR(report.estimate->background, own.backgroundIntensity, 0.02);
  EXPECT_FLOAT_EQ(report.used.foregroundIntensity, 0.7f * report.estimate->foreground);
  EXPECT_FLOAT_EQ(report.used.backgroundIntensity, 0.7f * report.estimate->background);
  EXPECT_GT(contrast(usual), contrast(scene.values) * 1.2);
  EXPECT_GT(contrast(strong), contrast(usual) * 1.1);
  corrected({.foreground = 12, .strength = 50});
  EXPECT_FLOAT_EQ(report.used.foregroundIntensity, 0.12f);
  EXPECT_FLOAT_EQ(report.used.backgroundIntensity, 0.5f * report.estimate->background);
  EXPECT_LE(largest(corrected({}, 2), usual), 1.0f / 255);
}

TEST_F(Correction, TheMaskFollowsIntensitiesPositionsAndBalance) {
  const Look look{.foreground = 10, .background = 90, .mask = true};
  auto with = [&look](std::optional<double> Look::*value, double number) {
    Look changed = look;
    changed.*value = number;
    return changed;
  };
  const auto mask = corrected(look);
  EXPECT_NEAR(*std::min_element(mask.begin(), mask.end()), 0.1f, 1e-3f);
  EXPECT_NEAR(*std::max_element(mask.begin(), mask.end()), 0.9f, 1e-3f);
  for (size_t i = 0; i < mask.size(); i += 3)
    ASSERT_TRUE(mask[i] == mask[i + 1] && mask[i] == mask[i + 2]) << i;
  // A later foreground end and a curve that rises late both leave more of the picture near.
  EXPECT_LT(mean(corrected(with(&Look::foregroundPosition, 50))), mean(mask) - 0.02);
  EXPECT_GT(mean(corrected(with(&Look::backgroundPosition, 50))), mean(mask) + 0.02);
  EXPECT_LT(mean(corrected(with(&Look::balance, 80))), mean(mask) - 0.02);
  EXPECT_GT(mean(corrected(with(&Look::balance, 20))), mean(mask) + 0.02);
}

// As a 32-bit document a ramp keeps its levels; as a 16-bit one it would have 256.
TEST_F(Correction, ManyLevelsStayMany) {
  for (size_t i = 0; i < scene.values.size(); i += 3)
    scene.values[i] = 0.3f + 0.5f * float(i / 3) / float(scene.values.size() / 3);
  const auto result = corrected({.foreground = 30, .background = 30});
  std::set<long> levels;
  for (size_t i = 0; i < result.size(); i += 3)
    levels.insert(std::lround(result[i] * 65535));
  EXPECT_GT(levels.size(), 15000u); // of 19200 pixels
}

// A light of zero gives a map without numbers, which comes out black.
TEST_F(Correction, WithoutALightThereIsNoResult) {
  Samples night{40, 30, 3}; // black above, and no colour has blue
  for (int i = 0; i < 40 * 30; ++i)
    for (float v : {i < 600 ? 0.0f : 0.4f, i < 600 ? 0.0f : 0.3f, 0.0f})
      night.values.push_back(v);
  const Samples black{40, 30, 3, 0, false, std::vector<float>(3600)};
  for (const int depth : {8, 32})
    for (const Samples& picture : {black, night})
      for (const Look& look :
           {Look{}, Look{.strength = 100}, Look{.foreground = 5, .background = 9},
            Look{.background = 9, .mask = true}})
        EXPECT_EQ(refusalOf(documentOf(picture, depth), look), "no haze light found") << depth;
  EXPECT_EQ(refusalOf(documentOf(scene, 8), {.foreground = 0, .background = 0, .mask = true}), "");
}

TEST_F(Correction, ShapesBeyondTheFilterAreRefused) {
  EXPECT_THAT(refusalOf(host::Document(21475, 1, 3, 8)), testing::HasSubstr("wider than 21474"));
  EXPECT_THAT(refusalOf(host::Document(1, 100001, 3, 8)), testing::HasSubstr("too high"));
  for (const auto& [width, height] : {std::pair(9000, 6), std::pair(6, 9000)}) {
    host::Document flat(width, height, 3, 8);
    EXPECT_THAT([&] { shared::correctInDialog(module, flat, 1, watch); },
                testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr("preview")));
  }
}

// ---- Looks in files, and what the command line makes of its arguments

shared::Look lookOf(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), {"fogdissolver", "a.jpg"});
  return commandline::readCommandLine(int(arguments.size()), const_cast<char**>(arguments.data()))
      ->look;
}

TEST_F(Correction, AFileKeepsTheLookAndOptionsGoBeforeIt) {
  const std::string file = (*this)("look.toml"), copy = (*this)("copy.toml");
  shared::saveLook(file, {.foreground = 12.5, .balance = 61}, false);
  shared::saveLook(copy, lookOf({"--settings", file.c_str()}), false);
  EXPECT_EQ(read("copy.toml"), read("look.toml"));
  EXPECT_EQ(read("copy.toml"), "# A look of fogdissolver. Settings that are left out take the "
                               "standard.\nforeground = 12.5\nstrength = 70\n"
                               "foreground-position = 0\nbackground-position = 100\n"
                               "balance = 61\nmask = false\n");
  EXPECT_THROW(shared::saveLook(copy, {}, false), shared::UsageError) << "it exists";
  const Look look = lookOf({"--settings", file.c_str(), "--foreground", "3", "--mask"});
  EXPECT_EQ(look.foreground, 3);
  EXPECT_EQ(look.balance, 61);
  EXPECT_EQ(look.mask, true);
  EXPECT_EQ(look.background, std::nullopt);
  // What the dialog was set to comes back to the filter.
  const Parameters set{0.25f, 0.1f, 0.75f, 0.35f, std::exp(1.2f), 1};
  Parameters back{};
  shared::saveLook(copy, shared::lookOf(set), true);
  apply(shared::readLook(copy), back);
  EXPECT_EQ(back.foregroundPosition, set.foregroundPosition);
  EXPECT_EQ(back.foregroundIntensity, set.foregroundIntensity);
  EXPECT_EQ(back.backgroundPosition, set.backgroundPosition);
  EXPECT_EQ(back.backgroundIntensity, set.backgroundIntensity);
  EXPECT_NEAR(back.power, set.power, 1e-4f);
  EXPECT_EQ(back.outputMap, 1);
}

struct Wrong {
  std::vector<const char*> arguments;
  const char* says;
};

// Each is refused before anything is done.
TEST_F(Correction, WrongUsageIsRefusedInWords) {
  fs::current_path(folder);
  write("a.jpg", "anything");
  for (const char* name : {"in", "also"})
    fs::create_directory(name);
  write("in/b.PNG", "anything");
  fs::create_symlink("a.jpg", "soft.jpg");
  fs::create_hard_link("a.jpg", "hard.jpg");
  fs::create_directory_symlink("in", "same");
  write("unknown", "strength = 5\ncolour = 3\n");
  write("beyond", "balance = 300\n");
  write("twice", "strength = 5\nstrength = 6\n");
  write("section", "[look]\nstrength = 5\n");
  write("comma", "strength = 0,5\n");
  const Wrong cases[] = {
      {{}, "no photograph"},
      {{"a.jpg", "--nope"}, "--nope"},
      {{"a.jpg", "--strength", "100.5"}, "--strength: '100.5' is not a number from 0 to 100"},
      {{"a.jpg", "--foreground", "nan"}, "--foreground: 'nan' is not"},
      {{"a.jpg", "--background=-1"}, "--background: '-1' is not"},
      {{"a.jpg", "--balance", "1,5"}, "'1,5' is not a number"},
      {{"a.jpg", "--bits", "12"}, "--bits: 12"},
      {{"a.jpg", "--quality", "0"}, "--quality"},
      {{"a.jpg", "--quality", "101"}, "--quality"},
      {{"a.jpg", "-t", "0"}, "--threads"},
      {{"a.jpg", "-t", "1.5"}, "--threads"},
      {{"a.jpg", "-j"}, "--jobs"},
      {{"a.jpg", "-q", "-v"}, "do not go together"},
      {{"a.jpg", "--about"}, "--about takes no"},
      {{"a.jpg", "--format", "gif"}, "'gif' is none of"},
      {{"a.jpg", "-o", "x.png", "--format", "jpg"}, "contradicts"},
      {{"a.jpg", "-f", "-o", "a.jpg"}, "is an input"},
      {{"a.jpg", "-f", "-o", "./in/../a.jpg"}, "is an input"},
      {{"a.jpg", "-f", "-o", "soft.jpg"}, "is an input"},
      {{"a.jpg", "-f", "-o", "hard.jpg"}, "is an input"},
      {{"a.jpg", "in/b.PNG", "-f", "-o", "{name}.jpg"}, "is an input"},
      {{"a.jpg", "in/b.PNG", "-o", "one.jpg"}, "need a folder"},
      {{"in/b.PNG", "same/b.PNG", "-o", "also"}, "same output"},
      {{"in/b.PNG", "same/b.PNG"}, "same output"},
      {{"a.jpg", "-o", "{nam}.jpg"}, "in braces"},
      {{"a.jpg", "-o", "-"}, "needs --format"},
      {{"a.jpg", "in/b.PNG", "-o", "-", "--format", "jpg"}, "takes one photograph"},
      {{"-"}, "standard input has no name"},
      {{"-", "-o", "also"}, "--format"},
      {{"-", "-", "-o", "also", "--format", "jpg"}, "once only"},
      {{"a.jpg", "--settings", "unknown"}, "unknown: there is no setting colour"},
      {{"a.jpg", "--settings", "beyond"}, "beyond: --balance: '300'"},
      {{"a.jpg", "--settings", "twice"}, "twice: --strength"},
      {{"a.jpg", "--settings", "section"}, "section: there is no setting look"},
      {{"a.jpg", "--settings", "comma"}, "comma: --strength"},
      {{"a.jpg", "--settings", "gone"}, "gone: No such file"},
      {{"a.jpg", "--trace", "hard.jpg"}, "is an input"},
      {{"a.jpg", "--dialog", "--mask"}, "--dialog"}};
  const auto before = files();
  for (Wrong wrong : cases) {
    wrong.arguments.insert(wrong.arguments.begin(), "fogdissolver");
    auto plan = [&wrong] {
      const auto options = commandline::readCommandLine(int(wrong.arguments.size()),
                                                        const_cast<char**>(wrong.arguments.data()));
      shared::planJobs(*options);
    };
    EXPECT_THAT(plan, testing::ThrowsMessage<shared::UsageError>(testing::HasSubstr(wrong.says)));
  }
  EXPECT_EQ(files(), before);
}

TEST_F(Correction, ResultsGoWhereTheyAreAsked) {
  fs::current_path(folder);
  fs::create_directory("in");
  write("noname", "\xff\xd8\xff a JPEG");
  write("in/taken.jpg", "");
  ::mkfifo("pipe.jpg", 0600);
  fs::create_symlink("nowhere", "dangling.jpg");
  struct {
    const char *input, *output, *format, *result;
    bool force, refused;
  } const cases[] = {{"a.jpg", "", "", "a-clear.jpg", false, false},
                     {"x/b.PNG", "", "", "x/b-clear.PNG", false, false},
                     {"x/shot.nef", "", "", "x/shot-clear.tif", false, false},
                     {"noname", "", "", "noname-clear.jpg", false, false},
                     {"x/b.PNG", "in", "", "in/b-clear.PNG", false, false},
                     {"x/b.PNG", "new/deep/", "jpg", "new/deep/b-clear.jpg", false, false},
                     {"b.PNG", "{name}_{name}.{ext}", "", "b_b.PNG", false, false},
                     {"-", "in", "tif", "in/stdin-clear.tif", false, false},
                     {"a.jpg", "in/taken.jpg", "", "in/taken.jpg", false, true},
                     {"a.jpg", "in/taken.jpg", "", "in/taken.jpg", true, false},
                     {"a.jpg", "dangling.jpg", "", "dangling.jpg", false, true},
                     {"a.jpg", "pipe.jpg", "", "pipe.jpg", true, true}};
  for (const auto& c : cases) {
    const shared::Request request{
        .inputs = {c.input}, .output = c.output, .format = c.format, .force = c.force};
    const shared::Job job = shared::planJobs(request).at(0);
    EXPECT_EQ(job.output, c.result);
    EXPECT_EQ(!job.refusal.empty(), c.refused) << job.refusal;
  }
  EXPECT_TRUE(fs::is_directory("new/deep"));
}

} // namespace
