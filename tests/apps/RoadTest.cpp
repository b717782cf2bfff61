// From file to file with a stand-in for the filter: formats, depths, alpha, metadata, orientation,
// what is refused and what is told.

#include <cmath>
#include <limits>
#include <map>
#include <set>

#include <exiv2/exiv2.hpp>
#include <gmock/gmock.h>

#include "apps/photo/Codecs.h"
#include "apps/photo/Files.h"
#include "apps/shared/Develop.h"
#include "frame/contract/Version.h"
#include "tests/apps/Folder.h"
#include "tests/apps/Pictures.h"

namespace {

using Strings = std::vector<std::string>;

class Road : public FolderTest {
protected:
  static void SetUpTestSuite() { photo::setFormatsFolder(FOG_MODULES); }

  // Gives the reason of a failure, or nothing.
  std::string develop(const std::string& from, const std::string& to,
                      shared::Request request = {}) {
    request.inputs = {(*this)(from)};
    request.output = (*this)(to);
    notes.clear();
    shared::Listener listener;
    listener.note = [this](const std::string& text) { notes.push_back(text); };
    try {
      const shared::Job job = shared::planJobs(request).at(0);
      if (!job.refusal.empty())
        return job.refusal;
      shared::develop(job, request, corrector, listener, photo::Watch{});
      return "";
    } catch (const std::exception& error) {
      return error.what();
    }
  }

  shared::Corrector corrector{
      [](host::Document&, const photo::Watch&) { return shared::CorrectionReport{}; }};
  Strings notes;
};

// ---- Pixels

struct Passage {
  const char* from;
  int bits, channels;
  bool half;
  shared::Request request;
  const char* to;
  int resultBits;
  float largest; // difference allowed
};

std::ostream& operator<<(std::ostream& stream, const Passage& p) {
  return stream << p.from << p.bits << "x" << p.channels << " to " << p.to << p.resultBits;
}

class PixelsPass : public Road, public testing::WithParamInterface<Passage> {};

TEST_P(PixelsPass, Unharmed) {
  const Passage& p = GetParam();
  writePictures((*this)(p.from), {hazyScene(97, 61, p.channels)}, p.bits, p.half);
  const Samples stored = readPicture((*this)(p.from)); // what the format made of it
  ASSERT_EQ(develop(p.from, p.to, p.request), "");
  const Samples result = readPicture((*this)(p.to));
  EXPECT_EQ(result.bits, p.resultBits);
  EXPECT_EQ(result.half, p.half && p.resultBits == 16);
  EXPECT_LE(largestDifference(stored, result), p.largest);
}

const shared::Request best{.quality = 100}, to8{.bits = 8, .quality = 100}, to16{.bits = 16},
    to32{.bits = 32};
// clang-format off
INSTANTIATE_TEST_SUITE_P(Formats, PixelsPass, testing::Values(
  Passage{"a.jpg",  8,  3, false, best, "b.jpg",  8,  0.02f}, // the format's own loss
  Passage{"a.png",  8,  3, false, {},   "b.png",  8,  0},
  Passage{"a.png",  16, 4, false, {},   "b.png",  16, 0},
  Passage{"a.tif",  8,  4, false, {},   "b.tif",  8,  0},
  Passage{"a.tif",  16, 3, false, {},   "b.tif",  16, 0},
  Passage{"a.tif",  32, 4, false, {},   "b.tif",  32, 0},
  Passage{"a.exr",  32, 3, false, {},   "b.exr",  32, 0},
  Passage{"a.exr",  32, 4, true,  {},   "b.exr",  16, 0.0005f},
  Passage{"a.webp", 8,  3, false, best, "b.webp", 8,  0},
  Passage{"a.tif",  8,  4, false, best, "b.webp", 8,  0.02f},
  Passage{"a.jp2",  8,  3, false, {},   "b.jp2",  8,  0.1f},
  Passage{"a.ppm",  8,  3, false, {},   "b.ppm",  8,  0},
  Passage{"a.bmp",  8,  3, false, {},   "b.bmp",  8,  0},
  Passage{"a.tga",  8,  3, false, {},   "b.tga",  8,  0},
  Passage{"a.hdr",  32, 3, false, {},   "b.hdr",  32, 0},
  // from one depth to another
  Passage{"a.jpg",  8,  3, false, to16, "b.png",  16, 0.5f / 65535},
  Passage{"a.webp", 8,  3, false, to32, "b.tif",  32, 1e-7f},
  Passage{"a.png",  16, 3, false, to8,  "b.webp", 8,  0.5f / 255},
  Passage{"a.tif",  32, 3, false, {},   "b.png",  16, 0.5f / 65535},
  Passage{"a.exr",  32, 3, true,  to32, "b.exr",  32, 0},
  Passage{"a.png",  16, 3, false, to8,  "b.jpg",  8,  0.03f}));
// clang-format on

// What the filter does to a sample must reach the file with all that its bits hold.
TEST_F(Road, EveryLevelOfSixteenBitsPasses) {
  Samples ramp{256, 256, 3};
  for (int level = 0; level < 65536; ++level)
    ramp.values.insert(ramp.values.end(), 3, float(level) / 65535);
  for (const char* name : {"a.png", "a.tif"}) {
    writePictures((*this)(name), {ramp}, 16);
    ASSERT_EQ(develop(name, "b.png", {.force = true}), "");
    const Samples result = readPicture((*this)("b.png"));
    EXPECT_EQ(std::set<float>(result.values.begin(), result.values.end()).size(), 65536u) << name;
    EXPECT_LE(largestDifference(ramp, result), 1e-7f) << name;
  }
}

TEST_F(Road, FloatsAreLimitedOnTheWayToWholeNumbers) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float infinity = std::numeric_limits<float>::infinity();
  writePictures((*this)("a.tif"),
                {{3, 1, 3, 0, false, {nan, -infinity, -0.5f, 0.2f, 0.5f, 1, 7, infinity, 0.999f}}},
                32);
  ASSERT_EQ(develop("a.tif", "b.png", to8), "");
  EXPECT_EQ(notes, Strings{"3 samples are not finite; they are left as they are"});
  const Samples result = readPicture((*this)("b.png"));
  const int levels[] = {0, 0, 0, 51, 128, 255, 255, 255, 255};
  for (size_t i = 0; i < 9; ++i)
    EXPECT_EQ(std::lround(result.values[i] * 255), levels[i]) << i;
}

// The filter sees colours that alpha is not multiplied with, whatever the file stores.
TEST_F(Road, AlphaIsDividedOutForTheFilter) {
  for (const char* name : {"a.exr", "a.tif"}) {
    const bool stored = name[2] == 'e';
    const float share = stored ? 0.2f : 0.5f; // 0.5 times an alpha of 0.4
    Samples source{2, 1, 4, 0, false, {share, share, share, 0.4f, 0.3f, 0.3f, 0.3f, 0}};
    writePictures((*this)(name), {source}, 32);
    std::vector<float> seen;
    corrector.run = [&seen](host::Document& document, const photo::Watch&) {
      const auto* samples = reinterpret_cast<const float*>(document.row(0));
      seen.assign(samples, samples + 8);
      return shared::CorrectionReport{};
    };
    ASSERT_EQ(develop(name, "b.exr", {.force = true}), "");
    EXPECT_FLOAT_EQ(seen[0], 0.5f) << name;
    EXPECT_FLOAT_EQ(seen[4], 0.3f) << "a light without alpha is not lost";
    EXPECT_FLOAT_EQ(readPicture((*this)("b.exr")).values[1], 0.2f) << name;
  }
}

// The eight orientations show one scene; whoever sees it sees it upright, and the pixels of the
// result keep their places.
TEST_F(Road, APersonSeesThePictureUpright) {
  // From 5 on 2 by 3: of 6 the first row is the right side seen from above, of 8 the left from
  // below.
  const char* stored[] = {"abcdef", "cbafed", "fedcba", "defabc",
                          "adbecf", "cfbead", "fcebda", "daebfc"};
  for (int orientation = 1; orientation <= 8; ++orientation) {
    Samples picture{orientation < 5 ? 3 : 2, orientation < 5 ? 2 : 3, 3};
    for (const char* c = stored[orientation - 1]; *c; ++c)
      picture.values.insert(picture.values.end(), 3, float(*c) / 255);
    writePictures((*this)("a.png"), {picture}, 8);
    const auto image = Exiv2::ImageFactory::open((*this)("a.png"));
    image->readMetadata();
    image->exifData()["Exif.Image.Orientation"] = uint16_t(orientation);
    image->writeMetadata();
    std::string seen;
    corrector.isSeen = true;
    corrector.run = [&seen](host::Document& document, const photo::Watch&) {
      for (int y = 0; y < document.height(); ++y)
        for (int x = 0; x < document.width(); ++x)
          seen += char(document.row(y)[3 * x]);
      seen += std::to_string(document.width());
      return shared::CorrectionReport{};
    };
    ASSERT_EQ(develop("a.png", "b.png", {.force = true}), "");
    EXPECT_EQ(seen, "abcdef3") << orientation;
    EXPECT_LE(largestDifference(picture, readPicture((*this)("b.png"))), 1e-7f) << orientation;
  }
}

// ---- Metadata

auto open(const std::string& file) {
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
  auto image = Exiv2::ImageFactory::open(file);
  image->readMetadata();
  return image;
}

// A camera's Exif with its maker note, from the sample, and something of every other kind.
void giveMetadata(const std::string& file, bool iptc) {
  const auto camera = open(FOG_SAMPLES "/city.jpg");
  const auto image = open(file);
  for (const Exiv2::Exifdatum& datum : camera->exifData())
    if (datum.groupName() != "Thumbnail")
      image->exifData()[datum.key()].setValue(&datum.value());
  image->exifData()["Exif.Image.Software"] = "Camera firmware 1.00";
  image->exifData()["Exif.Image.Orientation"] = uint16_t(6);
  image->xmpData()["Xmp.dc.title"] = "lang=x-default Haze \xc3\xa4\xc3\xb6";
  if (iptc)
    image->iptcData()["Iptc.Application2.City"] = "Brasilia";
  Exiv2::DataBuf icc(*camera->iccProfile());
  image->setIccProfile(icc);
  image->writeMetadata();
}

// Entries of all kinds, but for how files of the TIFF family store things, for offsets, which a
// writer sets, and for the program's name.
std::set<std::string> entries(Exiv2::Image& image) {
  static const std::set<std::string> storage{"ImageWidth",
                                             "ImageLength",
                                             "BitsPerSample",
                                             "Compression",
                                             "StripOffsets",
                                             "SamplesPerPixel",
                                             "RowsPerStrip",
                                             "StripByteCounts",
                                             "ExtraSamples",
                                             "Predictor",
                                             "PlanarConfiguration",
                                             "SampleFormat",
                                             "XMLPacket",
                                             "IPTCNAA",
                                             "InterColorProfile",
                                             "PhotometricInterpretation",
                                             "ImageResources",
                                             "YCbCrPositioning",
                                             "NewSubfileType",
                                             "ExifTag",
                                             "GPSTag",
                                             "Software",
                                             "MakerNote",
                                             "Offset",
                                             "InteroperabilityTag"};
  std::set<std::string> found;
  auto add = [&found](const auto& data) {
    for (const auto& datum : data)
      if (!storage.contains(datum.tagName()) && datum.groupName() != "Thumbnail")
        found.insert(datum.key() + " = " + datum.toString().substr(0, 100));
  };
  add(image.exifData());
  add(image.xmpData());
  add(image.iptcData());
  if (image.iccProfileDefined())
    found.insert("profile " + std::to_string(image.iccProfile()->size_));
  return found;
}

class MetadataPass : public Road,
                     public testing::WithParamInterface<std::pair<const char*, const char*>> {};

TEST_P(MetadataPass, Unharmed) {
  const auto [from, to] = GetParam();
  const std::string source = std::string("a.") + from, result = std::string("b.") + to;
  writePictures((*this)(source), {hazyScene(64, 48)}, 8);
  giveMetadata((*this)(source), source != "a.webp" && result != "b.webp");
  if (source == "a.jpg") { // a thumbnail in front of the writer's: it would show the hazy picture
    const auto image = open((*this)(source));
    Exiv2::ExifThumb(image->exifData()).setJpegThumbnail((*this)(source));
    image->writeMetadata();
  }
  ASSERT_EQ(develop(source, result), "");
  EXPECT_EQ(notes, Strings{});
  const auto before = open((*this)(source)), after = open((*this)(result));
  EXPECT_EQ(entries(*before), entries(*after));
  EXPECT_GT(entries(*after).size(), 60u);
  EXPECT_EQ(after->exifData()["Exif.Image.Software"].toString(), "Fogdissolver " FOG_VERSION);
  EXPECT_EQ(after->exifData()["Exif.CanonCs.LensType"].count(), 1u) << "the maker note is gone";
  EXPECT_EQ(Exiv2::ExifThumbC(after->exifData()).copy().size_, 0) << "a thumbnail of the old";
  EXPECT_EQ(readPicture((*this)(result)).width, 64) << "the orientation stays a tag";
}
INSTANTIATE_TEST_SUITE_P(Formats, MetadataPass,
                         testing::ValuesIn(std::vector<std::pair<const char*, const char*>>{
                             {"jpg", "jpg"},
                             {"jpg", "png"},
                             {"jpg", "tif"},
                             {"jpg", "webp"},
                             {"jpg", "jp2"},
                             {"png", "jpg"},
                             {"tif", "jpg"},
                             {"tif", "tif"}}));

TEST_F(Road, WhatAFormatHasNoPlaceForIsTold) {
  writePictures((*this)("a.jpg"), {hazyScene(64, 48)}, 8);
  giveMetadata((*this)("a.jpg"), true);
  ASSERT_EQ(develop("a.jpg", "b.exr"), "");
  EXPECT_EQ(notes, Strings{"OpenEXR has no place for the colour profile"});
  ASSERT_EQ(develop("b.exr", "c.jpg"), ""); // which Exiv2 does not read
  const auto back = open((*this)("c.jpg"));
  EXPECT_EQ(back->exifData()["Exif.Image.Model"].toString(),
            open((*this)("a.jpg"))->exifData()["Exif.Image.Model"].toString());
  EXPECT_EQ(back->exifData()["Exif.Photo.FNumber"].toFloat(), 4.5f);
  ASSERT_EQ(develop("a.jpg", "d.ppm"), "");
  EXPECT_EQ(notes, Strings{"PPM has no place for Exif, XMP, IPTC, the colour profile"});
  writePictures((*this)("bare.png"), {hazyScene(9, 9)}, 8);
  ASSERT_EQ(develop("bare.png", "e.ppm"), "");
  EXPECT_EQ(notes, Strings{});
}

// A camera's raw file: the sensor's values come developed and upright, and nothing in the result
// claims to be a sensor any more.
TEST_F(Road, ARawFileBecomesAnUprightPicture) {
  fs::copy(FOG_RAW_FILE, folder / "shot.dng");
  corrector.isSeen = true;
  ASSERT_EQ(develop("shot.dng", "shot.tif"), "");
  const Samples result = readPicture((*this)("shot.tif"));
  EXPECT_EQ(std::pair(result.width, result.height), std::pair(40, 60)); // 60 by 40, turned
  EXPECT_EQ(result.bits, 16);
  const auto image = open((*this)("shot.tif"));
  EXPECT_EQ(image->exifData()["Exif.Image.Orientation"].toString(), "1");
  EXPECT_EQ(image->exifData()["Exif.Image.Model"].toString(), "Model 1");
  for (const char* tag : {"DNGVersion", "CFAPattern", "WhiteLevel", "AsShotNeutral"})
    EXPECT_EQ(image->exifData()[std::string("Exif.Image.") + tag].count(), 0u) << tag;
}

// ---- What cannot be read or written

TEST_F(Road, BadInputsAreRefusedInWords) {
  writePictures((*this)("grey.png"), {{8, 8, 1, 0, false, std::vector<float>(64)}}, 16);
  writePictures((*this)("two.tif"), {{8, 8, 2, 0, false, std::vector<float>(128)}}, 8);
  writePictures((*this)("cmyk.tif"), {hazyScene(16, 16, 4)}, 8);
  std::string tiff = read("cmyk.tif"); // four channels are CMYK unless the file says otherwise
  const size_t at = tiff.find(std::string("\x06\x01\x03\0\x01\0\0\0\x02\0", 10));
  tiff.at(at + 8) = 5; // photometric: separated
  write("cmyk.tif", tiff);
  writePictures((*this)("a.jpg"), {hazyScene(48, 36)}, 8);
  std::string jpeg = read("a.jpg"); // gets a fourth component in its frame
  jpeg.replace(jpeg.find("\xff\xc0"), 19,
               std::string("\xff\xc0\0\x14\x08\0\x24\0\x30\x04\x01\x11\0\x02\x11\x01\x03\x11\x01"
                           "\x04\x11\x01",
                           22));
  write("cmyk.jpg", jpeg);
  const std::map<std::string, std::pair<std::string, std::string>> files{
      {"empty.jpg", {"", "the file is empty"}},
      {"text.jpg", {"Not a picture at all.\n", "not an image"}},
      {"text.tga", {std::string(3000, 'x'), "not an image"}},
      {"header.jpg", {"\xff\xd8\xff\xe0", "truncated"}},
      {"long.ppm", {"P6\n2000001 1\n255\nabc", "larger than 2000000 pixels a side"}},
      {"huge.ppm", {"P6\n16384 16384\n255\nabc", "at most 268435455 pixels"}},
      {"grey.png", {"", "works on RGB images"}},
      {"two.tif", {"", "works on RGB images"}},
      {"cmyk.tif", {"", "works on RGB images"}},
      {"cmyk.jpg", {"", "works on RGB images"}},
      {"gone.jpg", {"", "No such file or directory"}}};
  for (const auto& [name, file] : files) {
    if (!file.first.empty() || name == "empty.jpg")
      write(name, file.first);
    EXPECT_THAT(develop(name, "b.png"), testing::HasSubstr(file.second)) << name;
  }
  EXPECT_FALSE(fs::exists(folder / "b.png"));
}

TEST_F(Road, ATruncatedFileFailsWhereverItEnds) {
  for (const std::string format :
       {"jpg", "png", "tif", "exr", "webp", "jp2", "ppm", "bmp", "tga"}) {
    writePictures((*this)("a." + format), {hazyScene(120, 90)}, format == "exr" ? 32 : 8);
    const std::string bytes = read("a." + format);
    for (double share : {0.001, 0.05, 0.4, 0.7, 0.95}) {
      write("cut." + format, bytes.substr(0, size_t(double(bytes.size()) * share)));
      EXPECT_NE(develop("cut." + format, "b.png"), "") << format << " " << share;
    }
  }
  EXPECT_FALSE(fs::exists(folder / "b.png"));
}

TEST_F(Road, FormatsRefuseWhatTheyCannotHold) {
  writePictures((*this)("a.png"), {hazyScene(20, 20, 4)}, 8);
  writePictures((*this)("long.png"), {hazyScene(16400, 2)}, 8);
  const Strings before = files();
  EXPECT_EQ(develop("a.png", "x.jpg"), "JPEG cannot hold transparency");
  EXPECT_EQ(develop("long.png", "x.webp", to16), "WebP cannot hold 16 bits a channel");
  EXPECT_EQ(develop("long.png", "x.webp"), "WebP holds at most 16383 pixels a side");
  EXPECT_THAT(develop("a.png", "x.gif"), testing::HasSubstr("'gif' is no format"));
  EXPECT_THAT(develop("a.png", "none/x.png"), testing::HasSubstr("cannot be written: No such"));
  EXPECT_EQ(files(), before);
  writePictures((*this)("pages.tif"), {hazyScene(30, 20), hazyScene(50, 40)}, 8);
  EXPECT_EQ(develop("pages.tif", "x.tif"), "");
  EXPECT_EQ(notes, Strings{"holds several pictures; the first one is used"});
  EXPECT_EQ(readPicture((*this)("x.tif")).width, 30);
}

} // namespace
