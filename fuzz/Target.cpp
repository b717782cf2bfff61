#include "fuzz/Target.h"

#include <cstdio>
#include <cstdlib>
#include <new>
#include <stdexcept>

namespace fuzz {
namespace {

constexpr Target all[] = {
    {"header", header},     {"jpeg", jpeg},
    {"webp", webp},         {"long-xmp", longXmp},
    {"metadata", metadata}, {"message", message},
    {"record", record},     {"photograph", photograph},
    {"settings", settings}, {"property-list", propertyList},
    {"registry", registry}, {"descriptor", descriptor},
};

constexpr int64_t mostPixels = 4096; // limit for a small picture

} // namespace

std::span<const Target> targets() { return all; }

bool accepts(const Target& target, const photo::Bytes& bytes) {
  try {
    target.run(bytes);
    return true;
  } catch (const std::runtime_error& refusal) {
    promise(*refusal.what() != '\0', "a refusal says why");
  } catch (const std::bad_alloc&) {
  }
  return false;
}

void promise(bool kept, const char* words) {
  if (kept)
    return;
  std::fprintf(stderr, "broken promise: %s\n", words);
  std::abort();
}

photo::Watch smallPicturesOnly() {
  photo::Watch watch;
  watch.claimed = [](const photo::Claim& claim) {
    if (claim.width * claim.height > mostPixels || claim.channels > 64)
      throw std::runtime_error("larger than what is tried here");
  };
  return watch;
}

} // namespace fuzz
