#include "apps/photo/Codecs.h"

#include <stdexcept>

#include <dlfcn.h>

#include "apps/photo/Formats.h"
#include "apps/photo/JpegCodec.h"

namespace photo {
namespace {

std::filesystem::path formatsFolder;

const LibraryCodec& libraryCodec() {
  static const LibraryCodec* codec = [] {
    const std::string file = (formatsFolder / "fogdissolver-formats.so").string();
    void* module = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    void* found = module ? dlsym(module, libraryCodecSymbol) : nullptr;
    if (!found)
      throw std::runtime_error(std::string("the module for image formats is missing: ") +
                               dlerror());
    return static_cast<const LibraryCodec*>(found);
  }();
  return *codec;
}

bool isJpeg(const Source& source) {
  const Format* format = formatOfBytes(source.bytes.data(), source.bytes.size());
  return format && format->codec[0] == '\0';
}

} // namespace

void setFormatsFolder(const std::filesystem::path& folder) { formatsFolder = folder; }

Picture readPicture(const Source& source, int minimumBits, int threads, const Watch& watch) {
  if (source.bytes.empty())
    throw std::runtime_error("the file is empty");
  return isJpeg(source) ? readJpeg(source, minimumBits, watch)
                        : libraryCodec().read(source, minimumBits, threads, watch);
}

Bytes encodePicture(const Picture& picture, const Encoding& encoding, const MetadataBlocks& blocks,
                    const Watch& watch) {
  return encoding.format->codec[0] == '\0'
             ? writeJpeg(picture, encoding, blocks.icc, watch)
             : libraryCodec().encode(picture, encoding, blocks, watch);
}

} // namespace photo
