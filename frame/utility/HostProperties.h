// Properties of the host and its front document, by key, from the host's property suite.
#pragma once

#include <cstddef>
#include <cstdint>
#include <variant>
#include <vector>

#include "hostapi/HostTypes.h"

// A number, or larger data as bytes in the host's layout.
using HostProperty = std::variant<intptr_t, std::vector<std::byte>>;

// Asks for one of the known properties; index: which of several channels, paths or layers, from 0.
// Returns 0 and sets the property. Otherwise leaves the property unchanged and returns
// errPlugInHostInsufficient (unknown key, or the host has no such property) or memFullErr. Throws
// int32 if a suite is not available (AcquireHostSuite).
HostResult GetHostProperty(FourCharCode key, int32_t index, HostProperty& property);
