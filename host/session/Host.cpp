#include "host/session/Host.h"

#include <algorithm>
#include <limits>

namespace host {

namespace {

constexpr Fixed fullRate = 0x10000;

std::atomic<Host*> current = nullptr;

HostResult allocateBuffer(Host& host, int32_t size, BufferID* id) {
  *id = host.buffers.take(size, false);
  return *id ? noErr : memFullErr;
}

void* lockBuffer(Host& host, BufferID id, Boolean) { return host.buffers.lock(id); }
void unlockBuffer(Host& host, BufferID id) { host.buffers.unlock(id); }
void freeBuffer(Host& host, BufferID id) { host.buffers.release(id); }
int32_t bufferSpace(Host& host) { return int32_t(host.buffers.space()); }

intptr_t identity(Handle handle) { return reinterpret_cast<intptr_t>(handle); }

Handle newHandle(Host& host, int32_t size) {
  return reinterpret_cast<Handle>(host.handles.take(size, true));
}

void disposeHandle(Host& host, Handle handle) { host.handles.release(identity(handle)); }
int32_t handleSize(Host& host, Handle handle) { return host.handles.size(identity(handle)); }

HostResult setHandleSize(Host& host, Handle handle, int32_t size) {
  const bool known = host.handles.has(identity(handle));
  return host.handles.resize(identity(handle), size) ? noErr : known ? memFullErr : nilHandleErr;
}

void* lockHandle(Host& host, Handle handle, Boolean) { return host.handles.lock(identity(handle)); }
void unlockHandle(Host& host, Handle handle) { host.handles.unlock(identity(handle)); }

// The filter writes its settings while none of its team's threads run; between two abort questions
// of the team, the settings therefore change only under the lock.
void letSettingsBeAdjusted(Host& host) {
  if (host.settingsAdjusted || !host.runSettings)
    return;
  const std::lock_guard guard(host.settingsLock);
  if (!host.settingsAdjusted)
    host.settingsAdjusted = host.options.adjustSettings(host.runSettings);
}

// If a callback of the program throws, this counts as a wish to stop.
Boolean abortProc() {
  Host* host = currentHost();
  if (!host)
    return false;
  try {
    letSettingsBeAdjusted(*host);
    if (host->options.abort && host->options.abort())
      host->stopWanted = true;
  } catch (...) {
    host->stopWanted = true;
  }
  return host->stopWanted;
}

// Threads report their rows in any order; the program gets a number that only grows.
void progressProc(int32_t done, int32_t total) {
  Host* host = currentHost();
  if (!host)
    return;
  const std::lock_guard guard(host->progressLock);
  Steps& steps = host->steps;
  if (total != steps.announced)
    steps = {total};
  steps.reported++;
  if (done <= steps.shown)
    return;
  steps.shown = done;
  try {
    if (host->options.progress)
      host->options.progress(done, total);
  } catch (...) {
    host->stopWanted = true;
  }
}

// After the user has stopped the run, the filter gets no more pixels. Bands at full rate after
// reduced ones mean that the preview is over: the filter works, and itself asks for an abort only
// after it has all bands.
HostResult advanceState(Host& host) {
  const bool isReduced = host.record.inputRate > fullRate;
  host.previewed = host.previewed || isReduced;
  if (host.stopWanted || (host.previewed && !isReduced && abortProc()))
    return userCanceledErr;
  return host.transfer.advance();
}

Rect16 cut(const VRect& r) {
  const auto side = [](int32_t v) {
    return int16_t(std::clamp<int32_t>(v, std::numeric_limits<int16_t>::min(),
                                       std::numeric_limits<int16_t>::max()));
  };
  return {side(r.top), side(r.left), side(r.bottom), side(r.right)};
}

// Bounding box of the selected pixels; the whole document without a selection. Empty if no pixel is
// selected.
VRect selectedRect(const Document& document) {
  VRect box{0, 0, document.height(), document.width()};
  const std::vector<uint8_t>& weights = document.selection();
  if (weights.empty())
    return box;
  box = {document.height(), document.width(), 0, 0};
  for (int32_t y = 0; y < document.height(); y++) {
    const uint8_t* row = weights.data() + int64_t(y) * document.width();
    const uint8_t* end = row + document.width();
    const auto taken = [](uint8_t weight) { return weight != 0; };
    const uint8_t* first = std::find_if(row, end, taken);
    if (first == end)
      continue;
    const uint8_t* last = end;
    while (!taken(last[-1]))
      last--;
    box.left = std::min(box.left, int32_t(first - row));
    box.right = std::max(box.right, int32_t(last - row));
    box.top = std::min(box.top, y);
    box.bottom = y + 1;
  }
  return box.bottom ? box : VRect{};
}

} // namespace

Host* currentHost() { return current.load(std::memory_order_acquire); }

CurrentHost::CurrentHost(Host& host) {
  Host* none = nullptr;
  acquired_ = current.compare_exchange_strong(none, &host);
}

CurrentHost::~CurrentHost() {
  if (acquired_)
    current = nullptr;
}

HostResult unusedProc() { return errPlugInHostInsufficient; }

BufferProcs* bufferProcs() {
  static BufferProcs procs{2,
                           5,
                           Proc<allocateBuffer, memFullErr>::call,
                           Proc<lockBuffer>::call,
                           Proc<unlockBuffer>::call,
                           Proc<freeBuffer>::call,
                           Proc<bufferSpace>::call};
  return &procs;
}

HandleProcs* handleProcs() {
  static HandleProcs procs{1,
                           8,
                           Proc<newHandle>::call,
                           Proc<disposeHandle>::call,
                           Proc<handleSize>::call,
                           Proc<setHandleSize, memFullErr>::call,
                           Proc<lockHandle>::call,
                           Proc<unlockHandle>::call,
                           {unusedProc, unusedProc}};
  return &procs;
}

Host::Host(Document& document, SessionOptions given)
    : options(std::move(given)), document(document), requests{options.failAllocation, 0},
      buffers(requests, options.maxSpace), handles(requests, std::numeric_limits<int64_t>::max()),
      transfer(document, record), registry(options.registry ? *options.registry : ownRegistry) {
  platformData.window = options.window;
}

void Host::prepareRecord() {
  const Handle kept = record.parameters;
  const Boolean wideUsed = bigDocumentData.PluginUsing32BitCoordinates;
  record = {};
  bigDocumentData = {};
  record.parameters = kept;
  bigDocumentData.PluginUsing32BitCoordinates = wideUsed;

  record.abortProc = abortProc;
  record.progressProc = progressProc;
  record.platformData = &platformData;
  record.imageMode = document.imageMode();
  record.depth = document.depth();
  record.planes = int16_t(document.channels());
  const VRect selected = selectedRect(document);
  record.filterRect = cut(selected);
  bigDocumentData.filterRect32 = selected;
  record.bigDocumentData = options.wideRects ? &bigDocumentData : nullptr;
  record.inputRate = record.maskRate = fullRate;
  record.haveMask = record.autoMask = !document.selection().empty();
  record.maxSpace = options.maxSpace;
  record.advanceState = Proc<advanceState, memFullErr>::call;
  record.displayPixels = displayPixels;
  record.bufferProcs = bufferProcs();
  record.handleProcs = handleProcs();
  record.sSPBasic = options.suites ? basicSuite() : nullptr;

  transfer.drop();
  stopWanted = false;
  settingsAdjusted = !options.adjustSettings;
  steps = {};
  previewed = false;
}

} // namespace host
