// Entry of every unit test: leaves with ctest's skip code on a processor that does not run the
// level that the module's objects were built for. Built for any x86-64.
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
