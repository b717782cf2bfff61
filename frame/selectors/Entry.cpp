// The entry of the module and the selectors start, continue and finish.
//
// The host calls on one thread, one selector at a time; no thread of the plug-in outlives a call.
#include <exception>

#include "frame/record/Globals.h"
#include "frame/record/Handles.h"
#include "frame/record/Memory.h"
#include "frame/record/Rects.h"
#include "frame/selectors/Persistence.h"
#include "frame/selectors/Selectors.h"
#include "primitives/base/HeapBlock.h"
#include "ui/dialog/AboutBox.h"
#include "ui/dialog/MainDialog.h"
#include "ui/preview/Proxy.h"

namespace {

void enterCall(int16_t selector, FilterRecord* record, intptr_t* data, int16_t* result) {
  gFilterRecord = record;
  gDataSlot = data;
  gResult = result;
  if (selector == filterSelectorAbout) {
    gBasicSuite = reinterpret_cast<AboutRecord*>(record)->sSPBasic;
    return;
  }
  gBasicSuite = record->sSPBasic;
  if (record->bigDocumentData)
    record->bigDocumentData->PluginUsing32BitCoordinates = 1;
}

// False: the user cancelled.
bool serveStart() {
  // The handles are not locked yet; gData is still the address from the prepare selector's lock.
  if (gData)
    gData->memoryPeak = gData->memoryInUse = 0;
  TRACE("%s :: %d threads, %d cores\n", "PluginMain_core", gThreadCount, gCoreCount);
  return DoStart();
}

// True if this run needs no further selector.
bool serve(int16_t selector) {
  switch (selector) {
  case filterSelectorAbout:
    DoAbout();
    TRACE("%s :: do about done, return\n", "PluginMain_core");
    return true;
  case filterSelectorParameters:
    TRACE("%s :: DoParameters\n", "PluginMain_core");
    DoParameters();
    return false;
  case filterSelectorPrepare:
    TRACE("%s :: DoPrepare\n", "PluginMain_core");
    DoPrepare();
    return false;
  case filterSelectorStart:
    return !serveStart();
  case filterSelectorContinue:
    TRACE("%s :: DoContinue\n", "PluginMain_core");
    DoContinue();
    return false;
  case filterSelectorFinish:
    TRACE("%s :: DoFinish\n", "PluginMain_core");
    DoFinish();
    return true;
  default:
    return false;
  }
}

void unlockHandles() {
  const HandleProcs* procs = gFilterRecord->handleProcs;
  if (*gDataSlot != 0)
    procs->unlockProc(reinterpret_cast<Handle>(*gDataSlot));
  if (gFilterRecord->parameters)
    procs->unlockProc(gFilterRecord->parameters);
}

void deleteMap(float*& map) {
  freeHeap(map);
  map = nullptr;
}

// Deletes the run's two haze maps on every way out of the start selector. After an exception it
// also deletes the proxy, because the next dialog would otherwise keep it at its old size.
struct RunGuard {
  Data* data;
  int exceptionsBefore = std::uncaught_exceptions();
  ~RunGuard() {
    deleteMap(data->filterHazeMap);
    deleteMap(data->proxyHazeMap);
    if (std::uncaught_exceptions() > exceptionsBefore)
      DeleteProxyBuffer();
  }
};

} // namespace

void PluginMain_core(int16_t selector, FilterRecord* record, intptr_t* data, int16_t* result,
                     uint8_t* runEnded) {
  *runEnded = 0;
  enterCall(selector, record, data, result);
  TRACE("%s (%d) sizeof(void*) %d - sizeof(size_t) %d - sizeof(Data) %d - sizeof(int32) %d\n",
        "PluginMain_core", __LINE__, int(sizeof(void*)), int(sizeof(size_t)), int(sizeof(Data)),
        int(sizeof(int32_t)));
  ReadThreadCount();
  *runEnded = serve(selector) ? 1 : 0;
  if (selector != filterSelectorAbout)
    unlockHandles();
}

bool DoStart() {
  TRACE("%s :: depth: %ld bits, %d planes\n", "DoStart", long(gFilterRecord->depth),
        gFilterRecord->planes);
  if (!LockHandles())
    return true; // nothing to run on; *gResult has the reason
  gFilterRecord->wantsAbsolute = 1;
  const RunGuard guard{gData};

  ReadRegistryParameters();
  const int32_t outputMapAtEntry = gParams->outputMap != 0;
  gParams->displayMap = outputMapAtEntry;

  uint8_t displayDialog = 0;
  const int16_t scriptCode = int16_t(ReadScriptParameters(&displayDialog));
  bool proceed = true;
  if (scriptCode == noErr && displayDialog) {
    proceed = DoUI();
    if (*gResult != noErr)
      return false;
  }

  gData->queryForParameters = 0;
  if (proceed) {
    DoFilter();
  } else {
    gParams->outputMap = outputMapAtEntry;
    *gResult = userCanceledErr;
  }
  WriteRegistryParameters();

  TRACE("%s :: free allocated memory\n", "DoStart");
  DeleteProxyBuffer();
  return proceed;
}

void DoContinue() {
  TRACE("%s :: enter\n", "DoContinue");
  SetInRect(0, 0, 0, 0);
  SetOutRect(0, 0, 0, 0);
  SetMaskRect(0, 0, 0, 0);
}

void DoFinish() {
  TRACE("%s :: enter\n", "DoFinish");
  if (!LockHandles())
    return;
  WriteScriptParameters();
  for (float& channel : gData->light)
    channel = 0.0f;
  TraceMemory("DoFinish", __LINE__);
}
