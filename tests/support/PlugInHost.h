// A host for module code that a test links in: the real host library behind the plug-in's globals.
//
// host::SessionOptions selects failures (failAllocation, maxSpace, suites, wideRects, abort); the
// stores of `host` count what was taken, released and refused. One object at a time.
#pragma once

#include <gmock/gmock.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

#include "frame/record/Globals.h"
#include "frame/record/Handles.h"
#include "host/session/Host.h"
#include "primitives/base/HeapBlock.h"

namespace fixture {

class PlugInHost {
public:
  // With handles (the default) both exist, are locked and hold the defaults, as after selector 1.
  explicit PlugInHost(host::Document& document, host::SessionOptions options = {},
                      bool handles = true)
      : host(document, std::move(options)), current_(host) {
    EXPECT_TRUE(current_.acquired());
    host.prepareRecord();
    gFilterRecord = &host.record;
    gDataSlot = &data;
    gResult = &result;
    gBasicSuite = host.record.sSPBasic;
    gThreadCount = 1;
    if (handles) {
      CreateMissingHandles();
      if (result == noErr && LockHandles()) {
        InitParameters();
        InitData();
      }
    }
  }
  ~PlugInHost() {
    stopTrace();
    if (gData) {
      freeHeap(gData->filterHazeMap);
      freeHeap(gData->proxyHazeMap);
    }
    gFilterRecord = nullptr;
    gDataSlot = nullptr;
    gResult = nullptr;
    gBasicSuite = nullptr;
    gParams = nullptr;
    gData = nullptr;
    gThreadCount = 1;
  }
  PlugInHost(const PlugInHost&) = delete;

  void startTrace() { gLog = open_memstream(&traceText_, &traceLength_); }
  std::string stopTrace() {
    if (!gLog)
      return {};
    std::fclose(std::exchange(gLog, nullptr));
    std::string text(traceText_, traceLength_);
    std::free(std::exchange(traceText_, nullptr));
    return text;
  }

  host::Host host;
  intptr_t data = 0; // the plug-in's word
  int16_t result = 0;

private:
  host::CurrentHost current_;
  char* traceText_ = nullptr;
  size_t traceLength_ = 0;
};

} // namespace fixture
