// The joint bilateral upsampling: one round at typical factors, and all rounds of a photograph.
#include "bench/KernelBench.h"
#include "frame/record/Globals.h"
#include "haze/Stages.h"

namespace {

SHaze viewOf(std::vector<float>& image, int32_t width, int32_t height) {
  return {image.data(), width, height, width * 16, 16};
}

// Arguments: low width and height, high width and height, n: every n-th low pixel is transparent
// (0: none), which requires the plain form.
void oneRound(benchmark::State& state) {
  const int32_t lowWidth = int32_t(state.range(0)), lowHeight = int32_t(state.range(1));
  const int32_t width = int32_t(state.range(2)), height = int32_t(state.range(3));
  std::vector<float> low = inventedPicture(lowWidth, lowHeight);
  std::vector<float> high = inventedPicture(width, height);
  if (const size_t every = size_t(state.range(4)))
    for (size_t k = 3; k < low.size(); k += 4 * every)
      low[k] = 0.0f;
  const std::vector<float> solution = inventedMap(lowWidth, lowHeight);
  std::vector<float> out(size_t(width) * size_t(height));
  const SHaze lowView = viewOf(low, lowWidth, lowHeight), highView = viewOf(high, width, height);
  measure(state, double(width) * height,
          [&] { upsampleSolution(solution.data(), &lowView, &highView, out.data()); });
}

// Arguments: low width and height, full width and height.
void allRounds(benchmark::State& state) {
  static int16_t result = 0;
  static Data data = {};
  gResult = &result;
  gData = &data;
  const int32_t lowWidth = int32_t(state.range(0)), lowHeight = int32_t(state.range(1));
  const int32_t width = int32_t(state.range(2)), height = int32_t(state.range(3));
  std::vector<float> low = inventedPicture(lowWidth, lowHeight);
  std::vector<float> full = inventedPicture(width, height);
  const std::vector<float> dark = inventedMap(lowWidth, lowHeight);
  std::vector<float> map(size_t(width) * size_t(height));
  const SHaze lowView = viewOf(low, lowWidth, lowHeight), fullView = viewOf(full, width, height);
  int32_t error = 0;
  measure(state, double(width) * height, [&] {
    upsampleSolutionBySteps(dark.data(), &lowView, &fullView, map.data(), &error);
    if (error)
      state.SkipWithError("the upsampling failed");
  });
}

} // namespace

BENCHMARK(oneRound)
    ->ArgNames({"lw", "lh", "w", "h", "clear"})
    ->Unit(benchmark::kMillisecond)
    ->Args({387, 258, 774, 516, 0})
    ->Args({1548, 1032, 3000, 2000, 0})
    ->Args({387, 258, 1100, 733, 0})
    ->Args({1548, 1032, 3000, 2000, 1000});
BENCHMARK(allRounds)
    ->ArgNames({"lw", "lh", "w", "h"})
    ->Unit(benchmark::kMillisecond)
    ->Args({387, 258, 3000, 2000});
