// The host's rectangles. No other code in the plug-in reads or writes them.
//
// If the host has 32-bit rectangles and PluginUsing32BitCoordinates is set, the accessors use
// these; otherwise the 16-bit ones, which drop the upper half of each side.
#pragma once

#include "hostapi/HostTypes.h"
#include "primitives/base/Conversions.h"

VRect GetFilterRect();
VRect GetInRect();
VRect GetOutRect();
void SetInRect(int32_t top, int32_t left, int32_t bottom, int32_t right);
void SetOutRect(int32_t top, int32_t left, int32_t bottom, int32_t right);
void SetMaskRect(int32_t top, int32_t left, int32_t bottom, int32_t right);

// Sides of a rectangle; the subtraction wraps.
inline int32_t RectWidth(const VRect& r) { return wrappingSubtract(r.right, r.left); }
inline int32_t RectHeight(const VRect& r) { return wrappingSubtract(r.bottom, r.top); }

// Traces one line: the name, then left, right, top, bottom.
void TraceRect(const char* name, const VRect& r);

// Colour planes of a host image mode (ImageMode); defaultPlanes if the mode does not define them.
int32_t CSPlanesFromMode(int32_t imageMode, int32_t defaultPlanes);
