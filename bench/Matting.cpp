// The matting stage at the size of the reduced image: the matrix alone, its compression, and the
// whole stage with its solve.
#include <cstdlib>
#include <cstring>

#include "bench/KernelBench.h"
#include "frame/record/Globals.h"
#include "haze/MattingMatrix.h"
#include "haze/Stages.h"

namespace {

void seed(CSparseSingle& matrix, int32_t unknowns) {
  for (int32_t k = 0; k < unknowns; ++k)
    matrix.element(k, k) = 0.001f;
}

// Arguments of all: width, height.
void matrix(benchmark::State& state) {
  const int32_t width = int32_t(state.range(0)), height = int32_t(state.range(1));
  std::vector<float> image = inventedPicture(width, height);
  const SHaze view = {image.data(), width, height, width * 16, 16};
  measure(state, double(width) * height, [&] {
    CSparseSingle matrix(0, 0);
    seed(matrix, width * height);
    addMattingWindows(view, matrix);
  });
}

void compression(benchmark::State& state) {
  const int32_t width = int32_t(state.range(0)), height = int32_t(state.range(1));
  std::vector<float> image = inventedPicture(width, height);
  const SHaze view = {image.data(), width, height, width * 16, 16};
  CSparseSingle matrix(0, 0);
  seed(matrix, width * height);
  addMattingWindows(view, matrix);
  measure(state, double(width) * height, [&] { matrix.compress(); });
}

// The stage's only host buffer.
BufferProcs mallocBuffers = {2,
                             5,
                             [](int32_t size, BufferID* id) {
                               *id = reinterpret_cast<BufferID>(std::malloc(size_t(size)));
                               return noErr;
                             },
                             [](BufferID id, Boolean) { return reinterpret_cast<void*>(id); },
                             [](BufferID) {},
                             [](BufferID id) { std::free(reinterpret_cast<void*>(id)); },
                             [] { return 0x7fffffff; }};

void wholeStage(benchmark::State& state) {
  static FilterRecord record = {};
  static Data data = {};
  record.bufferProcs = &mallocBuffers;
  gFilterRecord = &record;
  gData = &data;
  const int32_t width = int32_t(state.range(0)), height = int32_t(state.range(1));
  std::vector<float> image = inventedPicture(width, height);
  const std::vector<float> dark = inventedMap(width, height);
  const SHaze view = {image.data(), width, height, width * 16, 16};
  measure(state, double(width) * height, [&] {
    std::vector<float> map = dark;
    float fmin = 0, bmax = 0;
    int32_t error = 0;
    computeMatting(map.data(), &view, &fmin, &bmax, &error);
    if (error)
      state.SkipWithError("the stage failed");
  });
}

} // namespace

BENCHMARK(matrix)->ArgNames({"w", "h"})->Unit(benchmark::kMillisecond)->Args({387, 258});
BENCHMARK(compression)->ArgNames({"w", "h"})->Unit(benchmark::kMillisecond)->Args({387, 258});
BENCHMARK(wholeStage)
    ->ArgNames({"w", "h"})
    ->Unit(benchmark::kMillisecond)
    ->Args({387, 258})
    ->Args({654, 436});
