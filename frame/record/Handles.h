// The two handles on which gParams and gData rest.
#pragma once

void CreateDataHandle();
bool LockHandles(); // false: no handle or no memory, told in *gResult
void InitParameters();
void InitData();

// Create what is missing of the two handles; *gResult is -108 when there is no memory.
void CreateMissingHandles();
