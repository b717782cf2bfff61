// Creates, locks and initialises the two handles behind gParams and gData.
#include "frame/record/Handles.h"

#include "frame/record/Globals.h"

void CreateDataHandle() {
  const Handle handle = gFilterRecord->handleProcs->newProc(sizeof(Data));
  if (handle)
    *gDataSlot = reinterpret_cast<intptr_t>(handle);
  else
    *gResult = memFullErr;
  ReadThreadCount();
}

bool LockHandles() {
  if (!gFilterRecord->parameters || *gDataSlot == 0) {
    *gResult = filterBadParameters;
    return false;
  }
  const HandleProcs* procs = gFilterRecord->handleProcs;
  gParams = static_cast<Parameters*>(procs->lockProc(gFilterRecord->parameters, 1));
  gData = static_cast<Data*>(procs->lockProc(reinterpret_cast<Handle>(*gDataSlot), 1));
  if (gParams && gData)
    return true;
  *gResult = memFullErr;
  return false;
}

// Sets everything except displayMap, which the start selector sets.
void InitParameters() {
  const int32_t displayMap = gParams->displayMap;
  *gParams = defaultParameters;
  gParams->displayMap = displayMap;
}

// Sets everything except the two memory counters, which the start selector zeroes.
void InitData() {
  const int32_t memoryInUse = gData->memoryInUse, memoryPeak = gData->memoryPeak;
  *gData = Data{};
  gData->queryForParameters = 1;
  gData->scaleFactor = 1.0f;
  gData->memoryInUse = memoryInUse;
  gData->memoryPeak = memoryPeak;
}

void CreateMissingHandles() {
  if (!gFilterRecord->parameters) {
    gFilterRecord->parameters = gFilterRecord->handleProcs->newProc(sizeof(Parameters));
    if (!gFilterRecord->parameters)
      *gResult = memFullErr;
  }
  if (*gDataSlot == 0)
    CreateDataHandle();
}
