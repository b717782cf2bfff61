// A camera's raw file, as small as one can be: the sensor's values come developed and upright, and
// nothing in the result claims to be a sensor any more.

#include <cstring>

#include <exiv2/exiv2.hpp>

#include "tests/apps/Pictures.h"
#include "tests/apps/Program.h"

namespace {

enum FieldType : uint16_t { byteField = 1, textField, shortField, longField, rationalField };

// One entry of a TIFF directory, its values as they stand in the file (little-endian).
struct Field {
  uint16_t tag;
  FieldType type;
  std::string values;
};

template <class Number> std::string packed(std::initializer_list<Number> numbers) {
  std::string bytes;
  for (Number n : numbers)
    bytes.append(reinterpret_cast<const char*>(&n), sizeof n);
  return bytes;
}

// A TIFF file of one directory with the pixels behind it. Field 273, the pixels' place, is filled
// in.
std::string tiffFile(std::vector<Field> fields, const std::string& pixels) {
  constexpr uint32_t header = 8, entrySize = 12;
  constexpr uint32_t sizes[] = {0, 1, 1, 2, 4, 8};
  const uint32_t room = header + 2 + entrySize * uint32_t(fields.size()) + 4;
  uint32_t pixelPlace = room;
  for (const Field& field : fields)
    pixelPlace += field.values.size() > 4 ? uint32_t(field.values.size() + 1) & ~1u : 0;
  std::string entries, values;
  for (Field& field : fields) {
    if (field.tag == 273)
      field.values = packed({pixelPlace});
    const uint32_t count = uint32_t(field.values.size()) / sizes[field.type];
    entries += packed({field.tag, uint16_t(field.type)}) + packed({count});
    std::string inPlace = field.values;
    if (inPlace.size() > 4) {
      inPlace = packed({room + uint32_t(values.size())});
      values += field.values;
      values.resize((values.size() + 1) & ~size_t(1));
    }
    inPlace.resize(4);
    entries += inPlace;
  }
  return std::string("II*\0\x08\0\0\0", 8) + packed({uint16_t(fields.size())}) + entries +
         packed({uint32_t(0)}) + values + pixels;
}

std::string rawFile(uint32_t width, uint32_t height) {
  std::string pixels;
  for (uint32_t y = 0; y < height; ++y)
    for (uint32_t x = 0; x < width; ++x)
      pixels += packed({uint16_t(12000 + 150 * y + (x % 9) * 2000 + (x % 2 == y % 2) * 9000)});
  using Short = uint16_t;
  using Long = uint32_t;
  return tiffFile(
      {{254, longField, packed({Long(0)})},
       {256, longField, packed({width})},
       {257, longField, packed({height})},
       {258, shortField, packed({Short(16)})},
       {259, shortField, packed({Short(1)})},
       {262, shortField, packed({Short(32803)})}, // colour filter array
       {271, textField, std::string("Maker\0", 6)},
       {272, textField, std::string("Model 1\0", 8)},
       {273, longField, packed({Long(0)})},
       {274, shortField, packed({Short(6)})}, // to be turned by a quarter
       {277, shortField, packed({Short(1)})},
       {278, longField, packed({height})},
       {279, longField, packed({Long(pixels.size())})},
       {33421, shortField, packed({Short(2), Short(2)})},
       {33422, byteField, std::string("\0\1\1\2", 4)},
       {50706, byteField, std::string("\1\4\0\0", 4)}, // DNG 1.4
       {50708, textField, std::string("Model 1\0", 8)},
       {50714, shortField, packed({Short(0)})},
       {50717, shortField, packed({Short(65535)})},
       {50728, rationalField, packed({Long(1), Long(1), Long(1), Long(1), Long(1), Long(1)})}},
      pixels);
}

TEST_F(ProgramTest, ARawFileBecomesAnUprightPicture) {
  write("shot.dng", rawFile(180, 120));
  const Finished finished = run({"shot.dng"});
  ASSERT_EQ(finished.status, 0) << finished.err;
  const Samples result = readPicture((*this)("shot-clear.tif"));
  EXPECT_EQ(result.width, 120);
  EXPECT_EQ(result.height, 180);
  EXPECT_EQ(result.channels, 3);
  EXPECT_EQ(result.bits, 16);
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
  const auto image = Exiv2::ImageFactory::open((*this)("shot-clear.tif").string());
  image->readMetadata();
  EXPECT_EQ(image->exifData()["Exif.Image.Orientation"].toLong(), 1);
  EXPECT_EQ(image->exifData()["Exif.Image.Model"].toString(), "Model 1");
  for (const char* tag : {"DNGVersion", "CFAPattern", "WhiteLevel", "AsShotNeutral"})
    EXPECT_EQ(image->exifData().findKey(Exiv2::ExifKey(std::string("Exif.Image.") + tag)),
              image->exifData().end())
        << tag;
}

} // namespace
