// Metadata with Exiv2, which reads and writes whole files in memory.

#include "apps/photo/Metadata.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string_view>

#include "apps/photo/Codecs.h"
#include "apps/photo/ExtendedXmp.h"
#include "apps/photo/JpegCodec.h"
#include "apps/photo/MetadataLosses.h"
#include "apps/photo/MetadataReader.h"

namespace photo {

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

// Whether other programs refuse a whole TIFF for this tag: it has no value, or one of a type that
// TIFF does not know. Notes of a camera's maker are not looked at.
bool breaksTiff(const Exiv2::Exifdatum& datum) {
  const std::string group = datum.groupName();
  const Exiv2::TypeId type = datum.typeId();
  return (group == "Image" || group == "Photo" || group == "GPSInfo" || group == "Iop") &&
         (datum.size() == 0 || type < Exiv2::unsignedByte || type > Exiv2::tiffIfd);
}

constexpr char orientationKey[] = "Exif.Image.Orientation";

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
  state = readableMetadata(file, picture.blocks);
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
  to.put(state.damage);
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
  state.damage = from.get<uint8_t>();
  return metadata;
}

int orientationOf(const Metadata& metadata) {
  const double orientation = numberOf(metadata.state().exif, orientationKey);
  return orientation >= 1 && orientation <= 8 ? int(orientation) : 1;
}

void adaptToResult(Metadata& metadata, Picture& picture, const std::string& program) {
  Metadata::State& state = metadata.state();
  eraseWhere(state.exif, aboutStorage);
  eraseWhere(state.exif, breaksTiff);
  eraseWhere(state.xmp, [](const Exiv2::Xmpdatum& datum) {
    return datum.key().starts_with("Xmp.xmp.Thumbnails");
  });
  state.exif["Exif.Image.Software"] = program;
  if (const Resolution told = resolutionOf(state.exif); told.x > 0 && told.y > 0)
    picture.resolution = told;
}

namespace {

constexpr char descriptionKey[] = "Exif.Image.ImageDescription";

// The Exif for a format without comments: the comment becomes the description if there is none.
Exiv2::ExifData exifWithComment(const Metadata::State& state) {
  Exiv2::ExifData exif = state.exif;
  const auto description = exif.findKey(Exiv2::ExifKey(descriptionKey));
  if (!state.comment.empty() && (description == exif.end() || isBlank(*description)))
    exif[descriptionKey] = state.comment;
  return exif;
}

constexpr size_t longExif = 60000, longestJpegExif = 65527; // bytes; Exiv2 drops some above 60000

size_t sizeOf(const Exiv2::ExifData& exif) {
  size_t size = 0;
  for (const Exiv2::Exifdatum& datum : exif)
    size += size_t(datum.size());
  return size;
}

Bytes contentOf(Exiv2::BasicIo& io) {
  const size_t size = size_t(io.size());
  io.open();
  const Exiv2::byte* data = io.mmap();
  Bytes content(data, data + size);
  io.munmap();
  io.close();
  return content;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): Exiv2 0.28 rearranges what it encodes
Bytes encodedExif(Exiv2::ExifData exif, Exiv2::ByteOrder order) {
  Exiv2::Blob blob;
  Exiv2::ExifParser::encode(blob, order, exif);
  return Bytes(blob.begin(), blob.end());
}

// Of any length. The encoder for blocks drops what a JPEG segment has no room for. The one for TIFF
// files adds it, but is no substitute: it omits what describes the pixels, such as the resolution.
Bytes longExifBlock(const Exiv2::ExifData& exif, Exiv2::ByteOrder order) {
  const Bytes block = encodedExif(exif, order);
  if (sizeOf(exif) <= longExif || block.empty())
    return block;
  const ExivImage image = Exiv2::ImageFactory::open(block.data(), block.size());
  image->readMetadata();
  image->setExifData(exif);
  image->writeMetadata();
  return contentOf(image->io());
}

} // namespace

MetadataBlocks blocksOf(const Metadata& metadata) {
  const Metadata::State& state = metadata.state();
  MetadataBlocks blocks;
  blocks.icc = state.icc;
  auto fill = [](auto& block,
                 auto encode) { // a block that cannot be encoded does not affect others
    try {
      block = encode();
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception&) {
    }
  };
  fill(blocks.exif, [&] { return longExifBlock(exifWithComment(state), state.order); });
  fill(blocks.iptc, [&] { return bytesOf(Exiv2::IptcParser::encode(state.iptc)); });
  fill(blocks.xmp, [&] { return packetOf(state.xmp); });
  return blocks;
}

namespace {

// Removes the largest entries until the rest fits into a JPEG file.
void trimForJpeg(Exiv2::ExifData& exif, Exiv2::ByteOrder order) {
  auto smaller = [](const auto& a, const auto& b) { return a.size() < b.size(); };
  while (!exif.empty() && encodedExif(exif, order).size() > longestJpegExif)
    exif.erase(std::max_element(exif.begin(), exif.end(), smaller));
}

// The file with the metadata inserted by Exiv2. For JPEG a header without scans is enough.
Bytes rewritten(const Bytes& file, const Metadata::State& state, const Format& format) {
  const bool jpeg = std::strcmp(format.name, "JPEG") == 0;
  const std::string packet = jpeg ? packetOf(state.xmp) : std::string();
  const bool longPacket = packet.size() > longestJpegXmp;
  const ExivImage image = Exiv2::ImageFactory::open(file.data(), file.size());
  image->readMetadata();
  const bool comments = image->checkMode(Exiv2::mdComment) & Exiv2::amWrite;
  Exiv2::ExifData exif = comments ? state.exif : exifWithComment(state);
  if (jpeg && sizeOf(exif) > longExif)
    trimForJpeg(exif, state.order);
  // Keeps what the encoder wrote about the picture's storage: Exiv2 keeps such tags itself.
  for (const Exiv2::Exifdatum& datum : exif)
    image->exifData()[datum.key()].setValue(&datum.value());
  image->setIptcData(state.iptc);
  if (!longPacket)
    image->setXmpData(state.xmp);
  if (!state.comment.empty() && comments)
    image->setComment(state.comment);
  if (!state.icc.empty() && !image->iccProfileDefined())
    setProfile(*image, state.icc);
  if (std::strcmp(format.name, "TIFF") != 0)
    image->setByteOrder(state.order);
  image->writeMetadata();
  Bytes written = contentOf(image->io());
  if (longPacket)
    written = withLongXmp(written, packet);
  return written;
}

Bytes inserted(const Bytes& file, const Metadata::State& state, const Format& format) {
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
}

// Inserts everything; if that fails, everything except one kind. Returns the reason if nothing
// helps.
std::string insert(Bytes& file, const Metadata::State& state, const Format& format) {
  using State = Metadata::State;
  constexpr void (*drops[])(State&) = {[](State&) {},
                                       [](State& rest) { rest.comment.clear(); },
                                       [](State& rest) { rest.icc.clear(); },
                                       [](State& rest) { rest.iptc.clear(); },
                                       [](State& rest) { rest.xmp.clear(); },
                                       [](State& rest) { rest.exif.clear(); }};
  std::string reason;
  for (const auto drop : drops) {
    State rest = state;
    drop(rest);
    try {
      file = inserted(file, rest, format);
      return {};
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception& error) {
      if (reason.empty())
        reason = error.what();
    }
  }
  return reason;
}

// What of the state the result does not have.
std::string missingIn(const Bytes& result, const Metadata::State& state, const Format& format) {
  try {
    const bool byLibrary = format.metadata == Carrier::codec && !isBuiltIn(format);
    return missing(state, byLibrary ? metadataInExr(result, blocksOfResult(result, format))
                                    : metadataIn(result));
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception&) { // Exiv2 does not read what it has written
    return "all of the metadata";
  }
}

} // namespace

Bytes withMetadata(Bytes file, Metadata& metadata, const Format& format) {
  Metadata::State& state = metadata.state();
  state.lost.clear();
  state.failure.clear();
  if (format.metadata == Carrier::exiv2)
    if (const std::string reason = insert(file, state, format); !reason.empty())
      state.failure = "the metadata stays behind: " + reason;
  if (format.metadata != Carrier::nobody && state.failure.empty())
    state.lost = missingIn(file, state, format);
  return file;
}

std::string leftBehind(const Metadata& metadata, const Format& format) {
  const Metadata::State& state = metadata.state();
  const std::string name = format.name;
  std::string noPlace = format.metadata == Carrier::nobody ? missing(state, {}) : "";
  if (!state.openExrOnly.empty() && name != "OpenEXR")
    noPlace += (noPlace.empty() ? "" : ", ") + state.openExrOnly;
  std::string sentences;
  auto add = [&sentences](const std::string& before, const std::string& sentence) {
    if (!sentence.empty())
      sentences += (sentences.empty() ? "" : "; ") + before + sentence;
  };
  add("", damagePhrase(state.damage));
  add(name + " has no place for ", noPlace);
  add("the " + name + " file is without ", state.lost);
  add("", state.failure);
  return sentences;
}

} // namespace photo
