#include "apps/photo/Codecs.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include <dlfcn.h>

#include "apps/photo/Formats.h"
#include "apps/photo/HeaderSize.h"
#include "apps/photo/JpegCodec.h"
#include "apps/photo/Room.h"
#include "apps/photo/WebpCodec.h"
#include "frame/contract/Limits.h"

namespace photo {
namespace {

std::filesystem::path folderOfFormats;

struct BuiltIn {
  std::string_view name;
  Codec codec;
};
constexpr BuiltIn builtIn[] = {
    {"jpeg", {readJpeg, writeJpeg, checkJpeg, nullptr}},
    {"webp", {readWebp, writeWebp, checkWebp, nullptr}},
};

const Codec& libraryCodec() {
  static const Codec* codec = [] {
    const std::string file = (folderOfFormats / "fogdissolver-formats.so").string();
    checkRoomForLibrary();
    void* module = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    void* found = module ? dlsym(module, libraryCodecSymbol) : nullptr;
    if (!found)
      throw std::runtime_error(std::string("the module for image formats is missing: ") +
                               dlerror());
    return static_cast<const Codec*>(found);
  }();
  return *codec;
}

const Codec& codecOf(const Format* format) {
  for (const BuiltIn& own : builtIn)
    if (format && own.name == format->codec)
      return own.codec;
  return libraryCodec();
}

} // namespace

void setFormatsFolder(const std::filesystem::path& folder) { folderOfFormats = folder; }
const std::filesystem::path& formatsFolder() { return folderOfFormats; }

void refuseBeyondFilter(int64_t width, int64_t height) {
  if (std::max(width, height) > longestSide)
    throw std::runtime_error("larger than " + std::to_string(longestSide) + " pixels a side");
  if (width * height > mostPixels)
    throw std::runtime_error("too large: the filter takes at most " + std::to_string(mostPixels) +
                             " pixels");
}

host::Document makeDocument(int64_t width, int64_t height, int channels, int bits, int minimumBits,
                            bool alpha, const Watch& watch) {
  refuseBeyondFilter(width, height);
  const int depth = std::max(bits, minimumBits) == 8 ? 8 : 32;
  watch.claimed({width, height, channels, depth, alpha});
  return host::Document(int32_t(width), int32_t(height), channels, depth, host::ColourMode::rgb,
                        alpha);
}

void loadCodecFor(const Source& source) {
  codecOf(formatOfBytes(source.bytes.data(), source.bytes.size()));
}

bool isBuiltIn(const Format& format) {
  return std::any_of(std::begin(builtIn), std::end(builtIn),
                     [&](const BuiltIn& own) { return own.name == format.codec; });
}

Picture readPicture(const Source& source, int minimumBits, int threads, const Watch& watch) {
  if (source.bytes.empty())
    throw std::runtime_error("the file is empty");
  const ClaimedSize claim = claimedSize(source.bytes);
  refuseBeyondFilter(claim.width, claim.height);
  const Format* format = formatOfBytes(source.bytes.data(), source.bytes.size());
  return codecOf(format).read(source, minimumBits, threads, watch);
}

Bytes encodePicture(const Picture& picture, const Encoding& encoding, const MetadataBlocks& blocks,
                    const Watch& watch) {
  return codecOf(encoding.format).encode(picture, encoding, blocks, watch);
}

MetadataBlocks blocksOfResult(const Bytes& file, const Format& format) {
  return codecOf(&format).blocks(file);
}

void checkResult(const Bytes& file, const Picture& picture, const Encoding& encoding) {
  const host::Document& document = picture.document;
  const Shape meant{document.width(), document.height(), encoding.half ? 16 : encoding.bits};
  std::string reason = "it has another size or depth";
  try {
    if (codecOf(encoding.format).check(file, encoding.threads) == meant)
      return;
  } catch (const std::runtime_error& error) {
    reason = error.what();
  }
  throw BrokenResult("nothing is written: the result could not be read again: " + reason);
}

} // namespace photo
