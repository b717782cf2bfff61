// A file of any kind on its whole road but for the filter: read by a process of its own, written in
// one of the formats, read again. What breaks the decoder costs its process only.

#include <stdexcept>
#include <string>

#include "apps/photo/Codecs.h"
#include "apps/photo/Samples.h"
#include "apps/shared/Develop.h"
#include "fuzz/Target.h"

namespace fuzz {

void photograph(const photo::Bytes& bytes) {
  constexpr const char* extensions[] = {"tif", "jpg", "png", "exr", "webp", "jp2", "hdr"};
  photo::setFormatsFolder(FOG_MODULE_FOLDER);
  shared::Loaded loaded = photo::readApart({"-", bytes}, 8, 1, smallPicturesOnly());
  if (loaded.picture.premultiplied)
    photo::divideByAlpha(loaded.picture.document);
  const char* extension = extensions[bytes.size() % std::size(extensions)];
  const photo::Encoding encoding =
      shared::encodingFor(*photo::formatOfExtension(extension), {}, loaded.picture);
  try {
    shared::encode(loaded.picture, loaded.metadata, encoding, {});
  } catch (const std::runtime_error& error) {
    promise(false, (std::string("what was read can be written: ") + error.what()).c_str());
  }
}

} // namespace fuzz
