// Accessors for both generations of the host's rectangles, and the planes of an image mode.
#include "frame/record/Rects.h"

#include "frame/record/Globals.h"

namespace {

bool hostUses32BitRects() {
  const BigDocumentData* big = gFilterRecord->bigDocumentData;
  return big && big->PluginUsing32BitCoordinates != 0;
}

VRect get(const Rect16 FilterRecord::*narrow, const VRect BigDocumentData::*wide) {
  if (hostUses32BitRects())
    return gFilterRecord->bigDocumentData->*wide;
  const Rect16& r = gFilterRecord->*narrow;
  return {r.top, r.left, r.bottom, r.right};
}

void set(Rect16 FilterRecord::*narrow, VRect BigDocumentData::*wide, const VRect& r) {
  if (hostUses32BitRects())
    gFilterRecord->bigDocumentData->*wide = r;
  else
    gFilterRecord->*narrow = {int16_t(r.top), int16_t(r.left), int16_t(r.bottom), int16_t(r.right)};
}

} // namespace

VRect GetFilterRect() { return get(&FilterRecord::filterRect, &BigDocumentData::filterRect32); }
VRect GetInRect() { return get(&FilterRecord::inRect, &BigDocumentData::inRect32); }
VRect GetOutRect() { return get(&FilterRecord::outRect, &BigDocumentData::outRect32); }

void SetInRect(int32_t top, int32_t left, int32_t bottom, int32_t right) {
  set(&FilterRecord::inRect, &BigDocumentData::inRect32, {top, left, bottom, right});
}

void SetOutRect(int32_t top, int32_t left, int32_t bottom, int32_t right) {
  set(&FilterRecord::outRect, &BigDocumentData::outRect32, {top, left, bottom, right});
}

void SetMaskRect(int32_t top, int32_t left, int32_t bottom, int32_t right) {
  set(&FilterRecord::maskRect, &BigDocumentData::maskRect32, {top, left, bottom, right});
}

void TraceRect(const char* name, const VRect& r) {
  TRACE("Rect '%s': [%d %d %d %d]\n", name, r.left, r.right, r.top, r.bottom);
}

int32_t CSPlanesFromMode(int32_t imageMode, int32_t defaultPlanes) {
  switch (imageMode) {
  case plugInModeBitmap:
  case plugInModeGrayScale:
  case plugInModeDuotone:
  case plugInModeGray16:
  case plugInModeDuotone16:
  case plugInModeGray32:
    return 1;
  case plugInModeIndexedColor:
  case plugInModeRGBColor:
  case plugInModeHSLColor:
  case plugInModeHSBColor:
  case plugInModeLabColor:
  case plugInModeRGB48:
  case plugInModeLab48:
  case plugInModeRGB96:
    return 3;
  case plugInModeCMYKColor:
  case plugInModeCMYK64:
    return 4;
  default:
    return defaultPlanes;
  }
}
