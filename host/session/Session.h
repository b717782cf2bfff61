// A session: one module, one document, and the editor's side of everything that a filter asks for.
//
// The plug-in keeps process-wide state, so a process runs one session's call at a time; sessions
// may follow each other. The parameters handle and the data word live as long as the session and
// serve its repeats.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/document/Document.h"
#include "host/module/FilterModule.h"
#include "host/scripting/Registry.h"
#include "hostapi/FilterRecord.h"

namespace host {

struct SessionOptions {
  int threads = 1;               // team size that the plug-in finds at its entry
  void* window = nullptr;        // owner of dialogs, a QWidget*
  Registry* registry = nullptr;  // null: kept in memory for the session only
  int32_t maxSpace = 0x7fffffff; // bytes of the buffer suite's budget
  int failAllocation = 0;        // k > 0: the k-th request of buffers and handles fails
  bool wideRects = true;         // false: a host that only knows 16-bit rectangles
  bool suites = true;            // false: a host without SPBasicSuite
  bool scripting = true;         // false: a host without scripting descriptors
  // Called from any thread of the plug-in; abort must be safe there, progress is serialised.
  std::function<bool()> abort;
  std::function<void(int32_t done, int32_t total)> progress;
  // Opens an address in the user's browser; null: the host has no suite for it.
  std::function<bool(const std::string& address)> openAddress;
};

struct RunOutcome {
  int16_t result = 0;     // host code of the first selector that failed, or 0
  bool cancelled = false; // the user cancelled the dialog, or abort said yes during the run
  std::string message;    // one sentence for a person; empty on success
  // Host memory was refused to the filter, which ends such a run as if all were well: the image may
  // be as it was.
  bool starved = false;
  bool ok() const { return result == 0 && !cancelled && !starved; }
};

class Session {
public:
  Session(const Module& module, Document& document, SessionOptions options);
  ~Session();
  Session(const Session&) = delete;

  // Each is one whole run. After a failed or cancelled one the document's samples may be part
  // filtered: the caller drops them.
  RunOutcome runFromMenu(); // selectors 1 to 5; the plug-in may open its dialog
  RunOutcome
  playSilently(const Script& script); // parameters made if missing, kept if not; no dialog
  RunOutcome repeat();                // 2 to 5 with the kept handles
  RunOutcome replay(const Script& script, int16_t playInfo, int16_t recordInfo);
  RunOutcome about();

  // Block of the parameters handle: created and set to the plug-in's defaults (selector 1) if there
  // is none yet. The caller may edit the settings in place before a silent run. Null where that
  // fails and for a document that the filter refuses; outcome, if given, says why.
  void* parameters(RunOutcome* outcome = nullptr);

  // Why the filter cannot take the document, in words; empty if it can. Every run asks this first.
  const std::string& refusal() const;

  const std::optional<Script>& recorded() const; // script of the last finished run

  // Accounting over the session's life, for tests and diagnostics.
  struct BufferCounts {
    int requests, live, refusedFrees; // of buffers and handles; buffers not yet freed; of buffers
    int64_t bytesInUse, bytesPeak;
    int refusedLocks, refusedUnlocks; // of blocks that do not exist; unlocks also of unlocked ones
  };
  BufferCounts buffers() const;

  struct HandleCounts {
    int live;    // of the handles that the plug-in made: not yet disposed of
    int refused; // calls with a handle that does not exist
  };
  HandleCounts handles() const;

  struct SuiteCounts {
    int acquired, released, refused; // refused: asked for a suite that is not here
  };
  SuiteCounts suites() const;

private:
  struct State;
  std::unique_ptr<State> state_;
};

} // namespace host
