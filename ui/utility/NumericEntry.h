// Numbers in edit boxes: reads them, writes them, and reports the valid range to the user.
//
// Texts pass through Pascal strings, so they have at most 255 bytes. Both "." and "," are decimal
// points.
#pragma once

#include <cstdint>

#include "frame/text/PascalString.h"
#include "ui/toolkit/Windows.h"

enum class EntryState { inRange = 0, outOfRange = 1, noNumber = 2 };

void FetchItemText(Window dialog, int item, PascalString& text);
void StoreItemText(Window dialog, int item, const PascalString& text); // stores at most 254 bytes

// Also stores a number that is out of range; stores 0 if there is none.
EntryState FetchInteger(Window dialog, int item, int32_t minimum, int32_t maximum, int32_t& result);
// Reads whole part and fraction as two whole numbers, each with its own sign: -1.5 reads as -0.5.
// One of them is enough.
EntryState FetchDouble(Window dialog, int item, double minimum, double maximum, double& result);

void StoreDouble(Window dialog, int item, double value, int precision);

// For a value out of range: sets it, and the item, to the limit that it exceeds, reports the range
// (only with a beep if active is 0), selects the item's text and gives it the focus.
void ReportIntegerRange(Window dialog, int item, int32_t minimum, int32_t maximum, int32_t& value,
                        int32_t active);
void ReportDoubleRange(Window dialog, int item, double minimum, double maximum, double& value,
                       int32_t active);
