// Shared by the tests of the haze core: float pictures, and a host whose user stops a run at a
// chosen step.
#pragma once

#include <malloc.h>

#include <cstring>
#include <optional>

#include "haze/Haze.h"
#include "haze/Progress.h"
#include "tests/support/HostFixture.h"
#include "tests/support/PlugInHost.h"

// Owner of a float image, alpha 1.
struct FloatImage {
  int32_t width, height;
  std::vector<float> samples;

  FloatImage(int32_t width, int32_t height, float value = 0.0f)
      : width(width), height(height), samples(size_t(width) * height * 4, value) {
    setAlpha(1, 1.0f);
  }
  void setAlpha(size_t every, float alpha) {
    for (size_t k = 3; k < samples.size(); k += 4 * every)
      samples[k] = alpha;
  }
  float* at(int32_t x, int32_t y) { return &samples[(size_t(y) * width + x) * 4]; }
  size_t pixels() const { return samples.size() / 4; }
  SHaze view() { return {samples.data(), width, height, width * 16, 16}; }
};

inline std::vector<float> noiseMap(size_t length, unsigned seed, float lowest = 0.0f,
                                   float highest = 1.0f) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> value(lowest, highest);
  std::vector<float> map(length);
  for (float& v : map)
    v = value(random);
  return map;
}

inline FloatImage noiseImage(int32_t width, int32_t height, unsigned seed, float lowest = 0.0f,
                             float highest = 1.0f) {
  FloatImage image(width, height);
  image.samples = noiseMap(image.samples.size(), seed, lowest, highest);
  image.setAlpha(1, 1.0f);
  return image;
}

// Blocks of strong colours under a haze that grows from the bottom to the top.
inline FloatImage scene(int32_t width, int32_t height) {
  const host::Document hazy = fixture::hazyScene(width, height, 32);
  FloatImage image(width, height);
  for (int32_t y = 0; y < height; ++y)
    for (int32_t x = 0; x < width; ++x)
      std::memcpy(image.at(x, y), hazy.row(y) + size_t(x) * 12, 12);
  return image;
}

class HazeTest : public testing::Test {
protected:
  int abortAt = 0;        // k > 0: the k-th question whether to stop gets the answer yes
  bool abortStays = true; // and so do all later ones
  std::atomic<int> abortCalls = 0;
  std::vector<std::pair<int32_t, int32_t>> progress; // done, total
  std::optional<fixture::PlugInHost> host;

  HazeTest() {
    current = this;
    mallopt(M_PERTURB, 0x80); // new blocks contain floats of 3e38
    restart();
  }

  // A new host, in the state before the first run.
  void restart() {
    host.reset();
    host::SessionOptions options;
    options.progress = [this](int32_t done, int32_t total) { progress.emplace_back(done, total); };
    host.emplace(document, options).host.record.abortProc = []() -> Boolean {
      const int call = ++current->abortCalls, at = current->abortAt;
      return at > 0 && (current->abortStays ? call >= at : call == at);
    };
    abortCalls = 0;
    progress.clear();
    progress.reserve(1000);
    gFilterRunning = false;
    gProgressStep = gProgressTotal = 0;
  }
  host::Requests& requests() { return host->host.requests; }
  const host::StoreCounts& buffers() const { return host->host.buffers.counts(); }

private:
  static inline HazeTest* current;
  host::Document document{1, 1, 3, 32};
};
