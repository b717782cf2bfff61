#include "apps/commandline/Editing.h"

#include <algorithm>
#include <new>
#include <stdexcept>
#include <string>

namespace commandline {

host::SessionOptions sessionOptions(int threads, const photo::Watch& watch, double from,
                                    double to) {
  host::SessionOptions options;
  options.threads = threads;
  options.abort = watch.stopped;
  options.progress = [&watch, from, to](int32_t done, int32_t total) {
    if (total > 0)
      watch.progress(from + (to - from) * std::min(1.0, double(done) / total));
  };
  return options;
}

void throwUnlessDone(const host::RunOutcome& outcome, const photo::Watch& watch) {
  if (watch.stopped())
    throw photo::Stopped();
  if (outcome.ok())
    return;
  if (outcome.cancelled)
    throw std::runtime_error("cancelled");
  if (outcome.result == memFullErr)
    throw std::bad_alloc();
  throw std::runtime_error(outcome.message.empty()
                               ? "the filter failed with code " + std::to_string(outcome.result)
                               : outcome.message);
}

Parameters& settingsOf(host::Session& session) {
  host::RunOutcome outcome;
  void* block = session.parameters(&outcome);
  if (!block && outcome.result != memFullErr)
    throw std::runtime_error(outcome.message); // the filter refuses the document
  if (!block)
    throw std::bad_alloc();
  return *static_cast<Parameters*>(block);
}

} // namespace commandline
