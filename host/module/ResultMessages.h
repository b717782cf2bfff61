// What a result code of the interface means, for people.
#pragma once

#include <string>

#include "hostapi/HostTypes.h"

namespace host {

// One sentence without a capital and a full stop, to stand behind a file's name; empty for 0.
std::string messageFor(HostResult code);

} // namespace host
