// A module whose entry does what a test tells it: it calls the test's own handler, and throws on
// demand a type that only it knows.
#include "tests/host/FakePlugin.h"

#include <cstdio>
#include <stdexcept>

namespace {
struct OwnError {};
} // namespace

extern "C" {

[[gnu::visibility("default")]] FakeHandler fakeHandler = nullptr;
[[gnu::visibility("default")]] void* fakeContext = nullptr;
[[gnu::visibility("default")]] std::FILE* gLog = nullptr;

#ifdef FAKE_BROKEN_LIST
[[gnu::visibility("default")]] extern const unsigned char PIPL_16000[12];
const unsigned char PIPL_16000[12] = {1, 0, 0, 0, 0, 0, 11, 0, 0, 0, 'M', 'I'};
#endif

[[gnu::visibility("default")]] void PluginMain_core(int16_t selector, FilterRecord* record,
                                                    intptr_t* data, int16_t* result,
                                                    uint8_t* runEnded) {
  *runEnded = selector == filterSelectorFinish;
  if (gLog)
    std::fprintf(gLog, "selector %d\n", selector);
  if (fakeHandler && fakeHandler(fakeContext, selector, record, data, result) == fakeThrowsOwnType)
    throw OwnError();
}
}
