// A long run of a host: photographs of ten sizes, one after the other, in one process. For each it
// creates a document and a session, runs them, and drops them. Resident memory must not grow.
//
//   soak [COUNT] [FOLDER OF THE MODULES]

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <vector>

#include <unistd.h>

#include "host/session/Session.h"
#include "primitives/base/HeapBlock.h"

namespace {

constexpr int report = 100; // photographs between two figures; the first ones are the warm-up
constexpr double mostGrowth = 0.01; // of the least figure, from the first to the last quarter
constexpr int32_t widths[] = {64, 97, 128, 200, 256, 320, 403, 500, 640, 800};

// After the freed blocks are returned, as the window does when it closes a photograph. Else the
// allocator keeps more or fewer of them, depending on which threads have freed them.
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
  std::vector<double> figures; // a single one may include blocks that a thread still holds
  for (int number = 0; number < count; ++number) {
    develop(module, number);
    if ((number + 1) % report != 0)
      continue;
    figures.push_back(residentMegabytes());
    std::printf("%5d photographs: %.2f MB resident\n", number + 1, figures.back());
    std::fflush(stdout);
  }
  if (figures.size() < 4)
    throw std::runtime_error("too few photographs to compare");
  const auto quarter = ptrdiff_t(figures.size() / 4);
  const double first = *std::min_element(figures.begin(), figures.begin() + quarter);
  const double last = *std::min_element(figures.end() - quarter, figures.end());
  const double growth = last / first - 1;
  std::printf("least of the first quarter %.2f MB, of the last %.2f MB: %.2f percent more\n", first,
              last, growth * 100);
  return growth < mostGrowth ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int argc, char** argv) {
  try {
    return soak(argc > 1 ? std::atoi(argv[1]) : 2000, argc > 2 ? argv[2] : "build/dev/plugin");
  } catch (const std::exception& error) {
    std::fprintf(stderr, "soak: %s\n", error.what());
  }
  return EXIT_FAILURE;
}
