// A module that takes its process down: by an abort, as a filter with a fault would, and for a
// picture 40 wide by an exit, as some libraries do.

#include <cstdlib>

#include "hostapi/FilterRecord.h"

extern "C" __attribute__((visibility("default"))) void
PluginMain_core(int16_t, FilterRecord* record, intptr_t*, int16_t*, uint8_t*) {
  if (record->filterRect.right == 40)
    std::_Exit(17);
  std::abort();
}
