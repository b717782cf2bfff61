// One photograph at a time and all operations on it, without a window: its states, the background
// runs, saving.
//
// Obsolete runs are cancelled: a new strength, an undo or another photograph ends the current run.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

#include <QObject>
#include <QString>

#include "apps/desktop/Filters.h"
#include "apps/desktop/Raster.h"
#include "apps/desktop/Runner.h"
#include "apps/desktop/Work.h"

namespace desktop {

// Optional terms of a task.
struct Terms {
  std::function<void()> notDone; // called if it failed or was cancelled
  bool holds = false;            // as in Task
  QString subject;               // the file for messages about a failure
};

class Workbench : public QObject {
  Q_OBJECT

public:
  // The filters must outlive the workbench. screen: the ICC profile of the screen, or empty.
  Workbench(const Filters& filters, photo::Bytes screen, QObject* parent = nullptr);
  ~Workbench() override;

  // ---- Settings
  void setClearsOnOpening(bool clears) { clearsOnOpening_ = clears; }
  void setUndoBudget(size_t bytes);
  void setExposure(double stops); // for floats, only on the screen
  double exposure() const { return exposure_; }

  // ---- State
  const Original* original() const { return original_.get(); }
  const History* history() const { return history_ ? &*history_ : nullptr; }
  std::shared_ptr<const Raster> before() const { return before_; }
  std::shared_ptr<const Raster> after() const; // null: the photograph itself
  std::shared_ptr<const Raster> mask() const;  // of the current result; null: not made
  bool wasMaskTried() const { return !history_ || maskTriedFor_ == history_->id(); }
  bool isModified() const; // by the user, and not saved
  // How it was last saved; empty file: not saved yet.
  const SaveOrder& lastSave() const { return lastSave_; }
  std::optional<shared::Look> lastLook() const { return lastLook_; }

  // ---- Operations. Each reports its end with a signal.
  void open(const QString& file);
  void close();
  void setStrength(double percent);
  void run(const shared::Look& look, Maker maker);
  void runInDialog(const Filter& filter, void* window); // window: the dialog's parent
  void showAbout(const Filter& filter, void* window);
  void makeMask();
  void revert();
  void undo();
  void redo();
  void save(const SaveOrder& order, std::function<void()> then = {});
  void saveMask(const SaveOrder& order);
  void render(std::function<void(const QImage&)> then); // the current result, as sRGB

  void cancel();
  bool isBusy() const { return runner_.isBusy() || inDialog_; }
  bool isInDialog() const { return inDialog_; }
  bool isRunning() const { return isBusy() && (!inDialog_ || dialogRuns_); } // not only in dialog
  bool isSaving() const { return saves_ > 0; }
  double share() const { return inDialog_ ? dialogShare_.load() : runner_.share(); }
  const QString& doing() const { return doing_; } // a few words for the user, while it is busy

signals:
  void opened();                  // another photograph is open, or none
  void changed();                 // the displayed picture, or whether a run is active
  void dialogOpens();             // on this thread, which is busy for a moment first
  void told(const QString& note); // a message for the user
  void failed(const QString& reason);
  void saved(const QString& file);

private:
  using RasterPtr = std::shared_ptr<const Raster>;
  using Ended = std::function<void()>;

  void start(const QString& doing, std::function<void(const photo::Watch&)> work, Ended done,
             const Terms& terms = {});
  void fail(const std::exception_ptr& failure, const QString& subject = {});
  void cancelRuns();
  void take(const OriginalPtr& original, const RasterPtr& raster);
  void push(State state);
  void withDialog(const std::function<void()>& show);
  void askInDialog(const Filter& filter, host::Document& document, void* window);
  void runBehindDialog(const Filter& filter, void* window);
  void saveLater(const SaveOrder& order, const std::function<std::optional<State>()>& state,
                 std::function<void()> then);
  void updateRasters();

  const Filters& filters_;
  const int threads_;
  const photo::Bytes screen_;
  bool clearsOnOpening_ = true, inDialog_ = false, dialogRuns_ = false;
  std::atomic<bool> stopsDialog_ = false;
  std::atomic<double> dialogShare_ = 0;
  size_t undoBudget_;
  double exposure_ = 0;
  OriginalPtr original_;
  std::optional<History> history_;
  std::shared_ptr<const Raster> before_;
  std::optional<State> mask_;
  int maskOf_ = -1, maskTriedFor_ = -1, savedId_ = -1; // ids of states
  int saves_ = 0;                                      // number of unfinished saves
  SaveOrder lastSave_;
  QString doing_;
  std::optional<shared::Look> lastLook_;
  Runner runner_; // last, so that its thread ends before the objects that it uses
};

} // namespace desktop
