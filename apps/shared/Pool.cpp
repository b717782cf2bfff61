// Children report through a socket that preserves message boundaries: a byte for the kind, and its
// data. The end is a message, too, so that a library that ends the process, even with status 0, is
// detected. The parent removes the files of a child that died.

#include "apps/shared/Pool.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include "apps/shared/Errors.h"

namespace shared {
namespace {

constexpr char progressKind = 'p', noteKind = 'n', detailKind = 'd', memoryKind = 'm',
               fileMemoryKind = 'f';
constexpr char granted = 'y', refused = 'n';  // answers to the last
constexpr std::string_view endKinds = "DFCS"; // for End, in its order
constexpr size_t longestText = 4096;
constexpr float reportStep = 0.005f; // share of a photograph between two reports
constexpr int exitStopped = 130;
constexpr int millisecondsOfGrant = 50; // between two checks for a request to stop

void send(int socket, char kind, const void* data, size_t size, int flags = 0) {
  iovec parts[] = {{&kind, 1}, {const_cast<void*>(data), std::min(size, longestText)}};
  msghdr message{};
  message.msg_iov = parts;
  message.msg_iovlen = 2;
  while (::sendmsg(socket, &message, flags | MSG_NOSIGNAL) < 0 && errno == EINTR) {
  }
}

void send(int socket, char kind, std::string_view text) {
  send(socket, kind, text.data(), text.size());
}

// ---- In the child

// For the one photograph that this process works on.
volatile sig_atomic_t stopRequested = 0;
bool endsAtOnce;
pid_t parentId;
const char* temporaryName;

// A signal also reports the parent's death. Then nobody else cleans up.
void onStop(int) {
  const bool orphaned = ::getppid() != parentId;
  if (orphaned)
    ::unlink(temporaryName);
  if (orphaned || endsAtOnce)
    ::_exit(exitStopped);
  stopRequested = 1;
}

void handle(int signal, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  ::sigemptyset(&action.sa_mask);
  ::sigaction(signal, &action, nullptr);
}

void setUpSignals(const Job& job, const PoolOptions& options, pid_t parent) {
  parentId = parent;
  endsAtOnce = options.endsAtOnce;
  temporaryName = job.output == "-" ? "" : job.temporary.c_str();
  handle(SIGTERM, onStop);
  for (int signal : {SIGINT, SIGHUP}) {
    struct sigaction found {};
    if (::sigaction(signal, nullptr, &found) != 0 || found.sa_handler != SIG_IGN)
      handle(signal, onStop); // ignored signals, as under nohup, stay ignored
  }
  handle(SIGCHLD, SIG_DFL);
  for (int signal : {SIGPIPE, SIGXFSZ})
    handle(signal, SIG_IGN); // a write then fails, with a reason
  sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
  ::prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (::getppid() != parent)
    ::_exit(exitStopped);
}

void muteLibraries() {
  const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nowhere >= 0)
    ::dup2(nowhere, STDERR_FILENO);
}

void attempt(const Work& work, const Job& job, const Reporter& reporter) {
  photo::Watch watch;
  watch.stopped = [] { return stopRequested != 0; };
  watch.progress = [&reporter, last = -1.0f](double share) mutable {
    if (float(share) < last + reportStep)
      return;
    last = float(share);
    reporter.progress(share);
  };
  try {
    work(job, reporter, watch);
    reporter.end(End::done, "");
  } catch (const photo::Stopped&) {
    reporter.end(End::stopped, "stopped");
  } catch (const Cancelled&) {
    reporter.end(End::cancelled, "cancelled");
  } catch (const std::exception& error) {
    reporter.end(End::failed, reasonOf(error));
  }
}

// ---- In the parent

std::string crash(int status, bool talkedNonsense) {
  if (talkedNonsense)
    return "the filter crashed: its process sent what no process of the program sends";
  if (!WIFSIGNALED(status))
    return "a library ended the work without giving a reason";
  if (WTERMSIG(status) == SIGKILL)
    return "killed; the system may have run out of memory";
  return std::string("the filter crashed: ") + ::strsignal(WTERMSIG(status));
}

} // namespace

Listener Reporter::listener() const {
  return {[this](const std::string& text) { send(socket_, noteKind, text); },
          [this](const std::string& text) { send(socket_, detailKind, text); },
          [this](int64_t bytes, Need need) { return grant(bytes, need); }};
}

bool Reporter::grant(int64_t bytes, Need need) const {
  send(socket_, need == Need::file ? fileMemoryKind : memoryKind, &bytes, sizeof bytes);
  while (!stopRequested) {
    pollfd ready{socket_, POLLIN, 0};
    char answer = 0;
    if (::poll(&ready, 1, millisecondsOfGrant) > 0 && ::recv(socket_, &answer, 1, 0) >= 0)
      return answer == granted;
  }
  throw photo::Stopped();
}

void Reporter::progress(double share) const {
  const float value = share > 0 ? float(std::min(share, 1.0)) : 0;
  send(socket_, progressKind, &value, sizeof value, MSG_DONTWAIT);
}

void Reporter::fail(const std::string& reason) const {
  end(End::failed, reason);
  std::_Exit(0);
}

void Reporter::end(End how, std::string_view reason) const noexcept {
  send(socket_, endKinds[size_t(how)], reason);
}

struct Pool::Child {
  pid_t pid;
  int socket; // -1 after the child has closed its end
  size_t index;
  int64_t asked = 0, got = 0;              // bytes of memory
  bool asksForAll = false, hasAll = false; // otherwise for its file alone, before its photograph
  bool talkedNonsense = false;
  std::optional<End> end = {}; // from the child's message
  std::string reason = {};
};

Pool::Pool(const std::vector<Job>& jobs, Work work, PoolListener& listener, PoolOptions options)
    : jobs_(jobs), work_(std::move(work)), listener_(listener), options_(options) {}

Pool::~Pool() {
  for (const Child& child : children_) {
    ::kill(child.pid, SIGKILL);
    ::waitpid(child.pid, nullptr, 0);
    ::close(child.socket);
    if (!child.end)
      ::unlink(jobs_[child.index].temporary.c_str());
  }
}

bool Pool::isDone() const { return children_.empty() && (next_ == jobs_.size() || stops_ > 0); }

void Pool::turn(int milliseconds, const sigset_t* blocked) {
  startJobs();
  if (children_.empty())
    return;
  wait(milliseconds, blocked);
  for (Child& child : children_)
    hear(child);
  reap();
  grantMemory();
}

void Pool::stop() {
  ++stops_;
  for (const Child& child : children_)
    ::kill(child.pid, stops_ == 1 ? SIGTERM : SIGKILL);
}

void Pool::startJobs() {
  while (next_ < jobs_.size() && stops_ == 0 && int(children_.size()) < options_.jobs) {
    const size_t index = next_++;
    if (!jobs_[index].refusal.empty()) {
      listener_.ended(index, End::failed, jobs_[index].refusal);
    } else if (!start(index)) {
      --next_; // after another one has ended
      return;
    }
  }
}

// False if the system cannot start a process at the moment.
bool Pool::start(size_t index) {
  int ends[2] = {-1, -1};
  const pid_t parent = ::getpid();
  std::fflush(nullptr);
  const pid_t pid =
      ::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) == 0 ? ::fork() : -1;
  if (pid == 0) {
    setUpSignals(jobs_[index], options_, parent);
    ::close(ends[0]);
    for (const Child& sibling : children_)
      ::close(sibling.socket);
    if (!options_.librariesTalk)
      muteLibraries();
    attempt(work_, jobs_[index], Reporter(ends[1]));
    std::exit(0);
  }
  const int code = errno;
  for (const int end : {ends[1], pid > 0 ? -1 : ends[0]})
    if (end >= 0)
      ::close(end);
  if (pid > 0) {
    children_.push_back({pid, ends[0], index});
    listener_.started(index);
    return true;
  }
  if (!children_.empty())
    return false;
  listener_.ended(index, End::failed, std::string("no process for it: ") + std::strerror(code));
  return true;
}

void Pool::wait(int milliseconds, const sigset_t* blocked) {
  std::vector<pollfd> sockets;
  for (const Child& child : children_)
    sockets.push_back({child.socket, POLLIN, 0});
  const timespec most{milliseconds / 1000, milliseconds % 1000 * 1000000L};
  ::ppoll(sockets.data(), sockets.size(), &most, blocked);
  // A terminal interrupts parent and children at the same time: a child's end may wake the parent
  // while its own signal is still blocked.
  sigset_t held;
  if (blocked && ::sigprocmask(SIG_SETMASK, blocked, &held) == 0)
    ::sigprocmask(SIG_SETMASK, &held, nullptr);
}

void Pool::hear(Child& child) {
  char message[1 + longestText];
  ssize_t size;
  while ((size = ::recv(child.socket, message, sizeof message, MSG_DONTWAIT)) > 0) {
    if (take(child, message[0], {message + 1, size_t(size) - 1}))
      continue;
    child.talkedNonsense = true; // it is out of order, whatever else it sends
    ::kill(child.pid, SIGKILL);
  }
  if (size < 0 || child.socket < 0)
    return;
  ::close(child.socket);
  child.socket = -1;
}

// False for a message that no working child sends.
bool Pool::take(Child& child, char kind, const std::string& data) {
  const size_t end = endKinds.find(kind);
  float share = 0;
  if (kind == noteKind) {
    listener_.note(child.index, data);
  } else if (kind == detailKind) {
    listener_.detail(child.index, data);
  } else if (kind == progressKind && data.size() == sizeof share) {
    std::memcpy(&share, data.data(), sizeof share);
    if (!(share >= 0 && share <= 1))
      return false;
    listener_.progress(child.index, double(share));
  } else if ((kind == memoryKind || kind == fileMemoryKind) && data.size() == sizeof child.asked) {
    std::memcpy(&child.asked, data.data(), sizeof child.asked);
    child.asksForAll = kind == memoryKind;
    return child.asked > 0;
  } else if (end != endKinds.npos) {
    child.end = End(end);
    child.reason = data;
  } else {
    return false;
  }
  return true;
}

// In the order of their start, so that a large photograph waits only for those before it. Only one
// child at a time has memory for its file alone. It comes before all others: those that it waits
// for have all that they need, so that they end and release it.
void Pool::grantMemory() {
  int64_t taken = 0;
  for (const Child& child : children_)
    taken += child.got;
  if (taken == 0)
    memory_ = options_.memory ? options_.memory : memoryOfMachine();
  const auto reads = [](const Child& child) { return child.got > 0 && !child.hasAll; };
  const auto reader = std::find_if(children_.begin(), children_.end(), reads);
  if (reader != children_.end() && !answer(*reader, taken))
    return;
  for (Child& child : children_) {
    if (!child.asksForAll && std::any_of(children_.begin(), children_.end(), reads))
      continue;
    if (!answer(child, taken))
      return;
  }
}

// False if the child has asked and must wait for others.
bool Pool::answer(Child& child, int64_t& taken) {
  const bool fits = child.asked <= memory_;
  if (child.asked == 0)
    return true;
  if (fits && taken - child.got + child.asked > memory_)
    return false;
  taken -= child.got;
  child.got = fits ? child.asked : 0;
  taken += child.got;
  child.hasAll = child.asksForAll;
  child.asked = 0;
  ::send(child.socket, fits ? &granted : &refused, 1, MSG_NOSIGNAL);
  return true;
}

void Pool::reap() {
  for (auto child = children_.begin(); child != children_.end();) {
    int status = 0;
    // A child that has closed its socket is about to end.
    const pid_t ended = ::waitpid(child->pid, &status, child->socket < 0 ? 0 : WNOHANG);
    if (ended != child->pid) {
      ++child;
      continue;
    }
    hear(*child);
    tellEnd(*child, status);
    if (child->socket >= 0)
      ::close(child->socket);
    child = children_.erase(child);
  }
}

void Pool::tellEnd(const Child& child, int status) {
  const bool told =
      child.end && !child.talkedNonsense && WIFEXITED(status) && WEXITSTATUS(status) == 0;
  if (told) {
    listener_.ended(child.index, *child.end, child.reason);
    return;
  }
  const Job& job = jobs_[child.index];
  if (job.output != "-")
    ::unlink(job.temporary.c_str());
  if (stops_ > 0)
    listener_.ended(child.index, End::stopped, "stopped");
  else
    listener_.ended(child.index, End::failed, crash(status, child.talkedNonsense));
}

} // namespace shared
