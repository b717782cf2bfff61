// Shared by the kernels' benchmarks: a synthetic picture, and counters for pixels per second and
// cycles per pixel. Cycles are the thread's own time multiplied by the rate of the time stamp
// counter, which is the processor's nominal rate.
#pragma once

#include <benchmark/benchmark.h>
#include <time.h>
#include <x86intrin.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

// Width * height pixels of four floats: smooth areas, edges, grain; alpha 1.
inline std::vector<float> inventedPicture(int32_t width, int32_t height) {
  std::vector<float> samples;
  samples.reserve(size_t(width) * size_t(height) * 4);
  std::minstd_rand random(1);
  for (int32_t y = 0; y < height; ++y)
    for (int32_t x = 0; x < width; ++x) {
      const double u = double(x) / width, v = double(y) / height;
      const double edge = (int(u * 9) + int(v * 7)) % 2 ? 0.25 : 0.0;
      const double grain = double(random()) / double(random.max()) * 0.02;
      samples.insert(samples.end(),
                     {float(0.3 + 0.3 * u + edge + grain), float(0.4 + 0.2 * v + grain),
                      float(0.6 - 0.3 * u + edge - grain), 1.0f});
    }
  return samples;
}

// A map from 0 at the bottom to 1 at the top, with grain.
inline std::vector<float> inventedMap(int32_t width, int32_t height) {
  std::vector<float> map;
  map.reserve(size_t(width) * size_t(height));
  std::minstd_rand random(2);
  for (int32_t y = 0; y < height; ++y)
    for (int32_t x = 0; x < width; ++x)
      map.push_back(1.0f - (float(y) + float(random()) / float(random.max())) / float(height));
  return map;
}

// Processor time of this thread in seconds; time while other processes run does not count.
inline double threadSeconds() {
  timespec time;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return double(time.tv_sec) + 1e-9 * double(time.tv_nsec);
}

// Ticks of the time stamp counter per second, measured over 20 ms.
inline double ticksPerSecond() {
  const auto seconds = [] {
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return double(time.tv_sec) + 1e-9 * double(time.tv_nsec);
  };
  const double begin = seconds();
  const uint64_t ticks = __rdtsc();
  while (seconds() - begin < 0.02)
    ;
  return double(__rdtsc() - ticks) / (seconds() - begin);
}

// Runs the body once per iteration and reports pixels per second and cycles per pixel.
template <class Body> void measure(benchmark::State& state, double pixels, Body body) {
  static const double rate = ticksPerSecond();
  const double begin = threadSeconds();
  for (auto _ : state) {
    body();
    benchmark::ClobberMemory();
  }
  const double cycles = (threadSeconds() - begin) * rate;
  state.counters["pixels"] =
      benchmark::Counter(pixels, benchmark::Counter::kIsIterationInvariantRate);
  state.counters["cycles/pixel"] =
      benchmark::Counter(cycles / pixels, benchmark::Counter::kAvgIterations);
}
