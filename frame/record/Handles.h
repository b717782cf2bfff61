// The two handles behind gParams and gData.
#pragma once

void CreateDataHandle();
bool LockHandles(); // false: no handle (-30100) or out of memory (-108), in *gResult
void InitParameters();
void InitData();

// Creates the missing handles; *gResult becomes -108 if out of memory.
void CreateMissingHandles();
