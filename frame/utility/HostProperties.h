// Properties of the host and its front document, asked for by key through its property suite.
#pragma once

#include <cstddef>
#include <cstdint>
#include <variant>
#include <vector>

#include "hostapi/HostTypes.h"

// A number, or the bytes of anything larger, as the host lays them out.
using HostProperty = std::variant<intptr_t, std::vector<std::byte>>;

// Asks for one of the known properties; index: which of several channels, paths or layers, from 0.
// Gives 0 and the property, or errPlugInHostInsufficient (the host has no such property, or the key
// is not a known one) or memFullErr, and then leaves the property as it is. Throws int32 if a suite
// cannot be had (AcquireHostSuite).
HostResult GetHostProperty(FourCharCode key, int32_t index, HostProperty& property);
