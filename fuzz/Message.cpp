// The answer of a reader process that a hostile file controls: the program parses it, and makes a
// result from it.

#include <algorithm>

#include "apps/photo/Photograph.h"
#include "apps/photo/Samples.h"
#include "apps/shared/Develop.h"
#include "fuzz/Target.h"

namespace fuzz {

void message(const photo::Bytes& bytes) {
  constexpr photo::Claim claims[] = {{8, 6, 3, 8, false}, {8, 6, 4, 32, true}};
  const photo::Claim& claim = claims[!bytes.empty() && bytes[0] % 2];
  const photo::Bytes rest(bytes.begin() + !bytes.empty(), bytes.end());
  photo::Unpacker from(rest);
  photo::Photograph photograph = photo::unpackPhotograph(from, claim, [&claim](uint64_t) {
    host::Document document(int32_t(claim.width), int32_t(claim.height), claim.channels,
                            claim.depth, host::ColourMode::rgb, claim.alpha);
    std::fill_n(document.row(0), document.rowBytes() * size_t(document.height()), std::byte(1));
    return document;
  });
  if (photograph.picture.premultiplied)
    photo::divideByAlpha(photograph.picture.document);
  const photo::Format& format = *photo::formatOfExtension(claim.channels == 3 ? "jpg" : "webp");
  const photo::Encoding encoding = shared::encodingFor(format, {.bits = 8}, photograph.picture);
  shared::encode(photograph.picture, photograph.metadata, encoding, {});
}

} // namespace fuzz
