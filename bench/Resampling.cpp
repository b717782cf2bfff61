// Resampling of float images: the reductions in a run, and an enlargement.
#include <benchmark/benchmark.h>

#include <vector>

#include "primitives/image/ImagePrimitives.h"

namespace {

// Arguments: width and height of the source and of the destination, mode, threads.
void resample(benchmark::State& state) {
  const auto argument = [&state](int i) { return int32_t(state.range(i)); };
  const PrimitiveSize from{argument(0), argument(1)}, to{argument(2), argument(3)};
  const int32_t mode = argument(4);
  setPrimitiveThreads(argument(5));
  std::vector<float> source(size_t(4) * from.width * from.height, 0.5f);
  std::vector<float> destination(size_t(4) * to.width * to.height);
  const PrimitiveRect sourceRect{0, 0, from.width, from.height};
  const PrimitiveRect destinationRect{0, 0, to.width, to.height};
  int32_t bytes = 0;
  if (ResizeGetBufSize(sourceRect, destinationRect, 4, mode, &bytes) != primitiveOk)
    state.SkipWithError("no work buffer");
  std::vector<uint8_t> work(size_t(bytes) + 1);
  for (auto _ : state) {
    const int32_t status = ippiResizeSqrPixel_32f_C4R(
        source.data(), from, from.width * 16, sourceRect, destination.data(), to.width * 16,
        destinationRect, double(to.width) / from.width, double(to.height) / from.height, 0.0, 0.0,
        mode, work.data());
    if (status != primitiveOk)
      state.SkipWithError("refused");
    benchmark::ClobberMemory();
  }
  setPrimitiveThreads(1);
  const double pixels = double(from.width) * from.height;
  state.counters["source pixels"] =
      benchmark::Counter(pixels, benchmark::Counter::kIsIterationInvariantRate);
  state.SetBytesProcessed(state.iterations() * int64_t(source.size() + destination.size()) * 4);
}

void arguments(benchmark::internal::Benchmark* b) {
  b->ArgNames({"w", "h", "tow", "toh", "mode", "threads"})->UseRealTime();
  b->Unit(benchmark::kMillisecond);
  for (int threads : {1, 2}) {
    b->Args({6000, 4000, 387, 258, resizeSuperSampling, threads});
    b->Args({3000, 2000, 387, 258, resizeSuperSampling, threads});
    b->Args({6000, 4000, 3096, 2064, resizeLinear, threads});
    b->Args({100, 100, 316, 316, resizeLinear, threads});
  }
}

// The lower bound: a plain read of the same image.
void readOnly(benchmark::State& state) {
  const std::vector<float> source(size_t(4) * 6000 * 4000, 0.5f);
  for (auto _ : state) {
    float sums[64] = {};
    for (size_t i = 0; i < source.size(); i += 64)
#pragma omp simd
      for (int k = 0; k < 64; ++k)
        sums[k] += source[i + k];
    benchmark::DoNotOptimize(sums);
  }
  state.SetBytesProcessed(state.iterations() * int64_t(source.size()) * 4);
}

} // namespace

BENCHMARK(resample)->Apply(arguments);
BENCHMARK(readOnly)->Unit(benchmark::kMillisecond)->UseRealTime();
