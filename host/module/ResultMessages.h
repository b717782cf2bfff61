// What a result code of the interface means, for people.
#pragma once

#include <string>

#include "hostapi/HostTypes.h"

namespace host {

// Sentences without a capital and a full stop, to follow a file's name; empty for 0.
std::string messageFor(HostResult code);

// Of a filter that returned without an error, but short of its last step.
extern const char unfinishedMessage[];

} // namespace host
