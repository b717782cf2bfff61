// A long run of a host: photographs of ten sizes, one after the other, in one process. For each it
// creates a document and a session, runs them, and drops them. Resident memory must not grow.
//
//   soak [COUNT] [FOLDER OF THE MODULES]

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <stdexcept>

#include <malloc.h>
#include <unistd.h>

#include "host/session/Session.h"
#include "primitives/base/HeapBlock.h"

namespace {

constexpr int warmUp = 100;         // photographs after which memory must stay constant
constexpr int report = 100;         // photographs between two printed figures
constexpr double mostGrowth = 0.01; // relative to the resident memory after the warm-up
constexpr int32_t widths[] = {64, 97, 128, 200, 256, 320, 403, 500, 640, 800};

// After the freed blocks are returned, as the window does when it closes a photograph.
double residentMegabytes() {
  trimHeap();
  std::ifstream table("/proc/self/statm");
  double total = 0, resident = 0;
  table >> total >> resident;
  return resident * double(::sysconf(_SC_PAGESIZE)) / 1e6;
}

host::Document photograph(int number) {
  const int32_t width = widths[number % int(std::size(widths))], height = width * 3 / 4;
  const int32_t depth = number / int(std::size(widths)) % 2 == 0 ? 8 : 32;
  host::Document document(width, height, 3, depth);
  for (int32_t y = 0; y < height; ++y)
    for (int32_t x = 0; x < width * 3; ++x) {
      const double clear = 0.5 + 0.4 * std::sin(0.05 * x + 0.11 * y + number);
      const double haze = 0.75 * (1 - (y + 0.5) / height);
      const double sample = clear * (1 - haze) + 0.85 * haze;
      if (depth == 8)
        reinterpret_cast<uint8_t*>(document.row(y))[x] = uint8_t(255 * sample);
      else
        reinterpret_cast<float*>(document.row(y))[x] = float(sample);
    }
  return document;
}

void develop(const host::Module& module, int number) {
  host::Document document = photograph(number);
  host::SessionOptions options;
  options.threads = 1 + number % 2;
  host::Session session(module, document, options);
  const host::RunOutcome outcome = session.playSilently({});
  if (!outcome.ok())
    throw std::runtime_error("photograph " + std::to_string(number) + ": " + outcome.message);
}

int soak(int count, const char* folder) {
  const host::Module module = host::Module::openBest(folder);
  double first = 0, last = 0;
  for (int number = 0; number < count; ++number) {
    develop(module, number);
    if ((number + 1) % report != 0)
      continue;
    last = residentMegabytes();
    if (number + 1 == warmUp)
      first = last;
    std::printf("%5d photographs: %.2f MB resident\n", number + 1, last);
    std::fflush(stdout);
  }
  const double growth = first > 0 ? last / first - 1 : 0;
  std::printf("growth after the first %d: %.2f percent\n", warmUp, growth * 100);
  return growth < mostGrowth ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int argc, char** argv) {
  // Of several arenas the allocator keeps the free ends, 28 MB more or less from one photograph to
  // the next, which would hide a leak.
  ::mallopt(M_ARENA_MAX, 1);
  try {
    return soak(argc > 1 ? std::atoi(argv[1]) : 2000, argc > 2 ? argv[2] : "build/dev/plugin");
  } catch (const std::exception& error) {
    std::fprintf(stderr, "soak: %s\n", error.what());
  }
  return EXIT_FAILURE;
}
