// The records that a host passes to the entry of a filter, and the entry itself.
#pragma once

#include "hostapi/HostTypes.h"
#include "hostapi/Procs.h"

// An image block for the host to draw: 8 bits per sample, any interleaving.
struct PSPixelMap {
  int32_t version; // 1
  VRect bounds;
  int32_t imageMode; // an 8-bit ImageMode
  int32_t rowBytes;
  int32_t colBytes;
  int32_t planeBytes;
  void* baseAddr; // sample of plane 0 at (bounds.top, bounds.left)
  void* mat;      // null
  void* masks;    // null
  int32_t maskPhaseRow;
  int32_t maskPhaseCol;
};

// The target of displayPixels: 32 bits per pixel, 0xffRRGGBB in the machine's byte order.
struct DisplaySurface {
  uint8_t* pixels;
  int32_t width, height; // pixels
  int32_t rowBytes;
};

// Rectangles with 32-bit sides, for documents too large for 16 bits. Owned by the host.
struct BigDocumentData {
  int32_t PluginUsing32BitCoordinates; // set by the plug-in: use these, not the 16-bit rectangles
  VRect filterRect32, inRect32, outRect32, maskRect32;
};

// First word: the host's main window (a QWidget* here, or null), the parent of every dialog.
struct PlatformData {
  void* window;
};

struct AboutRecord {
  PlatformData* platformData;
  SPBasicSuite* sSPBasic;
};

// One filter run. The host owns the record and everything that it points to.
struct FilterRecord {
  // Safe to call from any thread.
  Boolean (*abortProc)();                            // true: the user wants to stop
  void (*progressProc)(int32_t done, int32_t total); // done <= total

  Handle parameters; // the plug-in's settings; null before its first run
  PlatformData* platformData;

  // The image. Rectangles are in document pixels at the rates below; planes count from 0.
  int16_t imageMode; // ImageMode
  int32_t depth;     // bits per channel: 8, 16 (samples 0 to 32768) or 32 (float)
  int16_t planes;    // all planes of the document, transparency included
  Rect16 filterRect, inRect, outRect, maskRect;
  BigDocumentData* bigDocumentData; // null: the host knows only the 16-bit rectangles
  int16_t inLoPlane, inHiPlane;     // planes wanted in inData
  int16_t outLoPlane, outHiPlane;   // planes wanted in outData
  Fixed inputRate, maskRate;        // document pixels per delivered pixel
  int16_t inputPadding, maskPadding;
  Boolean isFloating, haveMask, autoMask;
  Boolean wantsAbsolute; // set by the plug-in

  // Samples are interleaved, rows packed; valid until the next advanceState.
  void* inData;
  int32_t inRowBytes;
  void* outData;
  int32_t outRowBytes;
  void* maskData; // selection, 8 bits
  int32_t maskRowBytes;

  int32_t maxSpace;    // bytes that the host offers
  int32_t bufferSpace; // bytes that the plug-in asks to be kept free

  // Writes back the changes in the last outRect, then fills inData and outData for the current
  // rectangles, planes and rate. Non-zero on failure.
  HostResult (*advanceState)();
  // Draws srcRect of the map onto a DisplaySurface, with its top left corner at dstRow, dstCol.
  HostResult (*displayPixels)(const PSPixelMap* map, const VRect* srcRect, int32_t dstRow,
                              int32_t dstCol, void* surface);

  BufferProcs* bufferProcs;
  HandleProcs* handleProcs;
  DescriptorParameters* descriptorParameters; // null: no scripting
  SPBasicSuite* sSPBasic;                     // null: no suites
};

constexpr char pluginEntryName[] = "PluginMain_core";
constexpr char pluginTraceName[] = "gLog"; // FILE*, null until a host sets it

// The module's entry. `record` is an AboutRecord for filterSelectorAbout. `data` points to a word
// that the host keeps for the plug-in between calls. *runEnded becomes 1 when this run needs no
// further selector.
using PluginMainCore = void (*)(int16_t selector, FilterRecord* record, intptr_t* data,
                                int16_t* result, uint8_t* runEnded);
