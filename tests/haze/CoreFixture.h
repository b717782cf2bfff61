// A host of plain malloc for tests of the core's insides: the globals are set, every buffer is
// counted, any request can be made to fail, abort and progress are watched from any thread.
#pragma once

#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include "frame/contract/ScriptKeys.h"
#include "frame/record/Globals.h"
#include "frame/record/Handles.h"
#include "haze/Haze.h"
#include "haze/Progress.h"
#include "primitives/base/HeapBlock.h"

// Owner of a float image, alpha 1.
struct FloatImage {
  int32_t width, height;
  std::vector<float> samples;

  FloatImage(int32_t width, int32_t height, float value = 0.0f)
      : width(width), height(height), samples(size_t(width) * height * 4, value) {
    for (size_t k = 3; k < samples.size(); k += 4)
      samples[k] = 1.0f;
  }
  float* at(int32_t x, int32_t y) { return &samples[(size_t(y) * width + x) * 4]; }
  size_t pixels() const { return samples.size() / 4; }
  SHaze view() { return {samples.data(), width, height, width * 16, 16}; }
  VRect rect() const { return {0, 0, height, width}; }
};

inline FloatImage noiseImage(int32_t width, int32_t height, unsigned seed, float lowest = 0.0f,
                             float highest = 1.0f) {
  FloatImage image(width, height);
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> value(lowest, highest);
  for (size_t k = 0; k < image.samples.size(); ++k)
    if (k % 4 != 3)
      image.samples[k] = value(random);
  return image;
}

inline std::vector<float> noiseMap(size_t length, unsigned seed, float lowest = 0.0f,
                                   float highest = 1.0f) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> value(lowest, highest);
  std::vector<float> map(length);
  for (float& v : map)
    v = value(random);
  return map;
}

// A smooth picture with edges and a little grain, as a camera makes them.
inline FloatImage scene(int32_t width, int32_t height) {
  FloatImage image = noiseImage(width, height, 7, -0.02f, 0.02f);
  for (int32_t y = 0; y < height; ++y)
    for (int32_t x = 0; x < width; ++x) {
      const double u = double(x) / width, v = double(y) / height;
      const double edge = (int(u * 8) + int(v * 6)) % 2 ? 0.3 : 0.0;
      const double colour[3] = {0.3 + 0.3 * u + edge, 0.35 + 0.2 * v, 0.6 - 0.3 * u + edge};
      for (int c = 0; c < 3; ++c)
        image.at(x, y)[c] += float(colour[c]);
    }
  return image;
}

class CoreTest : public testing::Test {
protected:
  // What a test sets.
  int failRequest = 0;    // k > 0: the k-th request of a buffer fails
  int abortAt = 0;        // k > 0: the k-th call of abortProc says yes...
  bool abortStays = true; // ...and so do all later ones

  // What it reads.
  struct Block {
    int32_t size;
    bool locked;
  };
  std::map<BufferID, Block> live;
  std::vector<int32_t> requests; // sizes
  int badReleases = 0;           // releases of what does not live, id 0 apart
  std::atomic<int> abortCalls = 0;
  std::vector<std::pair<int32_t, int32_t>> progress; // done, total

  FilterRecord record = {};
  BufferProcs bufferProcs = {2, 5, allocate, lock, unlock, release, space};
  Parameters parameters = {};
  Data data = {};
  intptr_t dataSlot = 0;
  int16_t result = 0;

  CoreTest() {
    host = this;
    record.bufferProcs = &bufferProcs;
    record.abortProc = abortCall;
    record.progressProc = progressCall;
    gFilterRecord = &record;
    gParams = &parameters;
    gData = &data;
    gResult = &result;
    gDataSlot = &dataSlot;
    gThreadCount = 1;
    gFilterRunning = false;
    gProgressStep = gProgressTotal = 0;
    InitParameters();
    InitData();
  }
  ~CoreTest() override {
    stopTrace();
    dropMaps();
    for (const auto& [id, block] : live)
      std::free(reinterpret_cast<void*>(id));
    gFilterRecord = nullptr;
    gParams = nullptr;
    gData = nullptr;
    gResult = nullptr;
    gDataSlot = nullptr;
    gThreadCount = 1;
    host = nullptr;
  }

  void dropMaps() {
    freeHeap(data.filterHazeMap);
    freeHeap(data.proxyHazeMap);
    data.filterHazeMap = data.proxyHazeMap = nullptr;
  }

  // A proxy of this size: the reduced size of every later computation.
  void pretendProxy(int32_t width, int32_t height) {
    static uint8_t pixel;
    data.proxyBuffer = &pixel;
    data.proxyWidth = width;
    data.proxyHeight = height;
  }

  void startTrace() { gLog = open_memstream(&traceText, &traceLength); }
  std::string stopTrace() {
    if (!gLog)
      return {};
    std::fclose(gLog);
    gLog = nullptr;
    std::string text(traceText, traceLength);
    std::free(traceText);
    return text;
  }

private:
  static inline CoreTest* host = nullptr;
  std::mutex lockOfProgress;
  char* traceText = nullptr;
  size_t traceLength = 0;

  static HostResult allocate(int32_t size, BufferID* id) {
    *id = 0;
    host->requests.push_back(size);
    if (int(host->requests.size()) == host->failRequest || size < 0)
      return memFullErr;
    void* block = std::malloc(size_t(size));
    std::memset(block, 0xff, size_t(size)); // NaN in every float
    *id = reinterpret_cast<BufferID>(block);
    host->live[*id] = {size, false};
    return noErr;
  }
  static void* lock(BufferID id, Boolean moveHigh) {
    EXPECT_EQ(moveHigh, 1);
    const auto block = host->live.find(id);
    if (block == host->live.end())
      return nullptr;
    block->second.locked = true;
    return reinterpret_cast<void*>(id);
  }
  static void unlock(BufferID id) {
    if (const auto block = host->live.find(id); block != host->live.end())
      block->second.locked = false;
  }
  static void release(BufferID id) {
    const auto block = host->live.find(id);
    if (block == host->live.end()) {
      host->badReleases += id != 0;
      return;
    }
    EXPECT_FALSE(block->second.locked);
    host->live.erase(block);
    std::free(reinterpret_cast<void*>(id));
  }
  static int32_t space() { return 0x7fffffff; }
  static Boolean abortCall() {
    const int call = ++host->abortCalls;
    return host->abortAt > 0 && (host->abortStays ? call >= host->abortAt : call == host->abortAt);
  }
  static void progressCall(int32_t done, int32_t total) {
    const std::lock_guard guard(host->lockOfProgress);
    host->progress.emplace_back(done, total);
  }
};
