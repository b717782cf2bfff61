// Metadata with Exiv2, which reads and writes whole files in memory.

#include "apps/photo/Metadata.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <stdexcept>
#include <string_view>

#include <exiv2/exiv2.hpp>

#include "apps/photo/ExtendedXmp.h"
#include "apps/photo/JpegCodec.h"

namespace photo {

struct Metadata::State {
  Exiv2::ExifData exif;
  Exiv2::IptcData iptc;
  Exiv2::XmpData xmp;
  Bytes icc;
  std::string comment;
  Exiv2::ByteOrder order = Exiv2::littleEndian;
  std::string openExrOnly; // a phrase for what no other format can store; or empty
  std::string lost;        // a sentence about what the last result cannot store; empty: nothing
};

Metadata::Metadata() : state_(std::make_unique<State>()) {}
Metadata::Metadata(Metadata&&) noexcept = default;
Metadata& Metadata::operator=(Metadata&&) noexcept = default;
Metadata::~Metadata() = default;

namespace {

// Tags that describe how a file of the TIFF family stores pixels or other blocks.
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

// Tags of raw files that describe a sensor's values: the filter array, and DNG's extensions of
// TIFF.
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

constexpr char orientationKey[] = "Exif.Image.Orientation";

// Differences between Exiv2 0.27 and 0.28.
#if EXIV2_TEST_VERSION(0, 28, 0)
using Image = Exiv2::Image::UniquePtr;

Bytes bytesOf(const Exiv2::DataBuf& buffer) { return Bytes(buffer.begin(), buffer.end()); }

Bytes profileOf(Exiv2::Image& image) { return bytesOf(image.iccProfile()); }

void setProfile(Exiv2::Image& image, const Bytes& icc) {
  image.setIccProfile(Exiv2::DataBuf(icc.data(), icc.size()), false);
}
#else
using Image = Exiv2::Image::AutoPtr;

Bytes bytesOf(const Exiv2::DataBuf& buffer) {
  return Bytes(buffer.pData_, buffer.pData_ + buffer.size_);
}

Bytes profileOf(Exiv2::Image& image) { return bytesOf(*image.iccProfile()); }

void setProfile(Exiv2::Image& image, const Bytes& icc) {
  Exiv2::DataBuf profile(icc.data(), long(icc.size()));
  image.setIccProfile(profile, false);
}
#endif

Image imageOf(const Bytes& file) {
  Image image = Exiv2::ImageFactory::open(file.data(), file.size());
  image->readMetadata();
  return image;
}

// Adds the properties of a separate packet, except existing ones.
void addLongPacket(Exiv2::XmpData& xmp, const std::string& packet) {
  Exiv2::XmpData more;
  if (packet.empty() || Exiv2::XmpParser::decode(more, packet) != 0)
    return;
  eraseWhere(xmp, [](const Exiv2::Xmpdatum& datum) { return datum.key().ends_with(longXmpMark); });
  for (const Exiv2::Xmpdatum& datum : more)
    if (xmp.findKey(Exiv2::XmpKey(datum.key())) == xmp.end())
      xmp.add(datum);
}

void readFile(Metadata::State& state, const Bytes& file) {
  const Image image = imageOf(file);
  state.exif = image->exifData();
  std::set<std::string> keys; // a result has each key once; the first one counts
  eraseWhere(state.exif, [&keys](const auto& datum) { return !keys.insert(datum.key()).second; });
  state.iptc = image->iptcData();
  state.xmp = image->xmpData();
  addLongPacket(state.xmp, longXmpOf(file));
  state.comment = image->comment();
  if (image->byteOrder() != Exiv2::invalidByteOrder)
    state.order = image->byteOrder();
  if (image->iccProfileDefined())
    state.icc = profileOf(*image);
}

// The decoder made the blocks; a block that does not parse is omitted.
void fillFromBlocks(Metadata::State& state, const MetadataBlocks& blocks) {
  try {
    if (!blocks.exif.empty())
      state.order =
          Exiv2::ExifParser::decode(state.exif, blocks.exif.data(), uint32_t(blocks.exif.size()));
    if (!blocks.iptc.empty())
      Exiv2::IptcParser::decode(state.iptc, blocks.iptc.data(), uint32_t(blocks.iptc.size()));
    if (!blocks.xmp.empty())
      Exiv2::XmpParser::decode(state.xmp, blocks.xmp);
  } catch (const std::exception&) {
  }
}

double numberOf(const Exiv2::ExifData& exif, const char* key) {
  const auto datum = exif.findKey(Exiv2::ExifKey(key));
  return datum == exif.end() || datum->count() == 0 ? 0.0 : double(datum->toFloat());
}

// Empty if there is nothing, or nothing that can be written.
std::string packetOf(const Exiv2::XmpData& xmp) {
  std::string packet;
  if (!xmp.empty() && Exiv2::XmpParser::encode(packet, xmp) != 0)
    packet.clear();
  return packet;
}

// In a TIFF file the encoder writes these tags, not Exiv2; in other files both write the same.
Resolution resolutionOf(const Exiv2::ExifData& exif) {
  constexpr double centimetres = 3; // of Exif.Image.ResolutionUnit
  return {numberOf(exif, "Exif.Image.XResolution"), numberOf(exif, "Exif.Image.YResolution"),
          numberOf(exif, "Exif.Image.ResolutionUnit") == centimetres};
}

} // namespace

Metadata readMetadata(const Bytes& file, const Picture& picture) {
  Metadata metadata;
  Metadata::State& state = metadata.state();
  muteLibrary();
  try {
    readFile(state, file);
  } catch (const std::exception&) {
    // Exiv2 does not know the format, or the file is damaged; the decoder's message says more.
    fillFromBlocks(state, picture.blocks);
  }
  if (state.icc.empty())
    state.icc = picture.blocks.icc;
  state.openExrOnly = picture.openExrOnly;
  if (picture.upright) {
    state.exif[orientationKey] = uint16_t(1);
    eraseWhere(state.xmp,
               [](const Exiv2::Xmpdatum& datum) { return datum.key() == "Xmp.tiff.Orientation"; });
  }
  return metadata;
}

namespace {

// Values in the layout of little-endian files.
template <class Datum> Bytes valueOf(const Datum& datum) {
  Bytes value(size_t(datum.size()));
  if (!value.empty())
    datum.copy(value.data(), Exiv2::littleEndian);
  return value;
}

template <class Key, class Data>
void addDatum(Data& data, const Key& key, Exiv2::TypeId type, const Bytes& bytes) {
  const auto value = Exiv2::Value::create(type);
  value->read(bytes.data(), decltype(value->size())(bytes.size()), Exiv2::littleEndian);
  data.add(key, value.get());
}

Exiv2::TypeId typeIn(Unpacker& from) {
  const auto type = from.get<int32_t>();
  return type >= 0 && type <= Exiv2::lastTypeId ? Exiv2::TypeId(type) : Exiv2::undefined;
}

} // namespace

void pack(const Metadata& metadata, Packer& to) {
  const Metadata::State& state = metadata.state();
  to.put(uint64_t(state.exif.count()));
  for (const Exiv2::Exifdatum& datum : state.exif) {
    to.putBlock(datum.key());
    to.put(int32_t(datum.typeId()));
    to.putBlock(valueOf(datum));
  }
  to.put(uint64_t(state.iptc.count()));
  for (const Exiv2::Iptcdatum& datum : state.iptc) {
    to.put(datum.tag());
    to.put(datum.record());
    to.put(int32_t(datum.typeId()));
    to.putBlock(valueOf(datum));
  }
  to.putBlock(packetOf(state.xmp));
  to.putBlock(state.comment);
  to.putBlock(state.icc);
  to.put(uint8_t(state.order == Exiv2::bigEndian));
  to.putBlock(state.openExrOnly);
}

Metadata unpackMetadata(Unpacker& from) {
  Metadata metadata;
  Metadata::State& state = metadata.state();
  muteLibrary();
  try {
    for (auto count = from.get<uint64_t>(); count > 0; --count) {
      const Exiv2::ExifKey key(from.getBlock<std::string>());
      const auto type = typeIn(from);
      addDatum(state.exif, key, type, from.getBlock<Bytes>());
    }
    for (auto count = from.get<uint64_t>(); count > 0; --count) {
      const auto tag = from.get<uint16_t>(), record = from.get<uint16_t>();
      const auto type = typeIn(from);
      addDatum(state.iptc, Exiv2::IptcKey(tag, record), type, from.getBlock<Bytes>());
    }
    if (const std::string packet = from.getBlock<std::string>(); !packet.empty())
      Exiv2::XmpParser::decode(state.xmp, packet);
  } catch (const Exiv2::Error&) {
    Unpacker::fail();
  }
  state.comment = from.getBlock<std::string>();
  state.icc = from.getBlock<Bytes>();
  state.order = from.get<uint8_t>() ? Exiv2::bigEndian : Exiv2::littleEndian;
  state.openExrOnly = from.getBlock<std::string>();
  return metadata;
}

int orientationOf(const Metadata& metadata) {
  const double orientation = numberOf(metadata.state().exif, orientationKey);
  return orientation >= 1 && orientation <= 8 ? int(orientation) : 1;
}

void adaptToResult(Metadata& metadata, Picture& picture, const std::string& program) {
  Metadata::State& state = metadata.state();
  eraseWhere(state.exif, aboutStorage);
  eraseWhere(state.xmp, [](const Exiv2::Xmpdatum& datum) {
    return datum.key().starts_with("Xmp.xmp.Thumbnails");
  });
  state.exif["Exif.Image.Software"] = program;
  if (const Resolution told = resolutionOf(state.exif); told.x > 0 && told.y > 0)
    picture.resolution = told;
}

MetadataBlocks blocksOf(const Metadata& metadata) {
  const Metadata::State& state = metadata.state();
  MetadataBlocks blocks;
  blocks.icc = state.icc;
  try {
    Exiv2::Blob exif;
    Exiv2::ExifData data = state.exif; // because Exiv2 0.28 rearranges it
    Exiv2::ExifParser::encode(exif, state.order, data);
    blocks.exif.assign(exif.begin(), exif.end());
    blocks.iptc = bytesOf(Exiv2::IptcParser::encode(state.iptc));
    blocks.xmp = packetOf(state.xmp);
  } catch (const std::exception&) {
    // Omits a damaged block and keeps the others.
  }
  return blocks;
}

namespace {

constexpr size_t longExif = 60000, longestJpegExif = 65527; // bytes; Exiv2 drops some above 60000

size_t sizeOf(const Exiv2::ExifData& exif) {
  size_t size = 0;
  for (const Exiv2::Exifdatum& datum : exif)
    size += size_t(datum.size());
  return size;
}

// Removes the largest entries until the rest fits into a JPEG file.
void trimForJpeg(Exiv2::ExifData& exif, Exiv2::ByteOrder order) {
  auto smaller = [](const auto& a, const auto& b) { return a.size() < b.size(); };
  while (!exif.empty()) {
    Exiv2::Blob blob;
    Exiv2::ExifData copy = exif; // because Exiv2 0.28 rearranges it
    Exiv2::ExifParser::encode(blob, order, copy);
    if (blob.size() <= longestJpegExif)
      return;
    exif.erase(std::max_element(exif.begin(), exif.end(), smaller));
  }
}

// Exif entries that the result lacks: names of tags, or of a maker's group.
std::string missingExif(const Exiv2::ExifData& exif, const Bytes& result) {
  const Image image = imageOf(result);
  std::set<std::string> names;
  const Exiv2::ExifData& kept = image->exifData();
  for (const Exiv2::Exifdatum& datum : exif) // except those that give the position of blocks
    if (datum.tagName() != "ExifTag" && datum.tagName() != "GPSTag" &&
        kept.findKey(Exiv2::ExifKey(datum.key())) == kept.end())
      names.insert(datum.ifdName() == std::string("Makernote") ? datum.groupName()
                                                               : datum.tagName());
  std::string list;
  for (const std::string& name : names)
    list += (list.empty() ? "" : ", ") + name;
  return list;
}

// The file with the metadata inserted by Exiv2. For JPEG a header without scans is enough.
Bytes rewritten(const Bytes& file, Metadata::State& state, const Format& format) {
  const bool jpeg = std::strcmp(format.name, "JPEG") == 0;
  const bool large = sizeOf(state.exif) > longExif;
  const std::string packet = jpeg ? packetOf(state.xmp) : std::string();
  const bool longPacket = packet.size() > longestJpegXmp;
  const Image image = imageOf(file);
  Exiv2::ExifData exif = state.exif;
  if (large && jpeg)
    trimForJpeg(exif, state.order);
  // Keeps what the encoder wrote about the picture's storage: Exiv2 keeps such tags itself.
  for (const Exiv2::Exifdatum& datum : exif)
    image->exifData()[datum.key()].setValue(&datum.value());
  image->setIptcData(state.iptc);
  if (!longPacket)
    image->setXmpData(state.xmp);
  if (!state.comment.empty() && (image->checkMode(Exiv2::mdComment) & Exiv2::amWrite))
    image->setComment(state.comment);
  if (!state.icc.empty() && !image->iccProfileDefined())
    setProfile(*image, state.icc);
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
  if (const std::string missing = large ? missingExif(state.exif, written) : ""; !missing.empty())
    state.lost = std::string(format.name) + " has no room for all of the Exif: " + missing;
  return longPacket ? withLongXmp(written, packet) : written;
}

} // namespace

Bytes withMetadata(Bytes file, Metadata& metadata, const Format& format) {
  Metadata::State& state = metadata.state();
  state.lost.clear();
  if (format.metadata != Carrier::exiv2)
    return file;
  try {
    if (std::strcmp(format.name, "JPEG") != 0)
      return rewritten(file, state, format);
    // Exiv2 copies its input three times, and the scans are most of a file.
    constexpr uint8_t end[] = {0xff, 0xd9};
    const auto scans = file.begin() + ptrdiff_t(scanPlace(file));
    Bytes head(file.begin(), scans);
    head.insert(head.end(), std::begin(end), std::end(end));
    head = rewritten(head, state, format);
    if (head.size() < std::size(end) ||
        !std::equal(std::begin(end), std::end(end), head.end() - std::size(end)))
      throw std::runtime_error("the header cannot be written");
    Bytes whole;
    whole.reserve(head.size() + size_t(file.end() - scans));
    whole.assign(head.begin(), head.end() - std::size(end));
    whole.insert(whole.end(), scans, file.end());
    return whole;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    state.lost = std::string("the metadata stays behind: ") + error.what();
  }
  return file;
}

std::string leftBehind(const Metadata& metadata, const Format& format) {
  const Metadata::State& state = metadata.state();
  const bool nothing = format.metadata == Carrier::nobody;
  const bool webp = std::strcmp(format.name, "WebP") == 0;
  const bool exr = std::strcmp(format.name, "OpenEXR") == 0;
  std::string kinds;
  auto add = [&kinds](bool lost, const std::string& kind) {
    if (lost)
      kinds += (kinds.empty() ? "" : ", ") + kind;
  };
  add(nothing && state.exif.count() > 1, "Exif"); // one is the program's name, added here
  add(nothing && !state.xmp.empty(), "XMP");
  add((nothing || webp) && !state.iptc.empty(), "IPTC");
  add((nothing || exr) && !state.icc.empty(), "the colour profile");
  add(!exr && !state.openExrOnly.empty(), state.openExrOnly);
  if (kinds.empty())
    return state.lost;
  return std::string(format.name) + " has no place for " + kinds +
         (state.lost.empty() ? "" : "; " + state.lost);
}

} // namespace photo
