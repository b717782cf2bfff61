// A module that ends its process: with an abort, like a faulty filter, and for a picture 40 pixels
// wide with an exit, like some libraries.

#include <cstdlib>

#include "hostapi/FilterRecord.h"

extern "C" __attribute__((visibility("default"))) void
PluginMain_core(int16_t, FilterRecord* record, intptr_t*, int16_t*, uint8_t*) {
  if (record->filterRect.right == 40)
    std::_Exit(17);
  std::abort();
}
