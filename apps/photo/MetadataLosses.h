// Compares the metadata of a photograph with that of its result, and puts losses into words.
#pragma once

#include <string>

#include "apps/photo/MetadataState.h"

namespace photo {

// The phrase for what the result does not have, such as "Exif (MakerNote), the comment"; empty:
// nothing. A kind of which the result has nothing is named without its entries.
std::string missing(const Metadata::State& photograph, const Metadata::State& result);

// A sentence about damaged kinds; or empty.
std::string damagePhrase(uint8_t damage);

bool isBlank(const Exiv2::Exifdatum& datum); // nothing, or a text without letters

} // namespace photo
