// A session: one module, one document, and the editor's side of everything that a filter asks for.
//
// The plug-in keeps process-wide state, so only one call of one session runs at a time in a
// process; sessions may follow each other. The parameters handle and the plug-in's data word live
// as long as the session, for its repeats.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/document/Document.h"
#include "host/lending/Stores.h"
#include "host/module/FilterModule.h"
#include "host/scripting/Registry.h"
#include "hostapi/FilterRecord.h"

namespace host {

struct SessionOptions {
  int threads = 1;              // team size that the plug-in finds at its entry
  void* window = nullptr;       // owner of dialogs, a QWidget*
  Registry* registry = nullptr; // null: kept in memory for the session only

  // What a host may lack. For tests, which play poorer hosts; a program leaves these as they are.
  int32_t maxSpace = 0x7fffffff; // bytes of the buffer suite's budget
  int failAllocation = 0;        // k > 0: the k-th request for a buffer or a handle fails
  bool wideRects = true;         // false: 16-bit rectangles only
  bool suites = true;            // false: no SPBasicSuite
  bool scripting = true;         // false: no scripting descriptors

  // Called from any thread of the plug-in; abort must be safe there, the others are serialised. One
  // that throws counts as a wish to stop.
  std::function<bool()> abort;
  std::function<void(int32_t done, int32_t total)> progress;

  // For settings that the filter itself estimates from the image, and uses only later: the program
  // may change them in between, as a dialog would, without a run of its own for the estimates.
  // While the start selector runs, each question for an abort first passes the block of
  // parameters() to this, until it says that the settings stand as they are to be. What it finds
  // unset it leaves.
  std::function<bool(void* settings)> adjustSettings;
};

struct RunOutcome {
  int16_t result = 0;     // host code of the first selector that failed, or 0
  bool cancelled = false; // the user cancelled the dialog, or abort said yes during the run
  std::string message;    // one sentence for a person; empty on success
  // The filter returned without an error but short of its last step, as it does when memory runs
  // out: the image may be as it was.
  bool unfinished = false;
  // Samples of a 32-bit image that the filter returned as no finite number; they are 0.
  int64_t lostSamples = 0;
  bool ok() const { return result == 0 && !cancelled && !unfinished; }
};

// What a run leaves for an action that repeats it.
struct Recording {
  Script script;
  int16_t recordInfo =
      plugInDialogOptional; // set by the plug-in: whether a replay needs the dialog
};

class Session {
public:
  Session(const Module& module, Document& document, SessionOptions options);
  ~Session();
  Session(const Session&) = delete;

  // Each is one whole run. After one that is not ok() the document's samples may be part filtered:
  // the caller drops them. Memory that runs out is an outcome; nothing is thrown.
  RunOutcome runFromMenu(); // selectors 1 to 5; the plug-in may open its dialog
  RunOutcome repeat();      // 2 to 5 with the kept handles, and so with the last run's settings
  // 2 to 5 with a script: playInfo is one of plugInDialogDontDisplay, Display, Silent.
  RunOutcome replay(const Recording& recording, int16_t playInfo);
  // A replay that opens no dialog, with the parameters() of the session.
  RunOutcome playSilently(const Script& script);
  RunOutcome about();

  // Block of the parameters handle, made and set to the plug-in's defaults (selector 1) if there is
  // none yet. The caller may edit the settings in place before a silent run. Null where that fails
  // and for a document that the filter refuses; outcome, if given, says why.
  void* parameters(RunOutcome* outcome = nullptr);

  // Why the filter cannot take the document, in words; empty if it can. Every run asks this first.
  std::string refusal() const;

  // What the last run wrote, or nothing; a refused run does not count.
  const std::optional<Recording>& recorded() const;

  // Accounts over the session's life.
  const StoreCounts& buffers() const;
  const StoreCounts& handles() const; // without the host's own

private:
  struct State;
  std::unique_ptr<State> state_;
};

} // namespace host
