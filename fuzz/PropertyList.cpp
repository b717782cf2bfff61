// A module's property list, and its answers about documents.

#include "host/module/PropertyList.h"
#include "fuzz/Target.h"

namespace fuzz {

void propertyList(const photo::Bytes& bytes) {
  const host::PropertyList list = host::readPropertyList(std::as_bytes(std::span(bytes)));
  static const host::Document documents[] = {
      {4, 3, 3, 8, host::ColourMode::rgb},
      {4, 3, 5, 32, host::ColourMode::cmyk, true},
      {4, 3, 1, 16, host::ColourMode::grayscale},
      {4, 3, 2, 32, host::ColourMode::multichannel},
  };
  for (const host::Document& document : documents)
    host::refusalReason(list, document);
}

} // namespace fuzz
