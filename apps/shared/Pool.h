// Photographs in processes of their own, several at a time: the plug-in's globals serve one call at
// a time, and a crash costs one photograph.
//
// A child is a plain fork of the process that turns the pool, so the thread that turns it must have
// opened no parallel region before: the child would wait for threads that it does not have. No
// child outlives its parent, however that ends.
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

// Hears of the jobs, by their place in the list, from within Pool::turn.
struct PoolListener {
  virtual ~PoolListener() = default;
  virtual void started(size_t) {}
  virtual void progress(size_t, double /*share, 0 to 1*/) {}
  virtual void note(size_t, const std::string&) {}   // to be known
  virtual void detail(size_t, const std::string&) {} // for the curious
  // Each job ends once, one that is refused too. The reason is a sentence, empty for one that is
  // done.
  virtual void ended(size_t, End, const std::string& reason) = 0;
};

// The child's voice.
class Reporter {
public:
  explicit Reporter(int socket) : socket_(socket) {}
  Listener listener() const; // for develop; the reporter must outlive it
  void progress(double share) const;
  bool grant(int64_t bytes) const; // waits until other children have given theirs back
  // Ends the process with the reason, from where no exception can pass.
  [[noreturn]] void fail(const std::string& reason) const;
  void end(End how, std::string_view reason) const noexcept;

private:
  int socket_;
};

// What a child does. Throws what develop throws.
using Work = std::function<void(const Job&, const Reporter&, const photo::Watch&)>;

struct PoolOptions {
  int jobs = 1;               // children at a time
  int64_t memory = 0;         // bytes for all of them together; 0: what the machine has
  bool endsAtOnce = false;    // children that are asked to stop look at no watch: they just end
  bool librariesTalk = false; // what libraries write to standard error is not dropped
};

class Pool {
public:
  // The jobs and the listener must outlive the pool.
  Pool(const std::vector<Job>& jobs, Work work, PoolListener& listener, PoolOptions options);
  ~Pool(); // kills the children that are left
  Pool(const Pool&) = delete;
  Pool& operator=(const Pool&) = delete;

  bool isDone() const; // no job is running, and none will be
  // Starts jobs and tells the listener what came of others. Waits at most that long for news; a
  // signal that is not in `blocked`, if given, ends the wait.
  void turn(int milliseconds, const sigset_t* blocked = nullptr);
  // Starts no more jobs and asks the children to stop; the second time it does not ask.
  void stop();

private:
  struct Child;
  void startJobs();
  bool start(size_t index);
  void wait(int milliseconds, const sigset_t* blocked);
  void hear(Child& child);
  void grantMemory();
  void reap();
  void tellEnd(const Child& child, int status);

  const std::vector<Job>& jobs_;
  Work work_;
  PoolListener& listener_;
  PoolOptions options_;
  std::list<Child> children_;
  size_t next_ = 0;    // job to start
  int stops_ = 0;      // that were asked for
  int64_t memory_ = 0; // bytes for all children
};

} // namespace shared
