// The program as a person runs it: streams, processes, interruption, limits, dialogs, texts.

#include <csignal>
#include <set>
#include <sstream>

#include <sys/resource.h>
#include <sys/stat.h>

#include "frame/contract/Version.h"
#include "tests/apps/Pictures.h"
#include "tests/apps/Program.h"

namespace {

using namespace std::chrono_literals;
using Names = std::vector<std::string>;

class Command : public ProgramTest {
protected:
  Command() {
    writePictures((*this)("a.jpg"), {hazyScene(48, 36)}, 8);
    writePictures((*this)("b.png"), {hazyScene(40, 30)}, 8);
  }
  static size_t count(const std::string& text, const std::string& part) {
    size_t found = 0;
    for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at)
      ++found;
    return found;
  }
};

// ---- Results

TEST_F(Command, ABatchDoesWhatItCanAndNamesTheRest) {
  write("evil\nname.jpg", "text");
  write("c.png", "precious");
  Launch launch;
  launch.inChild = [] { ::umask(027); };
  const Finished finished =
      run({"a.jpg", "evil\nname.jpg", "gone.jpg", "b.png", "-j", "2", "-o", "out/", "--trace", "t"},
          launch);
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(count(finished.err, "\n"), 3u) << finished.err;
  EXPECT_EQ(count(finished.err, "fogdissolver: evil?name.jpg: not an image"), 1u);
  EXPECT_EQ(count(finished.err, "fogdissolver: gone.jpg: No such file or directory\n"), 1u);
  EXPECT_TRUE(finished.err.ends_with("fogdissolver: 2 of 4 photographs failed\n"));
  EXPECT_EQ(files(), (Names{"a.jpg", "b.png", "c.png", "evil\nname.jpg", "out", "out/a-clear.jpg",
                            "out/b-clear.png", "t"}));
  EXPECT_EQ(fs::status(folder / "out/a-clear.jpg").permissions(), fs::perms(0640));
  EXPECT_EQ(count(read("t"), "PluginMain_core :: DoFinish\n"), 4u) << "an estimate and a run each";
  EXPECT_GT(
      largestDifference(readPicture((*this)("b.png")), readPicture((*this)("out/b-clear.png"))),
      0.05f);
  const Finished refused = run({"b.png", "-o", "c.png"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_TRUE(isOneLine(refused.err, "b.png", "c.png exists already"));
  EXPECT_EQ(read("c.png"), "precious");
}

TEST_F(Command, ADryRunOnlyTells) {
  const Names before = files();
  const Finished finished = run({"-n", "a.jpg", "gone.jpg", "-o", "new/", "--save-settings", "s"});
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(finished.err, "fogdissolver: a.jpg: would be written to new/a-clear.jpg\n"
                          "fogdissolver: gone.jpg: No such file or directory\n");
  EXPECT_EQ(files(), before);
  const Finished wrong = run({"a.jpg", "--bits", "7"});
  EXPECT_EQ(wrong.status, 2);
  EXPECT_TRUE(isOneLine(wrong.err, "", "--bits"));
}

TEST_F(Command, StandardStreamsCarryPictures) {
  Launch launch;
  launch.input = (*this)("a.jpg");
  launch.output = (*this)("out.png");
  const Finished finished =
      run({"-", "-v", "-o", "-", "--format", "png", "--save-settings", "look"}, launch);
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(count(finished.err, "fogdissolver: -: "), 6u) << finished.err;
  EXPECT_EQ(count(finished.err, ": estimate: foreground "), 1u);
  EXPECT_EQ(count(finished.err, ": seconds: read "), 1u);
  EXPECT_EQ(readPicture((*this)("out.png")).width, 48);
  EXPECT_EQ(count(read("look"), "strength = 70\n"), 1u);
  EXPECT_EQ(run({"a.jpg", "--save-settings", "look"}).status, 2) << "it exists";
  launch.output = "/dev/full";
  const Finished full = run({"a.jpg", "-o", "-", "--format", "jpg"}, launch);
  EXPECT_EQ(full.status, 1);
  EXPECT_TRUE(isOneLine(full.err, "a.jpg", "standard output cannot be written: No space left"));
}

// ---- Interruption, limits, crashes

TEST_F(Command, AnInterruptLeavesNothing) {
  fs::remove(folder / "b.png");
  writePictures((*this)("a.jpg"), {hazyScene(2600, 1900)}, 8);
  for (const auto pause : {30ms, 350ms}) { // the whole run takes about a second
    Launch launch;
    launch.interruptAfter = pause;
    const Finished finished = run({"a.jpg", "-t", "1"}, launch);
    EXPECT_EQ(finished.signal, SIGINT) << finished.err;
    EXPECT_EQ(files(), Names{"a.jpg"});
  }
}

TEST_F(Command, NoSpaceIsToldAndLeavesNothing) {
  const Names before = files();
  Launch launch;
  launch.inChild = [] {
    const rlimit limit{400, 400}; // bytes a file
    ::setrlimit(RLIMIT_FSIZE, &limit);
  };
  for (const char* result : {"x.jpg", "x.jp2"}) { // jp2 goes through a file on its way
    const Finished finished = run({"a.jpg", "--strength", "0", "-o", result}, launch);
    EXPECT_EQ(finished.status, 1);
    EXPECT_TRUE(isOneLine(finished.err, "a.jpg", "cannot be written: File too large")) << result;
    EXPECT_EQ(files(), before);
  }
}

// scripts/memory-limits does this at 40 limits.
TEST_F(Command, WithoutMemoryThereIsNoResult) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer needs the address space for itself";
#endif
  writePictures((*this)("big.jpg"), {hazyScene(1500, 1000)}, 8);
  int failed = 0;
  for (const rlim_t megabytes : {100, 150, 200, 250, 300}) {
    Launch launch;
    launch.inChild = [megabytes] {
      const rlimit limit{megabytes << 20, megabytes << 20};
      ::setrlimit(RLIMIT_AS, &limit);
    };
    const Finished finished = run({"big.jpg", "-f", "-t", "1", "-o", "out/"}, launch);
    const bool whole =
        finished.status == 0 && finished.err.empty() &&
        readPicture((*this)("out/big-clear.jpg")).values != readPicture((*this)("big.jpg")).values;
    EXPECT_TRUE(whole ||
                (finished.status == 1 && isOneLine(finished.err, "", "not enough memory") &&
                 !fs::exists(folder / "out/big-clear.jpg")))
        << megabytes << " " << finished.status << finished.err;
    failed += finished.status;
  }
  EXPECT_GE(failed, 2);
}

TEST_F(Command, ACrashCostsOnePhotograph) {
  writePictures((*this)("c.jpg"), {hazyScene(40, 30)}, 8);
  const Finished finished =
      run({"a.jpg", "c.jpg", "gone.jpg", "-o", "out/", "-j", "1", "--plugin", FOG_CRASHING});
  EXPECT_EQ(finished.status, 1);
  EXPECT_TRUE(finished.err.starts_with("fogdissolver: a.jpg: the filter crashed: Aborted\n"));
  EXPECT_EQ(count(finished.err, "fogdissolver: c.jpg: a library ended the work"), 1u);
  EXPECT_TRUE(finished.err.ends_with("fogdissolver: 3 of 3 photographs failed\n")) << finished.err;
  EXPECT_EQ(files(), (Names{"a.jpg", "b.png", "c.jpg", "out"}));
}

// ---- Texts

TEST_F(Command, HelpManualAndReadmeNameTheSameOptions) {
  const Finished help = run({"--help"}), all = run({"--help-all"});
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(run({"--version"}).out, "fogdissolver " FOG_VERSION "\n");
  std::istringstream lines(all.out);
  for (std::string line; std::getline(lines, line);)
    EXPECT_LE(line.size(), 80u) << line;
  auto optionsOf = [](std::string text) {
    std::erase(text, '\\'); // roff's \-
    std::set<std::string> names;
    for (size_t at = 0; (at = text.find("--", at)) != std::string::npos;) {
      const size_t end = text.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", at);
      if (std::isalpha(text[at + 2]))
        names.insert(text.substr(at, end - at));
      at = end;
    }
    return names;
  };
  const std::set<std::string> options = optionsOf(all.out);
  EXPECT_EQ(options, optionsOf(contents(FOG_MANUAL)));
  const std::string readme = contents(FOG_README);
  const size_t begin = readme.find("## Options");
  EXPECT_EQ(options, optionsOf(readme.substr(begin, readme.find("\n## ", begin) - begin)));
  std::set<std::string> first = optionsOf(help.out);
  EXPECT_FALSE(first.contains("--trace") || first.contains("--plugin"));
  first.insert({"--trace", "--plugin"});
  EXPECT_EQ(first, options);
}

// ---- Dialogs, on a platform without a screen, with a plug-in of Qt in the person's place

class Dialog : public Command {
protected:
  Launch piloted(const std::string& wishes) const {
    Launch launch;
    launch.environment = {{"QT_QPA_PLATFORM", "offscreen"},
                          {"QT_QPA_GENERIC_PLUGINS", "fogpilot"},
                          {"QT_PLUGIN_PATH", FOG_PILOT_FOLDER},
                          {"FOG_PILOT", wishes},
                          {"LC_ALL", "C"},
                          {"HOME", home},
                          {"XDG_CONFIG_HOME", home + "/config"}};
    return launch;
  }
  ~Dialog() override { fs::remove_all(home); }
  const std::string home = folder.string() + ".home";
};

TEST_F(Dialog, OkWritesWhatItShowsAndCancelIsNoFailure) {
  const Finished finished =
      run({"a.jpg", "--dialog", "-v", "--save-settings", "look.toml"}, piloted("OK"));
  ASSERT_EQ(finished.status, 0) << finished.err;
  // The pilot thinks for a second, which is not the filter's.
  const size_t at = finished.err.find("filter ", finished.err.find("seconds:"));
  EXPECT_LT(std::stod(finished.err.substr(at + 7)), 0.9);
  // The look that was kept gives the same picture without the dialog, but for the hundredths that
  // the map's size makes: the dialog estimates from its preview.
  ASSERT_EQ(run({"a.jpg", "--settings", "look.toml", "-o", "silent.jpg"}).status, 0);
  const Samples shown = readPicture((*this)("a-clear.jpg"));
  EXPECT_LE(largestDifference(shown, readPicture((*this)("silent.jpg"))), 0.15f);
  EXPECT_GT(largestDifference(shown, readPicture((*this)("a.jpg"))), 0.05f);

  const Names before = files();
  const Finished left =
      run({"a.jpg", "b.png", "--dialog", "-o", "{name}-x.png"}, piloted("Cancel"));
  EXPECT_EQ(left.status, 3);
  EXPECT_EQ(left.err, "fogdissolver: a.jpg: cancelled\nfogdissolver: b.png: cancelled\n"
                      "fogdissolver: 2 of 2 photographs cancelled\n");
  Launch interrupted = piloted("no such button");
  interrupted.interruptAfter = 1500ms;
  EXPECT_EQ(run({"b.png", "--dialog"}, interrupted).signal, SIGINT);
  EXPECT_EQ(files(), before);
}

TEST_F(Dialog, TheAboutBoxOpensAndCloses) {
  EXPECT_EQ(run({"--about"}, piloted("close")).status, 0);
  Launch left = piloted("no such button"); // nobody closes it: it is still there
  left.interruptAfter = 1500ms;
  EXPECT_EQ(run({"--about"}, left).signal, SIGINT);
}

TEST_F(Dialog, WithoutADisplayItIsRefused) {
  for (const std::string display : {"", ":4711"}) {
    Launch launch;
    launch.environment = {{"DISPLAY", display}, {"WAYLAND_DISPLAY", ""}, {"QT_QPA_PLATFORM", ""}};
    const Finished finished = run({"a.jpg", "--dialog"}, launch);
    EXPECT_EQ(finished.status, 1);
    EXPECT_TRUE(isOneLine(finished.err, "a.jpg", "need a display")) << display;
  }
}

} // namespace
