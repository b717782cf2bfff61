// What a test and the fake module share: the names and types of what the module exports.
#pragma once

#include <cstddef>

#include "hostapi/FilterRecord.h"

// Serves a selector. True: the entry throws a type that only the module knows.
using FakeHandler = bool (*)(void* context, int16_t selector, FilterRecord* record, intptr_t* data,
                             int16_t* result);

constexpr size_t fakeListBytes = 400; // of the property list, which a test fills in
