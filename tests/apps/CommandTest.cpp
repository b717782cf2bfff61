// Names, refusals, exit status, messages, and what is left behind when something goes wrong.

#include <algorithm>
#include <csignal>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/apps/Pictures.h"
#include "tests/apps/Program.h"

namespace {

using Names = std::vector<std::string>;

// ---- Names of results

class Command : public ProgramTest {
protected:
  Command() {
    writePicture((*this)("a.jpg"), hazyScene(48, 36), 8);
    fs::create_directory((*this)("in"));
    writePicture((*this)("in/b.PNG"), hazyScene(40, 30), 8);
  }
};

TEST_F(Command, ResultsGoWhereTheyAreAsked) {
  ASSERT_EQ(run({"a.jpg", "in/b.PNG"}).status, 0);
  EXPECT_EQ(files(), (Names{"a-clear.jpg", "a.jpg", "in", "in/b-clear.PNG", "in/b.PNG"}));
  ASSERT_EQ(run({"a.jpg", "in/b.PNG", "-o", "new/deep/"}).status, 0);
  EXPECT_TRUE(fs::exists((*this)("new/deep/a-clear.jpg")));
  EXPECT_TRUE(fs::exists((*this)("new/deep/b-clear.PNG")));
  ASSERT_EQ(run({"a.jpg", "in/b.PNG", "-o", "in/{name}_{name}.{ext}"}).status, 0);
  EXPECT_TRUE(fs::exists((*this)("in/a_a.jpg")));
  EXPECT_TRUE(fs::exists((*this)("in/b_b.PNG")));
  ASSERT_EQ(run({"a.jpg", "--format", "png", "-o", "in"}).status, 0);
  EXPECT_TRUE(read("in/a-clear.png").starts_with("\x89PNG"));
  // A name that does not tell the format: the bytes do. One that lies: they do as well.
  fs::copy_file((*this)("a.jpg"), (*this)("noname"));
  fs::copy_file((*this)("a.jpg"), (*this)("liar.png"));
  ASSERT_EQ(run({"noname", "liar.png"}).status, 0);
  EXPECT_TRUE(read("noname-clear.jpg").starts_with("\xff\xd8"));
  EXPECT_TRUE(read("liar-clear.png").starts_with("\x89PNG"));
}

TEST_F(Command, ExistingFilesStayWithoutForce) {
  write("a-clear.jpg", "precious");
  Finished refused = run({"a.jpg"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_TRUE(isOneLine(refused.err, "a.jpg", "a-clear.jpg exists already"));
  EXPECT_EQ(read("a-clear.jpg"), "precious");
  EXPECT_EQ(run({"a.jpg", "--force"}).status, 0);
  EXPECT_TRUE(read("a-clear.jpg").starts_with("\xff\xd8"));
  fs::create_symlink("nowhere", (*this)("dangling.jpg"));
  EXPECT_EQ(run({"a.jpg", "-o", "dangling.jpg"}).status, 1);
  ::mkfifo((*this)("pipe.jpg").c_str(), 0600);
  EXPECT_EQ(run({"a.jpg", "-f", "-o", "pipe.jpg"}).status, 1) << "a device is not replaced";
  EXPECT_TRUE(fs::is_fifo((*this)("pipe.jpg")));
  write("look.toml", "strength = 5\n");
  EXPECT_EQ(run({"a.jpg", "--save-settings", "look.toml", "-o", "x.jpg"}).status, 2);
  EXPECT_EQ(read("look.toml"), "strength = 5\n");
}

TEST_F(Command, NewFilesGetTheUsualPermissions) {
  Launch launch;
  launch.inChild = [] { ::umask(027); };
  ASSERT_EQ(run({"a.jpg"}, launch).status, 0);
  EXPECT_EQ(fs::status((*this)("a-clear.jpg")).permissions(), fs::perms(0640));
}

TEST_F(Command, ADryRunOnlyTells) {
  const Names before = files();
  const Finished finished = run({"-n", "a.jpg", "gone.jpg", "in/b.PNG", "-o", "new/"});
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(finished.out, "");
  EXPECT_EQ(finished.err, "fogdissolver: a.jpg: would be written to new/a-clear.jpg\n"
                          "fogdissolver: gone.jpg: No such file or directory\n"
                          "fogdissolver: in/b.PNG: would be written to new/b-clear.PNG\n");
  EXPECT_EQ(files(), before);
}

TEST_F(Command, StandardStreamsCarryPictures) {
  Launch launch;
  launch.input = (*this)("a.jpg").string();
  launch.output = (*this)("out.png").string();
  const Finished finished = run({"-", "-v", "-o", "-", "--format", "png"}, launch);
  EXPECT_EQ(finished.status, 0) << finished.err;
  EXPECT_EQ(readPicture((*this)("out.png")).width, 48);
  launch.output.clear();
  launch.input = (*this)("in/b.PNG").string();
  EXPECT_EQ(run({"-", "-o", "named.tif"}, launch).status, 0);
  EXPECT_EQ(readPicture((*this)("named.tif")).width, 40);
  launch.output = "/dev/full";
  const Finished full = run({"a.jpg", "-o", "-", "--format", "jpg"}, launch);
  EXPECT_EQ(full.status, 1);
  EXPECT_TRUE(isOneLine(full.err, "a.jpg", "standard output cannot be written: No space left"));
}

// ---- Wrong usage

struct Wrong {
  Names arguments;
  const char* says;
};

std::ostream& operator<<(std::ostream& stream, const Wrong& wrong) { return stream << wrong.says; }

class WrongUsage : public Command, public testing::WithParamInterface<Wrong> {};

TEST_P(WrongUsage, EndsWithStatusTwoBeforeAnythingIsDone) {
  fs::create_symlink("a.jpg", (*this)("soft.jpg"));
  fs::create_hard_link((*this)("a.jpg"), (*this)("hard.jpg"));
  fs::create_directory_symlink("in", (*this)("same"));
  write("settings", "strength = 5\ncolour = 3\n");
  write("beyond", "balance = 300\n");
  write("twice", "strength = 5\nstrength = 6\n");
  write("section", "[look]\nstrength = 5\n");
  write("comma", "strength = 0,5\n");
  const Names before = files();
  const Finished finished = run(GetParam().arguments);
  EXPECT_EQ(finished.status, 2);
  EXPECT_TRUE(isOneLine(finished.err, "", GetParam().says));
  EXPECT_EQ(finished.out, "");
  EXPECT_EQ(files(), before);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, WrongUsage,
    testing::Values(
        Wrong{{}, "no photograph"}, Wrong{{"a.jpg", "--nope"}, "--nope"},
        Wrong{{"a.jpg", "--strength", "100.5"}, "--strength: 100.5 is not within 0 to 100"},
        Wrong{{"a.jpg", "--foreground", "nan"}, "--foreground: 'nan' is not a number"},
        Wrong{{"a.jpg", "--background=-1"}, "--background: -1 is not within"},
        Wrong{{"a.jpg", "--balance", "1,5"}, "'1,5' is not a number"},
        Wrong{{"a.jpg", "--bits", "12"}, "must be 8, 16 or 32"},
        Wrong{{"a.jpg", "--quality", "0"}, "--quality"}, Wrong{{"a.jpg", "-t", "0"}, "--threads"},
        Wrong{{"a.jpg", "-j"}, "--jobs"}, Wrong{{"a.jpg", "-q", "-v"}, "do not go together"},
        Wrong{{"a.jpg", "--format", "gif"}, "'gif' is none of"},
        Wrong{{"a.jpg", "-o", "x.png", "--format", "jpg"}, "contradicts"},
        Wrong{{"a.jpg", "-f", "-o", "a.jpg"}, "is an input"},
        Wrong{{"a.jpg", "-f", "-o", "./in/../a.jpg"}, "is an input"},
        Wrong{{"a.jpg", "-f", "-o", "soft.jpg"}, "is an input"},
        Wrong{{"a.jpg", "-f", "-o", "hard.jpg"}, "is an input"},
        Wrong{{"a.jpg", "in/b.PNG", "-f", "-o", "{name}.jpg"}, "is an input"},
        Wrong{{"a.jpg", "in/b.PNG", "-o", "one.jpg"}, "need a folder"},
        Wrong{{"in/b.PNG", "same/b.PNG", "-o", "new/"}, "same output"},
        Wrong{{"in/b.PNG", "same/b.PNG"}, "same output"},
        Wrong{{"a.jpg", "-o", "{nam}.jpg"}, "in braces"},
        Wrong{{"a.jpg", "-o", "-"}, "needs --format"},
        Wrong{{"a.jpg", "in/b.PNG", "-o", "-", "--format", "jpg"}, "takes one photograph"},
        Wrong{{"-"}, "standard input has no name"}, Wrong{{"-", "-o", "new/"}, "--format"},
        Wrong{{"-", "-", "-o", "new/", "--format", "jpg"}, "once only"},
        Wrong{{"a.jpg", "--settings", "settings"}, "settings: colour: there is no such setting"},
        Wrong{{"a.jpg", "--settings", "beyond"}, "beyond: balance: 300 is not within"},
        Wrong{{"a.jpg", "--settings", "twice"}, "twice: strength"},
        Wrong{{"a.jpg", "--settings", "section"}, "section: look.strength"},
        Wrong{{"a.jpg", "--settings", "comma"}, "comma: strength"},
        Wrong{{"a.jpg", "--settings", "gone"}, "gone: No such file"},
        Wrong{{"a.jpg", "--trace", "hard.jpg"}, "is an input"},
        Wrong{{"a.jpg", "--dialog", "--strength", "5"}, "--dialog"}));

// ---- Bad input

struct Bad {
  const char* name;
  std::string bytes;
  const char* says;
};

std::ostream& operator<<(std::ostream& stream, const Bad& bad) { return stream << bad.name; }

class BadInput : public Command, public testing::WithParamInterface<Bad> {};

TEST_P(BadInput, FailsAloneAndIsNamed) {
  const Bad& bad = GetParam();
  write(bad.name, bad.bytes);
  const Names before = files();
  const Finished alone = run({bad.name, "-o", "result.png"});
  EXPECT_EQ(alone.status, 1);
  EXPECT_TRUE(isOneLine(alone.err, bad.name, bad.says));
  EXPECT_EQ(files(), before);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, BadInput,
    testing::Values(Bad{"empty.jpg", "", "empty"},
                    Bad{"text.jpg", "Not a picture at all.\n", "not an image"},
                    Bad{"text.tga", std::string(3000, 'x'), "not an image"},
                    Bad{"noise", "\x01\x80\xfe\x33 and so on, without a signature", "not an image"},
                    Bad{"header.jpg", "\xff\xd8\xff\xe0", "truncated"}),
    [](const auto& info) { return "case" + std::to_string(info.index); });

TEST_F(Command, ALineStaysALineWhateverTheName) {
  write("evil\nname\t.jpg", "text");
  EXPECT_TRUE(isOneLine(run({"evil\nname\t.jpg"}).err, "evil?name?.jpg", "not an image"));
}

TEST_F(Command, OtherBadInputsAreNamedAndTheRestIsDone) {
  writePicture((*this)("grey.jpg"), {8, 8, 1, 8, false, std::vector<float>(64, 0.5f)}, 8);
  writePicture((*this)("grey.png"), {8, 8, 1, 16, false, std::vector<float>(64, 0.5f)}, 16);
  writePicture((*this)("two.tif"), {8, 8, 2, 8, false, std::vector<float>(128, 0.5f)}, 8);
  writePicture((*this)("wide.tif"), {2000001, 1, 3, 8, false, std::vector<float>(6000003)}, 8);
  fs::create_directory((*this)("folder.jpg"));
  const Finished finished = run({"gone.jpg", "folder.jpg", "grey.jpg", "grey.png", "a.jpg",
                                 "two.tif", "wide.tif", "in/b.PNG", "-o", "out/", "-j", "1"});
  EXPECT_EQ(finished.status, 1);
  const std::string rgb = "not an RGB picture, and the filter works on RGB images\n";
  EXPECT_EQ(finished.err, "fogdissolver: gone.jpg: No such file or directory\n"
                          "fogdissolver: folder.jpg: a folder, not a photograph\n"
                          "fogdissolver: grey.jpg: " +
                              rgb + "fogdissolver: grey.png: " + rgb +
                              "fogdissolver: two.tif: " + rgb +
                              "fogdissolver: wide.tif: larger than 2000000 pixels a side\n"
                              "fogdissolver: 6 of 8 photographs failed\n");
  Names made;
  for (const std::string& name : files())
    if (name.starts_with("out/"))
      made.push_back(name);
  EXPECT_EQ(made, (Names{"out/a-clear.jpg", "out/b-clear.PNG"}));
}

// The filter has no reduced size for these, and would hand them back as they were.
TEST_F(ProgramTest, ShapesBeyondTheFilterAreRefused) {
  writePicture((*this)("long.png"), {21475, 1, 3, 8, false, std::vector<float>(64425)}, 8);
  writePicture((*this)("high.png"), {1, 100001, 3, 8, false, std::vector<float>(300003)}, 8);
  const Finished finished = run({"long.png", "high.png", "-j", "1"});
  EXPECT_EQ(finished.status, 1);
  EXPECT_NE(finished.err.find("long.png: wider than 21474 pixels"), std::string::npos);
  EXPECT_NE(finished.err.find("high.png: too high for its width"), std::string::npos);
  EXPECT_EQ(files(), (Names{"high.png", "long.png"}));
}

TEST_F(ProgramTest, APictureBeyondAnyMemoryIsRefused) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer's allocator ends the process";
#endif
  write("huge.ppm", "P6\n2000000 2000000\n255\nabc");
  const Finished finished = run({"huge.ppm"});
  EXPECT_EQ(finished.status, 1);
  EXPECT_TRUE(isOneLine(finished.err, "huge.ppm", "not enough memory"));
  EXPECT_EQ(files(), Names{"huge.ppm"});
}

// Four channels are CMYK unless the file says otherwise; the adapted files keep their structure.
TEST_F(Command, CmykIsRefused) {
  writePicture((*this)("cmyk.tif"), hazyScene(16, 16, 4), 8);
  std::string tiff = read("cmyk.tif");
  const std::string rgb("\x06\x01\x03\x00\x01\x00\x00\x00\x02\x00", 10); // photometric: RGB
  const size_t at = tiff.find(rgb);
  ASSERT_NE(at, std::string::npos);
  tiff[at + 8] = 5; // separated
  write("cmyk.tif", tiff);
  EXPECT_TRUE(isOneLine(run({"cmyk.tif"}).err, "cmyk.tif", "works on RGB images"));

  std::string jpeg = read("a.jpg");
  const size_t frame = jpeg.find("\xff\xc0"); // start of frame; its tenth byte counts components
  ASSERT_NE(frame, std::string::npos);
  jpeg.replace(frame, 4 + 15,
               std::string("\xff\xc0\x00\x14\x08\x00\x24\x00\x30\x04\x01\x11\x00\x02"
                           "\x11\x01\x03\x11\x01\x04\x11\x01",
                           22));
  write("cmyk.jpg", jpeg);
  EXPECT_TRUE(isOneLine(run({"cmyk.jpg"}).err, "cmyk.jpg", "works on RGB images"));
}

class Truncated : public ProgramTest, public testing::WithParamInterface<const char*> {};

TEST_P(Truncated, FailsWherever) {
  const std::string name = std::string("whole.") + GetParam(),
                    cut = std::string("cut.") + GetParam();
  writePicture((*this)(name), hazyScene(120, 90), std::string(GetParam()) == "exr" ? 32 : 8);
  const std::string bytes = read(name);
  Launch launch; // what a sanitizer needs to tell the library's leaks from ours
  launch.environment = {{"ASAN_OPTIONS", "fast_unwind_on_malloc=0"},
                        {"LSAN_OPTIONS", "suppressions=" FOG_LEAKS ":print_suppressions=0"}};
  for (double share : {0.001, 0.05, 0.4, 0.7, 0.95}) {
    write(cut, bytes.substr(0, size_t(double(bytes.size()) * share)));
    const Finished finished = run({cut, "-o", "result.png"}, launch);
    EXPECT_EQ(finished.status, 1) << share;
    EXPECT_TRUE(isOneLine(finished.err, cut, "")) << share;
  }
  EXPECT_EQ(files(), (Names{cut, name}));
}
INSTANTIATE_TEST_SUITE_P(Formats, Truncated,
                         testing::Values("jpg", "png", "tif", "exr", "webp", "jp2", "ppm", "bmp",
                                         "tga"));

TEST_F(Command, FormatsRefuseWhatTheyCannotHold) {
  writePicture((*this)("alpha.png"), hazyScene(20, 20, 4), 8);
  writePicture((*this)("long.png"), {16400, 2, 3, 8, false, std::vector<float>(98400, 0.4f)}, 8);
  const Names before = files();
  EXPECT_TRUE(isOneLine(run({"alpha.png", "-o", "x.jpg"}).err, "alpha.png", "transparency"));
  EXPECT_TRUE(isOneLine(run({"a.jpg", "--bits", "16", "-o", "x.webp"}).err, "a.jpg", "16 bits"));
  EXPECT_TRUE(isOneLine(run({"long.png", "-o", "x.webp"}).err, "long.png", "16383 pixels"));
  EXPECT_TRUE(isOneLine(run({"a.jpg", "-o", "x.gif"}).err, "a.jpg", "'gif' is no format"));
  EXPECT_EQ(run({"a.jpg", "-o", "in/none/x.jpg"}).status, 1);
  EXPECT_EQ(files(), before);
}

TEST_F(ProgramTest, OfSeveralPagesTheFirstIsUsed) {
  writePages((*this)("pages.tif"), {hazyScene(30, 20), hazyScene(50, 40)});
  const Finished finished = run({"pages.tif"});
  EXPECT_EQ(finished.status, 0);
  EXPECT_TRUE(isOneLine(finished.err, "pages.tif", "the first one is used"));
  EXPECT_EQ(readPicture((*this)("pages-clear.tif")).width, 30);
}

// ---- Interruption, limits, crashes

TEST_F(ProgramTest, AnInterruptLeavesNothing) {
  writePicture((*this)("big.jpg"), hazyScene(2600, 1900), 8);
  for (int milliseconds : {30, 100, 200, 350}) { // the whole run takes about a second
    Launch launch;
    launch.interruptAfter = std::chrono::milliseconds(milliseconds);
    const Finished finished = run({"big.jpg", "-t", "1"}, launch);
    EXPECT_EQ(finished.signal, SIGINT) << milliseconds << " " << finished.err;
    EXPECT_EQ(files(), Names{"big.jpg"}) << milliseconds;
  }
}

TEST_F(Command, NoSpaceIsToldAndLeavesNothing) {
  const Names before = files();
  Launch launch;
  launch.inChild = [] {
    const rlimit limit{400, 400}; // bytes a file
    ::setrlimit(RLIMIT_FSIZE, &limit);
  };
  for (const char* result : {"x.jpg", "x.png", "x.tif", "x.jp2"}) {
    const Finished finished = run({"a.jpg", "-o", result}, launch);
    EXPECT_EQ(finished.status, 1);
    EXPECT_TRUE(isOneLine(finished.err, "a.jpg", "cannot be written: File too large")) << result;
    EXPECT_EQ(files(), before);
  }
}

TEST_F(Command, ACrashCostsOnePhotograph) {
  const Names before = files();
  const Finished finished =
      run({"a.jpg", "in/b.PNG", "gone.jpg", "-o", "out/", "-j", "1", "--plugin", FOG_CRASHING});
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(finished.err.substr(0, 44), "fogdissolver: a.jpg: the filter crashed: Abo")
      << finished.err;
  EXPECT_TRUE(finished.err.ends_with("fogdissolver: 3 of 3 photographs failed\n")) << finished.err;
  Names after = files();
  std::erase(after, "out");
  EXPECT_EQ(after, before);
}

TEST_F(Command, JobsAndTraceShareTheirFiles) {
  const Finished finished =
      run({"a.jpg", "in/b.PNG", "-j", "2", "-o", "out/", "--trace", "trace.txt"});
  EXPECT_EQ(finished.status, 0) << finished.err;
  EXPECT_EQ(finished.err, "");
  const std::string trace = read("trace.txt");
  size_t finishes = 0;
  for (size_t at = 0; (at = trace.find("PluginMain_core :: DoFinish\n", at)) != std::string::npos;
       ++at)
    ++finishes;
  EXPECT_EQ(finishes, 4u) << "an estimate and a run for each of two photographs";
}

// ---- Texts

TEST_F(ProgramTest, HelpAndManualNameTheSameOptions) {
  const Finished help = run({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.err, "");
  EXPECT_EQ(run({"--version"}).out, "fogdissolver " FOG_VERSION "\n");
  std::istringstream lines(help.out);
  for (std::string line; std::getline(lines, line);)
    EXPECT_LE(line.size(), 80u) << line;
  auto optionsOf = [](std::string text) {
    text.erase(std::remove(text.begin(), text.end(), '\\'), text.end()); // roff's \-
    std::set<std::string> names;
    for (size_t at = 0; (at = text.find("--", at)) != std::string::npos;) {
      const size_t end = text.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", at);
      names.insert(text.substr(at, end - at));
      at = end;
    }
    return names;
  };
  std::ifstream page(FOG_MANUAL);
  const std::string manual{std::istreambuf_iterator<char>(page), {}};
  EXPECT_EQ(optionsOf(help.out), optionsOf(manual));
}

// ---- Dialogs, on a platform without a screen, with a plug-in of Qt in the person's place

Launch piloted(const std::string& wish, const fs::path& home) {
  Launch launch;
  launch.environment = {{"QT_QPA_PLATFORM", "offscreen"},
                        {"QT_QPA_GENERIC_PLUGINS", "fogpilot"},
                        {"QT_PLUGIN_PATH", FOG_PILOT_FOLDER},
                        {"FOG_PILOT", wish},
                        {"LC_ALL", "C"},
                        {"HOME", home.string()},
                        {"XDG_CONFIG_HOME", (home / "config").string()}};
  return launch;
}

TEST_F(Command, OkInTheDialogWritesWhatItShows) {
  const fs::path home = folder.string() + ".home";
  const Finished finished =
      run({"a.jpg", "--dialog", "--save-settings", "look.toml"}, piloted("OK", home));
  fs::remove_all(home);
  ASSERT_EQ(finished.status, 0) << finished.err;
  // The look that was kept gives the same picture without the dialog, but for the hundredths that
  // the map's size makes: the dialog estimates from its preview.
  ASSERT_EQ(run({"a.jpg", "--settings", "look.toml", "-o", "silent.jpg"}).status, 0);
  const Samples shown = readPicture((*this)("a-clear.jpg"));
  EXPECT_LE(difference(shown, readPicture((*this)("silent.jpg"))).mean, 0.02f);
  EXPECT_GT(difference(shown, readPicture((*this)("a.jpg"))).mean, 0.02f);
}

TEST_F(Command, LeavingTheDialogLeavesNothing) {
  const Names before = files();
  const fs::path home = folder.string() + ".home";
  for (const char* way : {"Cancel", "close"}) {
    const Finished finished = run({"a.jpg", "--dialog"}, piloted(way, home));
    EXPECT_EQ(finished.status, 1) << way;
    EXPECT_TRUE(isOneLine(finished.err, "a.jpg", "cancelled")) << way;
    EXPECT_EQ(files(), before) << way;
  }
  Launch interrupted = piloted("no such button", home);
  interrupted.interruptAfter = std::chrono::milliseconds(2500);
  EXPECT_EQ(run({"a.jpg", "--dialog"}, interrupted).signal, SIGINT);
  EXPECT_EQ(files(), before);
  fs::remove_all(home);
}

TEST_F(ProgramTest, TheAboutBoxOpensAndCloses) {
  const fs::path home = folder.string() + ".home";
  const Finished finished = run({"--about"}, piloted("close", home));
  EXPECT_EQ(finished.status, 0) << finished.err;
  Launch left = piloted("no such button", home); // nobody closes it: it is still there
  left.interruptAfter = std::chrono::milliseconds(2500);
  EXPECT_EQ(run({"--about"}, left).signal, SIGINT);
  fs::remove_all(home);
}

TEST_F(Command, DialogWithoutADisplayIsRefused) {
  Launch launch;
  launch.environment = {{"DISPLAY", ""}, {"WAYLAND_DISPLAY", ""}, {"QT_QPA_PLATFORM", ""}};
  const Finished finished = run({"a.jpg", "--dialog"}, launch);
  EXPECT_EQ(finished.status, 1);
  EXPECT_TRUE(isOneLine(finished.err, "a.jpg", "needs a display"));
}

} // namespace
