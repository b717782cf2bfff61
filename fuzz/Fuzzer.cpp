// The fuzzer's entry: libFuzzer makes the bytes and controls the process. An environment variable
// names the target, so that the processes that libFuzzer starts get it, too.

#include <cstdlib>
#include <cstring>

#include "fuzz/Target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const fuzz::Target& target = []() -> const fuzz::Target& {
    const char* name = std::getenv("FOG_FUZZ_TARGET");
    for (const fuzz::Target& known : fuzz::targets())
      if (name && std::strcmp(name, known.name) == 0)
        return known;
    fuzz::promise(false, "FOG_FUZZ_TARGET names a target");
    std::abort();
  }();
  // Refused bytes are as useful for further mutations as accepted ones.
  fuzz::accepts(target, photo::Bytes(data, data + size));
  return 0;
}
