// Metadata from any file: through the message between two processes, then converted for a result,
// and into results of each format that Exiv2 writes.

#include <map>
#include <string>

#include "apps/photo/Codecs.h"
#include "apps/photo/Metadata.h"
#include "fuzz/Target.h"

namespace fuzz {
namespace {

photo::Picture smallPicture() {
  photo::Picture picture{host::Document(40, 32, 3, 8)};
  std::fill_n(picture.document.row(0), 40 * 32 * 3, std::byte(99));
  return picture;
}

// A result without metadata in each of the formats.
const std::map<const photo::Format*, photo::Bytes>& results() {
  static const std::map<const photo::Format*, photo::Bytes> made = [] {
    photo::setFormatsFolder(FOG_MODULE_FOLDER);
    std::map<const photo::Format*, photo::Bytes> files;
    for (const char* extension : {"jpg", "png", "tif", "jp2"}) {
      const photo::Encoding encoding{photo::formatOfExtension(extension)};
      files[encoding.format] = photo::encodePicture(smallPicture(), encoding, {}, {});
    }
    return files;
  }();
  return made;
}

} // namespace

void metadata(const photo::Bytes& bytes) {
  photo::Picture picture = smallPicture();
  const photo::Metadata read = photo::readMetadata(bytes, picture);
  photo::Packer packed, again;
  photo::pack(read, packed);
  photo::Unpacker from(packed.bytes());
  photo::Metadata metadata = photo::unpackMetadata(from);
  photo::pack(metadata, again);
  promise(packed.bytes() == again.bytes(), "metadata passes between two processes as it is");
  photo::adaptToResult(metadata, picture, "Program");
  const int orientation = photo::orientationOf(metadata);
  promise(orientation >= 1 && orientation <= 8, "there are eight orientations");
  photo::blocksOf(metadata);
  for (const auto& [format, plain] : results()) {
    const photo::Bytes result = photo::withMetadata(plain, metadata, *format);
    if (photo::leftBehind(metadata, *format).empty())
      promise(photo::orientationOf(photo::readMetadata(result, picture)) == orientation,
              "what does not stay behind is in the result");
  }
}

} // namespace fuzz
