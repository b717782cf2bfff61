// Scalars, rectangles and codes shared by a host and the plug-in.
//
// Everything in hostapi/ is plain data and C-style procedure pointers: a host fills the records,
// the plug-in reads them, and neither links against the other. Headers only; they include no other
// folder.
#pragma once

#include <cstdint>

using Boolean = uint8_t;           // 0 or 1
using HostResult = int16_t;        // 0 is success, other values are codes below
using Fixed = int32_t;             // 16.16 fixed point; 0x10000 is 1.0
using FourCharCode = uint32_t;     // first character in the most significant byte
using BufferID = intptr_t;         // block of the host's buffer suite; 0 is no block
using Handle = struct HostHandle*; // block of the host's handle suite; null is no block

constexpr FourCharCode fourCharCode(const char (&code)[5]) {
  return FourCharCode(uint8_t(code[0])) << 24 | FourCharCode(uint8_t(code[1])) << 16 |
         FourCharCode(uint8_t(code[2])) << 8 | FourCharCode(uint8_t(code[3]));
}

// Rectangle of the first interface generation, with 16-bit sides; bottom and right lie outside.
struct Rect16 {
  int16_t top, left, bottom, right;
};

// Rectangle with 32-bit sides; bottom and right lie outside.
struct VRect {
  int32_t top, left, bottom, right;
};

inline bool operator==(const VRect& a, const VRect& b) {
  return a.top == b.top && a.left == b.left && a.bottom == b.bottom && a.right == b.right;
}

// Result codes of the host.
constexpr HostResult noErr = 0;
constexpr HostResult readErr = -19;
constexpr HostResult memFullErr = -108;
constexpr HostResult nilHandleErr = -109;
constexpr HostResult memWZErr = -111;
constexpr HostResult userCanceledErr = -128;
constexpr HostResult errMissingParameter = -1715;
constexpr HostResult filterBadParameters = -30100;
constexpr HostResult errPlugInHostInsufficient = -30900;

// Selectors of the entry.
constexpr int16_t filterSelectorAbout = 0;
constexpr int16_t filterSelectorParameters = 1;
constexpr int16_t filterSelectorPrepare = 2;
constexpr int16_t filterSelectorStart = 3;
constexpr int16_t filterSelectorContinue = 4;
constexpr int16_t filterSelectorFinish = 5;

// Image modes of a document (FilterRecord::imageMode).
enum ImageMode : int16_t {
  plugInModeBitmap = 0,
  plugInModeGrayScale = 1,
  plugInModeIndexedColor = 2,
  plugInModeRGBColor = 3,
  plugInModeCMYKColor = 4,
  plugInModeHSLColor = 5,
  plugInModeHSBColor = 6,
  plugInModeMultichannel = 7,
  plugInModeDuotone = 8,
  plugInModeLabColor = 9,
  plugInModeGray16 = 10,
  plugInModeRGB48 = 11,
  plugInModeLab48 = 12,
  plugInModeCMYK64 = 13,
  plugInModeDeepMultichannel = 14,
  plugInModeDuotone16 = 15,
  plugInModeRGB96 = 16,
  plugInModeGray32 = 17,
};

// Dialog options for a replay (DescriptorParameters::playInfo) and for a recording (recordInfo).
constexpr int16_t plugInDialogDontDisplay = 0;
constexpr int16_t plugInDialogDisplay = 1;
constexpr int16_t plugInDialogSilent = 2;
constexpr int16_t plugInDialogOptional = 0;
constexpr int16_t plugInDialogRequired = 1;
