// A module that takes its process down, as a filter with a fault would.

#include <cstdlib>

#include "hostapi/FilterRecord.h"

extern "C" __attribute__((visibility("default"))) void
PluginMain_core(int16_t, FilterRecord*, intptr_t*, int16_t*, uint8_t*) {
  std::abort();
}
