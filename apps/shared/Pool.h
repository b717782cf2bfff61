// Photographs in separate processes, several at a time: the plug-in's globals serve one call at a
// time, and a crash affects only one photograph.
//
// A child is a plain fork of the process that runs the pool. The thread that calls turn() must
// therefore not have opened a parallel region before: the child would wait for threads that it does
// not have. No child outlives its parent, however the parent ends.
#pragma once

#include <csignal>
#include <functional>
#include <list>
#include <string>
#include <vector>

#include <sys/types.h>

#include "apps/shared/Develop.h"
#include "apps/shared/Plan.h"

namespace shared {

enum class End { done, failed, cancelled, stopped };

// Receives events about the jobs, by their index in the list, inside Pool::turn.
struct PoolListener {
  virtual ~PoolListener() = default;
  virtual void started(size_t) {}
  virtual void progress(size_t, double /*share, 0 to 1*/) {}
  virtual void note(size_t, const std::string&) {}   // important for the user
  virtual void detail(size_t, const std::string&) {} // details
  // Each job ends once, including refused ones. The reason is a sentence, empty for a finished job.
  virtual void ended(size_t, End, const std::string& reason) = 0;
};

// The child's connection to the parent.
class Reporter {
public:
  explicit Reporter(int socket) : socket_(socket) {}
  Listener listener() const; // for develop; the reporter must outlive it
  void progress(double share) const;
  bool grant(int64_t bytes, Need need) const; // waits until other children have released theirs
  // Ends the process with the reason, from code that no exception may leave.
  [[noreturn]] void fail(const std::string& reason) const;
  void end(End how, std::string_view reason) const noexcept;

private:
  int socket_;
};

// The work of a child. Throws like develop.
using Work = std::function<void(const Job&, const Reporter&, const photo::Watch&)>;

struct PoolOptions {
  int jobs = 1;               // children at a time
  int64_t memory = 0;         // bytes for all of them together; 0: the machine's memory
  bool endsAtOnce = false;    // children that are asked to stop exit without checking the watch
  bool librariesTalk = false; // libraries' output on standard error is not discarded
};

class Pool {
public:
  // The jobs and the listener must outlive the pool.
  Pool(const std::vector<Job>& jobs, Work work, PoolListener& listener, PoolOptions options);
  ~Pool(); // kills the remaining children
  Pool(const Pool&) = delete;
  Pool& operator=(const Pool&) = delete;

  bool isDone() const; // no job is running, and none will start
  // Starts jobs and reports events to the listener. Waits at most this long for events; a signal
  // that is not in `blocked`, if given, ends the wait.
  void turn(int milliseconds, const sigset_t* blocked = nullptr);
  // Starts no more jobs and asks the children to stop; the second call kills them.
  void stop();

private:
  struct Child;
  void startJobs();
  bool start(size_t index);
  void wait(int milliseconds, const sigset_t* blocked);
  void hear(Child& child);
  bool take(Child& child, char kind, const std::string& data);
  void grantMemory();
  bool answer(Child& child, int64_t& taken);
  void reap();
  void tellEnd(const Child& child, int status);

  const std::vector<Job>& jobs_;
  Work work_;
  PoolListener& listener_;
  PoolOptions options_;
  std::list<Child> children_;
  size_t next_ = 0;    // next job to start
  int stops_ = 0;      // number of requests
  int64_t memory_ = 0; // bytes for all children
};

} // namespace shared
