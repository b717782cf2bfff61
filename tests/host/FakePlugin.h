// Shared by the tests and the fake module.
#pragma once

#include "hostapi/FilterRecord.h"

// Serves a selector. True: the entry throws a type that only the module knows.
using FakeHandler = bool (*)(void* context, int16_t selector, FilterRecord* record,
                             int16_t* result);
