// The carrier between files. Exiv2 takes and gives whole files in memory.

#include "apps/photo/Metadata.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string_view>

#include <exiv2/exiv2.hpp>

namespace photo {

struct Metadata::State {
  Exiv2::ExifData exif;
  Exiv2::IptcData iptc;
  Exiv2::XmpData xmp;
  Bytes icc;
  std::string comment;
  Exiv2::ByteOrder order = Exiv2::littleEndian;
  bool found = false; // Exiv2 knows the format
};

Metadata::Metadata() : state_(std::make_unique<State>()) {}
Metadata::Metadata(Metadata&&) noexcept = default;
Metadata& Metadata::operator=(Metadata&&) noexcept = default;
Metadata::~Metadata() = default;

namespace {

// Tags that say how pixels or other blocks are stored in a file of the TIFF family.
constexpr std::string_view storageTags[] = {"NewSubfileType",
                                            "SubfileType",
                                            "ImageWidth",
                                            "ImageLength",
                                            "BitsPerSample",
                                            "Compression",
                                            "PhotometricInterpretation",
                                            "FillOrder",
                                            "StripOffsets",
                                            "SamplesPerPixel",
                                            "RowsPerStrip",
                                            "StripByteCounts",
                                            "MinSampleValue",
                                            "MaxSampleValue",
                                            "PlanarConfiguration",
                                            "Predictor",
                                            "ColorMap",
                                            "TileWidth",
                                            "TileLength",
                                            "TileOffsets",
                                            "TileByteCounts",
                                            "SubIFDs",
                                            "ExtraSamples",
                                            "SampleFormat",
                                            "SMinSampleValue",
                                            "SMaxSampleValue",
                                            "JPEGTables",
                                            "JPEGProc",
                                            "JPEGInterchangeFormat",
                                            "JPEGInterchangeFormatLength",
                                            "YCbCrCoefficients",
                                            "YCbCrSubSampling",

                                            "ReferenceBlackWhite",
                                            "TransferFunction",
                                            "XMLPacket",
                                            "IPTCNAA",
                                            "ImageResources",
                                            "InterColorProfile",
                                            "PageNumber"};

// Tags of raw files, which describe a sensor's values: the filter array, and what DNG adds to TIFF.
bool ofRawFiles(uint16_t tag) {
  constexpr uint16_t firstArray = 0x828d, lastArray = 0x828e, firstDng = 0xc612, lastDng = 0xcd49;
  return (tag >= firstArray && tag <= lastArray) || (tag >= firstDng && tag <= lastDng);
}

// Directories of other pictures in the file.
bool ofAnotherPicture(std::string_view group) {
  return group == "Thumbnail" || group == "Image2" || group == "Image3" ||
         group.starts_with("SubImage") || group.starts_with("SubThumb");
}

bool aboutStorage(const Exiv2::Exifdatum& datum) {
  const std::string group = datum.groupName(), tag = datum.tagName();
  const bool named =
      std::find(std::begin(storageTags), std::end(storageTags), tag) != std::end(storageTags);
  return ofAnotherPicture(group) || (group == "Image" && (named || ofRawFiles(datum.tag())));
}

template <class Data, class Unwanted> void eraseWhere(Data& data, Unwanted unwanted) {
  for (auto datum = data.begin(); datum != data.end();)
    datum = unwanted(*datum) ? data.erase(datum) : std::next(datum);
}

void muteLibrary() { Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute); }

void fillFromBlocks(Metadata::State& state, const MetadataBlocks& blocks) {
  if (!blocks.exif.empty())
    state.order =
        Exiv2::ExifParser::decode(state.exif, blocks.exif.data(), uint32_t(blocks.exif.size()));
  if (!blocks.iptc.empty())
    Exiv2::IptcParser::decode(state.iptc, blocks.iptc.data(), uint32_t(blocks.iptc.size()));
  if (!blocks.xmp.empty())
    Exiv2::XmpParser::decode(state.xmp, blocks.xmp);
}

// In a TIFF file these tags are the encoder's, not Exiv2's; elsewhere both write the same.
Resolution resolutionOf(const Exiv2::ExifData& exif) {
  auto number = [&exif](const char* key) {
    const auto datum = exif.findKey(Exiv2::ExifKey(key));
    return datum == exif.end() || datum->count() == 0 ? 0.0 : double(datum->toFloat());
  };
  constexpr double centimetres = 3; // of Exif.Image.ResolutionUnit
  return {number("Exif.Image.XResolution"), number("Exif.Image.YResolution"),
          number("Exif.Image.ResolutionUnit") == centimetres};
}

} // namespace

Metadata readMetadata(const Bytes& file) {
  Metadata metadata;
  Metadata::State& state = metadata.state();
  muteLibrary();
  try {
    const Exiv2::Image::AutoPtr image = Exiv2::ImageFactory::open(file.data(), long(file.size()));
    image->readMetadata();
    state.exif = image->exifData();
    state.iptc = image->iptcData();
    state.xmp = image->xmpData();
    state.comment = image->comment();
    if (image->byteOrder() != Exiv2::invalidByteOrder)
      state.order = image->byteOrder();
    if (image->iccProfileDefined()) {
      const Exiv2::DataBuf& icc = *image->iccProfile();
      state.icc.assign(icc.pData_, icc.pData_ + icc.size_);
    }
    state.found = true;
  } catch (const Exiv2::AnyError&) {
    // Not a format of Exiv2's, or a broken file, of which the decoder tells more.
  }
  return metadata;
}

void adaptToResult(Metadata& metadata, Picture& picture, const std::string& program) {
  Metadata::State& state = metadata.state();
  try {
    if (!state.found)
      fillFromBlocks(state, picture.blocks);
  } catch (const Exiv2::AnyError&) {
    // The blocks are the decoder's own making; what did not parse is left out.
  }
  if (state.icc.empty())
    state.icc = picture.blocks.icc;
  eraseWhere(state.exif, aboutStorage);
  eraseWhere(state.xmp, [](const Exiv2::Xmpdatum& datum) {
    return datum.key().starts_with("Xmp.xmp.Thumbnails");
  });
  state.exif["Exif.Image.Software"] = program;
  if (const Resolution told = resolutionOf(state.exif); told.x > 0 && told.y > 0)
    picture.resolution = told;
  if (picture.upright) {
    state.exif["Exif.Image.Orientation"] = uint16_t(1);
    eraseWhere(state.xmp,
               [](const Exiv2::Xmpdatum& datum) { return datum.key() == "Xmp.tiff.Orientation"; });
  }
}

MetadataBlocks blocksOf(const Metadata& metadata) {
  const Metadata::State& state = metadata.state();
  MetadataBlocks blocks;
  blocks.icc = state.icc;
  try {
    Exiv2::Blob exif;
    Exiv2::ExifParser::encode(exif, state.order, state.exif);
    blocks.exif.assign(exif.begin(), exif.end());
    const Exiv2::DataBuf iptc = Exiv2::IptcParser::encode(state.iptc);
    blocks.iptc.assign(iptc.pData_, iptc.pData_ + iptc.size_);
    if (!state.xmp.empty())
      Exiv2::XmpParser::encode(blocks.xmp, state.xmp);
  } catch (const Exiv2::AnyError&) {
    // A damaged block is left out; the others stand.
  }
  return blocks;
}

Bytes withMetadata(Bytes file, const Metadata& metadata, const Format& format) {
  const Metadata::State& state = metadata.state();
  if (format.metadata != Carrier::exiv2)
    return file;
  try {
    const Exiv2::Image::AutoPtr image = Exiv2::ImageFactory::open(file.data(), long(file.size()));
    image->readMetadata();
    // What the encoder wrote about the picture's storage stays: Exiv2 keeps such tags by itself.
    for (const Exiv2::Exifdatum& datum : state.exif)
      image->exifData()[datum.key()].setValue(&datum.value());
    image->setIptcData(state.iptc);
    image->setXmpData(state.xmp);
    if (!state.comment.empty() && (image->checkMode(Exiv2::mdComment) & Exiv2::amWrite))
      image->setComment(state.comment);
    if (!state.icc.empty() && !image->iccProfileDefined()) {
      Exiv2::DataBuf icc(state.icc.data(), long(state.icc.size()));
      image->setIccProfile(icc, false);
    }
    if (std::strcmp(format.name, "TIFF") != 0)
      image->setByteOrder(state.order);
    image->writeMetadata();
    Exiv2::BasicIo& io = image->io();
    const size_t size = size_t(io.size());
    io.open();
    const Exiv2::byte* data = io.mmap();
    Bytes written(data, data + size);
    io.munmap();
    io.close();
    return written;
  } catch (const Exiv2::AnyError& error) {
    throw std::runtime_error(std::string("metadata cannot be written: ") + error.what());
  }
}

std::string leftBehind(const Metadata& metadata, const Format& format) {
  const Metadata::State& state = metadata.state();
  const bool nothing = format.metadata == Carrier::nobody;
  const bool webp = std::strcmp(format.name, "WebP") == 0;
  std::string kinds;
  auto add = [&kinds](bool lost, const char* kind) {
    if (lost)
      kinds += (kinds.empty() ? "" : ", ") + std::string(kind);
  };
  add(nothing && state.exif.count() > 1, "Exif"); // one is the program's name, added here
  add(nothing && !state.xmp.empty(), "XMP");
  add((nothing || webp) && !state.iptc.empty(), "IPTC");
  add((nothing || std::strcmp(format.name, "OpenEXR") == 0) && !state.icc.empty(),
      "the colour profile");
  return kinds.empty() ? kinds : std::string(format.name) + " has no place for " + kinds;
}

} // namespace photo
