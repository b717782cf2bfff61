// Procedure records of the host: buffers, handles, scripting descriptors, suites.
//
// Each record carries its version and the number of procedures that follow, so that a plug-in knows
// what it may call.
#pragma once

#include "hostapi/HostTypes.h"

using UnusedProc = HostResult (*)(); // a slot that this interface does not use; never null

// Blocks that count against the memory budget of a run. Host thread only.
struct BufferProcs {
  int16_t version;                                        // 2
  int16_t count;                                          // 5
  HostResult (*allocateProc)(int32_t size, BufferID* id); // size in bytes
  void* (*lockProc)(BufferID id, Boolean moveHigh);       // null if the block is not available
  void (*unlockProc)(BufferID id);
  void (*freeProc)(BufferID id);
  int32_t (*spaceProc)(); // bytes still available
};

// Small blocks that the host keeps for the plug-in between calls. Host thread only.
struct HandleProcs {
  int16_t version;                 // 1
  int16_t count;                   // 8
  Handle (*newProc)(int32_t size); // null on failure; contents zero
  void (*disposeProc)(Handle handle);
  int32_t (*getSizeProc)(Handle handle);
  HostResult (*setSizeProc)(Handle handle, int32_t size);
  void* (*lockProc)(Handle handle, Boolean moveHigh); // null on failure
  void (*unlockProc)(Handle handle);
  UnusedProc unused[2];
};

// Scripting descriptors. A token identifies one descriptor while it is read or written.
using ReadToken = struct HostReadToken*;
using WriteToken = struct HostWriteToken*;
using ScriptDescriptor = Handle;

struct ReadDescriptorProcs {
  int16_t version; // 0
  int16_t count;   // 18
  // keys: zero-terminated list of the keys that the plug-in knows. Null if there is nothing to
  // read.
  ReadToken (*openReadDescriptorProc)(ScriptDescriptor descriptor, const FourCharCode* keys);
  // Ends the reading; returns the code of the first failed read, or 0.
  HostResult (*closeReadDescriptorProc)(ReadToken token);
  // Steps to the next key. False at the end.
  Boolean (*getKeyProc)(ReadToken token, FourCharCode* key, FourCharCode* type, int32_t* flags);
  HostResult (*getBooleanProc)(ReadToken token, Boolean* value);
  UnusedProc unused[14];
};

struct WriteDescriptorProcs {
  int16_t version;                         // 0
  int16_t count;                           // 16
  WriteToken (*openWriteDescriptorProc)(); // null on failure
  HostResult (*closeWriteDescriptorProc)(WriteToken token, ScriptDescriptor* descriptor);
  HostResult (*putBooleanProc)(WriteToken token, FourCharCode key, Boolean value);
  UnusedProc unused[13];
};

// The script of one invocation: what the host plays and what it records.
struct DescriptorParameters {
  int16_t version;             // 0
  int16_t playInfo;            // plugInDialogDontDisplay, ...Display, ...Silent
  int16_t recordInfo;          // plugInDialogOptional, ...Required, ...
  ScriptDescriptor descriptor; // null: nothing to play. The plug-in disposes of it after reading.
  ReadDescriptorProcs* readDescriptorProcs;
  WriteDescriptorProcs* writeDescriptorProcs;
};

// Access to every named suite of the host. Returns 0 on success.
struct SPBasicSuite {
  int32_t (*AcquireSuite)(const char* name, int32_t version, const void** suite);
  int32_t (*ReleaseSuite)(const char* name, int32_t version);
};

// A collection of keyed values in memory.
using ActionDescriptor = struct HostActionDescriptor*;

// Suite "df135115-c769-11d0-8079-00c04fd7ec47", version 2.
struct ActionDescriptorSuite {
  int32_t (*Make)(ActionDescriptor* descriptor);
  int32_t (*Free)(ActionDescriptor descriptor);
  int32_t (*GetBoolean)(ActionDescriptor descriptor, FourCharCode key, Boolean* value);
  int32_t (*PutBoolean)(ActionDescriptor descriptor, FourCharCode key, Boolean value);
};

// Suite "61e608b0-40fd-11d1-8da3-00c04fd5f7ee", version 1: descriptors stored under string keys.
struct DescriptorRegistrySuite {
  // A persistent entry outlives the host process. The registry keeps its own copy.
  int32_t (*Register)(const char* key, ActionDescriptor descriptor, Boolean isPersistent);
  // Gives a descriptor that the caller frees; null with code 0 if the key has no entry.
  int32_t (*Get)(const char* key, ActionDescriptor* descriptor);
};

constexpr char actionDescriptorSuiteName[] = "df135115-c769-11d0-8079-00c04fd7ec47";
constexpr int32_t actionDescriptorSuiteVersion = 2;
constexpr char descriptorRegistrySuiteName[] = "61e608b0-40fd-11d1-8da3-00c04fd5f7ee";
constexpr int32_t descriptorRegistrySuiteVersion = 1;
