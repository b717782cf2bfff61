// Storage of the process-wide variables, and the code that reads the team size.
#include "frame/record/Globals.h"

#include <omp.h>

FilterRecord* gFilterRecord = nullptr;
intptr_t* gDataSlot = nullptr;
int16_t* gResult = nullptr;
SPBasicSuite* gBasicSuite = nullptr;
Parameters* gParams = nullptr;
Data* gData = nullptr;
int32_t gThreadCount = 1;
int32_t gCoreCount = 1;
void* gDllInstance = nullptr;
FILE* gLog = nullptr;

// A host that calls from outside any parallel region gets a team of one. A host that calls from
// inside a region of N threads, with two active levels allowed, gets teams of N.
void ReadThreadCount() {
  gThreadCount = omp_get_num_threads();
  gCoreCount = omp_get_num_procs();
}
