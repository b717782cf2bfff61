// XMP packets in pieces: reading them from any JPEG file, and writing them into one.

#include <string>

#include "apps/photo/ExtendedXmp.h"
#include "fuzz/Target.h"

namespace fuzz {

void longXmp(const photo::Bytes& bytes) {
  promise(photo::longXmpOf(bytes).size() <= bytes.size(), "a packet is a part of its file");
  const std::string packet(bytes.begin(), bytes.end());
  const photo::Bytes plain = {0xff, 0xd8, 0xff, 0xe0, 0, 2, 0xff, 0xd9};
  promise(photo::longXmpOf(photo::withLongXmp(plain, packet)) == packet, "a packet comes back");
  if (bytes.size() < 2)
    return;
  const photo::Bytes more = photo::withLongXmp(bytes, packet);
  promise(more.size() > bytes.size() + packet.size(), "nothing is taken out");
}

} // namespace fuzz
