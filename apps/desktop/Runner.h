// The one thread beside the window. It takes tasks one after the other; the filter's module serves
// one call at a time.
//
// A task that is cancelled ends for its owner at once, and its thread as soon as the work sees the
// wish: its next task waits for that. Nothing that belongs to a cancelled task is called any more.
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

// All on the owner's thread but `work`.
struct Task {
  std::function<void(const photo::Watch&)> work; // may throw; its result goes where it was told
  std::function<void()> done;
  std::function<void(const std::exception_ptr&)> failed;
  std::function<void()> cancelled;
  // The thread waits until `done` has returned, so that nothing runs beside it.
  bool holds = false;
};

class Runner : public QObject {
  Q_OBJECT

public:
  explicit Runner(QObject* parent = nullptr);
  ~Runner() override; // cancels all, without a call, and waits for the thread

  void start(Task task); // behind those that wait
  void cancel();         // the running task and those that wait

  bool isBusy() const { return !tasks_.empty(); }
  double share() const; // of the running task that is done, 0 to 1

signals:
  void busyChanged();

private:
  struct Entry {
    Task task;
    std::atomic<bool> stop = false;
    std::atomic<double> share = 0;
    bool isLetGo = false; // guarded by lock_: what held the thread is over
  };
  using EntryPtr = std::shared_ptr<Entry>;

  void serve();
  void finish(const EntryPtr& entry, const std::exception_ptr& failure);
  bool isFirst(const EntryPtr& entry) const { return !tasks_.empty() && tasks_.front() == entry; }

  std::deque<EntryPtr> tasks_; // the owner's: the first one runs
  std::mutex lock_;            // of what follows
  std::condition_variable wake_;
  std::deque<EntryPtr> queue_; // the thread's
  bool ends_ = false;
  std::thread thread_;
};

} // namespace desktop
