// The entry and its selectors. Entry.cpp has the entry, start, continue and finish; Prepare.cpp has
// parameters and prepare; DoFilter.cpp has the filtering run inside start. They take no arguments:
// they reach the host through the globals and report in *gResult.
#pragma once

#include <cstdint>

#include "hostapi/FilterRecord.h"

extern "C" __attribute__((visibility("default"))) void
PluginMain_core(int16_t selector, FilterRecord* record, intptr_t* data, int16_t* result,
                uint8_t* runEnded);

void DoParameters();
void DoPrepare();
bool DoStart(); // false: the user cancelled
void DoContinue();
void DoFinish();
void DoFilter();
