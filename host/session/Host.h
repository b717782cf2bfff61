// The state behind the procedures of one session, and those procedures.
//
// A procedure of the interface has no context argument: it serves the session whose plug-in call is
// running.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <type_traits>

#include "host/document/Document.h"
#include "host/lending/AdvanceState.h"
#include "host/lending/Stores.h"
#include "host/scripting/Registry.h"
#include "host/scripting/Scripting.h"
#include "host/session/Session.h"

namespace host {

// The progress of a run, counted by the calls of progressProc. Each call is one finished step,
// whatever its number says: threads that count without a lock may report a number twice.
struct Steps {
  int32_t announced = 0; // total of the last call; 0 before the first
  int32_t reported = 0;  // calls with this total
  int32_t shown = -1;    // highest number passed to the program
  bool complete() const { return announced > 0 && reported >= announced; }
};

struct Host {
  Host(Document& document, SessionOptions options);

  SessionOptions options;
  Document& document;

  Requests requests;
  BlockStore buffers, handles;

  FilterRecord record{};
  BigDocumentData bigDocumentData{};
  PlatformData platformData{};
  DescriptorParameters descriptorParameters{};
  Transfer transfer;

  Registry ownRegistry; // used if the options name none
  Registry& registry;
  Lent<HostReadToken> readTokens;
  Lent<HostWriteToken> writeTokens;
  Lent<HostActionDescriptor> actionDescriptors;

  // Calls of SPBasicSuite; refused: for a suite that this host does not have.
  struct SuiteCounts {
    int acquired = 0, released = 0, refused = 0;
  } suiteCounts;

  std::atomic<bool> stopWanted = false; // the user has asked to stop during this run
  void* runSettings = nullptr; // block of parameters during the start selector, otherwise null
  std::mutex settingsLock; // protects the settings behind it against questions from other threads
  std::atomic<bool> settingsAdjusted =
      true;                // this run's settings are final, or the program does not change them
  std::mutex progressLock; // protects steps and the program's progress callback
  Steps steps;
  bool previewed = false; // this run has requested reduced bands, as a preview does

  // Fills the record for a new run.
  void prepareRecord();
};

// The host whose call is running, or null. Safe from any thread.
Host* currentHost();

// Makes a host the current one for its lifetime. There can be only one: acquired() is false while
// another session's call runs.
class CurrentHost {
public:
  explicit CurrentHost(Host& host);
  ~CurrentHost();
  CurrentHost(const CurrentHost&) = delete;
  bool acquired() const { return acquired_; }

private:
  bool acquired_;
};

// A procedure of the interface that calls a function: Proc<serve, otherwise>::call. No exception
// may unwind through the plug-in, so an exception (out of memory) returns `otherwise`, and so does
// a call while no session runs.
template <auto serve, auto otherwise = 0> struct Proc;
template <class Result, class... Arguments, Result (*serve)(Host&, Arguments...), auto otherwise>
struct Proc<serve, otherwise> {
  static Result call(Arguments... arguments) {
    try {
      if (Host* host = currentHost())
        return serve(*host, arguments...);
    } catch (...) {
    }
    if constexpr (std::is_arithmetic_v<Result>)
      return Result(otherwise);
    else
      return Result(); // null, or nothing
  }
};

ReadDescriptorProcs* readDescriptorProcs();
WriteDescriptorProcs* writeDescriptorProcs();
extern const ActionDescriptorSuite actionDescriptorSuite;
extern const DescriptorRegistrySuite descriptorRegistrySuite;
BufferProcs* bufferProcs();
HandleProcs* handleProcs();
SPBasicSuite* basicSuite();

HostResult displayPixels(const PSPixelMap* map, const VRect* srcRect, int32_t dstRow,
                         int32_t dstCol, void* surface);

// Fills unused procedure slots.
HostResult unusedProc();

} // namespace host
