// What the command line adds to the pool: signals, messages, the progress bar, the exit status.

#include "apps/commandline/Jobs.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>

#include <omp.h>

#include "apps/commandline/Dialog.h"
#include "apps/commandline/Terminal.h"
#include "apps/photo/Room.h"
#include "apps/shared/Develop.h"
#include "apps/shared/Pool.h"

namespace commandline {
namespace {

using shared::Job;

constexpr int turnMilliseconds = 200; // longest wait, and the interval of the bar

std::atomic<int> stopSignal{0}; // lock-free, because a handler sets it
std::atomic<int> stopRequests{0};
static_assert(std::atomic<int>::is_always_lock_free);

void requestStop(int signal) {
  stopSignal = signal;
  ++stopRequests;
}

constexpr int stoppingSignals[] = {SIGINT, SIGTERM, SIGHUP};

void handle(int signal, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  ::sigemptyset(&action.sa_mask);
  ::sigaction(signal, &action, nullptr);
}

sigset_t none() {
  sigset_t set;
  ::sigemptyset(&set);
  return set;
}

// Handles the signals that stop the program, and blocks them except while the pool waits, so that
// none is lost. Signals that the caller ignores, as nohup does for a hang-up, stay ignored.
void takeSignals() {
  sigset_t held = none();
  for (int signal : stoppingSignals) {
    struct sigaction found {};
    if (::sigaction(signal, nullptr, &found) == 0 && found.sa_handler == SIG_IGN)
      continue;
    ::sigaddset(&held, signal);
    handle(signal, requestStop);
  }
  ::sigprocmask(SIG_BLOCK, &held, nullptr);
  handle(SIGPIPE, SIG_IGN); // a write then fails, with a reason
}

[[noreturn]] void endBySignal(int signal) {
  handle(signal, SIG_DFL);
  const sigset_t set = none();
  ::sigprocmask(SIG_SETMASK, &set, nullptr);
  ::raise(signal);
  std::_Exit(128 + signal);
}

// ---- In the child

shared::Corrector correctorFor(const Options& options, int threads, const host::Module& module,
                               const shared::Reporter& reporter) {
  if (!options.dialog)
    return {[&, threads](host::Document& document, const photo::Watch& watch) {
      return shared::correct(module, document, options.look, threads, watch);
    }};
  return {[&, threads](host::Document& document, const photo::Watch& watch) {
            startWindows([&reporter](const std::string& reason) { reporter.fail(reason); });
            return shared::correctInDialog(module, document, threads, watch);
          },
          true};
}

shared::Work workOf(const Options& options, const host::Module& module) {
  return [&](const Job& job, const shared::Reporter& reporter, const photo::Watch& watch) {
    const shared::Listener listener = reporter.listener();
    shared::Request request = options;
    request.threads = photo::threadsForFilter(options.threads);
    if (request.threads < options.threads)
      listener.note("the system gives it " + std::to_string(request.threads) + " of " +
                    std::to_string(options.threads) + " threads");
    omp_set_num_threads(request.threads);
    listener.detail("module " + module.file().filename().string());
    const shared::CorrectionReport report = develop(
        job, request, correctorFor(options, request.threads, module, reporter), listener, watch);
    if (options.dialog && !options.saveSettings.empty())
      saveLook(options.saveSettings, shared::lookOf(report.used), options.force);
  };
}

// ---- In the parent

class Teller : public shared::PoolListener {
public:
  Teller(const std::vector<Job>& jobs, const Options& options, bool bar)
      : jobs_(jobs), options_(options), bar_(bar) {}

  void started(size_t index) override {
    running_[index] = {jobs_[index].input, 0, int(index) + 1, int(jobs_.size()),
                       std::chrono::steady_clock::now()};
  }
  void progress(size_t index, double share) override { running_[index].share = share; }
  void note(size_t index, const std::string& text) override {
    if (!options_.quiet)
      say(named(jobs_[index].input), text);
  }
  void detail(size_t index, const std::string& text) override {
    if (options_.verbose)
      say(named(jobs_[index].input), text);
  }
  void ended(size_t index, shared::End end, const std::string& reason) override {
    running_.erase(index);
    failed_ += end == shared::End::failed || end == shared::End::stopped;
    cancelled_ += end == shared::End::cancelled;
    if (end == shared::End::done && (options_.verbose || (!options_.quiet && barIsPossible())))
      say(named(jobs_[index].input), "written to " + jobs_[index].output);
    else if (end != shared::End::done && !stopSignal)
      say(named(jobs_[index].input), reason);
  }

  void drawOldest() {
    const auto now = std::chrono::steady_clock::now();
    if (!bar_ || running_.empty() || now - drawn_ < std::chrono::milliseconds(turnMilliseconds))
      return;
    drawn_ = now;
    drawBar(running_.begin()->second);
  }

  int summary() const { // returns the exit status
    const std::string of = " of " + std::to_string(jobs_.size()) + " photographs ";
    if (failed_ && jobs_.size() > 1)
      say("", std::to_string(failed_) + of + "failed");
    if (cancelled_ && jobs_.size() > 1)
      say("", std::to_string(cancelled_) + of + "cancelled");
    return failed_ ? exitFailed : cancelled_ ? exitCancelled : exitDone;
  }

private:
  const std::vector<Job>& jobs_;
  const Options& options_;
  bool bar_;
  std::map<size_t, BarState> running_;
  std::chrono::steady_clock::time_point drawn_;
  int failed_ = 0, cancelled_ = 0;
};

} // namespace

int runJobs(const std::vector<Job>& jobs, const Options& options, const host::Module& module) {
  const bool bar = !options.quiet && !options.dialog && barIsPossible();
  setBarInUse(bar);
  takeSignals();
  Teller teller(jobs, options, bar);
  shared::Pool pool(jobs, workOf(options, module), teller,
                    {options.jobs, int64_t(options.memory * double(shared::megabyte)),
                     /*endsAtOnce=*/options.dialog, options.verbose});
  const sigset_t blocked = none();
  for (int forwarded = 0; !pool.isDone();) {
    pool.turn(turnMilliseconds, &blocked);
    teller.drawOldest();
    for (const int requests = std::min<int>(stopRequests, 2); forwarded < requests; ++forwarded)
      pool.stop();
  }
  if (bar)
    clearBar();
  if (stopSignal) {
    say("", "stopped");
    std::fflush(nullptr);
    endBySignal(stopSignal);
  }
  return teller.summary();
}

} // namespace commandline
