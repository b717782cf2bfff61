// The host's rectangles. Nothing else in the plug-in reads or writes them.
//
// Where the host has 32-bit rectangles and PluginUsing32BitCoordinates is set, these are used; else
// the 16-bit ones, whose sides lose their upper half.
#pragma once

#include "hostapi/HostTypes.h"
#include "primitives/base/Conversions.h"

VRect GetFilterRect();
VRect GetInRect();
VRect GetOutRect();
void SetInRect(int32_t top, int32_t left, int32_t bottom, int32_t right);
void SetOutRect(int32_t top, int32_t left, int32_t bottom, int32_t right);
void SetMaskRect(int32_t top, int32_t left, int32_t bottom, int32_t right);

// Sides of a rectangle; they wrap.
inline int32_t RectWidth(const VRect& r) { return wrappingSubtract(r.right, r.left); }
inline int32_t RectHeight(const VRect& r) { return wrappingSubtract(r.bottom, r.top); }

// One line of the trace: the name, then left, right, top, bottom.
void TraceRect(const char* name, const VRect& r);

// Colour planes of a host image mode (ImageMode); defaultPlanes where the mode leaves it open.
int32_t CSPlanesFromMode(int32_t imageMode, int32_t defaultPlanes);
