// The process-wide variables through which every part of the plug-in reaches the host and its run.
//
// Only the host's thread writes them. While the core runs, its worker threads read them without a
// lock (and write *gResult, always with the same value).
#pragma once

#include <cstdint>
#include <cstdio>

#include "frame/contract/Parameters.h"
#include "frame/record/Data.h"
#include "hostapi/FilterRecord.h"

extern FilterRecord* gFilterRecord; // of the current call; an AboutRecord during the about selector
extern intptr_t* gDataSlot;       // the host's data word: the handle of Data, or 0 before it exists
extern int16_t* gResult;          // the host's result: 0 is success
extern SPBasicSuite* gBasicSuite; // null: a host without suites
extern Parameters* gParams;       // locked parameters handle; keeps its last value after unlocking
extern Data* gData;               // locked run record; keeps its last value after unlocking
extern int32_t gThreadCount;      // team size of every parallel region, read at the entry
extern int32_t gCoreCount;        // processors, for the trace only
extern void* gDllInstance;        // the module's own handle

// Debug trace, normally null. The module never opens, closes or assigns it: a host that wants the
// trace sets it through the dynamic symbol table.
extern "C" __attribute__((visibility("default"))) FILE* gLog;

// One line of the trace; the format ends with a newline. It has no other effect.
#define TRACE(...)                                                                                 \
  do {                                                                                             \
    if (gLog)                                                                                      \
      std::fprintf(gLog, __VA_ARGS__);                                                             \
  } while (false)

// Reads the team size of the host's current call (see Globals.cpp).
void ReadThreadCount();
