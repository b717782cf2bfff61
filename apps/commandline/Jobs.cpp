// A process a photograph: the plug-in's globals serve one call at a time, and a crash costs one
// photograph.
//
// The parent starts no thread, so that a plain fork serves; it waits for signals and for progress
// reports, which come through a pipe as one number each, and it removes what a crashed child left.

#include "apps/commandline/Jobs.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <list>

#include <fcntl.h>
#include <omp.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "apps/commandline/Dialog.h"
#include "apps/commandline/Terminal.h"
#include "apps/shared/Develop.h"
#include "apps/shared/Errors.h"

namespace commandline {
namespace {

using shared::Job;
using Clock = std::chrono::steady_clock;

// Of a child that was asked to stop. It has said nothing, as one that was cancelled; one that
// failed has said why. A library that ends the process by itself uses none of the three.
constexpr int exitStopped = 130, childFailed = 131, childCancelled = 132;
constexpr int redrawMilliseconds = 200;
constexpr float reportStep = 0.005f; // share of a photograph between two reports

std::atomic<int> stopSignal{0}; // lock-free: set by a handler, read from any thread
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

// Signals that the parent waits for. They are blocked except while it waits, so that it misses
// none.
sigset_t waitedSignals() {
  sigset_t set;
  ::sigemptyset(&set);
  ::sigaddset(&set, SIGCHLD);
  for (int signal : stoppingSignals)
    ::sigaddset(&set, signal);
  return set;
}

struct Child {
  pid_t pid;
  int reports; // reading end of the pipe, or -1
  const Job* job;
  int number; // among all photographs, from 1
  float share = 0;
  Clock::time_point begun = Clock::now();
};

struct Run {
  const std::vector<Job>& jobs;
  const Options& options;
  const host::Module& module;
  bool bar = false;
  std::list<Child> children;
  int failed = 0, cancelled = 0;
};

// ---- In the child

shared::Corrector correctorFor(const Run& run, const Job& job) {
  const Options& options = run.options;
  if (!options.dialog)
    return {[&](host::Document& document, const photo::Watch& watch) {
      return shared::correct(run.module, document, options.look, options.threads, watch);
    }};
  return {[&](host::Document& document, const photo::Watch& watch) {
            startWindows(job.input, childFailed);
            return shared::correctInDialog(run.module, document, options.threads, watch);
          },
          true};
}

void developAndTell(const Run& run, const Job& job, const photo::Watch& watch) {
  const Options& options = run.options;
  auto tell = [&job](const std::string& text) { say(job.input, text); };
  shared::Listener listener;
  if (!options.quiet)
    listener.note = tell;
  if (options.verbose) {
    listener.detail = tell;
    tell("module " + run.module.file().filename().string());
  }
  const shared::CorrectionReport report =
      develop(job, options, correctorFor(run, job), listener, watch);
  if (options.dialog && !options.saveSettings.empty())
    saveLook(options.saveSettings, shared::lookOf(report.used), options.force);
  if (options.verbose || (!options.quiet && barIsPossible()))
    tell("written to " + job.output);
}

int developInChild(const Run& run, const Job& job, int reports) {
  photo::Watch watch;
  watch.stopped = [] { return stopSignal != 0; };
  if (reports >= 0)
    watch.progress = [reports, last = -1.0f](double share) mutable {
      if (float(share) < last + reportStep)
        return;
      last = float(share);
      const ssize_t ignored = ::write(reports, &last, sizeof last);
      (void)ignored;
    };
  omp_set_num_threads(run.options.threads);
  try {
    developAndTell(run, job, watch);
    return exitDone;
  } catch (const photo::Stopped&) {
    return exitStopped;
  } catch (const shared::Cancelled&) {
    say(job.input, "cancelled");
    return childCancelled;
  } catch (const std::exception& error) {
    say(job.input, shared::reasonOf(error));
  }
  return childFailed;
}

[[noreturn]] void beChild(const Run& run, const Job& job, int reports) {
  // An open dialog looks at no flag: it ends at once, and the parent tidies up.
  for (int signal : stoppingSignals)
    handle(signal, run.options.dialog ? SIG_DFL : requestStop);
  handle(SIGCHLD, SIG_DFL);
  const sigset_t waited = waitedSignals();
  ::sigprocmask(SIG_UNBLOCK, &waited, nullptr);
  std::exit(developInChild(run, job, reports));
}

// ---- In the parent

void start(Run& run, const Job& job, int number) {
  int ends[2] = {-1, -1};
  if (run.bar && ::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
    ends[0] = ends[1] = -1;
  std::fflush(nullptr);
  const pid_t pid = ::fork();
  if (pid == 0)
    beChild(run, job, ends[1]);
  if (ends[1] >= 0)
    ::close(ends[1]);
  if (pid > 0) {
    run.children.push_back({pid, ends[0], &job, number});
    return;
  }
  say(job.input, std::string("no process for it: ") + std::strerror(errno));
  ++run.failed;
  if (ends[0] >= 0)
    ::close(ends[0]);
}

std::string crash(int signal) {
  return signal == SIGKILL ? std::string("killed; the system may have run out of memory")
                           : std::string("the filter crashed: ") + ::strsignal(signal);
}

// Counts the job, and says how it ended where the child has not.
void tellEnd(Run& run, const Job& job, int status) {
  const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  run.cancelled += code == childCancelled;
  run.failed += code != exitDone && code != childCancelled;
  if (code == exitDone || code == childFailed || code == childCancelled)
    return;
  if (code != exitStopped && job.output != "-")
    ::unlink(job.temporary.c_str());
  if (!stopSignal)
    say(job.input, WIFSIGNALED(status)   ? crash(WTERMSIG(status))
                   : code == exitStopped ? "stopped"
                                         : "a library ended the work without giving a reason");
}

void reap(Run& run) {
  for (auto child = run.children.begin(); child != run.children.end();) {
    int status = 0;
    if (::waitpid(child->pid, &status, WNOHANG) != child->pid) {
      ++child;
      continue;
    }
    tellEnd(run, *child->job, status);
    if (child->reports >= 0)
      ::close(child->reports);
    child = run.children.erase(child);
  }
}

void takeReports(Child& child) {
  float shares[64];
  ssize_t n;
  while ((n = ::read(child.reports, shares, sizeof shares)) >= ssize_t(sizeof shares[0]))
    child.share = std::max(child.share, shares[size_t(n) / sizeof shares[0] - 1]);
}

// Sleeps until a signal comes, or at most until the bar wants drawing.
void wait(Run& run) {
  sigset_t none;
  ::sigemptyset(&none);
  const timespec redraw{0, redrawMilliseconds * 1000000L};
  ::ppoll(nullptr, 0, run.bar ? &redraw : nullptr, &none);
  if (!run.bar || run.children.empty())
    return;
  for (Child& child : run.children)
    takeReports(child);
  const Child& oldest = run.children.front();
  drawBar({oldest.job->input, oldest.share, oldest.number, int(run.jobs.size()), oldest.begun});
}

// The first request asks the children to stop, a second one does not ask.
void forwardStop(Run& run, int& forwarded) {
  const int requests = std::min<int>(stopRequests, 2);
  for (; forwarded < requests; ++forwarded)
    for (const Child& child : run.children)
      ::kill(child.pid, forwarded == 0 ? SIGTERM : SIGKILL);
}

[[noreturn]] void endBySignal(int signal) {
  handle(signal, SIG_DFL);
  const sigset_t waited = waitedSignals();
  ::sigprocmask(SIG_UNBLOCK, &waited, nullptr);
  ::raise(signal);
  std::_Exit(128 + signal);
}

int summary(const Run& run) {
  const std::string of = " of " + std::to_string(run.jobs.size()) + " photographs ";
  if (run.failed && run.jobs.size() > 1)
    say("", std::to_string(run.failed) + of + "failed");
  if (run.cancelled && run.jobs.size() > 1)
    say("", std::to_string(run.cancelled) + of + "cancelled");
  return run.failed ? exitFailed : run.cancelled ? exitCancelled : exitDone;
}

bool refused(const Job& job) {
  if (!job.refusal.empty())
    say(job.input, job.refusal);
  return !job.refusal.empty();
}

} // namespace

int runJobs(const std::vector<Job>& jobs, const Options& options, const host::Module& module) {
  Run run{jobs, options, module, !options.quiet && !options.dialog && barIsPossible()};
  setBarInUse(run.bar);
  const sigset_t waited = waitedSignals();
  ::sigprocmask(SIG_BLOCK, &waited, nullptr);
  for (int signal : stoppingSignals)
    handle(signal, requestStop);
  handle(SIGCHLD, [](int) {});
  handle(SIGPIPE, SIG_IGN); // a write then fails, with a reason
  handle(SIGXFSZ, SIG_IGN);

  int forwarded = 0;
  size_t next = 0;
  while (!run.children.empty() || (next < jobs.size() && !stopSignal)) {
    while (next < jobs.size() && !stopSignal && int(run.children.size()) < options.jobs) {
      const Job& job = jobs[next++];
      if (refused(job))
        ++run.failed;
      else
        start(run, job, int(next));
    }
    if (!run.children.empty())
      wait(run);
    forwardStop(run, forwarded);
    reap(run);
  }
  if (run.bar)
    clearBar();
  if (stopSignal) {
    say("", "stopped");
    std::fflush(nullptr);
    endBySignal(stopSignal);
  }
  return summary(run);
}

} // namespace commandline
