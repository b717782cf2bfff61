#include "apps/photo/MetadataReader.h"

#include <cstring>
#include <set>
#include <string_view>

#include "apps/photo/ExtendedXmp.h"
#include "apps/photo/Formats.h"
#include "apps/photo/JpegSegments.h"

namespace photo {
namespace {

thread_local uint8_t* logged = nullptr; // collects the damage that Exiv2 logs

// Exiv2 omits damaged entries with a message. Its errors are about Exif, unless they say otherwise;
// after other kinds it only warns.
void collect(int level, const char* text) {
  const std::string_view message = text;
  auto says = [message](const char* words) { return message.find(words) != message.npos; };
  if (!logged)
    return;
  if (says("XMP"))
    *logged |= says("Failed to decode") ? inXmp : 0;
  else if (says("IPTC"))
    *logged |= says("Failed to decode") ? inIptc : 0;
  else if (level >= Exiv2::LogMsg::error || says("Failed to decode Exif"))
    *logged |= inExif;
}

// Collects Exiv2's messages while it exists.
class Listening {
public:
  explicit Listening(uint8_t& damage) {
    logged = &damage;
    Exiv2::LogMsg::setHandler(collect);
    Exiv2::LogMsg::setLevel(Exiv2::LogMsg::warn);
  }
  ~Listening() {
    muteLibrary();
    logged = nullptr;
  }
  Listening(const Listening&) = delete;
  Listening& operator=(const Listening&) = delete;
};

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

Metadata::State stateOf(Exiv2::Image& image, const Bytes& file) {
  Metadata::State state;
  image.readMetadata();
  state.exif = image.exifData();
  std::set<std::string> keys; // a result has each key once; the first one counts
  eraseWhere(state.exif, [&keys](const auto& datum) { return !keys.insert(datum.key()).second; });
  state.iptc = image.iptcData();
  state.xmp = image.xmpData();
  addLongPacket(state.xmp, longXmpOf(file));
  state.comment = image.comment();
  if (image.byteOrder() != Exiv2::invalidByteOrder)
    state.order = image.byteOrder();
  if (image.iccProfileDefined())
    state.icc = profileOf(image);
  return state;
}

// Whether the block can be decoded; an exception means that it cannot.
template <class Decode> bool decoded(Decode decode) {
  try {
    return decode();
  } catch (const std::exception&) {
    return false;
  }
}

// A block that does not decode is damaged; the others are not affected.
void fillFromBlocks(Metadata::State& state, const MetadataBlocks& blocks) {
  auto fill = [&state](bool exists, Damage kind, auto decode) {
    if (exists && !decoded(decode))
      state.damage |= kind;
  };
  fill(!blocks.exif.empty(), inExif, [&] {
    const auto order =
        Exiv2::ExifParser::decode(state.exif, blocks.exif.data(), uint32_t(blocks.exif.size()));
    if (order != Exiv2::invalidByteOrder)
      state.order = order;
    return order != Exiv2::invalidByteOrder;
  });
  fill(!blocks.iptc.empty(), inIptc, [&] {
    return Exiv2::IptcParser::decode(state.iptc, blocks.iptc.data(),
                                     uint32_t(blocks.iptc.size())) == 0;
  });
  fill(!blocks.xmp.empty(), inXmp,
       [&] { return Exiv2::XmpParser::decode(state.xmp, blocks.xmp) == 0; });
}

Metadata::State stateOf(const MetadataBlocks& blocks) {
  Metadata::State state;
  fillFromBlocks(state, blocks);
  return state;
}

MetadataBlocks blocksOfJpeg(const Bytes& file) {
  MetadataBlocks blocks;
  const std::string_view exif = segmentOf(file, app1, exifMark);
  const std::string_view resources = segmentOf(file, app13, resourcesMark);
  blocks.exif.assign(exif.begin(), exif.end());
  blocks.xmp = segmentOf(file, app1, xmpMark);
  const uint8_t* iptc = nullptr;
  uint32_t before = 0, size = 0;
  if (!resources.empty() &&
      Exiv2::Photoshop::locateIptcIrb(reinterpret_cast<const uint8_t*>(resources.data()),
                                      uint32_t(resources.size()), &iptc, &before, &size) == 0)
    blocks.iptc.assign(iptc + before, iptc + before + size);
  return blocks;
}

// The kinds of metadata that can be decoded separately.
Metadata::State partsOf(const Bytes& file, const MetadataBlocks& fromDecoder) {
  const Format* format = formatOfBytes(file.data(), file.size());
  if (!format || std::strcmp(format->name, "JPEG") != 0)
    return stateOf(fromDecoder);
  Metadata::State state = stateOf(blocksOfJpeg(file));
  state.comment = segmentOf(file, jpegComment);
  addLongPacket(state.xmp, longXmpOf(file));
  return state;
}

bool isWholeProfile(const Bytes& icc) {
  constexpr size_t smallest = 132, markPlace = 36; // bytes: header and number of tags
  return icc.size() >= smallest && std::memcmp(icc.data() + markPlace, "acsp", 4) == 0 &&
         (size_t(icc[0]) << 24 | size_t(icc[1]) << 16 | size_t(icc[2]) << 8 | icc[3]) == icc.size();
}

} // namespace

Metadata::State metadataIn(const Bytes& file) {
  const ExivImage image = Exiv2::ImageFactory::open(file.data(), file.size());
  return stateOf(*image, file);
}

Metadata::State metadataInExr(const Bytes& file, const MetadataBlocks& blocks) {
  constexpr size_t firstAttribute = 8; // bytes
  Metadata::State state = stateOf(blocks);
  const std::string_view all(reinterpret_cast<const char*>(file.data()), file.size());
  for (size_t place = firstAttribute; place < all.size() && all[place] != 0;) {
    const size_t type = all.find('\0', place) + 1, size = all.find('\0', type) + 1;
    if (size == 0 || type == 0 || size + 4 > all.size())
      break;
    const std::string_view name = all.substr(place, type - 1 - place);
    state.attributes.emplace(name.substr(name.rfind(':') + 1));
    place = size + 4 +
            (size_t(file[size]) | size_t(file[size + 1]) << 8 | size_t(file[size + 2]) << 16 |
             size_t(file[size + 3]) << 24);
  }
  return state;
}

Metadata::State readableMetadata(const Bytes& file, const MetadataBlocks& fromDecoder) {
  Metadata::State state;
  uint8_t damage = 0;
  const Listening listening(damage);
  ExivImage image;
  const bool isKnown = decoded([&] {
    image = Exiv2::ImageFactory::open(file.data(), file.size());
    return true;
  });
  const bool isRead = isKnown && decoded([&] {
                        state = stateOf(*image, file);
                        return true;
                      });
  if (!isRead)
    state = partsOf(file, fromDecoder);
  damage |= state.damage;
  if (state.icc.empty())
    state.icc = fromDecoder.icc;
  if (!state.icc.empty() && !isWholeProfile(state.icc)) {
    state.icc.clear();
    damage |= inProfile;
  }
  if (isKnown && !isRead && !damage)
    damage = somewhere;
  state.damage = damage;
  return state;
}

} // namespace photo
