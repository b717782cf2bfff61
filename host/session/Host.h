// What stands behind the procedures of one session: the interface's procedures take no context, so
// they reach it through the session whose plug-in call runs.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include "host/document/Document.h"
#include "host/lending/AdvanceState.h"
#include "host/lending/Stores.h"
#include "host/scripting/Registry.h"
#include "host/scripting/Scripting.h"
#include "host/session/Session.h"

namespace host {

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

  Registry ownRegistry; // serves when the options name none
  Registry& registry;
  Lent<HostReadToken> readTokens;
  Lent<HostWriteToken> writeTokens;
  Lent<HostActionDescriptor> actionDescriptors;
  Session::SuiteCounts suiteCounts{};

  std::atomic<bool> abortSaid = false; // the user wanted to stop at some time of this run
  std::mutex progressLock;             // guards the two below and the progress call
  int32_t shownDone = -1, shownTotal = -1;

  // Fills the record anew for a run.
  void prepareRecord();
};

// The host of the call that runs, or null. Any thread may ask.
Host* currentHost();

// Makes a host the current one for its lifetime. Only one at a time: acquired() is false while
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

// The procedure records and suites; they serve the session whose plug-in call runs.
ReadDescriptorProcs* readDescriptorProcs();
WriteDescriptorProcs* writeDescriptorProcs();
extern const ActionDescriptorSuite actionDescriptorSuite;
extern const DescriptorRegistrySuite descriptorRegistrySuite;
BufferProcs* bufferProcs();
HandleProcs* handleProcs();
SPBasicSuite* basicSuite();

HostResult displayPixels(const PSPixelMap* map, const VRect* srcRect, int32_t dstRow,
                         int32_t dstCol, void* surface);

// Stands in a procedure slot without a use.
HostResult unusedProc();

} // namespace host
