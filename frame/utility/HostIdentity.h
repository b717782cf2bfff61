// Identifies the running host by the name and version of the running program.
#pragma once

#include <cstdint>
#include <string_view>

#include "hostapi/HostTypes.h"

// Version of the running host if its signature is the given one or belongs to the same group:
// major, minor and revision in four bits each, above 16 bits for the release stage. 0 for another
// or an unknown host. Examines the program only once.
uint32_t HostVersion(FourCharCode signature);

// The rules that it uses.
FourCharCode HostSignature(std::string_view internalName); // 0: not a known host
bool SameHostGroup(FourCharCode a, FourCharCode b);
uint32_t PackVersion(std::string_view fileVersion); // "major.minor.revision.stage"; missing: 0
