// What happens to pixels: formats, depths, alpha, the look, threads.

#include <cmath>
#include <cstdio>
#include <limits>

#include "tests/apps/Pictures.h"
#include "tests/apps/Program.h"

namespace {

const std::vector<std::string> untouched{"--foreground", "0", "--background", "0"};

std::vector<std::string> with(std::vector<std::string> arguments,
                              const std::vector<std::string>& more) {
  arguments.insert(arguments.end(), more.begin(), more.end());
  return arguments;
}

struct Passage {
  const char* from;
  int bits, channels;
  bool half;
  std::vector<std::string> options;
  const char* to;
  int resultBits;
  float largest, mean; // differences allowed
};

std::ostream& operator<<(std::ostream& stream, const Passage& p) {
  return stream << p.from << p.bits << (p.channels == 4 ? "a" : "") << " to " << p.to
                << p.resultBits;
}

class PixelsPass : public ProgramTest, public testing::WithParamInterface<Passage> {};

// Both intensities 0: the pixels come back, whatever the road between the files.
TEST_P(PixelsPass, ComeBackAtZeroIntensities) {
  const Passage& p = GetParam();
  const Samples source = hazyScene(97, 61, p.channels);
  writePicture((*this)(p.from), source, p.bits, p.half);
  const Samples stored = readPicture((*this)(p.from)); // what the format made of it
  const Finished finished = run(with(with({p.from, "-o", p.to}, untouched), p.options));
  ASSERT_EQ(finished.status, 0) << finished.err;
  const Samples result = readPicture((*this)(p.to));
  EXPECT_EQ(result.bits, p.resultBits);
  EXPECT_EQ(result.channels, p.channels);
  EXPECT_EQ(result.half, p.half && p.resultBits == 16);
  if (p.channels == 4) {
    // What is nearly transparent has few levels left once it has been put on white.
    const Samples& s = stored;
    for (int y = 0; y < s.height; ++y)
      for (int x = 0; x < s.width; ++x) {
        ASSERT_NEAR(result.at(x, y, 3), s.at(x, y, 3), 1e-4f) << x << " " << y;
        const float alpha = s.at(x, y, 3);
        for (int c = 0; c < 3 && alpha > 0.25f; ++c)
          ASSERT_NEAR(result.at(x, y, c), s.at(x, y, c), p.largest / alpha) << x << " " << y;
      }
    return;
  }
  const Difference found = difference(stored, result);
  EXPECT_LE(found.largest, p.largest);
  EXPECT_LE(found.mean, p.mean);
}

constexpr float level8 = 1.01f / 255, level16 = 1.01f / 65535, rounding = 1e-6f;

// clang-format off
INSTANTIATE_TEST_SUITE_P(Formats, PixelsPass, testing::Values(
  Passage{"a.jpg",  8,  3, false, {"--quality", "100"}, "b.jpg",  8,  0.02f, 0.004f},
  Passage{"a.png",  8,  3, false, {}, "b.png",  8,  0, 0},
  Passage{"a.png",  16, 3, false, {}, "b.png",  16, level16, level16},
  Passage{"a.tif",  8,  3, false, {}, "b.tif",  8,  0, 0},
  Passage{"a.tif",  16, 3, false, {}, "b.tif",  16, level16, level16},
  Passage{"a.tif",  32, 3, false, {}, "b.tif",  32, rounding, rounding},
  Passage{"a.exr",  32, 3, false, {}, "b.exr",  32, rounding, rounding},
  Passage{"a.exr",  32, 3, true,  {}, "b.exr",  16, 0.0005f, 0.0002f},
  Passage{"a.webp", 8,  3, false, {"--quality", "100"}, "b.webp", 8, 0, 0},
  Passage{"a.jp2",  8,  3, false, {}, "b.jp2",  8,  0.1f, 0.02f},
  Passage{"a.ppm",  8,  3, false, {}, "b.ppm",  8,  0, 0},
  Passage{"a.bmp",  8,  3, false, {}, "b.bmp",  8,  0, 0},
  Passage{"a.tga",  8,  3, false, {}, "b.tga",  8,  0, 0},
  Passage{"a.png",  8,  4, false, {}, "b.png",  8,  level8, 0},
  Passage{"a.png",  16, 4, false, {}, "b.tif",  16, level8, 0},
  Passage{"a.tif",  8,  4, false, {"--quality", "100"}, "b.webp", 8,  2 * level8, 0},
  Passage{"a.tif",  32, 4, false, {}, "b.tif",  32, rounding, 0},
  // from one depth to another
  Passage{"a.jpg",  8,  3, false, {"--bits", "16"}, "b.png", 16, level16, level16},
  Passage{"a.jpg",  8,  3, false, {"--bits", "32"}, "b.tif", 32, rounding, rounding},
  Passage{"a.jpg",  8,  3, false, {}, "b.exr", 32, rounding, rounding},
  Passage{"a.png",  16, 3, false, {"--bits", "8"},  "b.png", 8,  rounding, rounding},
  Passage{"a.tif",  32, 3, false, {"--bits", "16"}, "b.tif", 16, level16, level16},
  Passage{"a.tif",  32, 3, false, {"--bits", "8"},  "b.tif", 8,  rounding, rounding},
  Passage{"a.tif",  32, 3, false, {}, "b.png", 16, level16, level16},
  Passage{"a.exr",  32, 3, true,  {"--bits", "32"}, "b.exr", 32, 0.0005f, 0.0002f},
  Passage{"a.png",  16, 3, false, {"--quality", "100"}, "b.jpg", 8, 0.02f, 0.004f}));
// clang-format on

// OpenEXR stores colours multiplied with alpha; a colour brighter than its alpha is a light of its
// own and must not be lost with the pixels that are transparent.
TEST_F(ProgramTest, OpenExrAlphaStaysMultiplied) {
  Samples source = hazyScene(80, 60, 4);
  for (size_t i = 0; i < source.values.size(); i += 4)
    for (size_t c = 0; c < 3; ++c)
      source.values[i + c] *= source.values[i + 3];
  source.values[0] = 0.5f; // alpha is 0 here
  writePicture((*this)("a.exr"), source, 32);
  const Finished finished = run(with({"a.exr", "-o", "b.exr"}, untouched));
  ASSERT_EQ(finished.status, 0) << finished.err;
  EXPECT_LE(difference(source, readPicture((*this)("b.exr"))).largest, 1e-5f);
}

TEST_F(ProgramTest, SamplesThatAreNotFiniteComeBackAndAreCounted) {
  Samples source = hazyScene(80, 60);
  const float infinity = std::numeric_limits<float>::infinity();
  source.values[100] = infinity;
  source.values[5000] = -infinity;
  source.values[9001] = std::numeric_limits<float>::quiet_NaN();
  writePicture((*this)("a.tif"), source, 32);
  const Finished finished = run({"a.tif", "-o", "b.tif"});
  EXPECT_EQ(finished.status, 0);
  EXPECT_TRUE(isOneLine(finished.err, "a.tif", "3 samples are not finite"));
  const Samples result = readPicture((*this)("b.tif"));
  EXPECT_EQ(result.values[100], infinity);
  EXPECT_EQ(result.values[5000], -infinity);
  EXPECT_TRUE(std::isnan(result.values[9001]));
  size_t others = 0;
  for (float v : result.values)
    others += !std::isfinite(v);
  EXPECT_EQ(others, 3u);
  EXPECT_EQ(run({"a.tif", "-q", "-o", "c.tif"}).err, "");
}

// Its light is black, by which nothing can be divided.
TEST_F(ProgramTest, ABlackPictureStaysBlackAtEveryDepth) {
  for (int bits : {8, 16, 32}) {
    writePicture((*this)("black.tif"), {40, 30, 3, bits, false, std::vector<float>(3600, 0.0f)},
                 bits);
    EXPECT_EQ(run({"black.tif", "-f", "-o", "result.tif"}).status, 0);
    for (float v : readPicture((*this)("result.tif")).values)
      ASSERT_EQ(v, 0.0f) << bits;
  }
}

// ---- The look

// Mean distance of the samples from the light, in the hazy upper half: what correction enlarges.
float contrast(const Samples& picture) {
  const size_t half = picture.values.size() / 2;
  double sum = 0, squares = 0;
  for (size_t i = 0; i < half; ++i) {
    sum += picture.values[i];
    squares += double(picture.values[i]) * picture.values[i];
  }
  return float(std::sqrt(squares / double(half) - std::pow(sum / double(half), 2)));
}

class Look : public ProgramTest {
protected:
  Look() { writePicture((*this)("a.png"), hazyScene(160, 120), 8); }
  Samples result(const std::vector<std::string>& options) {
    last = run(with({"a.png", "-f", "-o", "b.png"}, options));
    EXPECT_EQ(last.status, 0) << last.err;
    return readPicture((*this)("b.png"));
  }
  Finished last;
};

TEST_F(Look, StrengthScalesTheEstimates) {
  const Samples source = readPicture((*this)("a.png"));
  EXPECT_EQ(difference(source, result({"--strength", "0"})).largest, 0);
  const Samples usual = result({}), strong = result({"--strength", "100"});
  EXPECT_GT(contrast(usual), contrast(source) * 1.2f);
  EXPECT_GT(contrast(strong), contrast(usual) * 1.1f);
  EXPECT_EQ(difference(usual, result({"--strength", "70"})).largest, 0);
}

TEST_F(Look, GivenIntensitiesAreThoseOfTheEstimateTimesStrength) {
  const Samples usual = result({"-v", "--strength", "60"});
  const size_t at = last.err.find("estimate: ");
  ASSERT_NE(at, std::string::npos) << last.err;
  float near = 0, far = 0;
  ASSERT_EQ(
      std::sscanf(last.err.c_str() + at, "estimate: foreground %f, background %f", &near, &far), 2);
  const std::string foreground = std::to_string(0.6 * near);
  const std::string background = std::to_string(0.6 * far);
  EXPECT_GT(far, near);
  const Samples given = result({"--foreground", foreground, "--background", background});
  // The estimate is printed with one decimal.
  EXPECT_LE(difference(usual, given).largest, 2.01f / 255);
  // One of them given: the other is still the estimate's share.
  const Samples half = result({"--strength", "60", "--background", background});
  EXPECT_LE(difference(usual, half).largest, 2.01f / 255);
}

TEST_F(Look, TheMaskIsGreyAndFollowsPositionsAndBalance) {
  const std::vector<std::string> mask{"--mask", "--foreground", "10", "--background", "90"};
  const Samples plain = result(mask);
  float low = 1, high = 0;
  for (size_t i = 0; i < plain.values.size(); i += 3) {
    ASSERT_EQ(plain.values[i], plain.values[i + 1]);
    ASSERT_EQ(plain.values[i], plain.values[i + 2]);
    low = std::min(low, plain.values[i]);
    high = std::max(high, plain.values[i]);
  }
  EXPECT_NEAR(low, 0.1f, level8);
  EXPECT_NEAR(high, 0.9f, level8);
  auto mean = [](const Samples& s) {
    double sum = 0;
    for (float v : s.values)
      sum += v;
    return sum / double(s.values.size());
  };
  // A later foreground end and a curve that rises late both leave more of the picture near.
  EXPECT_LT(mean(result(with(mask, {"--foreground-position", "50"}))), mean(plain) - 0.02);
  EXPECT_GT(mean(result(with(mask, {"--background-position", "50"}))), mean(plain) + 0.02);
  EXPECT_LT(mean(result(with(mask, {"--balance", "80"}))), mean(plain) - 0.02);
  EXPECT_GT(mean(result(with(mask, {"--balance", "20"}))), mean(plain) + 0.02);
}

TEST_F(Look, AFileKeepsItAndOptionsGoBeforeTheFile) {
  const std::vector<std::string> look{"--foreground", "12.5",      "--strength",
                                      "40",           "--balance", "61"};
  const Samples saved = result(with(look, {"--save-settings", "look.toml"}));
  EXPECT_EQ(difference(saved, result({"--settings", "look.toml"})).largest, 0);
  EXPECT_EQ(run({"--settings", "look.toml", "--save-settings", "again.toml"}).status, 0);
  EXPECT_EQ(read("again.toml"), read("look.toml"));
  EXPECT_EQ(
      run({"--settings", "look.toml", "--foreground", "3", "--mask", "--save-settings", "c.toml"})
          .status,
      0);
  EXPECT_NE(read("c.toml").find("foreground = 3\n"), std::string::npos) << read("c.toml");
  EXPECT_NE(read("c.toml").find("balance = 61\n"), std::string::npos);
  EXPECT_NE(read("c.toml").find("mask = true\n"), std::string::npos);
  // Decimals are read and written with a point whatever the locale writes.
  Launch french;
  french.environment = {{"LC_ALL", "fr_FR.UTF-8"}, {"LANG", "fr_FR.UTF-8"}};
  EXPECT_EQ(run({"--settings", "look.toml", "--save-settings", "d.toml"}, french).status, 0);
  EXPECT_EQ(read("d.toml"), read("look.toml"));
}

TEST_F(Look, ThreadsAndRepeatsAgree) {
  const Samples one = result({"-t", "1"});
  EXPECT_EQ(difference(one, result({"-t", "1"})).largest, 0);
  EXPECT_LE(difference(one, result({"-t", "2"})).largest, level8);
}

} // namespace
