// The size in a file's first bytes, which decides about memory and time before a decoder runs.

#include "apps/photo/Codecs.h"
#include "apps/photo/Formats.h"
#include "apps/photo/HeaderSize.h"
#include "fuzz/Target.h"

namespace fuzz {

void header(const photo::Bytes& bytes) {
  const int bits = photo::heifClaim(bytes).bits;
  promise(bits >= 0 && bits < 256, "bits are a byte");
  const photo::ClaimedSize size = photo::claimedSize(bytes);
  photo::formatOfBytes(bytes.data(), bytes.size());
  photo::refuseBeyondFilter(size.width, size.height);
  promise(size.width >= 0 && size.height >= 0 && size.width * size.height < int64_t(1) << 28,
          "a size that passes is one that the filter takes");
}

} // namespace fuzz
