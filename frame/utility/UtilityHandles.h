// Handles for code that must run with or without the host's handle procedures.
//
// If the host's record is complete, its procedures are used. Otherwise a handle is our own block of
// two words, the first of which points to the content, and gUtilityHandleError keeps the errors.
#pragma once

#include "hostapi/Procs.h"

// Code of the last operation on a block of our own: 0, memFullErr, nilHandleErr (a null handle) or
// memWZErr (not one of our blocks, or already disposed of).
extern HostResult gUtilityHandleError;

// procs, in all of them: the host's record, or null. size in bytes; the content is initially zero.
Handle NewUtilityHandle(const HandleProcs* procs, int32_t size); // null on failure
void DisposeUtilityHandle(const HandleProcs* procs, Handle handle);
int32_t GetUtilityHandleSize(const HandleProcs* procs, Handle handle); // 0 on failure
HostResult SetUtilityHandleSize(const HandleProcs* procs, Handle handle, int32_t size);
void* LockUtilityHandle(const HandleProcs* procs, Handle handle); // null on failure
void UnlockUtilityHandle(const HandleProcs* procs, Handle handle);
