// Looks, the filter's runs over documents without a dialog, and what arguments come to.

#include "apps/shared/Correction.h"

#include <cmath>
#include <cstring>
#include <set>
#include <sstream>

#include <sys/stat.h>

#include "apps/commandline/Options.h"
#include "apps/shared/Errors.h"
#include "tests/apps/Folder.h"

namespace {

using fixture::largestDifference, shared::Look, testing::HasSubstr, testing::ThrowsMessage;

class Correction : public FolderTest {
protected:
  host::Document corrected(const host::Document& picture, const Look& look, int threads = 1) {
    host::Document document = fixture::copyOf(picture);
    report = shared::correct(fixture::builtModule(), document, look, threads, watch);
    return document;
  }
  const host::Document scene = fixture::hazyScene(160, 120, 32);
  shared::CorrectionReport report;
  std::vector<double> shares; // of the progress
  photo::Watch watch{[this](double share) { shares.push_back(share); }};
};

TEST_F(Correction, StrengthIsTheShareOfTheEstimates) {
  EXPECT_LE(largestDifference(corrected(scene, {.strength = 0}), scene), 1e-6);
  const host::Document strong = corrected(scene, {.strength = 100});
  EXPECT_FALSE(report.estimate) << "the run itself estimates";
  const Parameters own = report.used;
  EXPECT_GT(own.backgroundIntensity, own.foregroundIntensity);
  shares.clear();
  const host::Document usual = corrected(scene, {});
  EXPECT_TRUE(std::is_sorted(shares.begin(), shares.end()));
  EXPECT_LT(shares.front(), 0.1);
  EXPECT_GT(shares.back(), 0.99);
  EXPECT_NEAR(report.estimate->background, own.backgroundIntensity, 0.02);
  EXPECT_FLOAT_EQ(report.used.foregroundIntensity, 0.7f * report.estimate->foreground);
  EXPECT_FLOAT_EQ(report.used.backgroundIntensity, 0.7f * report.estimate->background);
  EXPECT_GT(largestDifference(strong, scene), largestDifference(usual, scene) * 1.2);
  EXPECT_GT(largestDifference(usual, scene), 0.1);
  EXPECT_LE(largestDifference(corrected(scene, {}, 2), usual), 1.0 / 255);
  corrected(scene, {.foreground = 12, .strength = 50});
  EXPECT_FLOAT_EQ(report.used.foregroundIntensity, 0.12f);
  EXPECT_FLOAT_EQ(report.used.backgroundIntensity, 0.5f * report.estimate->background);
}

TEST_F(Correction, WhatTheFilterCannotDoIsRefused) {
  auto refused = [](const char* why) { return ThrowsMessage<std::runtime_error>(HasSubstr(why)); };
  // A light of zero gives a map without numbers, which comes out black.
  for (const auto& [depth, below] : {std::pair(8, 0.4), std::pair(32, 0.0)}) {
    host::Document night(40, 30, 3, depth); // without blue, black above
    fixture::fill(night, [b = below](int, int y, int c) { return c == 2 || y < 15 ? 0 : b; });
    for (const Look& look : {Look{}, Look{.strength = 100}, Look{.foreground = 5, .background = 9},
                             Look{.background = 9, .mask = true}})
      EXPECT_THAT([&] { corrected(night, look); }, refused("no haze light found"));
  }
  corrected(scene, {.foreground = 0, .background = 0, .mask = true}); // may be black
  const host::Document wide(21475, 1, 3, 8), high(1, 100001, 3, 8);
  EXPECT_THAT([&] { corrected(wide, {}); }, refused("wider than 21474 pixels"));
  EXPECT_THAT([&] { corrected(high, {}); }, refused("too high for its width"));
  for (const auto& [width, height] : {std::pair(9000, 6), std::pair(6, 9000)}) {
    host::Document flat(width, height, 3, 8);
    EXPECT_THAT([&] { shared::correctInDialog(fixture::builtModule(), flat, 1, watch); },
                refused("preview"));
  }
}

// ---- Arguments and files of looks

std::optional<commandline::Options> optionsOf(const std::string& arguments) {
  std::istringstream words("fogdissolver " + arguments);
  Strings list(std::istream_iterator<std::string>(words), {});
  std::vector<char*> argv;
  for (std::string& word : list)
    argv.push_back(word.data());
  return commandline::readCommandLine(int(argv.size()), argv.data());
}

TEST_F(Correction, AFileKeepsTheLookAndOptionsGoBeforeIt) {
  saveLook("look", Look{.foreground = 12.5, .balance = 61}, false);
  saveLook("copy", optionsOf("a.jpg --settings look")->look, false);
  EXPECT_EQ(contents("copy"), "# A look of fogdissolver. Settings that are left out take the "
                              "standard.\nforeground = 12.5\nstrength = 70\n"
                              "foreground-position = 0\nbackground-position = 100\n"
                              "balance = 61\nmask = false\n");
  EXPECT_THROW(saveLook("copy", Look{}, false), shared::UsageError) << "it exists";
  const Look look = optionsOf("a.jpg --settings look --foreground 3 --mask")->look;
  EXPECT_EQ(std::tuple(look.foreground, look.background, look.balance, look.mask),
            std::tuple(3.0, std::nullopt, 61.0, true));
  // What the dialog was set to comes back to the filter.
  const Parameters set{0.25f, 0.1f, 0.75f, 0.35f, std::exp(1.2f), 1};
  Parameters back{};
  saveLook("copy", shared::lookOf(set), true);
  EXPECT_THAT(contents("copy"), HasSubstr("\nforeground = 10\nbackground = 35\n"));
  EXPECT_THAT(contents("copy"),
              HasSubstr("\nforeground-position = 25\nbackground-position = 75\n"));
  apply(shared::readLook("copy"), back);
  EXPECT_NEAR(back.power, set.power, 1e-4f);
  back.power = set.power;
  EXPECT_EQ(std::memcmp(&back, &set, sizeof set), 0);
}

// Each is refused before anything is done.
TEST_F(Correction, WrongUsageIsRefusedInWords) {
  fs::create_directories("in");
  fs::create_directories("also");
  fs::create_directory_symlink("in", "same");
  write("a.jpg", "anything");
  write("in/b.PNG", "anything");
  fs::create_symlink("a.jpg", "soft.jpg");
  fs::create_hard_link("a.jpg", "hard.jpg");
  write("unknown", "strength = 5\ncolour = 3\n");
  write("twice", "strength = 5\nstrength = 6\n");
  write("section", "[look]\nstrength = 5\n");
  write("comma", "strength = 0,5\n");
  const Strings before = files();
  // clang-format off
  const char* cases[][2] = {
      {"", "no photograph"}, {"a.jpg --nope", "--nope"}, {"a.jpg -q -v", "do not go together"},
      {"a.jpg --strength 100.5", "--strength: '100.5' is not a number from 0 to 100"},
      {"a.jpg --foreground nan", "'nan'"}, {"a.jpg --background=-1", "'-1'"},
      {"a.jpg --bits 12", "--bits: 12"}, {"a.jpg --quality 0", "--quality"},
      {"a.jpg --quality 101", "--quality"}, {"a.jpg -t 0", "--threads"}, {"a.jpg -j", "--jobs"},
      {"a.jpg --about", "--about takes no"}, {"a.jpg --dialog --mask", "--dialog"},
      {"a.jpg --format gif", "'gif' is none of"}, {"a.jpg -o x.png --format jpg", "contradicts"},
      {"a.jpg -f -o ./in/../a.jpg", "is an input"}, {"a.jpg -f -o soft.jpg", "is an input"},
      {"a.jpg -f -o hard.jpg", "is an input"}, {"a.jpg --trace hard.jpg", "is an input"},
      {"a.jpg in/b.PNG -f -o {name}.jpg", "is an input"}, {"a.jpg in/b.PNG -o x", "need a folder"},
      {"in/b.PNG same/b.PNG -o also", "same output"}, {"in/b.PNG same/b.PNG", "same output"},
      {"a.jpg -o {nam}.jpg", "in braces"}, {"a.jpg -o -", "needs --format"},
      {"a.jpg in/b.PNG -o - --format jpg", "takes one photograph"}, {"-", "has no name"},
      {"- -o also", "--format"}, {"- - -o also --format jpg", "once only"},
      {"a.jpg --settings unknown", "unknown: there is no setting colour"},
      {"a.jpg --settings twice", "twice: --strength"}, {"a.jpg --settings comma", "comma: --strength"},
      {"a.jpg --settings section", "section: there is no setting look"},
      {"a.jpg --settings gone", "gone: No such file"}};
  // clang-format on
  for (const auto& [arguments, says] : cases)
    EXPECT_THAT([&] { shared::planJobs(*optionsOf(arguments)); },
                ThrowsMessage<shared::UsageError>(HasSubstr(says)))
        << arguments;
  EXPECT_EQ(files(), before);
}

TEST_F(Correction, ResultsGoWhereTheyAreAsked) {
  fs::create_directory("in");
  write("noname", "\xff\xd8\xff a JPEG");
  write("in/taken.jpg", "");
  ::mkfifo("pipe.jpg", 0600);
  fs::create_symlink("nowhere", "dangling.jpg");
  // clang-format off
  const char* cases[][3] = { // the last: why it is refused
      {"a.jpg", "a-clear.jpg", ""}, {"x/b.PNG", "x/b-clear.PNG", ""},
      {"x/shot.nef", "x/shot-clear.tif", ""}, {"noname", "noname-clear.jpg", ""},
      {"x/b.PNG -o in", "in/b-clear.PNG", ""}, {"- -o in --format tif", "in/stdin-clear.tif", ""},
      {"x/b.PNG --format jpg -o new/deep/", "new/deep/b-clear.jpg", ""},
      {"b.PNG -o {name}_{name}.{ext}", "b_b.PNG", ""},
      {"a.jpg -o in/taken.jpg", "in/taken.jpg", "exists already"},
      {"a.jpg -f -o in/taken.jpg", "in/taken.jpg", ""},
      {"a.jpg -o dangling.jpg", "dangling.jpg", "exists already"},
      {"a.jpg -f -o pipe.jpg", "pipe.jpg", "not an ordinary file"}};
  // clang-format on
  for (const auto& [arguments, output, refusal] : cases) {
    const shared::Job job = shared::planJobs(*optionsOf(arguments)).at(0);
    EXPECT_EQ(job.output, output);
    EXPECT_EQ(job.refusal.empty(), !*refusal);
    EXPECT_THAT(job.refusal, HasSubstr(refusal));
  }
  EXPECT_TRUE(fs::is_directory("new/deep"));
}

} // namespace
