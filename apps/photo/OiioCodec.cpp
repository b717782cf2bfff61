// All formats except JPEG and WebP, with OpenImageIO: the only source of the module
// fogdissolver-formats.so.
//
// Pixels go directly between the library and the document's rows. The code requests alpha as it is
// in the file, and the picture records whether the colours are multiplied by it. Exiv2 carries the
// metadata for formats that it knows; for others the library's attributes do.

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>
#include <OpenImageIO/tiffutils.h>

#include "apps/photo/Codecs.h"
#include "apps/photo/Files.h"
#include "apps/photo/Formats.h"
#include "apps/photo/HeaderSize.h"
#include "apps/photo/Message.h"
#include "apps/photo/Samples.h"

namespace photo {
namespace {

using namespace OIIO;

constexpr int chunk = 256; // rows encoded at a time: whole strips of every format

[[noreturn]] void fail(const std::string& reason) { throw std::runtime_error(reason); }

// Fails with the first line of the library's message. Throws std::bad_alloc if the message says so.
[[noreturn]] void fail(const std::string& what, const std::string& text) {
  const std::string line = text.substr(0, text.find('\n'));
  if (line.find("std::bad_alloc") != std::string::npos)
    throw std::bad_alloc();
  fail(line.empty() ? what : what + ": " + line);
}

// Redirects standard error, where the image library's own libraries write; their important messages
// are also returned as errors.
class Silence {
public:
  Silence() : kept_(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
    const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (kept_ >= 0 && nowhere >= 0)
      ::dup2(nowhere, STDERR_FILENO);
    if (nowhere >= 0)
      ::close(nowhere);
  }
  ~Silence() {
    if (kept_ < 0)
      return;
    ::dup2(kept_, STDERR_FILENO);
    ::close(kept_);
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

private:
  int kept_;
};

TypeDesc typeOf(int bits) {
  return bits == 8 ? TypeDesc::UINT8 : bits == 16 ? TypeDesc::UINT16 : TypeDesc::FLOAT;
}

void setUp(int threads) {
  OIIO::attribute("threads", threads);
  OIIO::attribute("exr_threads", threads > 1 ? threads : -1); // -1: no threads of its own
  OIIO::attribute("debug", 0); // otherwise it writes to standard error
}

// ---- Reading

// Opens from memory if the format's reader can, otherwise by name.
struct Input {
  Filesystem::IOMemReader memory;
  TemporaryFile named;
  std::unique_ptr<ImageInput> reader;

  Input(const std::string& path, const Bytes& bytes) : memory(bytes.data(), bytes.size()) {
    const Format* known = formatOfBytes(bytes.data(), bytes.size());
    const bool stream = path == "-";
    const std::string usual = "stream." + std::string(known ? usualExtension(*known) : "bin");
    ImageSpec plain, fromMemory;
    plain["oiio:UnassociatedAlpha"] = fromMemory["oiio:UnassociatedAlpha"] = 1;
    void* proxy = &memory;
    fromMemory.attribute("oiio:ioproxy", TypeDesc::PTR, &proxy);
    // First by name: raw files have the signature of TIFF, and previews that the TIFF reader would
    // accept.
    reader = ImageInput::open(stream ? usual : path, &fromMemory);
    const std::string reason = OIIO::geterror();
    if (!reader)
      reader = ImageInput::open(stream ? named.create("bin", bytes) : path, &plain);
    if (!reader && known)
      reader = ImageInput::open(usual, &fromMemory);
    (void)OIIO::geterror(); // messages of the later attempts add nothing
    if (!reader && known)
      fail("broken " + std::string(known->name) + " file", reason);
    if (!reader)
      fail("not an image, or of a format that is not read");
  }
};

bool isFormat(const ImageInput& reader, const char* name) {
  return std::strcmp(reader.format_name(), name) == 0;
}

// The library silently converts other colour models to RGB. Byte 25 of the header has the colour
// model.
bool psdIsRgb(const ImageInput& reader, const Source& source) {
  constexpr size_t modelPlace = 25;
  constexpr uint8_t indexed = 2, rgb = 3;
  if (!isFormat(reader, "psd"))
    return true;
  const uint8_t model = source.bytes.size() > modelPlace ? source.bytes[modelPlace] : 0;
  return model == rgb || model == indexed;
}

// Colour models whose three channels are not red, green and blue.
void refuseOtherModels(const ImageInput& reader, const ImageSpec& spec, const Source& source) {
  constexpr int photometricSeparated = 5, photometricLab = 8; // of TIFF
  const int photometric = spec.get_int_attribute("tiff:PhotometricInterpretation", 2);
  const std::string space = spec.get_string_attribute("tiff:ColorSpace");
  const bool exr = isFormat(reader, "openexr");
  const bool named = spec.channelnames.size() > 2 && spec.channelnames[0].ends_with("R") &&
                     spec.channelnames[1].ends_with("G") && spec.channelnames[2].ends_with("B");
  if (isFormat(reader, "FFmpeg movie"))
    fail("a film, not a photograph");
  if (spec.deep || spec.depth > 1)
    fail("not a flat picture");
  if (spec.nchannels < 3 || (exr && !named) || photometric == photometricSeparated ||
      photometric == photometricLab || space == "CMYK" || !psdIsRgb(reader, source))
    fail(notRgb);
}

Bytes profileOf(const ImageSpec& spec) {
  const ParamValue* profile = spec.find_attribute("ICCProfile");
  if (!profile)
    return {};
  const auto* data = static_cast<const uint8_t*>(profile->data());
  return Bytes(data, data + profile->datasize());
}

MetadataBlocks blocksOf(ImageSpec spec) {
  MetadataBlocks blocks;
  std::vector<char> exif, iptc;
  std::erase_if(spec.extra_attribs, [](const ParamValue& p) { // the encoder crashes on these
    return p.type() == TypeDesc::STRING && p.get_ustring().empty();
  });
  encode_exif(spec, exif);
  encode_iptc_iim(spec, iptc);
  blocks.exif.assign(exif.begin(), exif.end());
  blocks.iptc.assign(iptc.begin(), iptc.end());
  blocks.xmp = encode_xmp(spec, true);
  blocks.icc = profileOf(spec);
  return blocks;
}

// The parts of a file's header that the encoder may need, packed: channel names, windows,
// attributes.
Bytes recordOf(const ImageSpec& spec) {
  Packer to;
  for (const int value : {spec.x, spec.y, spec.full_x, spec.full_y, spec.full_width,
                          spec.full_height, spec.nchannels})
    to.put(value);
  for (const std::string& name : spec.channelnames)
    to.putBlock(name);
  to.put(uint64_t(spec.extra_attribs.size()));
  for (const ParamValue& p : spec.extra_attribs) {
    const TypeDesc type = p.type();
    to.putBlock(p.name().string());
    for (const int value : {int(type.basetype), int(type.aggregate), int(type.vecsemantics)})
      to.put(value);
    const bool text = type.basetype == TypeDesc::STRING, one = type.numelements() == 1;
    if (text)
      to.putBlock(one ? p.get_string() : std::string());
    else if (type.basetype == TypeDesc::PTR)
      to.putBlock(Bytes());
    else
      to.putBlock(p.data(), size_t(p.datasize()));
  }
  return to.bytes();
}

// The type of an attribute that can be copied unchanged; otherwise unknown.
TypeDesc typeIn(Unpacker& from) {
  int kind[3];
  for (int& value : kind)
    value = from.get<int>();
  const auto [base, aggregate, semantics] = kind;
  if (base <= TypeDesc::NONE || base >= TypeDesc::LASTBASE || base == TypeDesc::PTR ||
      aggregate < TypeDesc::SCALAR || aggregate > TypeDesc::MATRIX44 || semantics < 0 ||
      semantics > TypeDesc::BOX)
    return {};
  return {TypeDesc::BASETYPE(base), TypeDesc::AGGREGATE(aggregate),
          TypeDesc::VECSEMANTICS(semantics)};
}

// Unpacks it into a new header. Omits arrays of strings, and pointers.
ImageSpec specIn(const Bytes& record) {
  constexpr int64_t farthest = 1 << 30; // OpenEXR's limit for a window's distance from the origin
  Unpacker from(record);
  ImageSpec spec;
  for (int* value : {&spec.x, &spec.y, &spec.full_x, &spec.full_y, &spec.full_width,
                     &spec.full_height, &spec.nchannels}) {
    *value = from.get<int>();
    if (std::abs(int64_t(*value)) > farthest)
      Unpacker::fail();
  }
  for (int i = 0; i < spec.nchannels; ++i)
    spec.channelnames.push_back(from.getBlock<std::string>());
  for (auto count = from.get<uint64_t>(); count > 0; --count) {
    const auto name = from.getBlock<std::string>();
    TypeDesc type = typeIn(from);
    const Bytes value = from.getBlock<Bytes>();
    if (value.empty() || type.size() == 0)
      continue;
    if (type.basetype == TypeDesc::STRING) {
      spec.attribute(name, std::string(value.begin(), value.end()));
      continue;
    }
    const size_t elements = value.size() / type.size();
    if (elements > 1)
      type.arraylen = int(elements);
    if (elements > 0)
      spec.attribute(name, type, value.data());
  }
  return spec;
}

// A thumbnail may come before the photograph. Returns the number of pictures; the layers of a PSD
// file do not count.
int seekLargest(ImageInput& reader) {
  constexpr int mostPictures = 100; // limit for the search
  int count = 1, largest = 0;
  imagesize_t pixels = reader.spec().image_pixels();
  for (; isFormat(reader, "tiff") && count < mostPictures && reader.seek_subimage(count, 0);
       ++count)
    if (reader.spec().image_pixels() > pixels) {
      pixels = reader.spec().image_pixels();
      largest = count;
    }
  (void)reader.geterror(); // there is no further picture
  if (!reader.seek_subimage(largest, 0))
    fail("truncated or damaged", reader.geterror());
  return count;
}

// Position of the pixels in a larger frame, and the meaning of the channels after the colours.
std::string openExrOnly(const ImageInput& reader, const ImageSpec& spec) {
  std::string words, names;
  if (!isFormat(reader, "openexr"))
    return words;
  if (spec.roi() != spec.roi_full())
    words = "the data window";
  for (size_t c = spec.alpha_channel == 3 ? 4 : 3; c < spec.channelnames.size(); ++c)
    names += (names.empty() ? " " : ", ") + spec.channelnames[c];
  if (!names.empty())
    words += (words.empty() ? "" : ", ") + ("the names of the channels" + names);
  return words;
}

// Notes what the file has but the library does not deliver.
void noteLosses(const ImageSpec& spec, const Source& source, Picture& picture) {
  constexpr int logLuv = 32845;                           // photometric interpretation of TIFF
  for (size_t c = 0; c < spec.channelformats.size(); ++c) // of OpenEXR
    if (spec.channelformats[c] == TypeDesc::UINT)
      picture.notes.push_back("the whole numbers of its channel " + spec.channelnames[c] +
                              " come as shares of their range");
  const HeifClaim heif = heifClaim(source.bytes);
  if (heif.alpha && spec.alpha_channel < 0)
    picture.notes.push_back("has transparency, which the decoder does not give");
  else if (heif.alpha && heif.turned)
    picture.notes.push_back("its transparency may lie otherwise than its colours, which the "
                            "decoder has turned");
  const int bits = std::max(heif.bits, spec.get_int_attribute("oiio:BitsPerSample"));
  if (spec.get_int_attribute("tiff:PhotometricInterpretation") == logLuv && picture.fileBits < 32)
    picture.notes.push_back("its range of light is larger than what the decoder gives");
  else if (bits > picture.fileBits)
    picture.notes.push_back("has " + std::to_string(bits) +
                            " bits a channel, of which the decoder "
                            "gives " +
                            std::to_string(picture.fileBits));
}

Picture read(const Source& source, int minimumBits, int threads, const Watch& watch) {
  const Silence silence;
  setUp(threads);
  Input input(source.path, source.bytes);
  ImageInput& reader = *input.reader;
  const int pictures = seekLargest(reader);
  const ImageSpec spec = reader.spec();
  refuseOtherModels(reader, spec, source);
  const int bytes = int(spec.format.basesize());
  const int fileBits = spec.format == TypeDesc::HALF ? 32 : bytes >= 4 ? 32 : bytes * 8;
  const bool alpha = spec.alpha_channel == 3 || // the GIF reader says 4
                     (isFormat(reader, "gif") && spec.nchannels == 4);
  const bool premultiplied =
      alpha && (isFormat(reader, "openexr") ||
                (isFormat(reader, "tiff") && !spec.get_int_attribute("oiio:UnassociatedAlpha")));
  // After division by a small alpha, whole numbers would keep only few levels.
  Picture picture{makeDocument(spec.width, spec.height, spec.nchannels, fileBits,
                               premultiplied ? 32 : minimumBits, alpha, watch)};
  picture.fileBits = fileBits;
  picture.half = spec.format == TypeDesc::HALF;
  picture.premultiplied = premultiplied;
  picture.upright = isFormat(reader, "raw") || isFormat(reader, "heif");
  picture.resolution = {spec.get_float_attribute("XResolution"),
                        spec.get_float_attribute("YResolution"),
                        spec.get_string_attribute("ResolutionUnit") == "cm"};
  picture.blocks = blocksOf(spec);
  picture.decoderRecord = recordOf(spec);
  picture.openExrOnly = openExrOnly(reader, spec);
  noteLosses(spec, source, picture);

  auto tell = [](void* data, float share) {
    const Watch& watch = *static_cast<const Watch*>(data);
    watch.progress(share);
    return watch.stopped();
  };
  const bool done =
      reader.read_image(reader.current_subimage(), 0, 0, spec.nchannels,
                        typeOf(picture.document.depth()), picture.document.row(0), AutoStride,
                        AutoStride, AutoStride, tell, const_cast<Watch*>(&watch));
  if (watch.stopped())
    throw Stopped();
  if (!done || reader.has_error())
    fail("truncated or damaged", reader.geterror());
  if (pictures > 1)
    picture.notes.push_back("holds several pictures; the largest one is used");
  else if (!isFormat(reader, "psd") && reader.seek_subimage(1, 0)) // in PSD they are layers
    picture.notes.push_back("holds several pictures; the first one is used");
  return picture;
}

// ---- Writing

// Header of the result: the decoder's record of the file if there is nothing else, without what
// describes the old file's storage and what the blocks repeat; then the blocks.
void carryAttributes(const Picture& picture, const MetadataBlocks& blocks, ImageSpec& spec) {
  constexpr const char* storage[] = {
      "oiio:",    "compression",   "planarconfig", "tiff:",  "png:",     "bmp:",  "ICCProfile",
      "raw:",     "webp:",         "jpeg2000:",    "targa:", "rational", "IPTC:", "Keywords",
      "openexr:", "textureformat", "dds:",         "tile",   "wrapmodes"};
  if (!picture.decoderRecord.empty()) {
    const ImageSpec source = specIn(picture.decoderRecord);
    for (const ParamValue& p : source.extra_attribs)
      if (std::none_of(std::begin(storage), std::end(storage),
                       [&](const char* prefix) { return Strutil::istarts_with(p.name(), prefix); }))
        spec.attribute(p.name(), p.type(), p.data());
    spec.x = source.x;
    spec.y = source.y;
    spec.full_x = source.full_x;
    spec.full_y = source.full_y;
    spec.full_width = source.full_width;
    spec.full_height = source.full_height;
  }
  if (!blocks.exif.empty())
    decode_exif(cspan<uint8_t>(blocks.exif.data(), blocks.exif.size()), spec);
  if (!blocks.iptc.empty())
    decode_iptc_iim(blocks.iptc.data(), int(blocks.iptc.size()), spec);
  if (!blocks.xmp.empty())
    decode_xmp(string_view(blocks.xmp), spec);
}

ImageSpec headerOf(const Picture& picture, const Encoding& encoding, const MetadataBlocks& blocks) {
  const host::Document& document = picture.document;
  const std::string codec = encoding.format->codec;
  ImageSpec spec(document.width(), document.height(), document.channels(),
                 encoding.half ? TypeDesc(TypeDesc::HALF) : typeOf(encoding.bits));
  if (encoding.format->metadata == Carrier::codec)
    carryAttributes(picture, blocks, spec);
  if (encoding.format->extraChannels && !picture.decoderRecord.empty())
    if (const ImageSpec source = specIn(picture.decoderRecord); source.nchannels == spec.nchannels)
      spec.channelnames = source.channelnames;
  spec.alpha_channel = document.hasTransparency() ? 3 : -1;
  if (document.hasTransparency() && !encoding.format->premultiplied)
    spec["oiio:UnassociatedAlpha"] = 1;
  if (codec == "png")
    spec["png:compressionLevel"] = 4; // a third of the time of 6, files a few percent larger
  else if (codec == "tiff" || codec == "openexr")
    spec["Compression"] = "zip";
  if (picture.resolution.x > 0) {
    spec["XResolution"] = float(picture.resolution.x);
    spec["YResolution"] = float(picture.resolution.y);
    spec["ResolutionUnit"] = picture.resolution.perCentimetre ? "cm" : "in";
    if (codec == "tiff") // otherwise its encoder makes both equal
      spec["PixelAspectRatio"] = float(picture.resolution.y / picture.resolution.x);
  }
  if (!blocks.icc.empty() && codec != "png") // Exiv2 writes it: the encoder fails for some
    spec.attribute("ICCProfile", TypeDesc(TypeDesc::UINT8, int(blocks.icc.size())),
                   blocks.icc.data());
  return spec;
}

void writeRows(ImageOutput& writer, const Picture& picture, const Encoding& encoding,
               const Watch& watch) {
  const host::Document& document = picture.document;
  const size_t rowSamples = size_t(document.width()) * size_t(document.channels());
  const bool asIs = document.depth() == encoding.bits;
  Bytes rows(asIs ? 0 : rowSamples * size_t(encoding.bits) / 8 * chunk);
  for (int32_t y = 0; y < document.height(); y += chunk) {
    if (watch.stopped())
      throw Stopped();
    const int32_t end = std::min(y + chunk, document.height());
    if (!asIs)
      narrow(document.row(y), rowSamples * size_t(end - y), document.depth(), encoding.bits,
             rows.data());
    const void* from = asIs ? static_cast<const void*>(document.row(y)) : rows.data();
    const int top = writer.spec().y;
    if (!writer.write_scanlines(top + y, top + end, 0, typeOf(encoding.bits), from))
      fail("cannot be encoded", writer.geterror());
    watch.progress(double(end) / document.height());
  }
}

Bytes encode(const Picture& picture, const Encoding& encoding, const MetadataBlocks& blocks,
             const Watch& watch) {
  const Silence silence;
  setUp(encoding.threads);
  // These outlive the writer, whose destructor writes the rest of a picture that was not finished.
  Bytes bytes;
  Filesystem::IOVecOutput memory(bytes);
  TemporaryFile file;
  const std::unique_ptr<ImageOutput> writer = ImageOutput::create(encoding.format->codec);
  if (!writer)
    fail(std::string(encoding.format->name) + " is not among the formats of this image library");
  const bool inMemory = writer->supports("ioproxy") && writer->set_ioproxy(&memory);
  std::string name = "result." + std::string(usualExtension(*encoding.format));
  if (!inMemory)
    name = file.create(usualExtension(*encoding.format));
  const ImageSpec spec = headerOf(picture, encoding, blocks);
  if (!writer->open(name, spec))
    fail("cannot be encoded", writer->geterror());
  writeRows(*writer, picture, encoding, watch);
  if (!writer->close())
    fail("cannot be encoded", writer->geterror());
  return inMemory ? std::move(bytes) : readWhole(name);
}

// ---- Checking

Shape check(const Bytes& file, int threads) {
  const Silence silence;
  setUp(threads);
  Input input("-", file);
  const ImageSpec spec = input.reader->spec();
  Bytes rows(spec.scanline_bytes(true) * chunk);
  for (int y = 0; y < spec.height; y += chunk) {
    const int end = std::min(y + chunk, spec.height);
    if (!input.reader->read_scanlines(0, 0, spec.y + y, spec.y + end, 0, 0, spec.nchannels,
                                      TypeDesc::UNKNOWN, rows.data()))
      fail("a row is damaged", input.reader->geterror());
  }
  return {spec.width, spec.height, int(spec.format.basesize()) * 8};
}

MetadataBlocks blocksIn(const Bytes& file) {
  const Silence silence;
  return blocksOf(Input("-", file).reader->spec());
}

} // namespace
} // namespace photo

extern "C" __attribute__((visibility("default"))) const photo::Codec fogdissolverLibraryCodec = {
    photo::read, photo::encode, photo::check, photo::blocksIn};
