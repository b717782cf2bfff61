// Bands of samples to floats and back: ten rows of a 24-megapixel photograph at each depth.
#include "frame/record/Bands.h"
#include "bench/KernelBench.h"

namespace {

constexpr int32_t width = 6000, rows = 10;

// Argument: bits per sample.
void readBand(benchmark::State& state) {
  const int32_t depth = int32_t(state.range(0));
  const size_t pixels = size_t(width) * rows;
  std::vector<uint8_t> samples(pixels * 3 * size_t(depth) / 8, 0x3e);
  std::vector<float> image(pixels * 4);
  measure(state, double(pixels), [&] { ReadBand(samples.data(), depth, pixels, image.data()); });
}

// Arguments: bits per sample; 1: a sample far beyond the range takes the slow form.
void writeBand(benchmark::State& state) {
  const int32_t depth = int32_t(state.range(0));
  const size_t pixels = size_t(width) * rows;
  std::vector<uint8_t> samples(pixels * 3 * size_t(depth) / 8);
  std::vector<float> image = inventedPicture(width, rows);
  if (state.range(1))
    image[0] = 1e9f;
  measure(state, double(pixels), [&] { WriteBand(image.data(), depth, pixels, samples.data()); });
}

} // namespace

BENCHMARK(readBand)->ArgName("bits")->Unit(benchmark::kMicrosecond)->Arg(8)->Arg(16)->Arg(32);
BENCHMARK(writeBand)
    ->ArgNames({"bits", "wide"})
    ->Unit(benchmark::kMicrosecond)
    ->ArgsProduct({{8, 16}, {0, 1}})
    ->Args({32, 0});
