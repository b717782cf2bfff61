// Which host is running, by the name and version of the running program.
#pragma once

#include <cstdint>
#include <string_view>

#include "hostapi/HostTypes.h"

// Version of the running host if it is the one asked for, or of the same group: major, minor and
// revision in four bits each, above 16 bits for the release stage. 0 if it is another one, or
// unknown. The program is looked at once.
uint32_t HostVersion(FourCharCode signature);

// The rules behind it.
FourCharCode HostSignature(std::string_view internalName); // 0: not a known host
bool SameHostGroup(FourCharCode a, FourCharCode b);
uint32_t PackVersion(std::string_view fileVersion); // "major.minor.revision.stage"; missing is 0
