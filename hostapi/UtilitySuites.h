// Suites of the host that only the plug-in's utility layer uses. No run of the filter needs them,
// and a host may omit any of them.
#pragma once

#include "hostapi/HostTypes.h"

// The answer to one question about the host or its front document: a number, or a handle for larger
// data (text, path, metadata). The caller then owns the handle.
struct PropertyAnswer {
  intptr_t number;
  Handle handle; // null: the number is the answer
};

// Suite "Photoshop Property Suite for Plug-ins", version 1.
struct PropertySuite {
  // signature: owner of the property; index: which of several (channel, path, layer), from 0.
  // Non-zero if there is no such property.
  HostResult (*getProperty)(FourCharCode signature, FourCharCode key, int32_t index,
                            PropertyAnswer* answer);
};

// Suite "Photoshop Handle Suite for Plug-ins", version 2.
struct HandleSuite {
  Handle (*newHandle)(int32_t size); // bytes; null on failure
  void (*dispose)(Handle handle);
  int32_t (*getSize)(Handle handle);
  HostResult (*setSize)(Handle handle, int32_t size);
  void* (*lock)(Handle handle, Boolean moveHigh); // null on failure
  void (*unlock)(Handle handle);
};

// Suite "SP Access Suite", version 3: a loaded plug-in and the system handles of its module.
// Returns 0 on success.
using PluginAccess = struct HostPluginAccess*;
struct PlatformAccess {
  void* first;
  void* second; // null: use the first one
};
struct AccessSuite {
  int32_t (*getPluginAccess)(void* plugInRef, PluginAccess* access);
  int32_t (*getPlatformAccess)(PluginAccess access, PlatformAccess* platform);
};

// Suite "Photoshop GetFileList Suite for Plug-ins", version 4. Only its fourth procedure is used.
struct FileListSuite {
  HostResult (*unused[3])();
  HostResult (*openAddress)(const char* address); // opens it in the user's browser
};
