// Entry of every unit test: exits with ctest's skip code if the processor does not support the
// level of the module's objects. This file is built for any x86-64.
#include <gmock/gmock.h>

#include <cstdio>

int main(int argc, char** argv) {
  __builtin_cpu_init();
  if (!__builtin_cpu_supports(FOG_LEVEL)) {
    std::printf("skipped: this processor does not run %s\n", FOG_LEVEL);
    return 77;
  }
  testing::InitGoogleMock(&argc, argv);
  return RUN_ALL_TESTS();
}
