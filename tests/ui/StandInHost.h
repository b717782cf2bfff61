// A host of a few lines for tests of the preview and the dialog: one image, counted buffers, and a
// note of what it was asked.
#pragma once

#include <cstddef>
#include <cstring>
#include <map>
#include <vector>

#include "frame/record/Globals.h"
#include "primitives/base/HeapBlock.h"

// Takes the plug-in's globals for as long as it lives.
class StandInHost {
public:
  StandInHost(int32_t width, int32_t height, int32_t depth = 8) {
    current = this;
    record.imageMode = depth == 8    ? plugInModeRGBColor
                       : depth == 16 ? plugInModeRGB48
                                     : plugInModeRGB96;
    record.depth = depth;
    record.planes = 3;
    record.bigDocumentData = &big;
    big.PluginUsing32BitCoordinates = 1;
    big.filterRect32 = {0, 0, height, width};
    record.inputRate = record.maskRate = 0x10000;
    record.bufferProcs = &bufferProcs;
    record.advanceState = advanceState;
    record.displayPixels = displayPixels;
    record.platformData = &platform;
    data.scaleFactor = 1;
    params = {0.0f, intensityUnset, 1.0f, intensityUnset, 1.0f, 0, 0, 1};
    gFilterRecord = &record;
    gData = &data;
    gParams = &params;
    gResult = &result;
    gThreadCount = 1;
  }
  ~StandInHost() {
    freeHeap(data.proxyHazeMap);
    gFilterRecord = nullptr;
    gData = nullptr;
    gParams = nullptr;
    gResult = nullptr;
    current = nullptr;
  }
  StandInHost(const StandInHost&) = delete;

  // Sample of the document on the scale of its depth. Set before the first read.
  float (*sample)(int32_t x, int32_t y, int c) = [](int32_t x, int32_t y, int c) {
    return float(40 + (x * 7 + y * 3 + c * 31) % 190);
  };

  FilterRecord record = {};
  BigDocumentData big = {};
  PlatformData platform = {};
  Parameters params = {};
  Data data = {};
  int16_t result = 0;

  int failRequest = 0; // k > 0: the k-th buffer is not given
  int failAdvance = 0; // k > 0: the k-th advanceState fails
  int requests = 0;
  std::vector<VRect> asked;  // input rectangles of advanceState
  std::vector<std::byte> in; // what inData points at
  std::map<BufferID, std::vector<std::byte>> blocks;
  struct Drawn {
    PSPixelMap map;
    int32_t row, column;
  };
  std::vector<Drawn> drawn;

private:
  static inline StandInHost* current = nullptr;

  static HostResult allocate(int32_t size, BufferID* id) {
    StandInHost& host = *current;
    ++host.requests;
    if (host.requests == host.failRequest || size < 0)
      return memFullErr;
    *id = host.requests;
    host.blocks[*id].resize(size_t(size));
    return noErr;
  }
  static void* lock(BufferID id, Boolean) {
    const auto block = current->blocks.find(id);
    return block == current->blocks.end() ? nullptr : block->second.data();
  }
  static void unlock(BufferID) {}
  static void free(BufferID id) { current->blocks.erase(id); }
  static inline BufferProcs bufferProcs = {
      2, 5, allocate, lock, unlock, free, [] { return int32_t(0x7fffffff); }};

  static HostResult advanceState() {
    StandInHost& host = *current;
    const VRect r = host.big.inRect32;
    host.asked.push_back(r);
    if (int(host.asked.size()) == host.failAdvance)
      return readErr;
    const int32_t rate = host.record.inputRate >> 16;
    host.in.clear();
    for (int32_t y = r.top; y < r.bottom; ++y)
      for (int32_t x = r.left; x < r.right; ++x)
        for (int c = host.record.inLoPlane; c <= host.record.inHiPlane; ++c)
          host.append(host.sample(x * rate, y * rate, c));
    host.record.inData = host.in.data();
    return noErr;
  }

  void append(float value) {
    const size_t bytes = size_t(record.depth) / 8, at = in.size();
    in.resize(at + bytes);
    const uint8_t byte = uint8_t(value);
    const uint16_t word = uint16_t(value);
    std::memcpy(in.data() + at,
                record.depth == 8    ? static_cast<const void*>(&byte)
                : record.depth == 16 ? static_cast<const void*>(&word)
                                     : static_cast<const void*>(&value),
                bytes);
  }

  static HostResult displayPixels(const PSPixelMap* map, const VRect* rect, int32_t row,
                                  int32_t column, void* surface) {
    current->drawn.push_back({*map, row, column});
    auto& to = *static_cast<DisplaySurface*>(surface);
    const auto* from = static_cast<const uint8_t*>(map->baseAddr);
    for (int32_t y = 0; y < rect->bottom - rect->top; ++y)
      for (int32_t x = 0; x < rect->right - rect->left; ++x) {
        const uint8_t* p = from + y * map->rowBytes + x * map->colBytes;
        const uint32_t pixel = 0xff000000u | uint32_t(p[0] << 16 | p[1] << 8 | p[2]);
        std::memcpy(to.pixels + ptrdiff_t(y + row) * to.rowBytes + ptrdiff_t(x + column) * 4,
                    &pixel, 4);
      }
    return noErr;
  }
};
