// Upsamples the refined map to full size: builds a pyramid of guides from the top down, then runs
// one round of joint bilateral upsampling per level from the bottom up.
//
// The guides below the full image are exact doublings of the reduced image's size; the last round
// has the remaining factor, at least 1 and below 3. All memory here comes from the heap.
#include <QVector>
#include <algorithm>
#include <new>
#include <utility>

#include "frame/record/Globals.h"
#include "frame/record/Memory.h"
#include "haze/Stages.h"
#include "primitives/base/HeapBlock.h"
#include "primitives/image/ImagePrimitives.h"

namespace {

constexpr const char* name = "upsampleSolutionBySteps";
constexpr int32_t pixelBytes = 4 * sizeof(float);

// Number of rounds, from the ratio of the widths; heights follow.
int32_t stepsFor(const SHaze& low, const SHaze& full) {
  int32_t steps = 1;
  for (float f = float(full.width / low.width); f > 2.0f; f *= 0.5f)
    ++steps;
  return steps;
}

size_t pixelsOf(const SHaze& image) { return size_t(image.width) * size_t(image.height); }

void traceOutOfHost(int line, size_t bytes, const void* block) {
  TRACE("%s (%d) - allocation out of PS: %ld KBytes (ptr: %p)\n", name, line, long(bytes >> 10),
        block);
}

void traceDelete(int line, const void* block) {
  TRACE("%s (%d) - delete ptr: %p\n", name, line, block);
}

// Guides from the reduced image (index 0) to the full one (index steps). This object owns those in
// between; the caller owns the two ends.
class GuidePyramid {
public:
  GuidePyramid(const SHaze& low, const SHaze& full, int32_t steps)
      : levels_(steps + 1), steps_(steps) {
    int32_t width = low.width, height = low.height;
    for (int32_t k = 0; k < std::max(1, steps - 1); ++k)
      sizes_.push_back({width *= 2, height *= 2});
    levels_[0].first = &low;
    levels_[steps].first = &full;
  }
  GuidePyramid(const GuidePyramid&) = delete;
  GuidePyramid& operator=(const GuidePyramid&) = delete;

  ~GuidePyramid() {
    for (int32_t k = steps_ - 1; k >= 1; --k)
      release(k);
  }

  // Frees a level after its last use, unless the caller owns it.
  void release(int32_t k) {
    if (k == 0 || k == steps_ || !levels_[k].first)
      return;
    const SHaze* level = std::exchange(levels_[k].first, nullptr);
    traceDelete(__LINE__, level->data);
    freeHeap(level->data);
    traceDelete(__LINE__, level);
    delete level;
  }

  const SHaze* level(int32_t k) const { return levels_[k].first; }

  // Makes every level below the full image from the level above it. False: out of memory.
  bool build() {
    for (int32_t k = steps_ - 1; k >= 1; --k)
      if (!buildLevel(k))
        return false;
    return true;
  }

private:
  bool buildLevel(int32_t k) {
    const auto [width, height] = sizes_[k - 1];
    auto* level = new (std::nothrow) SHaze{nullptr, width, height, width * pixelBytes, pixelBytes};
    TRACE("%s (%d) - [ALLOC] SHaze %p\n", name, __LINE__, static_cast<void*>(level));
    levels_[k].first = level;
    if (!level)
      return false;
    const size_t bytes = pixelsOf(*level) * pixelBytes;
    level->data = static_cast<float*>(allocateHeap(bytes));
    TRACE("%s (%d) - [ALLOC] SHaze data %p\n", name, __LINE__, static_cast<void*>(level->data));
    if (!level->data)
      return false;
    traceOutOfHost(__LINE__, bytes, level->data);
    return resize(*levels_[k + 1].first, *level);
  }

  static bool resize(const SHaze& from, const SHaze& to) {
    const PrimitiveRect fromRect = {0, 0, from.width, from.height};
    const PrimitiveRect toRect = {0, 0, to.width, to.height};
    int32_t workBytes = 0;
    ResizeGetBufSize(fromRect, toRect, 4, resizeLinear, &workBytes);
    HeapArray<uint8_t> work = tryAllocateArray<uint8_t>(size_t(workBytes));
    TRACE("%s (%d) - [ALLOC] ippBuffer %p\n", name, __LINE__, static_cast<void*>(work.get()));
    if (!work)
      return false;
    setPrimitiveThreads(gThreadCount);
    ippiResizeSqrPixel_32f_C4R(from.data, {from.width, from.height}, from.rowBytes, fromRect,
                               to.data, to.rowBytes, toRect, double(to.width) / from.width,
                               double(to.height) / from.height, 0.0, 0.0, resizeLinear, work.get());
    traceDelete(__LINE__, work.get());
    return true;
  }

  QVector<std::pair<int32_t, int32_t>> sizes_;           // width and height of each doubling
  QVector<std::pair<const SHaze*, const void*>> levels_; // the second member is unused
  int32_t steps_;
};

// The rounds, from the reduced solution to the full map, which the last round writes. Each round
// frees the guide and the solution of the level below.
void runRounds(const float* dark, GuidePyramid& guides, int32_t steps, float* map, int32_t* error) {
  HeapArray<float> solution; // of the previous round; null in round 0, which uses the caller's
  for (int32_t round = 0; round < steps; ++round) {
    const SHaze* low = guides.level(round);
    const SHaze* high = guides.level(round + 1);
    const bool isLast = round == steps - 1;
    HeapArray<float> next;
    if (!isLast) {
      next = tryAllocateArray<float>(pixelsOf(*high));
      TRACE("%s (%d) - [ALLOC] pSol.first %p\n", name, __LINE__, static_cast<void*>(next.get()));
      if (!next) {
        *error = hazeOutOfMemory;
        return;
      }
      traceOutOfHost(__LINE__, pixelsOf(*high) * sizeof(float), next.get());
    }
    const float* current = round == 0 ? dark : solution.get();
    float* result = isLast ? map : next.get();
    TRACE("%s (%d) - call upsampleSolution (round %d) (%p, %p, %p, %p)\n", name, __LINE__, round,
          static_cast<const void*>(current), static_cast<const void*>(low),
          static_cast<const void*>(high), static_cast<void*>(result));
    upsampleSolution(current, low, high, result);
    if (*gResult == userCanceledErr) {
      *error = hazeCancelled;
      return;
    }
    if (solution)
      TRACE("%s (%d) - delete garbage ptr: %p\n", name, __LINE__,
            static_cast<void*>(solution.get()));
    solution = std::move(next);
    guides.release(round);
  }
}

} // namespace

void upsampleSolutionBySteps(const float* dark, const SHaze* low, const SHaze* full, float* map,
                             int32_t* error) {
  *error = hazeNoError;
  const int32_t steps = stepsFor(*low, *full);
  TRACE("%s (%d) - %d steps\n", name, __LINE__, steps);
  {
    GuidePyramid guides(*low, *full, steps);
    if (guides.build())
      runRounds(dark, guides, steps, map, error);
    else
      *error = hazeOutOfMemory;
  }
  TraceMemory(name, __LINE__);
}
