// The core's test host with handles, scripting and suites: what the frame needs beside buffers.
#pragma once

#include <set>
#include <utility>

#include "frame/selectors/Selectors.h"
#include "tests/haze/CoreFixture.h"

class FrameTest : public CoreTest {
protected:
  // What a test sets.
  int failNew = 0; // k > 0: the k-th new handle fails
  bool failLock = false;
  int32_t spaceLeft = 0x7fffffff;
  int16_t advanceResult = 0;

  // What it reads.
  struct HandleBlock {
    std::vector<char> bytes;
    int locks = 0;
  };
  std::set<HandleBlock*> handles;
  int advances = 0, misuses = 0;
  uint8_t runEnded = 0;

  HandleProcs handleProcs = {1,       8,          newHandle,    dispose, nullptr,
                             nullptr, lockHandle, unlockHandle, {}};

  FrameTest() {
    self = this;
    record.handleProcs = &handleProcs;
    record.advanceState = advance;
    bufferProcs.spaceProc = [] { return self->spaceLeft; };
    record.progressProc = [](int32_t, int32_t) {};
    gParams = nullptr;
    gData = nullptr;
  }
  ~FrameTest() override {
    stopTrace();
    forgetHandles();
    EXPECT_EQ(misuses, 0);
    self = nullptr;
  }

  // One call of the entry, from a result of 0 unless the test set another.
  int16_t call(int16_t selector) {
    if (selector >= filterSelectorAbout && selector <= filterSelectorFinish)
      result = 0;
    PluginMain_core(selector, &record, &dataSlot, &result, &runEnded);
    return result;
  }

  static HandleBlock* blockOf(Handle handle) { return reinterpret_cast<HandleBlock*>(handle); }
  Parameters& parametersBlock() {
    return *reinterpret_cast<Parameters*>(blockOf(record.parameters)->bytes.data());
  }
  Data& dataBlock() {
    return *reinterpret_cast<Data*>(blockOf(reinterpret_cast<Handle>(dataSlot))->bytes.data());
  }
  bool nothingLocked() const {
    for (const HandleBlock* block : handles)
      if (block->locks != 0)
        return false;
    return true;
  }
  void forgetHandles() {
    for (HandleBlock* block : handles)
      delete block;
    handles.clear();
    record.parameters = nullptr;
    dataSlot = 0;
    made = 0;
    gParams = nullptr;
    gData = nullptr;
  }

  static Handle newHandle(int32_t size) {
    if (++self->made == self->failNew)
      return nullptr;
    auto* block = new HandleBlock{std::vector<char>(size_t(size))};
    self->handles.insert(block);
    return reinterpret_cast<Handle>(block);
  }
  static void dispose(Handle handle) {
    if (!handle)
      return;
    self->misuses += self->handles.erase(blockOf(handle)) == 0;
    delete blockOf(handle);
  }

private:
  static inline FrameTest* self = nullptr;
  int made = 0;

  static void* lockHandle(Handle handle, Boolean moveHigh) {
    self->misuses += moveHigh != 1 || !self->handles.count(blockOf(handle));
    if (self->failLock)
      return nullptr;
    ++blockOf(handle)->locks;
    return blockOf(handle)->bytes.data();
  }
  static void unlockHandle(Handle handle) {
    self->misuses += !self->handles.count(blockOf(handle));
    blockOf(handle)->locks = 0;
  }
  static HostResult advance() {
    ++self->advances;
    return self->advanceResult;
  }
};
