// Numbers in edit boxes: reading them, writing them, and telling the user the range.
//
// Texts pass through Pascal strings, so they end at 255 bytes. Both "." and "," are decimal points.
#pragma once

#include <cstdint>

#include "frame/text/PascalString.h"
#include "ui/toolkit/Windows.h"

enum class EntryState { inRange = 0, outOfRange = 1, noNumber = 2 };

void FetchItemText(Window dialog, int item, PascalString& text);
void StoreItemText(Window dialog, int item, const PascalString& text); // at most 254 bytes arrive

// The number is stored also when it is out of range; 0 when there is none.
EntryState FetchInteger(Window dialog, int item, int32_t minimum, int32_t maximum, int32_t& result);
// Whole part and fraction are read as two whole numbers, each with a sign of its own: -1.5 reads as
// -0.5. One of them is enough.
EntryState FetchDouble(Window dialog, int item, double minimum, double maximum, double& result);

void StoreDouble(Window dialog, int item, double value, int precision);

// For a value out of range: sets it, and the item, to the bound that it passed, tells the range
// (with active 0 only by a beep), and leaves the item's text selected, with the focus.
void ReportIntegerRange(Window dialog, int item, int32_t minimum, int32_t maximum, int32_t& value,
                        int32_t active);
void ReportDoubleRange(Window dialog, int item, double minimum, double maximum, double& value,
                       int32_t active);
