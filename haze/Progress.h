// Progress of a whole computation, counted in rows, and the check whether the user wants to stop.
//
// Outside a filter run the steps do nothing. Stages call them inside parallel regions, on the
// thread that processes the row, without a lock: two rows may report the same number, which affects
// only the display.
#pragma once

#include <cstdint>

extern bool gFilterRunning;    // true while a computation for the filter (not the proxy) runs
extern int32_t gProgressStep;  // next step to report
extern int32_t gProgressTotal; // steps of the computation

// Counts the steps of a computation that reduces width x height to lowWidth x lowHeight.
void resetProgressProc(int32_t lowWidth, int32_t lowHeight, int32_t width, int32_t height);

// One step: false if the user wants to stop; the global result is then -128.
bool stepProgress();
