// What a photograph carries beside its pixels arrives in the result, from each format to each.

#include <exiv2/exiv2.hpp>

#include <set>

#include "tests/apps/Pictures.h"
#include "tests/apps/Program.h"

namespace {

using Image = Exiv2::Image::AutoPtr;

Image open(const fs::path& file) {
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
  Image image = Exiv2::ImageFactory::open(file.string());
  image->readMetadata();
  return image;
}

// A camera's Exif with its maker note, from the sample, and something of every other kind.
void giveMetadata(const fs::path& file, bool iptc) {
  const Image camera = open(FOG_SAMPLES "/city.jpg");
  const Image image = open(file);
  for (const Exiv2::Exifdatum& datum : camera->exifData())
    if (datum.groupName() != "Thumbnail")
      image->exifData()[datum.key()].setValue(&datum.value());
  image->exifData()["Exif.Image.Software"] = "Camera firmware 1.00";
  image->exifData()["Exif.Image.Orientation"] = uint16_t(6);
  image->exifData()["Exif.GPSInfo.GPSLatitudeRef"] = "S";
  image->exifData()["Exif.GPSInfo.GPSLatitude"] = "12/1 30/1 15/1";
  image->xmpData()["Xmp.dc.title"] = "lang=x-default Haze \xc3\xa4\xc3\xb6";
  image->xmpData()["Xmp.xmp.Rating"] = "4";
  if (iptc)
    image->iptcData()["Iptc.Application2.City"] = "Brasilia";
  Exiv2::DataBuf icc(camera->iccProfile()->pData_, camera->iccProfile()->size_);
  image->setIccProfile(icc);
  image->writeMetadata();
}

// Thumbnails in front of the writer's own: they would show the hazy picture.
void giveThumbnail(const fs::path& file, const fs::path& thumbnail) {
  const Image image = open(file);
  Exiv2::ExifThumb(image->exifData()).setJpegThumbnail(thumbnail.string());
  image->writeMetadata();
}

// How files of the TIFF family store things, and offsets, which a writer sets.
bool aboutStorage(const std::string& key) {
  static const std::set<std::string> image{"ImageWidth",
                                           "ImageLength",
                                           "BitsPerSample",
                                           "Compression",
                                           "PhotometricInterpretation",
                                           "StripOffsets",
                                           "SamplesPerPixel",
                                           "RowsPerStrip",
                                           "StripByteCounts",
                                           "PlanarConfiguration",
                                           "Predictor",
                                           "SampleFormat",
                                           "XMLPacket",
                                           "IPTCNAA",
                                           "InterColorProfile",
                                           "ImageResources",
                                           "ExifTag",
                                           "GPSTag",
                                           "NewSubfileType",
                                           "YCbCrPositioning",
                                           "ExtraSamples"};
  return (key.starts_with("Exif.Image.") && image.contains(key.substr(11))) ||
         key == "Exif.Photo.MakerNote" || key == "Exif.MakerNote.Offset" ||
         key == "Exif.Photo.InteroperabilityTag" || key.starts_with("Exif.Thumbnail");
}

template <class Data> std::multiset<std::string> entries(const Data& data) {
  std::multiset<std::string> found;
  for (const auto& datum : data)
    if (!aboutStorage(datum.key()) && datum.key() != "Exif.Image.Software")
      found.insert(datum.key() + " = " + datum.toString());
  return found;
}

// Entries of one that the other lacks, shortened for reading.
template <class Data> std::string lost(const Data& before, const Data& after) {
  const auto a = entries(before), b = entries(after);
  std::string text;
  for (const std::string& entry : a)
    if (a.count(entry) != b.count(entry))
      text += entry.substr(0, 100) + "\n";
  return text;
}

std::string profile(const Image& image) {
  const Exiv2::DataBuf& icc = *image->iccProfile();
  return std::string(reinterpret_cast<const char*>(icc.pData_), size_t(icc.size_));
}

class MetadataPass : public ProgramTest,
                     public testing::WithParamInterface<std::tuple<const char*, const char*>> {};

TEST_P(MetadataPass, Unharmed) {
  const auto [from, to] = GetParam();
  const std::string source = std::string("source.") + from, result = std::string("result.") + to;
  const bool iptc = std::string(from) != "webp" && std::string(to) != "webp";
  writePicture((*this)(source), hazyScene(64, 48), 8);
  giveMetadata((*this)(source), iptc);
  if (source == "source.jpg") {
    writePicture((*this)("thumb.jpg"), hazyScene(16, 12), 8);
    giveThumbnail((*this)(source), (*this)("thumb.jpg"));
  }
  const Finished finished = run({source, "-o", result, "--strength", "100"});
  ASSERT_EQ(finished.status, 0) << finished.err;
  EXPECT_EQ(finished.err, "");

  const Image before = open((*this)(source)), after = open((*this)(result));
  EXPECT_EQ(lost(before->exifData(), after->exifData()), "");
  EXPECT_EQ(lost(after->exifData(), before->exifData()), "");
  EXPECT_EQ(lost(before->xmpData(), after->xmpData()), "");
  EXPECT_EQ(lost(after->xmpData(), before->xmpData()), "");
  EXPECT_EQ(lost(before->iptcData(), after->iptcData()), "");
  EXPECT_EQ(lost(after->iptcData(), before->iptcData()), "");
  EXPECT_EQ(profile(after), profile(before));
  EXPECT_GT(profile(after).size(), 100u);
  EXPECT_EQ(after->exifData()["Exif.Image.Software"].toString(), "Fogdissolver " FOG_VERSION);
  EXPECT_EQ(after->exifData()["Exif.Image.Orientation"].toString(), "6");
  EXPECT_EQ(after->exifData()["Exif.CanonCs.LensType"].count(), 1u) << "the maker note is gone";
  EXPECT_EQ(Exiv2::ExifThumbC(after->exifData()).copy().size_, 0) << "a thumbnail of the old";
  // The orientation is a tag: the pixels keep their place.
  EXPECT_EQ(readPicture((*this)(result)).width, 64);
}

std::string pairName(const testing::TestParamInfo<std::tuple<const char*, const char*>>& info) {
  return std::string(std::get<0>(info.param)) + "_to_" + std::get<1>(info.param);
}
INSTANTIATE_TEST_SUITE_P(FromJpeg, MetadataPass,
                         testing::Combine(testing::Values("jpg"),
                                          testing::Values("jpg", "png", "tif", "webp", "jp2")),
                         pairName);
INSTANTIATE_TEST_SUITE_P(ToJpegAndBack, MetadataPass,
                         testing::Values(std::tuple("png", "jpg"), std::tuple("tif", "jpg"),
                                         std::tuple("png", "png"), std::tuple("tif", "tif"),
                                         std::tuple("jp2", "png")),
                         pairName);

TEST_F(ProgramTest, MetadataGoesThroughOpenExrAndTheLossIsTold) {
  writePicture((*this)("a.jpg"), hazyScene(64, 48), 8);
  giveMetadata((*this)("a.jpg"), true);
  const Finished there = run({"a.jpg", "-o", "b.exr"});
  ASSERT_EQ(there.status, 0);
  EXPECT_TRUE(isOneLine(there.err, "a.jpg", "no place for the colour profile"));
  ASSERT_EQ(run({"b.exr", "-o", "c.jpg"}).status, 0);
  const Image back = open((*this)("c.jpg"));
  EXPECT_EQ(back->exifData()["Exif.Image.Model"].toString(),
            open((*this)("a.jpg"))->exifData()["Exif.Image.Model"].toString());
  EXPECT_EQ(back->exifData()["Exif.Image.Orientation"].toString(), "6");
  EXPECT_EQ(back->exifData()["Exif.Photo.FNumber"].toFloat(), 4.5f);
  const Finished lost = run({"a.jpg", "-o", "d.ppm"});
  EXPECT_TRUE(isOneLine(lost.err, "a.jpg", "Exif, XMP, IPTC, the colour profile"));
}

TEST_F(ProgramTest, APictureWithoutMetadataGetsTheProgramsName) {
  for (const char* name : {"a.jpg", "a.png", "a.tif", "a.webp"}) {
    writePicture((*this)(name), hazyScene(40, 30), 8);
    ASSERT_EQ(run({name, "-f", "-o", std::string("b") + (name + 1)}).status, 0) << name;
    const Image image = open((*this)(std::string("b") + (name + 1)));
    EXPECT_EQ(image->exifData()["Exif.Image.Software"].toString(), "Fogdissolver " FOG_VERSION);
    EXPECT_EQ(entries(image->xmpData()).size(), 0u);
  }
}

} // namespace
