// Handles for code that must run with or without the host's handle procedures.
//
// Where the host's record is complete its procedures serve; where not, a handle is a block of two
// words of our own, the first of which points at the content. An error with a block of our own
// is kept in gUtilityHandleError.
#pragma once

#include "hostapi/Procs.h"

// Of the last operation on a block of our own: 0, memFullErr, nilHandleErr (a null handle) or
// memWZErr (not a block of ours, or one that is disposed of).
extern HostResult gUtilityHandleError;

// procs in all of them: the host's record, or null. size in bytes, content zero at first.
Handle NewUtilityHandle(const HandleProcs* procs, int32_t size); // null on failure
void DisposeUtilityHandle(const HandleProcs* procs, Handle handle);
int32_t GetUtilityHandleSize(const HandleProcs* procs, Handle handle); // 0 on failure
HostResult SetUtilityHandleSize(const HandleProcs* procs, Handle handle, int32_t size);
void* LockUtilityHandle(const HandleProcs* procs, Handle handle); // null on failure
void UnlockUtilityHandle(const HandleProcs* procs, Handle handle);
