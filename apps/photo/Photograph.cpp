#include "apps/photo/Photograph.h"

#include <cmath>

namespace photo {

void pack(const Photograph& photograph, Packer& to) {
  const Picture& picture = photograph.picture;
  const host::Document& document = picture.document;
  for (const int32_t value : {document.width(), document.height(), document.channels(),
                              document.depth(), int32_t(document.hasTransparency())})
    to.put(value);
  to.put(uint64_t(reinterpret_cast<uintptr_t>(document.row(0))));
  to.put(picture.fileBits);
  for (const bool flag : {picture.half, picture.premultiplied, picture.upright})
    to.put(flag);
  to.put(picture.resolution.x);
  to.put(picture.resolution.y);
  to.put(picture.resolution.perCentimetre);
  to.putBlock(picture.decoderRecord);
  to.put(uint64_t(picture.notes.size()));
  for (const std::string& note : picture.notes)
    to.putBlock(note);
  pack(photograph.metadata, to);
  to.putBlock(photograph.unconfined);
}

namespace {

host::Document documentIn(Unpacker& from, const Claim& claim, const FetchDocument& fetch) {
  int32_t values[5];
  for (int32_t& value : values)
    value = from.get<int32_t>();
  const auto [width, height, channels, depth, alpha] = values;
  if (width != claim.width || height != claim.height || channels != claim.channels ||
      depth != claim.depth || alpha != int32_t(claim.alpha))
    Unpacker::fail();
  return fetch(from.get<uint64_t>());
}

double finiteIn(Unpacker& from) {
  const auto value = from.get<double>();
  return std::isfinite(value) ? value : 0.0;
}

} // namespace

Photograph unpackPhotograph(Unpacker& from, const Claim& claim, const FetchDocument& fetch) {
  Photograph photograph{Picture{documentIn(from, claim, fetch)}, {}, {}};
  Picture& picture = photograph.picture;
  picture.fileBits = from.get<int>();
  if (picture.fileBits != 8 && picture.fileBits != 16 && picture.fileBits != 32)
    Unpacker::fail();
  for (bool* flag : {&picture.half, &picture.premultiplied, &picture.upright})
    *flag = from.get<uint8_t>() != 0;
  if (picture.premultiplied && picture.document.depth() != 32)
    Unpacker::fail();
  picture.resolution.x = finiteIn(from);
  picture.resolution.y = finiteIn(from);
  picture.resolution.perCentimetre = from.get<uint8_t>() != 0;
  picture.decoderRecord = from.getBlock<Bytes>();
  for (auto count = from.get<uint64_t>(); count > 0; --count)
    picture.notes.push_back(from.getBlock<std::string>());
  photograph.metadata = unpackMetadata(from);
  photograph.unconfined = from.getBlock<std::string>();
  return photograph;
}

} // namespace photo
