// The background thread. It runs one task after the other, because the filter's module serves one
// call at a time.
//
// For its owner, a cancelled task ends at once. The thread ends it when the work next checks its
// watch, and then starts the next task. No callback of a cancelled task is called any more.
#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include <QObject>

#include "apps/photo/Picture.h"

namespace desktop {

// All on the owner's thread, except `work`.
struct Task {
  std::function<void(const photo::Watch&)> work; // may throw; stores its result itself
  std::function<void()> done;
  std::function<void(const std::exception_ptr&)> failed;
  std::function<void()> cancelled;
  // The thread waits until `done` has returned, so that nothing runs at the same time.
  bool holds = false;
};

class Runner : public QObject {
  Q_OBJECT

public:
  explicit Runner(QObject* parent = nullptr);
  ~Runner() override; // cancels all tasks, without callbacks, and waits for the thread

  void start(Task task); // after the waiting tasks
  void cancel();         // cancels the running task and the waiting ones

  bool isBusy() const { return !tasks_.empty(); }
  double share() const; // finished share of the running task, 0 to 1

signals:
  void busyChanged();

private:
  struct Entry {
    Task task;
    std::atomic<bool> stop = false;
    std::atomic<double> share = 0;
    bool isLetGo = false; // protected by lock_: the thread need not wait any more
  };
  using EntryPtr = std::shared_ptr<Entry>;

  void serve();
  void finish(const EntryPtr& entry, const std::exception_ptr& failure);
  bool isFirst(const EntryPtr& entry) const { return !tasks_.empty() && tasks_.front() == entry; }

  std::deque<EntryPtr> tasks_; // for the owner: the first one is running
  std::mutex lock_;            // protects the following
  std::condition_variable wake_;
  std::deque<EntryPtr> queue_; // for the thread
  bool ends_ = false;
  std::thread thread_;
};

} // namespace desktop
