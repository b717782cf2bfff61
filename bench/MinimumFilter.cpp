// Minimum filter: time per pixel over the window's side, at the size of the reduced image and at a
// size that fits no cache.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "primitives/image/ImagePrimitives.h"

namespace {

// Arguments: width, height, side of the window.
void minimum(benchmark::State& state) {
  const PrimitiveSize size{int32_t(state.range(0)), int32_t(state.range(1))};
  const int32_t side = int32_t(state.range(2));
  std::vector<float> source(size_t(4) * size.width * size.height), destination(source.size());
  std::minstd_rand random(1);
  for (float& sample : source)
    sample = float(random()) / float(random.max());
  int32_t bytes = 0;
  if (MinFilterGetBufferSize(size.width, {side, side}, &bytes) != primitiveOk)
    state.SkipWithError("no work buffer");
  std::vector<uint8_t> work(size_t(bytes) + 1);
  for (auto _ : state) {
    const int32_t status = MinFilterBorderReplicate_32f_C4R(
        source.data(), size.width * 16, destination.data(), size.width * 16, size, {side, side},
        {side / 2, side / 2}, work.data());
    if (status != primitiveOk)
      state.SkipWithError("refused");
    benchmark::ClobberMemory();
  }
  state.counters["pixels"] = benchmark::Counter(double(size.width) * size.height,
                                                benchmark::Counter::kIsIterationInvariantRate);
}

void arguments(benchmark::internal::Benchmark* b) {
  b->ArgNames({"w", "h", "side"})->Unit(benchmark::kMicrosecond);
  for (int side : {3, 9, 17, 65, 257})
    b->Args({387, 258, side});
  for (int side : {3, 65, 257})
    b->Args({3000, 2000, side});
}

} // namespace

BENCHMARK(minimum)->Apply(arguments);
