// The run record. The host's `data` word holds its handle between selectors and runs.
#pragma once

#include "hostapi/HostTypes.h"

struct Data {
  int32_t queryForParameters; // boolean: the next start selector asks for the dialog
  VRect proxyRect;            // first the preview frame, later the filter rectangle at proxy scale
  BufferID proxySourceBufferID; // unprocessed pixels of the proxy, 8 bits, interleaved
  uint8_t* proxySourceBuffer;   // that block, locked
  uint8_t proxySourceValid;     // boolean: the pixels have been read from the host
  BufferID proxyBufferID;       // displayed pixels of the proxy, same layout
  uint8_t* proxyBuffer;         // that block, locked; null: no proxy
  int32_t proxyWidth;           // pixels
  int32_t proxyHeight;          // pixels
  int32_t proxyPlaneSize;       // proxyWidth * proxyHeight
  float scaleFactor;            // image pixels per proxy pixel, a whole number
  int32_t memoryInUse;          // bytes currently held from the host's buffer suite
  int32_t memoryPeak;           // highest memoryInUse of this run
  int32_t proxyHazeMapSize;     // bytes
  float* proxyHazeMap; // new[], one float per pixel; if non-null it is valid and not computed again
  int32_t filterHazeMapSize; // bytes
  float* filterHazeMap;      // the same for the whole filter rectangle
  float light[3];            // colour of the haze light: red, green, blue
};
