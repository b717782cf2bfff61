// The programs' common code, without a process: from file to file with a substitute for the filter,
// the filter's runs on documents, looks, and the plans for arguments.

#include <cstring>
#include <set>
#include <sstream>

#include <exiv2/exiv2.hpp>
#include <sys/stat.h>

#include "apps/commandline/Options.h"
#include "apps/photo/Codecs.h"
#include "apps/photo/JpegCodec.h"
#include "apps/shared/Develop.h"
#include "apps/shared/Errors.h"
#include "frame/contract/Version.h"
#include "tests/apps/Folder.h"

namespace {

using fixture::hazyScene, fixture::largestDifference, fixture::sampleAt, shared::Look,
    testing::HasSubstr, testing::ThrowsMessage;

class Road : public FolderTest {
protected:
  Road() { photo::setFormatsFolder(FOG_MODULE_FOLDER); }

  // Returns the reason of a failure, otherwise the notes.
  std::string develop(const std::string& from, const std::string& to, int bits = 0) {
    const shared::Request request{
        .inputs = {from}, .output = to, .bits = bits, .quality = 100, .force = true};
    std::string notes;
    try {
      const shared::Job job = shared::planJobs(request).at(0);
      if (job.refusal.empty())
        shared::develop(job, request, corrector, {[&](auto& text) { notes += text; }}, watch);
      return job.refusal + notes;
    } catch (const std::exception& error) {
      return error.what();
    }
  }

  host::Document corrected(const host::Document& picture, const Look& look, int threads = 1) {
    host::Document document = fixture::copyOf(picture);
    report = shared::correct(fixture::builtModule(), document, look, threads, watch);
    return document;
  }

  const host::Document scene = hazyScene(160, 120, 32);
  shared::CorrectionReport report;
  std::vector<double> shares; // of the progress
  photo::Watch watch{[this](double share) { shares.push_back(share); }};
  std::vector<double> seen; // every sample for the filter
  shared::Corrector corrector{[this](host::Document& d, const photo::Watch&) {
    seen.clear();
    for (int i = 0; i < d.width() * d.height() * d.channels(); ++i)
      seen.push_back(sampleAt(d, 0, 0, i) / fixture::fullScale(d));
    return shared::CorrectionReport{};
  }};
};

host::Document pictureOf(int width, int channels, const std::vector<double>& samples) {
  host::Document d(width, int(samples.size()) / width / channels, channels, 32,
                   host::ColourMode::multichannel);
  for (size_t i = 0; i < samples.size(); ++i)
    fixture::setSample(d, 0, 0, int(i), samples[i]);
  return d;
}

host::Document withAlpha(int width, int height) {
  return fixture::noise(width, height, 32, 4, host::ColourMode::rgb, true);
}

TEST_F(Road, PixelsPassBetweenFormatsAndDepths) {
  constexpr double half8 = 0.51 / 255, half16 = 0.51 / 65535, rounding = 1e-7;
  struct {
    const char *from, *type;
    int channels, asked;
    const char *to, *result;
    double largest; // allowed difference
    // clang-format off
  } const passages[] = {
    {"a.jpg", "uint8", 3, 0, "b.jpg", "uint8", 0.02}, {"a.png", "uint8", 3, 0, "b.png", "uint8", 0},
    {"a.tif", "uint8", 4, 0, "b.tif", "uint8", 0},    {"a.tif", "float", 4, 0, "b.tif", "float", 0},
    {"a.webp", "uint8", 4, 0, "b.webp", "uint8", 0},  {"a.exr", "float", 3, 0, "b.exr", "float", 0},
    {"a.jp2", "uint16", 3, 0, "b.jp2", "uint16", 0.1}, {"a.ppm", "uint8", 3, 0, "b.ppm", "uint8", 0},
    {"a.exr", "half", 4, 0, "b.exr", "half", 0.0005}, {"a.tga", "uint8", 3, 0, "b.tga", "uint8", 0},
    {"a.png", "uint16", 4, 0, "b.png", "uint16", rounding},
    {"a.jpg", "uint8", 3, 16, "b.png", "uint16", half16},
    {"a.webp", "uint8", 3, 32, "b.tif", "float", rounding},
    {"a.png", "uint16", 3, 8, "b.webp", "uint8", half8},
    {"a.tif", "float", 3, 0, "b.png", "uint16", half16},
    {"a.png", "uint16", 3, 8, "b.jpg", "uint8", 0.03}};
  // clang-format on
  for (const auto& p : passages) {
    SCOPED_TRACE(std::string(p.from) + " " + p.type + " to " + p.to);
    writePicture(p.from, p.channels == 4 ? withAlpha(97, 61) : hazyScene(97, 61, 32), p.type);
    ASSERT_EQ(develop(p.from, p.to, p.asked), "");
    EXPECT_EQ(openPicture(p.to)->spec().format, OIIO::TypeDesc(p.result));
    EXPECT_LE(difference(p.from, p.to), p.largest); // from the first format's result
  }
}

// Changes by the filter must reach the file with the full precision of its bits.
TEST_F(Road, SixteenBitsKeepTheirLevels) {
  host::Document ramp(256, 256, 3, 32);
  fixture::fill(ramp, [](int x, int y, int) { return (256 * y + x) / 65535.0; });
  writePicture("a.tif", ramp, "uint16");
  corrector.run = [this](host::Document& document, const photo::Watch&) {
    document = corrected(document, {.foreground = 30, .background = 30});
    return report;
  };
  ASSERT_EQ(develop("a.tif", "b.png"), "");
  std::set<double> levels;
  const host::Document result = readPicture("b.png");
  for (int i = 0; i < 3 * 65536; ++i)
    levels.insert(sampleAt(result, 0, 0, i));
  EXPECT_GT(levels.size(), 40000u); // of 65536 in the file; the filter makes some of them black
}

TEST_F(Road, FloatsAreLimitedToWholeNumbersAndAlphaIsDividedOut) {
  writePicture("a.tif", pictureOf(3, 3, {NAN, -INFINITY, -0.5, 0.2, 0.5, 1, 7, INFINITY, 0.999}),
               "float");
  EXPECT_EQ(develop("a.tif", "b.png", 8), "3 samples are not finite; they are left as they are");
  const int levels[] = {0, 0, 0, 51, 128, 255, 255, 255, 255};
  for (int i = 0; i < 9; ++i)
    EXPECT_EQ(std::lround(sampleAt(readPicture("b.png"), 0, 0, i) * 255), levels[i]) << i;
  // The filter gets colours that are not multiplied by alpha, whatever the file stores; light
  // without alpha is not lost.
  for (const auto& [name, stored] : {std::pair("a.exr", 0.2), std::pair("a.tif", 0.5)}) {
    writePicture(name, pictureOf(2, 4, {stored, stored, 1, 0.4, 0.3, 0.3, 0.3, 0}), "float");
    ASSERT_EQ(develop(name, "b.exr"), "");
    EXPECT_NEAR(seen[0], 0.5, 1e-6) << name;
    EXPECT_NEAR(seen[4], 0.3, 1e-6) << name;
    EXPECT_NEAR(sampleAt(readPicture("b.exr"), 0, 0, 1), 0.2, 1e-6) << name;
  }
}

auto open(const std::string& file) {
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
  auto image = Exiv2::ImageFactory::open(file);
  image->readMetadata();
  return image;
}

// The eight orientations show one scene. The user sees it upright, and the pixels of the result
// keep their places.
TEST_F(Road, APersonSeesThePictureUpright) {
  // From 5 on 2 by 3: for 6 the first row is the right side from the top, for 8 the left side from
  // the bottom.
  const char* scenes[] = {"abcdef", "abcdef", "cbafed", "fedcba", "defabc",
                          "adbecf", "cfbead", "fcebda", "daebfc", "abcdef"};
  for (uint16_t orientation = 0; orientation <= 9; ++orientation) { // 0 and 9 are invalid
    std::vector<double> samples;
    for (const char* c = scenes[orientation]; *c; ++c)
      samples.insert(samples.end(), 3, *c / 255.0);
    writePicture("a.png", pictureOf(orientation % 9 < 5 ? 3 : 2, 3, samples));
    const auto image = open("a.png");
    image->exifData()["Exif.Image.Orientation"] = orientation;
    image->writeMetadata();
    corrector.isSeen = true;
    ASSERT_EQ(develop("a.png", "b.png"), "");
    for (size_t i = 0; i < 6; ++i)
      EXPECT_EQ(std::lround(seen[3 * i] * 255), "abcdef"[i]) << orientation;
    EXPECT_EQ(difference("a.png", "b.png"), 0) << orientation;
  }
  // A camera's raw file: the sensor's values arrive developed and upright, and no tag in the result
  // describes a sensor.
  ASSERT_EQ(develop(FOG_RAW_FILE, "shot.tif"), "");
  EXPECT_EQ(readPicture("shot.tif").width(), 40); // 60 by 40, turned
  EXPECT_EQ(openPicture("shot.tif")->spec().format, OIIO::TypeDesc::UINT16);
  auto exif = open("shot.tif")->exifData();
  EXPECT_EQ(exif["Exif.Image.Orientation"].toString(), "1");
  EXPECT_EQ(exif["Exif.Image.Model"].toString(), "Model 1");
  EXPECT_EQ(exif["Exif.Image.DNGVersion"].count() + exif["Exif.Image.CFAPattern"].count(), 0u);
}

// The sample's camera Exif with its maker note and thumbnail, and some metadata of every other
// kind.
void giveMetadata(const std::string& file) {
  const auto camera = open(FOG_SAMPLES "/city.jpg"), image = open(file);
  for (const Exiv2::Exifdatum& datum : camera->exifData())
    image->exifData()[datum.key()].setValue(&datum.value());
  image->exifData()["Exif.Image.Orientation"] = uint16_t(6);
  image->xmpData()["Xmp.dc.title"] = "lang=x-default Haze \xc3\xa4\xc3\xb6";
  image->iptcData()["Iptc.Application2.City"] = "Brasilia";
  Exiv2::DataBuf icc(*camera->iccProfile());
  image->setIccProfile(icc);
  image->writeMetadata();
}

// Entries of all kinds, except those about how a file stores things.
std::set<std::string> entries(const std::string& file) {
  const auto image = open(file);
  std::set<std::string> found{"profile of " + std::to_string(image->iccProfile()->size_)};
  auto add = [&found](const auto& data) {
    for (const auto& datum : data)
      if (const std::string tag = datum.tagName();
          (datum.groupName() != "Image" || tag == "Model" || tag == "Orientation") &&
          tag != "MakerNote" && tag != "Offset" && tag != "InteroperabilityTag")
        found.insert(datum.key() + " = " + datum.toString().substr(0, 100));
  };
  add(image->exifData());
  add(image->xmpData());
  add(image->iptcData());
  return found;
}

// Above 12 megapixels two threads encode half of the picture each, joined at a restart marker.
TEST_F(Road, AJpegOfTwoHalvesHasTheSamePixels) {
  for (const auto& [width, height] : {std::pair(4001, 3005), {12000, 1030}}) {
    photo::Picture picture{host::Document(width, height, 3, 8)};
    std::byte* samples = picture.document.row(0);
    for (uint32_t i = 0, v = 1; i < uint32_t(width * height * 3); v = v * 1664525 + 1013904223)
      samples[i++] = std::byte(v >> 26); // dark noise
    std::vector<photo::Bytes> files;
    std::vector<host::Document> pixels;
    for (const int threads : {1, 2}) {
      files.push_back(photo::writeJpeg(picture, {.quality = 50, .threads = threads}, {}, watch));
      pixels.push_back(photo::readJpeg({"", files.back()}, 8, 1, watch).document);
    }
    EXPECT_NE(files[0], files[1]);
    EXPECT_TRUE(fixture::sameSamples(pixels[0], pixels[1])) << width;
    photo::Bytes& file = files[1];
    for (const int threads : {1, 2}) {
      EXPECT_EQ(photo::checkJpeg(file, threads), (photo::Shape{width, height, 8}));
      for (const size_t place : {file.size() / 4, file.size() / 4 * 3, file.size()}) {
        photo::Bytes damaged(file.begin(), file.begin() + ptrdiff_t(place) - 2);
        damaged.resize(file.size());
        EXPECT_THROW(photo::checkJpeg(damaged, threads), std::runtime_error) << place;
      }
    }
  }
}

TEST_F(Road, MetadataPassesBetweenFormats) {
  const std::pair<std::string, std::string> passages[] = {
      {"jpg", "jpg"}, {"jpg", "png"}, {"jpg", "tif"}, {"jpg", "jp2"}, {"jpg", "webp"},
      {"png", "jpg"}, {"png", "png"}, {"tif", "jpg"}, {"tif", "tif"}};
  for (const auto& [from, to] : passages) {
    SCOPED_TRACE(from + " to " + to);
    writePicture("a." + from, hazyScene(64, 48, 32));
    giveMetadata("a." + from);
    const std::pair<const char*, float> resolution[] = {{"Exif.Image.XResolution", 118},
                                                        {"Exif.Image.YResolution", 59},
                                                        {"Exif.Image.ResolutionUnit", 3}};
    const auto image = open("a." + from);
    for (const auto& [key, value] : resolution)
      image->exifData()[key].setValue(value == 3 ? "3" : std::to_string(int(value)) + "/1");
    image->writeMetadata();
    const std::string note = develop("a." + from, "b." + to); // a TIFF's thumbnail is a picture
    EXPECT_EQ(note, to == "webp"    ? "the WebP file is without IPTC"
                    : from == "tif" ? "holds several pictures; the largest one is used"
                                    : "");
    std::set<std::string> before = entries("a." + from);
    std::erase_if(before, [&to = to](const std::string& entry) { // thumbnails show the hazy picture
      return entry.find("Thumbnail") < 9 || (to == "webp" && entry.starts_with("Iptc"));
    });
    EXPECT_EQ(entries("b." + to), before);
    EXPECT_GT(before.size(), 60u);
    for (const auto& [key, value] : resolution) // Exiv2 does not write it into a TIFF
      EXPECT_TRUE(from == "tif" || open("b." + to)->exifData()[key].toFloat() == value) << key;
    EXPECT_EQ(open("b." + to)->exifData()["Exif.Image.Software"].toString(),
              "Fogdissolver " FOG_VERSION);
  }
  EXPECT_EQ(
      develop("a.jpg", "b.exr"),
      "the OpenEXR file is without Exif (FileSource, MakerNote, UserComment), the colour profile");
  EXPECT_EQ(develop("b.exr", "c.jpg"), ""); // Exiv2 does not read it
  EXPECT_EQ(open("c.jpg")->exifData()["Exif.Photo.FNumber"].toFloat(), 4.5f);
  EXPECT_EQ(develop("a.jpg", "d.ppm"), "PPM has no place for Exif, XMP, IPTC, the colour profile");
  EXPECT_EQ(develop("d.ppm", "e.ppm"), "");
}

std::string extensionOf(const std::string& name) {
  return name == "JPEG"        ? "jpg"
         : name == "JPEG 2000" ? "jp2"
         : name == "OpenEXR"   ? "exr"
         : name == "TIFF"      ? "tif"
         : name == "WebP"      ? "webp"
                               : "png";
}

// JPEG has segments of 64 KB.
TEST_F(Road, LongMetadataIsKeptOrNamed) {
  const std::string longText(150000, 'x');
  writePicture("a.tif", scene);
  auto image = open("a.tif");
  image->xmpData()["Xmp.dc.source"] = longText;
  image->xmpData()["Xmp.dc.format"] = "image/tiff";
  image->writeMetadata();
  for (const char* passage : {"a.tif b.jpg", "b.jpg c.jpg", "c.jpg d.png"}) {
    const std::string from(passage, 5), to(passage + 6);
    ASSERT_EQ(develop(from, to), "");
    EXPECT_EQ(contents(to).find("HasExtendedXMP") == std::string::npos, to == "d.png");
  }
  EXPECT_EQ(open("d.png")->xmpData()["Xmp.dc.source"].toString(), longText);
  // Other programs find the pieces by the digest of the whole packet.
  const std::string jpeg = contents("b.jpg"), mark("http://ns.adobe.com/xmp/extension/\0", 35);
  const std::string name = jpeg.substr(jpeg.find("HasExtendedXMP=\"") + 16, 32);
  std::string packet;
  for (size_t at = 0; (at = jpeg.find(mark, at)) != jpeg.npos; at += mark.size()) {
    EXPECT_EQ(jpeg.substr(at + mark.size(), 32), name);
    const size_t size = size_t(uint8_t(jpeg[at - 2])) << 8 | uint8_t(jpeg[at - 1]);
    packet += jpeg.substr(at + mark.size() + 40, size - 2 - mark.size() - 40);
  }
  write("packet", packet);
  EXPECT_EQ(std::system(("test $(md5sum <packet | tr a-f A-F | cut -c1-32) = " + name).c_str()), 0);
  EXPECT_EQ(open("d.png")->xmpData()["Xmp.dc.format"].toString(), "image/tiff");
  image = open("a.tif");
  image->xmpData().clear();
  image->exifData()["Exif.Photo.UserComment"] = longText;
  image->exifData()["Exif.Image.Artist"] = "";
  image->exifData()["Exif.Image.Make"] = "Maker";
  const Exiv2::ExifKey valueless(0x2500, "Image"); // in a TIFF, other programs refuse the file
  image->exifData().add(valueless, Exiv2::Value::create(Exiv2::undefined).get());
  image->writeMetadata();
  for (const char* name : {"JPEG", "PNG", "JPEG 2000", "OpenEXR", "TIFF", "WebP"}) {
    const bool hasRoom = name == std::string("TIFF") || name == std::string("WebP");
    const std::string file = "e." + extensionOf(name);
    EXPECT_EQ(develop("a.tif", file),
              hasRoom ? "" : "the " + std::string(name) + " file is without Exif (UserComment)");
    if (name == std::string("OpenEXR"))
      continue;
    Exiv2::ExifData exif = open(file)->exifData();
    EXPECT_EQ(exif["Exif.Image.Make"].toString(), "Maker") << name;
    EXPECT_EQ(exif.findKey(valueless), exif.end()) << name;
    EXPECT_EQ(exif["Exif.Photo.UserComment"].toString(), hasRoom ? longText : "") << name;
  }
}

// What else a file has is in the result, and a line names what is damaged.
TEST_F(Road, DamagedMetadataLeavesTheRest) {
  const std::string damaged = "has damaged metadata, of which only the readable part is kept: ";
  const std::tuple<const char*, std::string, std::string> damages[] = {
      {"Exif", std::string("Exif\0\0II", 8), std::string("Exif\0\0IX", 8)},
      {"XMP", "<rdf:RDF", "<rdf:RDX"},
      {"the colour profile", "acsp", "acsq"}};
  for (const auto& [kind, whole, broken] : damages) {
    writePicture("a.jpg", scene);
    giveMetadata("a.jpg");
    std::string bytes = contents("a.jpg");
    bytes.replace(bytes.find(whole), whole.size(), broken);
    write("a.jpg", bytes);
    const std::string name = kind;
    for (const char* to : {"b.jpg", "b.png"}) {
      EXPECT_EQ(develop("a.jpg", to), damaged + name);
      const auto image = open(to);
      EXPECT_EQ(image->exifData().count() > 50, name != "Exif") << to << name;
      EXPECT_EQ(image->xmpData().empty(), name == "XMP") << to << name;
      EXPECT_EQ(image->iccProfileDefined(), name[0] != 't') << to << name;
      EXPECT_EQ(image->iptcData()["Iptc.Application2.City"].toString(), "Brasilia") << to << name;
    }
  }
}

TEST_F(Road, ACommentBecomesTheDescriptionOrIsNamed) {
  const char description[] = "Exif.Image.ImageDescription";
  writePicture("a.jpg", scene);
  for (const std::string existing : {"", "A hill"}) {
    const auto image = open("a.jpg");
    image->setComment("a comment");
    if (!existing.empty())
      image->exifData()[description] = existing;
    image->writeMetadata();
    EXPECT_EQ(develop("a.jpg", "b.jpg") + develop("a.jpg", "b.png"), "");
    EXPECT_EQ(open("b.png")->comment() + open("b.jpg")->comment(), "a commenta comment");
    for (const char* name : {"TIFF", "WebP", "JPEG 2000", "OpenEXR"}) {
      const std::string file = "b." + extensionOf(name);
      EXPECT_EQ(develop("a.jpg", file),
                existing.empty() ? ""
                                 : "the " + std::string(name) + " file is without the comment");
      develop(file, "c.png");
      EXPECT_EQ(open("c.png")->exifData()[description].toString(),
                existing.empty() ? "a comment" : existing)
          << name;
    }
    EXPECT_THAT(develop("a.jpg", "b.ppm"), HasSubstr("the comment"));
  }
}

TEST_F(Road, OfSeveralPicturesTheLargestIsThePhotograph) {
  const OIIO::ImageSpec small(20, 10, 3, OIIO::TypeDesc::UINT8), large(80, 60, 3, small.format);
  const std::vector<uint8_t> samples(80 * 60 * 3, 99);
  const auto output = OIIO::ImageOutput::create("a.tif");
  const OIIO::ImageSpec both[] = {small, large};
  for (const OIIO::ImageSpec& spec : both) {
    ASSERT_TRUE(output->open("a.tif", spec,
                             &spec == both ? OIIO::ImageOutput::Create
                                           : OIIO::ImageOutput::AppendSubimage));
    ASSERT_TRUE(output->write_image(OIIO::TypeDesc::UINT8, samples.data()));
  }
  output->close();
  EXPECT_EQ(develop("a.tif", "b.png"), "holds several pictures; the largest one is used");
  EXPECT_EQ(readPicture("b.png").width(), 80);
}

TEST_F(Road, OpenExrKeepsItsWindowsAndChannels) {
  OIIO::ImageSpec spec(8, 6, 5, OIIO::TypeDesc::HALF);
  spec.channelnames = {"R", "G", "B", "Z", "fur.R"};
  spec.set_roi_full({-1, 19, -4, 26, 0, 1});
  spec.x = 3;
  spec.y = -2;
  const auto output = OIIO::ImageOutput::create("a.exr");
  ASSERT_TRUE(output->open("a.exr", spec));
  ASSERT_TRUE(output->write_image(OIIO::TypeDesc::FLOAT, fixture::noise(8, 6, 32, 5).row(0)) &&
              output->close());
  ASSERT_EQ(develop("a.exr", "b.exr"), "");
  const auto result = openPicture("b.exr");
  EXPECT_EQ(result->spec().roi(), spec.roi());
  EXPECT_EQ(result->spec().roi_full(), spec.roi_full());
  EXPECT_EQ(result->spec().channelnames, spec.channelnames);
  EXPECT_EQ(difference("a.exr", "b.exr"), 0);
  EXPECT_EQ(develop("a.exr", "b.tif"),
            "TIFF has no place for the data window, the names of the channels Z, fur.R");
  EXPECT_EQ(difference("a.exr", "b.tif"), 0);
  EXPECT_EQ(develop("a.exr", "b.png"), "PNG cannot hold 5 channels");
  EXPECT_EQ(result->spec().format, OIIO::TypeDesc::HALF);
  spec.channelformats.assign(5, OIIO::TypeDesc::HALF);
  spec.channelformats[3] = OIIO::TypeDesc::UINT;
  ASSERT_TRUE(output->open("ids.exr", spec));
  ASSERT_TRUE(output->write_image(OIIO::TypeDesc::FLOAT, fixture::noise(8, 6, 32, 5).row(0)) &&
              output->close());
  EXPECT_EQ(develop("ids.exr", "b.exr"),
            "the whole numbers of its channel Z come as shares of their range");
}

// Uses files that no available encoder can make.
TEST_F(Road, WhatADecoderCannotGiveIsSaid) {
  auto file = [](const char* name) { return FOG_CASES "/photograph/" + std::string(name); };
  const std::string gives8 = " bits a channel, of which the decoder gives 8";
  const std::pair<const char*, std::string> notes[] = {
      {"ten.avif", "has 10" + gives8},
      {"ten.heic", "has 10" + gives8},
      {"twelve.avif", "has 12" + gives8},
      {"apart.avif", "has transparency, which the decoder does not give"},
      {"logluv.tif", "its range of light is larger than what the decoder gives"},
      {"alpha.heic", ""},
      {"turned.avif", ""}};
  for (const auto& [name, note] : notes)
    EXPECT_EQ(develop(file(name), std::string(name) + ".png"), note);
  // Blue except for the left side: red, and transparent in the first one. The second has to be
  // turned a quarter clockwise, according to the file and its Exif.
  const host::Document alpha = readPicture("alpha.heic.png"),
                       turned = readPicture("turned.avif.png");
  ASSERT_EQ(alpha.channels(), 4);
  for (const int x : {3, 60})
    EXPECT_NEAR(sampleAt(alpha, x, 30, 3), x > 30, 0.02);
  ASSERT_EQ(std::pair(turned.width(), turned.height()), std::pair(32, 64));
  for (const int y : {3, 60})
    EXPECT_NEAR(sampleAt(turned, 30, y, 0), y < 30, 0.1);
  EXPECT_EQ(open("turned.avif.png")->exifData()["Exif.Image.Orientation"].toString(), "1");
}

TEST_F(Road, WhatCannotBeDoneIsToldInWords) {
  writePicture("a.png", withAlpha(20, 20));
  writePicture("grey.png", pictureOf(8, 1, std::vector<double>(64)), "uint16");
  writePicture("cmyk.tif", withAlpha(16, 16));
  std::string tiff = contents("cmyk.tif"); // changes its photometric interpretation to "separated"
  tiff.at(tiff.find(std::string("\x06\x01\x03\0\x01\0\0\0\x02\0", 10)) + 8) = 5;
  write("cmyk.tif", tiff);
  write("empty.jpg", "");
  writePicture("deep.jpg", scene);
  std::string jpeg = contents("deep.jpg"); // claims 12 bits per channel
  jpeg.at(jpeg.find("\xff\xc0") + 4) = 12;
  write("deep.jpg", jpeg);
  write("text.tga", std::string(3000, 'x'));
  write("side.ppm", "P6\n2000001 1\n255\nabc");
  write("huge.ppm", "P6\n16384 16384\n255\nabc");
  const Strings before = files();
  // clang-format off
  const char* cases[][3] = {
      {"empty.jpg", "b.png", "the file is empty"}, {"text.tga", "b.png", "not an image"},
      {"deep.jpg", "b.png", "Unsupported JPEG data precision 12"},
      {"side.ppm", "b.png", "larger than 2000000 pixels a side"},
      {"huge.ppm", "b.png", "the filter takes at most 268435455 pixels"},
      {"grey.png", "b.png", "works on RGB images"}, {"cmyk.tif", "b.png", "works on RGB images"},
      {"gone.jpg", "b.png", "No such file"}, {".", "b.png", "a folder, not a file"},
      {"a.png", "b.jpg", "JPEG cannot hold transparency"}, {"a.png", "b.gif", "'gif' is no format"},
      {"a.png", "none/b.png", "cannot be written: No such"}};
  // clang-format on
  for (const auto& [from, to, reason] : cases)
    EXPECT_THAT(develop(from, to), HasSubstr(reason)) << from << " " << to;
  EXPECT_EQ(develop("a.png", "b.webp", 16), "WebP cannot hold 16 bits a channel");
  EXPECT_EQ(files(), before);
  for (const std::string format : {"jpg", "png", "tif", "exr", "webp", "jp2", "ppm", "tga"}) {
    writePicture("whole." + format, fixture::noise(120, 90, 32),
                 format == "exr" ? "float" : "uint8");
    const std::string bytes = contents("whole." + format);
    for (double share : {0.001, 0.05, 0.4, 0.7, 0.95}) {
      write("cut." + format, bytes.substr(0, size_t(double(bytes.size()) * share)));
      EXPECT_NE(develop("cut." + format, "b.png"), "") << format << " " << share;
    }
  }
  EXPECT_FALSE(fs::exists("b.png"));
}

// ---- The filter's runs without a dialog

TEST_F(Road, StrengthIsTheShareOfTheEstimates) {
  EXPECT_LE(largestDifference(corrected(scene, {.strength = 0}), scene), 1e-6);
  const host::Document strong = corrected(scene, {.strength = 100});
  const Parameters own = report.used;
  shares.clear();
  const host::Document usual = corrected(scene, {});
  EXPECT_TRUE(std::is_sorted(shares.begin(), shares.end()));
  EXPECT_GT(shares.back(), 0.99);
  EXPECT_EQ(report.estimate->background, own.backgroundIntensity);
  EXPECT_FLOAT_EQ(report.used.foregroundIntensity, 0.7f * report.estimate->foreground);
  EXPECT_FLOAT_EQ(report.used.backgroundIntensity, 0.7f * report.estimate->background);
  EXPECT_GT(largestDifference(strong, scene), largestDifference(usual, scene) * 1.2);
  EXPECT_GT(largestDifference(usual, scene), 0.1);
  EXPECT_LE(largestDifference(corrected(scene, {}, 2), usual), 1.0 / 255);
  corrected(scene, {.foreground = 12, .strength = 50});
  EXPECT_FLOAT_EQ(report.used.foregroundIntensity, 0.12f);
  EXPECT_FLOAT_EQ(report.used.backgroundIntensity, 0.5f * report.estimate->background);
}

TEST_F(Road, WhatTheFilterCannotDoIsRefused) {
  auto refused = [](const char* why) { return ThrowsMessage<std::runtime_error>(HasSubstr(why)); };
  // A light of zero gives a NaN map and a black picture.
  for (const auto& [depth, below, look] :
       {std::tuple(8, 0.4, Look{}), std::tuple(8, 0.4, Look{.foreground = 5, .background = 9}),
        std::tuple(32, 0.4, Look{.strength = 100}), std::tuple(32, 0.0, Look{.mask = true})}) {
    host::Document night(40, 30, 3, depth); // without blue, black at the top
    fixture::fill(night, [b = below](int, int y, int c) { return c == 2 || y < 15 ? 0 : b; });
    EXPECT_THAT(([&, l = look] { corrected(night, l); }), refused("no haze light found"));
  }
  host::Document grey(40, 30, 3, 8); // no part of it is distant, and its mask may be black
  fixture::fill(grey, [](int, int, int) { return 0.5; });
  corrected(grey, {.foreground = 0, .background = 80, .mask = true});
  const host::Document wide(21475, 1, 3, 8), high(1, 100001, 3, 8);
  EXPECT_THAT([&] { corrected(wide, {}); }, refused("wider than 21474 pixels"));
  EXPECT_THAT([&] { corrected(high, {}); }, refused("too high for its width"));
  host::Document flat(9000, 6, 3, 8), tall(6, 9000, 3, 8);
  for (host::Document* document : {&flat, &tall})
    EXPECT_THAT([&] { shared::correctInDialog(fixture::builtModule(), *document, 1, watch); },
                refused("preview"));
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

TEST_F(Road, AFileKeepsTheLookAndOptionsGoBeforeIt) {
  saveLook("look", Look{.foreground = 12.5, .balance = 61}, false);
  write("look", "\xef\xbb\xbf" + contents("look"));
  saveLook("copy", optionsOf("a.jpg --settings look")->look, false);
  EXPECT_THAT(contents("copy"), HasSubstr("\nbalance = 61\nmask = false\n"));
  EXPECT_THROW(saveLook("copy", Look{}, false), std::runtime_error) << "it exists";
  const Look look = optionsOf("a.jpg --settings look --foreground 3 --mask")->look;
  EXPECT_EQ(std::tuple(look.foreground, look.background, look.balance, look.mask),
            std::tuple(3.0, std::nullopt, 61.0, true));
  // The dialog's settings return to the filter.
  const Parameters set{0.25f, 0.1f, 0.75f, 0.35f, std::exp(1.0f), 1};
  Parameters back{};
  saveLook("copy", shared::lookOf(set), true);
  EXPECT_THAT(contents("copy"), HasSubstr("\nforeground = 10\nbackground = 35\nstrength = 70\n"
                                          "foreground-position = 25\nbackground-position = 75\n"));
  apply(shared::readLook("copy"), back);
  EXPECT_EQ(std::memcmp(&back, &set, sizeof set), 0);
}

TEST_F(Road, ArgumentsComeToResultsOrAreRefusedInWords) {
  ASSERT_EQ(std::system(
                "mkdir in also; ln -s in same; ln -s a.jpg soft.jpg; echo >a.jpg; mkfifo pipe.jpg;"
                "ln a.jpg hard.jpg; ln -s nowhere dangling.jpg; echo >in/b.PNG;"
                "printf '\\377\\330\\377 a JPEG' >noname; printf 'colour = 3\n' >unknown;"
                "printf 'mask\nbalance = 5\nmask\n' >twice; printf 'strength = 0,5\n' >comma;"
                "printf '[look]\nstrength = 5\n' >section; printf '++ = 3\n' >plus; echo >good; "
                "mkdir 'br{a}ce'"),
            0);
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
      {"a.jpg --settings twice", "for mask"}, {"a.jpg --settings comma", "for strength"},
      {"a.jpg --settings section", "section: there are no sections, such as [look]"},
      {"a.jpg --settings plus", "plus: there is no setting ++"},
      {"a.jpg --settings in", "in: a folder, not a file"}, {"a.jpg -f --save-settings hard.jpg",
       "is an input"}, {"a.jpg --trace plus", "plus exists already"},
      {"a.jpg -o x.jpg --save-settings in/../x.jpg", "is an output"},
      {"a.jpg -f --save-settings pipe.jpg", "not an ordinary"},
      {"a.jpg --trace t --save-settings t", "t is the trace"}, {"a.jpg -f --save-settings /proc/self/status", "system"},
      {"a.jpg --settings gone", "gone: No such file"}, {"a.jpg --memory nan", "'nan'"},
      {"a.jpg -f --settings good --trace ./good", "is the settings file"}};
  // clang-format on
  for (const auto& [arguments, says] : cases)
    EXPECT_THAT([&] { planOf(*optionsOf(arguments)); },
                ThrowsMessage<shared::UsageError>(HasSubstr(says)))
        << arguments;
  EXPECT_EQ(files(), before);
  // clang-format off
  const char* results[][3] = { // the last column: why it is refused
      {"a.jpg", "a-clear.jpg", ""}, {"x/b.PNG", "x/b-clear.PNG", ""},
      {"x/shot.nef", "x/shot-clear.tif", ""}, {"noname", "noname-clear.jpg", ""},
      {"x/b.PNG -o in", "in/b-clear.PNG", ""}, {"- -o in --format tif", "in/stdin-clear.tif", ""},
      {"x/b.PNG --format jpg -o new/deep/", "new/deep/b-clear.jpg", ""},
      {"b.PNG -o {name}_{name}.{ext}", "b_b.PNG", ""}, {"a{ext}.jpg -o {name}.{ext}", "a{ext}.jpg", ""},
      {"b.PNG -o br{a}ce", "br{a}ce/b-clear.PNG", ""}, {"b.PNG -o {x}/", "{x}/b-clear.PNG", ""},
      {"b.PNG -o br{a}ce/{name}.jpg", "br{a}ce/b.jpg", ""},
      {"a.jpg -o in/b.PNG", "in/b.PNG", "exists already"},
      {"a.jpg -f -o in/b.PNG", "in/b.PNG", ""},
      {"a.jpg -o dangling.jpg", "dangling.jpg", "exists already"},
      {"a.jpg -f -o pipe.jpg", "pipe.jpg", "not an ordinary file"}};
  // clang-format on
  for (const auto& [arguments, output, refusal] : results) {
    const shared::Job job = shared::planJobs(*optionsOf(arguments)).at(0);
    EXPECT_EQ(job.output, output);
    EXPECT_EQ(job.refusal.empty(), !*refusal);
    EXPECT_THAT(job.refusal, HasSubstr(refusal));
  }
}

} // namespace
