// Messages for users about the interface's result codes.
#pragma once

#include <string>

#include "hostapi/HostTypes.h"

namespace host {

// Sentences without a capital and a full stop, to follow a file's name; empty for 0.
std::string messageFor(HostResult code);

// For a filter that returned without an error, but before its last step.
extern const char unfinishedMessage[];

} // namespace host
