// The program as a user runs it: streams, processes, interruption, limits, dialogs, texts.

#include <csignal>
#include <set>

#include "frame/contract/Version.h"
#include "tests/apps/Folder.h"

namespace {

using fixture::hazyScene, testing::HasSubstr, testing::StartsWith, testing::MatchesRegex;

class Command : public FolderTest {
protected:
  Command() {
    writePicture("a.jpg", hazyScene(48, 36, 32));
    writePicture("b.jpg", hazyScene(40, 30, 32));
  }
  // A platform without a screen, where a Qt plug-in acts as the user.
  const std::string pilot = "env QT_QPA_PLATFORM=offscreen QT_QPA_GENERIC_PLUGINS=fogpilot "
                            "LC_ALL=C QT_PLUGIN_PATH=" FOG_PILOT_FOLDER " XDG_CONFIG_HOME=" +
                            folder.string() + "/config FOG_PILOT=";
};

TEST_F(Command, ABatchDoesWhatItCanAndStreamsCarryPictures) {
  write("evil\nname.jpg", "text");
  write("c.png", "precious");
  EXPECT_EQ(run("a.jpg evil* gone.jpg b.jpg -j 2 -o out/ --trace t", "umask 027;"), 1);
  EXPECT_THAT(said, HasSubstr("fogdissolver: evil?name.jpg: not an image, or of a format that"));
  EXPECT_THAT(said, HasSubstr("fogdissolver: gone.jpg: No such file or directory\n"));
  EXPECT_TRUE(said.ends_with("fogdissolver: 2 of 4 photographs failed\n")) << said;
  EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 3) << said;
  EXPECT_EQ(files(), (Strings{"a.jpg", "b.jpg", "c.png", "evil\nname.jpg", "out", "out/a-clear.jpg",
                              "out/b-clear.jpg", "t"}));
  EXPECT_EQ(fs::status("out/a-clear.jpg").permissions(), fs::perms(0640));
  EXPECT_THAT(contents("t"), MatchesRegex("(.*:: DoFinish\n.*){2}")) << "one run each";
  EXPECT_EQ(run("b.jpg -o c.png"), 1);
  EXPECT_EQ(said, "fogdissolver: b.jpg: the output c.png exists already; --force replaces it\n");
  EXPECT_EQ(contents("c.png"), "precious");
  EXPECT_EQ(run("-n a.jpg gone.jpg -o new/ --save-settings s"), 1);
  EXPECT_EQ(said, "fogdissolver: a.jpg: would be written to new/a-clear.jpg\n"
                  "fogdissolver: gone.jpg: No such file or directory\n");
  EXPECT_EQ(run("--strength 9 --save-settings s && rm s"), 0);
  EXPECT_EQ(files().size(), 8u);
  write("secret.jpg", contents("b.jpg"));
  fs::permissions("secret.jpg", fs::perms(0600));
  EXPECT_EQ(run("b.jpg -o ''"), 2);
  EXPECT_EQ(run("secret.jpg '' -q -o out/"), 1);
  EXPECT_EQ(fs::status("out/secret-clear.jpg").permissions(), fs::perms(0600));
  EXPECT_THAT(said, StartsWith("fogdissolver: \"\": No such file"));
  // Standard streams
  EXPECT_EQ(run("- -v -o - --format png --save-settings look <a.jpg >out.png"), 0);
  EXPECT_THAT(said, MatchesRegex("(fogdissolver: -: [^\n]*\n){6}"));
  EXPECT_THAT(said, HasSubstr("-: 48 x 36, 3 channels, 8 bits in, 8 bits out\n"));
  EXPECT_THAT(said, HasSubstr("-: estimate: foreground "));
  EXPECT_EQ(readPicture("out.png").width(), 48);
  EXPECT_THAT(contents("look"), HasSubstr("strength = 70\n"));
  EXPECT_EQ(run("a.jpg -o - --format jpg >/dev/full"), 1);
  EXPECT_THAT(said, StartsWith("fogdissolver: a.jpg: standard output cannot be written: No space"));
  EXPECT_EQ(run("--help >/dev/full"), 1);
  EXPECT_EQ(
      run("- -v -o closed.jpg <a.jpg 2>&-; cmp a-clear.jpg closed.jpg", FOG_PROGRAM " a.jpg;"), 0)
      << "no message is written into the result";
}

TEST_F(Command, InterruptsFullDisksAndCrashesLeaveNothing) {
  writePicture("a.jpg", hazyScene(2600, 1900, 32));
  const Strings before = files();
  for (const std::string pause : {"0.03", "0.35"}) { // the whole run takes about a second
    EXPECT_EQ(run("a.jpg -t 1", "timeout --preserve-status -s INT " + pause), 128 + SIGINT) << said;
    EXPECT_EQ(files(), before);
  }
  const std::string hangUp = "timeout --preserve-status -k 20 -s HUP 0.3";
  EXPECT_EQ(run("- -o x.jpg <&3", "mkfifo p; exec 3<>p; rm p; " + hangUp), 128 + SIGHUP)
      << "a stream that nobody writes to";
  EXPECT_EQ(run("a.jpg -t 1 -o x.jpg", hangUp + " nohup"), 0) << said;
  EXPECT_EQ(run("b.jpg -q -f -o x.jpg --trace /dev/full"), 1);
  EXPECT_EQ(said, "fogdissolver: --trace: /dev/full cannot be written: No space left on device\n");
  EXPECT_EQ(readPicture("x.jpg").width(), 40);
  fs::remove("x.jpg");
  EXPECT_EQ(run("b.jpg --strength 0 --format bmp -o x/y/", "ulimit -f 1;"), 1); // one block
  EXPECT_EQ(said, "fogdissolver: b.jpg: x/y/b-clear.bmp cannot be written: File too large\n");
  EXPECT_EQ(run("--strength 9 --save-settings s", "ulimit -f 0;"), 1);
  EXPECT_EQ(files(), before);
  EXPECT_EQ(run("a.jpg b.jpg gone.jpg -o out/ -j 1 --plugin " FOG_CRASHING), 1);
  EXPECT_EQ(said, "fogdissolver: a.jpg: the filter crashed: Aborted\n"
                  "fogdissolver: b.jpg: a library ended the work without giving a reason\n"
                  "fogdissolver: gone.jpg: No such file or directory\n"
                  "fogdissolver: 3 of 3 photographs failed\n");
  EXPECT_EQ(files(), (Strings{"a.jpg", "b.jpg"}));
}

// On a terminal with 70 columns the bar grows in one line, which messages move down.
TEST_F(Command, ATerminalGetsABar) {
  const std::string longName = std::string(70, 'n') + "nnd.jpg";
  for (const std::string& name : {std::string("c.jpg"), longName})
    writePicture(name, hazyScene(3000, 2000, 32));
  const auto onTerminal = [&](const std::string& options, const std::string& kind = "xterm") {
    return run("", "TERM=" + kind + " script -qec 'stty cols 70; " FOG_PROGRAM " " + options +
                       "' /dev/null; : ");
  };
  EXPECT_EQ(onTerminal("c.jpg " + longName + " -j 1 -t 1 -o out/"), 0);
  std::vector<int> percents[2];
  std::string last;
  for (size_t at = 0, end; (at = said.find("\r\033[K", at)) != said.npos; at = end) {
    at += 4;
    end = std::min({said.find('\r', at), said.find('\n', at), said.size()});
    const std::string frame = said.substr(at, end - at);
    last = frame.empty() ? last : frame;
    if (frame.find("] ") == frame.npos)
      continue; // a message
    EXPECT_LT(frame.size(), 70u) << frame;
    const bool isSecond = frame.starts_with("...");
    EXPECT_THAT(frame, MatchesRegex(isSecond ? "\\.\\.\\.n*d\\.jpg \\[.*\\(2 of 2\\)"
                                             : "c\\.jpg \\[.*\\(1 of 2\\)"));
    const size_t open = frame.find('[');
    const std::string bar = frame.substr(open + 1, frame.find(']') - open - 1);
    const int percent = std::stoi(frame.substr(frame.find(']') + 1));
    EXPECT_EQ(bar.size(), 24u);
    EXPECT_NEAR(double(std::count(bar.begin(), bar.end(), '#')), percent * 0.24, 1);
    EXPECT_EQ(frame.find(" left") != frame.npos, percent >= 3) << frame;
    percents[isSecond].push_back(percent);
  }
  for (const std::vector<int>& of : percents) {
    EXPECT_TRUE(std::is_sorted(of.begin(), of.end()));
    EXPECT_GT(of.empty() ? 0 : of.back(), 9);
  }
  EXPECT_GE(percents[0].size() + percents[1].size(), 3u); // five a second
  EXPECT_TRUE(last.ends_with("d.jpg: written to out/" + longName.substr(0, 73) + "-clear.jpg"));
  EXPECT_EQ(onTerminal("b.jpg", "dumb"), 0);
  EXPECT_EQ(said, "");
  EXPECT_EQ(onTerminal("b.jpg -q -f"), 0);
  EXPECT_EQ(said, "");
}

// scripts/memory-limits does the same with more limits.
TEST_F(Command, WithoutMemoryThereIsNoResult) {
  writePicture("big.jpg", hazyScene(1500, 1000, 32));
  int failed = 0;
  for (const int megabytes : {100, 150, 200, 250, 300}) {
    const int status = run("big.jpg -t 1", "ulimit -v " + std::to_string(megabytes * 1024) + ";");
    EXPECT_THAT(said, MatchesRegex(status ? "fogdissolver: [^\n]*not enough memory[^\n]*\n" : ""));
    EXPECT_TRUE(status || difference("big-clear.jpg", "big.jpg") > 0.05) << megabytes;
    EXPECT_EQ(status, !fs::remove("big-clear.jpg")) << megabytes;
    failed += status;
  }
  EXPECT_GE(failed, 2);
  EXPECT_EQ(run("a.jpg big.jpg -q -f -o {name}-x.png --memory 290"), 1) << "one of them fits";
  EXPECT_THAT(said, StartsWith("fogdissolver: big.jpg: not enough memory (3"));
  EXPECT_THAT(said, HasSubstr(" MB were needed at 1500 x 1000 pixels)\n"));
  EXPECT_TRUE(fs::exists("a-x.png"));
  write("vast.jpg", "");
  fs::resize_file("vast.jpg", 3000000000);
  for (const std::string name : {"vast.jpg", "/dev/zero"}) {
    EXPECT_EQ(run(name + " -o x.jpg --memory 300", "ulimit -v 2000000;"), 1);
    EXPECT_THAT(said,
                MatchesRegex("fogdissolver: " + name + ": not enough memory .* to read .*\n"));
  }
}

TEST_F(Command, HelpManualAndReadmeNameTheSameOptions) {
  auto optionsIn = [](std::string text) {
    std::erase(text, '\\'); // roff's \-
    std::set<std::string> options;
    for (size_t at = 0, end; (at = text.find("--", at)) != text.npos; at = end) {
      end = std::min(text.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", at), text.size());
      if (end > at + 2 && text[at + 2] != '-')
        options.insert(text.substr(at, end - at));
    }
    return options;
  };
  EXPECT_EQ(run("--version; " FOG_PROGRAM " --help"), 0);
  EXPECT_THAT(said, StartsWith("fogdissolver " FOG_VERSION "\nRemoves white haze"));
  std::set<std::string> first = optionsIn(said);
  EXPECT_TRUE(first.insert("--trace").second && first.insert("--plugin").second);
  EXPECT_EQ(run("--help-all"), 0);
  EXPECT_THAT(said, testing::Not(testing::ContainsRegex("[^\n]{81}"))) << "a line is too long";
  EXPECT_EQ(optionsIn(said), first);
  EXPECT_EQ(optionsIn(contents(FOG_MANUAL)), first);
  const std::string readme = contents(FOG_README);
  const size_t begin = readme.find("## Options");
  EXPECT_EQ(optionsIn(readme.substr(begin, readme.find("\n## ", begin) - begin)), first);
}

TEST_F(Command, OkInTheDialogWritesAndCancelIsNoFailure) {
  ASSERT_EQ(run("a.jpg --dialog -v --save-settings look", pilot + "OK"), 0) << said;
  // The pilot waits for 0.7 s, which must not count as the filter's time.
  EXPECT_LT(std::stod(said.substr(said.find("filter ", said.find("seconds:")) + 7)), 0.6);
  // The saved look gives the same picture without the dialog, except for hundredths that come from
  // the map's size: the dialog estimates from its preview.
  ASSERT_EQ(run("a.jpg --settings look -o silent.jpg"), 0) << said;
  EXPECT_LE(difference("a-clear.jpg", "silent.jpg"), 0.15);
  EXPECT_GT(difference("a-clear.jpg", "a.jpg"), 0.05);
  EXPECT_EQ(run("a.jpg b.jpg --dialog -o x/", pilot + "Cancel"), 3);
  EXPECT_EQ(said, "fogdissolver: a.jpg: cancelled\nfogdissolver: b.jpg: cancelled\n"
                  "fogdissolver: 2 of 2 photographs cancelled\n");
  EXPECT_FALSE(fs::exists("x"));
  // A window that nobody closes stays open until the program is interrupted.
  for (const std::string window : {"b.jpg --dialog", "--about"})
    EXPECT_EQ(run(window, "timeout --preserve-status -s INT 1.5 " + pilot + "none"), 128 + SIGINT);
  EXPECT_FALSE(fs::exists("b-clear.jpg"));
  for (const std::string display : {"-u DISPLAY ", "DISPLAY=:4711 "}) {
    EXPECT_EQ(run("b.jpg --dialog", "env -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM " + display), 1);
    EXPECT_EQ(said, "fogdissolver: b.jpg: --dialog and --about need a display, and none can be "
                    "opened\n");
  }
}

} // namespace
