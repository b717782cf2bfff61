// The correction: one pass over an image, with and without the power, and as the haze mask.
#include "bench/KernelBench.h"
#include "frame/record/Globals.h"
#include "haze/Stages.h"

namespace {

// Arguments: width, height, power in hundredths, mask.
void correction(benchmark::State& state) {
  const int32_t width = int32_t(state.range(0)), height = int32_t(state.range(1));
  std::vector<float> image = inventedPicture(width, height);
  const std::vector<float> map = inventedMap(width, height);
  const SHaze view = {image.data(), width, height, width * 16, 16};
  const float light[3] = {0.9f, 0.91f, 0.93f};
  int32_t error = 0;
  measure(state, double(width) * height, [&] {
    hazeCorrection(map.data(), light, &view, 0.05f, 0.95f, 0.2f, 0.7f,
                   float(state.range(2)) / 100.0f, state.range(3) != 0, &error);
  });
}

} // namespace

BENCHMARK(correction)
    ->ArgNames({"w", "h", "power", "mask"})
    ->Unit(benchmark::kMillisecond)
    ->Args({400, 300, 100, 0}) // a preview
    ->Args({400, 300, 170, 0})
    ->Args({3000, 2000, 100, 0})
    ->Args({3000, 2000, 170, 0})
    ->Args({3000, 2000, 170, 1})
    ->Args({3000, 2000, 2000, 0}); // beyond the dialog's range: the library's power
