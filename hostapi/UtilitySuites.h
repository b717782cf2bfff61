// Suites of the host that only the plug-in's utility layer asks for. No run of the filter needs
// them, and a host may leave any of them out.
#pragma once

#include "hostapi/HostTypes.h"

// Answer to one question about the host or its front document: a number, or for what is larger (a
// text, a path, metadata) a handle, which then belongs to whoever asked.
struct PropertyAnswer {
  intptr_t number;
  Handle handle; // null: the number is the answer
};

// Suite "Photoshop Property Suite for Plug-ins", version 1.
struct PropertySuite {
  // signature: whose property it is; index: which of several (channel, path, layer), from 0.
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

// Suite "SP Access Suite", version 3: a loaded plug-in and the system's handles of its module.
// Codes are 0 on success.
using PluginAccess = struct HostPluginAccess*;
struct PlatformAccess {
  void* first;
  void* second; // null: the first one counts
};
struct AccessSuite {
  int32_t (*getPluginAccess)(void* plugInRef, PluginAccess* access);
  int32_t (*getPlatformAccess)(PluginAccess access, PlatformAccess* platform);
};

// Suite "Photoshop GetFileList Suite for Plug-ins", version 4. Only its fourth procedure is used.
struct FileListSuite {
  HostResult (*unused[3])();
  HostResult (*openAddress)(const char* address); // in the user's browser
};
