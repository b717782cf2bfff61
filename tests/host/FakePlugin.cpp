// A filter module for tests: it calls the test's own handler.
#include "tests/host/FakePlugin.h"

namespace {
struct OwnError {};
} // namespace

#pragma GCC visibility push(default)
extern "C" {

FakeHandler fakeHandler = nullptr;
void* fakeContext = nullptr;
#ifdef FAKE_BROKEN_LIST
unsigned char PIPL_16000[12] = {2};
#endif

void PluginMain_core(int16_t selector, FilterRecord* record, intptr_t*, int16_t* result,
                     uint8_t* runEnded) {
  *runEnded = selector == filterSelectorFinish;
  if (fakeHandler(fakeContext, selector, record, result))
    throw OwnError();
}
}
#pragma GCC visibility pop
