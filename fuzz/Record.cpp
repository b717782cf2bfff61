// The decoder's record of a file's header, which the reader passes to the encoder.

#include <stdexcept>

#include "apps/photo/Codecs.h"
#include "apps/photo/Formats.h"
#include "fuzz/Target.h"

namespace fuzz {

void record(const photo::Bytes& bytes) {
  photo::setFormatsFolder(FOG_MODULE_FOLDER);
  photo::Picture picture{host::Document(8, 6, 4, 32, host::ColourMode::rgb, true)};
  std::fill_n(reinterpret_cast<float*>(picture.document.row(0)), 8 * 6 * 4, 0.5f);
  picture.decoderRecord = bytes;
  for (const char* extension : {"tif", "exr"}) {
    photo::Encoding encoding{photo::formatOfExtension(extension)};
    encoding.bits = 32;
    const photo::Bytes result = photo::encodePicture(picture, encoding, {}, {});
    photo::checkResult(result, picture, encoding);
  }
}

} // namespace fuzz
