// JPEG and WebP, whose codecs are in the program: what they read, at both depths, they must be able
// to write and read again.

#include <stdexcept>

#include "apps/photo/Codecs.h"
#include "apps/photo/Formats.h"
#include "apps/photo/JpegCodec.h"
#include "apps/photo/WebpCodec.h"
#include "fuzz/Target.h"

namespace fuzz {
namespace {

void check(photo::Shape decode(const photo::Bytes&, int), const photo::Bytes& bytes) {
  try {
    decode(bytes, 1);
  } catch (const std::runtime_error&) { // most inputs are refused; the caller limits the size
  }
}

void roundTrip(const photo::Codec& codec, const char* extension, const photo::Bytes& bytes) {
  for (const int bits : {8, 32}) {
    photo::Picture picture = codec.read({extension, bytes}, bits, 1, smallPicturesOnly());
    photo::Encoding encoding{photo::formatOfExtension(extension)};
    if (!photo::whyNotHeld(*encoding.format, picture, encoding.bits).empty())
      continue;
    const photo::Bytes again = codec.encode(picture, encoding, picture.blocks, {});
    promise(codec.check(again, 1) ==
                photo::Shape{picture.document.width(), picture.document.height(), 8},
            "a result has the size and the depth of its picture");
  }
  check(codec.check, bytes);
}

} // namespace

void jpeg(const photo::Bytes& bytes) {
  roundTrip({photo::readJpeg, photo::writeJpeg, photo::checkJpeg}, "jpg", bytes);
}

void webp(const photo::Bytes& bytes) {
  roundTrip({photo::readWebp, photo::writeWebp, photo::checkWebp}, "webp", bytes);
}

} // namespace fuzz
