#include "apps/desktop/Runner.h"

#include <algorithm>
#include <utility>

namespace desktop {

Runner::Runner(QObject* parent) : QObject(parent), thread_([this] { serve(); }) {}

Runner::~Runner() {
  for (const EntryPtr& entry : tasks_)
    entry->stop = true;
  {
    const std::lock_guard guard(lock_);
    ends_ = true;
    for (const EntryPtr& entry : queue_)
      entry->stop = true;
  }
  wake_.notify_all();
  thread_.join();
}

double Runner::share() const { return tasks_.empty() ? 0.0 : tasks_.front()->share.load(); }

void Runner::start(Task task) {
  auto entry = std::make_shared<Entry>();
  entry->task = std::move(task);
  tasks_.push_back(entry);
  {
    const std::lock_guard guard(lock_);
    queue_.push_back(std::move(entry));
  }
  wake_.notify_all();
  if (tasks_.size() == 1)
    emit busyChanged();
}

void Runner::cancel() {
  const auto tasks = std::exchange(tasks_, {});
  if (tasks.empty())
    return;
  for (const EntryPtr& entry : tasks)
    entry->stop = true;
  emit busyChanged();
  for (const EntryPtr& entry : tasks)
    if (entry->task.cancelled)
      entry->task.cancelled();
}

void Runner::serve() {
  while (true) {
    EntryPtr entry;
    {
      std::unique_lock guard(lock_);
      wake_.wait(guard, [this] { return ends_ || !queue_.empty(); });
      if (ends_)
        return;
      entry = std::move(queue_.front());
      queue_.pop_front();
    }
    std::exception_ptr failure;
    if (!entry->stop) {
      const photo::Watch watch{
          [&entry](double share) { entry->share = std::clamp(share, 0.0, 1.0); },
          [&entry] { return entry->stop.load(); }};
      try {
        entry->task.work(watch);
      } catch (...) {
        failure = std::current_exception();
      }
    }
    entry->task.work = nullptr; // also releases what only the work held
    QMetaObject::invokeMethod(
        this, [this, entry, failure] { finish(entry, failure); }, Qt::QueuedConnection);
    if (entry->task.holds) {
      std::unique_lock guard(lock_);
      wake_.wait(guard, [&] { return ends_ || entry->isLetGo; });
    }
  }
}

// On the owner's thread.
void Runner::finish(const EntryPtr& entry, const std::exception_ptr& failure) {
  const Task& task = entry->task;
  if (task.holds) {
    if (isFirst(entry) && !failure)
      task.done(); // meanwhile it may handle events, including a cancel
    const std::lock_guard guard(lock_);
    entry->isLetGo = true;
    wake_.notify_all();
  }
  if (!isFirst(entry))
    return; // cancelled meanwhile
  tasks_.pop_front();
  if (tasks_.empty())
    emit busyChanged();
  if (failure && task.failed)
    task.failed(failure);
  else if (!failure && !task.holds && task.done)
    task.done();
}

} // namespace desktop
