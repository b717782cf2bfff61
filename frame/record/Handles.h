// The two handles on which gParams and gData rest.
#pragma once

void CreateDataHandle();
bool LockHandles(); // false: no handle (-30100) or no memory (-108), in *gResult
void InitParameters();
void InitData();

// Creates those of the two handles that are missing; *gResult becomes -108 without memory.
void CreateMissingHandles();
