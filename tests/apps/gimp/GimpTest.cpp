// The plug-in in the real GIMP, without a screen, compared with the command line on the same
// pictures.

#include "apps/shared/Correction.h"
#include "frame/contract/Sliders.h"
#include "tests/apps/Folder.h"

namespace {

using fixture::hazyScene, fixture::sampleAt, testing::AllOf, testing::HasSubstr, testing::Not;

class Gimp : public FolderTest {
protected:
  void SetUp() override {
    if (std::system("command -v gimp >/dev/null") != 0)
      GTEST_SKIP() << "GIMP is not installed";
    host::Document scene = hazyScene(96, 72, 32), clear(96, 72, 4, 32);
    writePicture("scene.png", scene, "uint16");
    fixture::fill(clear, [&](int32_t x, int32_t y, int32_t c) {
      return c < 3 ? sampleAt(scene, x, y, c) : std::clamp((x - 10) / 60.0, 0.0, 1.0);
    });
    writePicture("alpha.png", clear);
    for (const std::string needed : {"script-fu", "file-png"})
      link(FOG_GIMP_PLUGINS "/" + needed, needed);
  }
  static void link(const fs::path& folder, const std::string& name) {
    fs::create_directories("profile/gradients");
    fs::create_directories("plug-ins");
    fs::create_directory_symlink(folder, "plug-ins/" + name);
  }
  // Runs a script of this folder in GIMP with only our plug-ins linked.
  void script(const std::string& name, const std::string& environment = "") {
    write("profile/gimprc", "(plug-in-path \"" + (folder / "plug-ins").string() + "\")\n");
    run("--version", "timeout 500 env GIMP2_DIRECTORY=$PWD/profile " + environment +
                         " gimp -i -d -f -b '(load \"" FOG_GIMP_SCRIPTS "/" + name +
                         "\")' -b '(gimp-quit 1)';");
  }
  // Largest difference, in 8-bit levels, between a picture and the program's result from another
  // one.
  double levels(const std::string& result, const std::string& from, const std::string& options) {
    EXPECT_EQ(run(from + " -q -f -o expected.png " + options), 0) << said;
    return 255 * difference(result, "expected.png");
  }
};

// A sample in the 255 steps of 8-bit linear images.
double linearSteps(double sample) {
  return 255 * (sample <= 0.04045 ? sample / 12.92 : std::pow((sample + 0.055) / 1.055, 2.4));
}

// The 8-bit samples, as in GIMP.
host::Document bytesOf(const std::string& file) {
  const host::Document read = readPicture(file);
  host::Document bytes(read.width(), read.height(), read.channels(), 8);
  fixture::fill(bytes, [&](int32_t x, int32_t y, int32_t c) { return sampleAt(read, x, y, c); });
  return bytes;
}

std::vector<uint8_t> weightsOf(const std::string& file) {
  std::ifstream stream(file);
  return {std::istream_iterator<int>(stream), {}};
}

TEST_F(Gimp, LayersBecomeWhatTheCommandLineMakesOfThem) {
  link(FOG_GIMP_PLUGIN, "fogdissolver");
  script("cases.scm");
  ASSERT_TRUE(fs::exists("report")) << said;
  const std::string report = contents("report"), given = " --foreground 20 --background 80 ";
  // GIMP converts linear values with five digits.
  const struct {
    std::string name, before;
    double tolerance;
  } precisions[] = {
      {"u16", "scene.png", 0.01}, {"float-linear", "scene.png", 0.13}, {"alpha", "alpha.png", 0}};
  for (const auto& [name, before, tolerance] : precisions) {
    EXPECT_LE(levels(name + "-after.png", before, given), tolerance) << name;
    EXPECT_GT(difference(before, "expected.png"), 0.05) << name;
  }
  // The nearest value that the image can store, whatever that is in levels, plus a tolerance for
  // five digits.
  EXPECT_GT(levels("u8-linear-after.png", "u8-linear-before.png", given), 1);
  const host::Document held = readPicture("u8-linear-after.png"),
                       wanted = readPicture("expected.png");
  fixture::forEachSample(held, [&](int32_t x, int32_t y, int32_t c) {
    ASSERT_NEAR(linearSteps(sampleAt(held, x, y, c)), linearSteps(sampleAt(wanted, x, y, c)), 0.53);
  });
  EXPECT_LE(levels("last.png", "scene.png", ""), 0.01);
  EXPECT_LE(levels("estimated.png", "scene.png",
                   "--strength 90 --foreground-position 10 --background-position 95 --balance 40"),
            0.01);
  EXPECT_EQ(levels("group-mask.png", "alpha.png", "--mask"), 0);
  EXPECT_EQ(difference("group-layer.png", "alpha.png"), 0);

  // The host's own blending at the selection's edge, once and not twice; green is switched off.
  shared::Look look{20, 80};
  host::Document selected = bytesOf("selected-before.png");
  const std::vector<uint8_t> weights = weightsOf("weights");
  ASSERT_GT(std::count_if(weights.begin(), weights.end(), [](int w) { return w % 255; }), 500);
  selected.setSelection(weights);
  shared::correct(fixture::builtModule(), selected, look, 2, {});
  const host::Document before = bytesOf("selected-before.png"),
                       after = bytesOf("selected-after.png");
  fixture::forEachSample(after, [&](int32_t x, int32_t y, int32_t c) {
    ASSERT_EQ(sampleAt(after, x, y, c), sampleAt(c == 1 ? before : selected, x, y, c));
  });

  // The mask's layer has the edge in its transparency.
  host::Document mask = bytesOf("selected-before.png");
  EXPECT_TRUE(fixture::sameSamples(mask, bytesOf("masked-layer.png")));
  std::vector<uint8_t> hard = weights;
  std::replace_if(
      hard.begin(), hard.end(), [](uint8_t w) { return w > 0; }, 255);
  mask.setSelection(hard);
  look.mask = true;
  shared::correct(fixture::builtModule(), mask, look, 2, {});
  const host::Document layer = bytesOf("masked-after.png");
  ASSERT_EQ(layer.channels(), 4);
  fixture::forEachSample(layer, [&](int32_t x, int32_t y, int32_t c) {
    const uint8_t weight = weights[size_t(y) * 96 + size_t(x)];
    const double expected = c == 3 ? weight : weight ? sampleAt(mask, x, y, c) : 0;
    ASSERT_EQ(sampleAt(layer, x, y, c), expected) << x << " " << y << " " << c;
  });
  for (const char* line :
       {"selected dirty 1\nselected layers 1\n", "masked dirty 1\nmasked layers 2\n",
        "masked top Haze mask (11 -9)\n", "group 2 Haze mask\n", "selection empty 0\n"})
    EXPECT_THAT(report, HasSubstr(line));
  const std::pair<const char*, const char*> refusals[] = {
      {"strength", "invalid input arguments: The value for 'strength' is not a number"},
      {"foreground", "'foreground' is not a number from 0 to 100, or a negative one."},
      {"background-position", "'background-position' is not a number from 0 to 100."},
      {"balance", "'balance' is not a number from 0 to 100."},
      {"layer mask", "not from masks and channels: choose the layer itself."},
      {"group", "A layer group has no pixels of its own: choose a layer in it."},
      {"locked", "The layer's pixels are locked."},
      {"unselected", "failed: Nothing is selected."},
      {"black", "failed: No haze light found."},
      {"grey", "Haze has a colour: convert the image to RGB first."}};
  for (const auto& [name, says] : refusals) {
    const std::string line = report.substr(report.find("\n" + std::string(name) + ": ") + 1);
    EXPECT_THAT(line.substr(0, line.find('\n')), AllOf(HasSubstr(says), HasSubstr(".) dirty 0")));
  }
}

TEST(LookSetInDialog, EstimatesThatNobodyMovedStayThePictures) {
  Parameters used = defaultParameters;
  used.foregroundIntensity = 0.1234567f; // not a slider's value
  used.backgroundIntensity = ValueOfPosition(35);
  const shared::Look moved = shared::lookSetInDialog(used, {});
  EXPECT_FALSE(moved.foreground);
  EXPECT_EQ(moved.background, 35);
  EXPECT_EQ(shared::lookSetInDialog(used, {.foreground = 12}).foreground, 12.346);
}

TEST_F(Gimp, ACrashAndACancelLeaveTheImageAsItWas) {
  fs::create_directories("crashing");
  fs::copy_file(FOG_GIMP_PLUGIN "/fogdissolver", "crashing/fogdissolver");
  fs::create_directory_symlink(FOG_CRASHING, "crashing/plugin");
  link(folder / "crashing", "fogdissolver");
  script("crash.scm");
  EXPECT_THAT(said, AllOf(HasSubstr("Plug-in crashed: \"fogdissolver\""), HasSubstr("dirty 0")));
  EXPECT_EQ(difference("kept.png", "scene.png"), 0);
  fs::remove_all("profile");
  fs::remove("plug-ins/fogdissolver");
  link(FOG_GIMP_PLUGIN, "fogdissolver");
  script("cancel.scm", "QT_QPA_PLATFORM=offscreen QT_QPA_GENERIC_PLUGINS=fogpilot "
                       "FOG_PILOT=Cancel LC_ALL=C XDG_CONFIG_HOME=$PWD/config "
                       "QT_PLUGIN_PATH=" FOG_PILOT_FOLDER);
  EXPECT_THAT(said, AllOf(HasSubstr("dirty 0"), Not(HasSubstr("Error")))) << "no display is needed";
}

} // namespace
