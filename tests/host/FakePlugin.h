// What a test and the fake module share.
#pragma once

#include "hostapi/FilterRecord.h"

constexpr int fakeReturns = 0, fakeThrowsOwnType = 1;

// Serves a selector; the result says how the entry leaves.
using FakeHandler = int (*)(void* context, int16_t selector, FilterRecord* record, intptr_t* data,
                            int16_t* result);
