// A session: one module, one document, and the host's side of everything that a filter requests.
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
  int threads = 1;              // team size of the plug-in's parallel regions
  void* window = nullptr;       // parent of dialogs, a QWidget*
  Registry* registry = nullptr; // null: kept in memory for this session only

  // Features that a host may lack. Tests use them to simulate poorer hosts; a program keeps the
  // defaults.
  int32_t maxSpace = 0x7fffffff; // bytes of the buffer suite's budget
  int failAllocation = 0;        // k > 0: the k-th request for a buffer or a handle fails
  bool wideRects = true;         // false: 16-bit rectangles only
  bool suites = true;            // false: no SPBasicSuite
  bool scripting = true;         // false: no scripting descriptors

  // Called from any thread of the plug-in; abort must be thread-safe, calls of the others are
  // serialised. If one throws, this counts as a wish to stop.
  std::function<bool()> abort;
  std::function<void(int32_t done, int32_t total)> progress;

  // Lets the program change settings that the filter itself estimates from the image, between the
  // estimate and its use, without a separate run for the estimates. While the start selector runs,
  // each question for an abort first passes the block of parameters() to this function, until it
  // returns true: the settings are final. It must leave settings alone that are still unset.
  std::function<bool(void* settings)> adjustSettings;
};

struct RunOutcome {
  int16_t result = 0;     // host code of the first selector that failed, or 0
  bool cancelled = false; // the user cancelled the dialog, or abort returned true during the run
  std::string message;    // one sentence for the user; empty on success
  // The filter returned without an error but before its last step, as it does if memory runs out:
  // the image may be unchanged.
  bool unfinished = false;
  // Number of non-finite samples in a 32-bit image that the filter returned; they are 0.
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

  // Each is one whole run. If the outcome is not ok(), the document's samples may be partly
  // filtered: the caller drops them. Running out of memory is an outcome, too; these functions
  // throw nothing.
  RunOutcome runFromMenu(); // selectors 1 to 5; the plug-in may open its dialog
  RunOutcome repeat();      // 2 to 5 with the same handles, and thus with the last run's settings
  // 2 to 5 with a script: playInfo is one of plugInDialogDontDisplay, Display, Silent.
  RunOutcome replay(const Recording& recording, int16_t playInfo);
  // A replay that opens no dialog, with the session's parameters().
  RunOutcome playSilently(const Script& script);
  RunOutcome about();

  // Block of the parameters handle, created with the plug-in's defaults (selector 1) if there is
  // none yet. The caller may edit the settings in place before a silent run. Null if this fails and
  // for a document that the filter refuses; outcome, if given, has the reason.
  void* parameters(RunOutcome* outcome = nullptr);

  // A sentence that says why the filter cannot process the document; empty if it can. Every run
  // checks this first.
  std::string refusal() const;

  // What the last run wrote, or nothing; a refused run does not count.
  const std::optional<Recording>& recorded() const;

  // Counts over the session's life.
  const StoreCounts& buffers() const;
  const StoreCounts& handles() const; // without the host's own handles

private:
  struct State;
  std::unique_ptr<State> state_;
};

} // namespace host
