#include "apps/desktop/Workbench.h"

#include <cmath>
#include <thread>
#include <utility>

#include <malloc.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QThread>

#include "apps/desktop/Reasons.h"
#include "frame/contract/Limits.h"

namespace desktop {
namespace {

constexpr size_t standardUndoBudget = size_t(512) << 20; // bytes
constexpr int pumpMilliseconds = 15;                     // between two rounds of event handling

int cores() { return std::max(1, int(std::thread::hardware_concurrency())); }

std::shared_ptr<const Raster> makeRaster(const Original& original, const Picture& picture,
                                         const photo::Bytes& screen, double stops) {
  const host::Document& document = picture->document;
  const ColourSource source{original.profile, original.isLinear, document.channels(),
                            document.depth(), document.hasTransparency()};
  // White is the same for whole numbers and for the screen, so they get no exposure.
  const double factor = picture->fileBits == 32 ? std::exp2(stops) : 1;
  return std::make_shared<Raster>(picture, std::make_unique<Colours>(source, screen, factor),
                                  original.orientation);
}

} // namespace

Workbench::Workbench(const Filters& filters, photo::Bytes screen, QObject* parent)
    : QObject(parent), filters_(filters), threads_(cores()), screen_(std::move(screen)),
      undoBudget_(standardUndoBudget) {
  connect(&runner_, &Runner::busyChanged, this, &Workbench::changed);
}

Workbench::~Workbench() { runner_.disconnect(this); }

// ---- Background runs

void Workbench::start(const QString& doing, std::function<void(const photo::Watch&)> work,
                      Ended done, const Terms& terms) {
  const auto end = [this, notDone = terms.notDone] {
    if (notDone)
      notDone();
    emit changed();
  };
  Task task;
  task.work = std::move(work);
  task.done = [this, done = std::move(done)] {
    done();
    emit changed();
  };
  task.failed = [this, end, subject = terms.subject](const std::exception_ptr& failure) {
    end();
    fail(failure, subject);
  };
  task.cancelled = end;
  task.holds = terms.holds;
  if (!doing.isEmpty())
    doing_ = doing;
  runner_.start(std::move(task));
}

void Workbench::fail(const std::exception_ptr& failure, const QString& subject) {
  if (const QString reason = reasonOf(failure); !reason.isEmpty())
    emit failed(subject.isEmpty() ? reason : tr("%1: %2").arg(subject, reason));
}

void Workbench::cancel() {
  stopsDialog_ = true;
  runner_.cancel();
}

// Waits for a running save.
void Workbench::cancelRuns() {
  if (!isSaving())
    runner_.cancel();
}

// ---- One photograph after the other

void Workbench::open(const QString& file) {
  cancelRuns();
  struct Read {
    OriginalPtr original;
    RasterPtr raster;
  };
  const auto read = std::make_shared<Read>();
  const QFileInfo info(file);
  const std::string path = info.absoluteFilePath().toStdString();
  start(
      tr("Opening %1").arg(info.fileName()),
      [this, read, path, stops = exposure_](const photo::Watch& watch) {
        read->original = readOriginal(path, threads_, watch);
        read->raster = makeRaster(*read->original, read->original->picture, screen_, stops);
      },
      [this, read] {
        take(std::exchange(read->original, nullptr), std::exchange(read->raster, nullptr));
        if (clearsOnOpening_)
          run({}, Maker::opening);
      },
      {.subject = info.fileName()});
}

void Workbench::close() {
  cancelRuns();
  take(nullptr, nullptr);
}

void Workbench::take(const OriginalPtr& original, const RasterPtr& raster) {
  history_.reset();
  mask_.reset();
  maskOf_ = maskTriedFor_ = -1;
  original_ = original;
  before_ = raster;
  lastSave_ = {};
  if (original) {
    State state = originalState(*original);
    state.raster = raster;
    history_.emplace(std::move(state), undoBudget_);
    savedId_ = history_->id();
  }
  emit opened();
  emit changed();
  ::malloc_trim(0); // returns the small heap blocks of the last photograph
  if (!original)
    return;
  for (const std::string& note : original->picture->notes)
    emit told(inWords(note));
  if (const int64_t count = original->picture->document.nonFiniteSamples())
    emit told(tr("%n sample(s) are not finite; they are left as they are.", "", int(count)));
}

// ---- The filter

void Workbench::run(const shared::Look& look, Maker maker) {
  if (!original_ || inDialog_)
    return;
  cancelRuns();
  const auto made = std::make_shared<State>();
  start(
      look.mask.value_or(false) ? tr("Making the haze mask") : tr("Clearing the haze"),
      [this, made, look, original = original_, stops = exposure_](const photo::Watch& watch) {
        *made = corrected(*original, filters_.own(), look, threads_, watch);
        made->raster = makeRaster(*original, made->picture, screen_, stops);
      },
      [this, made, maker] {
        made->maker = maker;
        lastLook_ = made->look;
        push(std::move(*made));
      });
}

void Workbench::setStrength(double percent) {
  if (!history_)
    return;
  shared::Look look = history_->current().look;
  look.foreground.reset();
  look.background.reset();
  look.mask.reset();
  look.strength = percent;
  run(look, Maker::strength);
}

void Workbench::makeMask() {
  if (!original_ || inDialog_ || mask())
    return;
  maskTriedFor_ = history_->id();
  shared::Look look = history_->current().look;
  look.mask = true;
  const auto made = std::make_shared<State>();
  start(
      tr("Making the haze mask"),
      [this, made, look, original = original_, stops = exposure_](const photo::Watch& watch) {
        *made = corrected(*original, filters_.own(), look, threads_, watch);
        made->raster = makeRaster(*original, made->picture, screen_, stops);
      },
      [this, made, original = original_, of = history_->id()] {
        if (original != original_)
          return;
        mask_ = std::move(*made);
        maskOf_ = of;
      });
}

// The dialog runs on this thread and waits for the runner's task: it opens with the settings of
// that result.
void Workbench::runInDialog(const Filter& filter, void* window) {
  if (!original_ || inDialog_)
    return;
  // Wider photographs can only be corrected from the dialog, and other filters are unknown: in both
  // cases the dialog's own session runs the filter.
  const bool isApart = filter.isOwn && !tooWideForEstimate(original_->picture->document.width());
  const auto upright = std::make_shared<std::optional<host::Document>>();
  start(
      tr("Opening the dialog"),
      [isApart, upright, original = original_](const photo::Watch&) {
        if (isApart)
          *upright = turnedUpright(*original);
      },
      [this, isApart, upright, &filter, window, original = original_] {
        if (original != original_)
          return;
        if (isApart)
          askInDialog(filter, *upright ? **upright : original->picture->document, window);
        else
          runBehindDialog(filter, window);
      },
      {.holds = true});
}

void Workbench::showAbout(const Filter& filter, void* window) {
  if (inDialog_)
    return;
  start(
      {}, [](const photo::Watch&) {},
      [this, &filter, window] { withDialog([&] { shared::showAbout(filter.module, window); }); },
      {.holds = true});
}

void Workbench::withDialog(const std::function<void()>& show) {
  std::exception_ptr failure;
  inDialog_ = true;
  dialogRuns_ = false;
  emit changed();
  emit dialogOpens();
  try {
    show();
  } catch (...) {
    failure = std::current_exception();
  }
  inDialog_ = false;
  emit changed();
  if (failure)
    fail(failure);
}

// The runner's thread applies the dialog's settings. The dialog opens with those of the displayed
// result.
void Workbench::askInDialog(const Filter& filter, host::Document& document, void* window) {
  const State& current = history_->current();
  const bool isOwn = current.report && current.maker != Maker::otherFilter;
  const shared::Look shown = isOwn ? shared::lookOf(current.report->used) : shared::Look();
  std::optional<shared::Look> set;
  withDialog([&] {
    set = shared::lookOf(shared::setInDialog(filter.module, document, threads_, window, shown));
  });
  if (set)
    run(*set, Maker::dialog);
}

// The run after the dialog stays on this thread. The filter asks every few milliseconds whether to
// stop; this handles the window's events then.
void Workbench::runBehindDialog(const Filter& filter, void* window) {
  stopsDialog_ = false;
  dialogShare_ = 0;
  doing_ = tr("Clearing the haze");
  QElapsedTimer sinceLook;
  const photo::Watch watch{[this](double share) { dialogShare_ = share; },
                           [this, &sinceLook] {
                             if (QThread::currentThread() != thread())
                               return stopsDialog_.load();
                             if (!sinceLook.isValid() || sinceLook.elapsed() > pumpMilliseconds) {
                               if (!std::exchange(dialogRuns_, true)) // the run begins
                                 emit changed();
                               QCoreApplication::processEvents();
                               sinceLook.start();
                             }
                             return stopsDialog_.load();
                           }};
  const shared::Corrector corrector{
      [&](host::Document& document, const photo::Watch& inner) {
        return filter.isOwn
                   ? shared::correctInDialog(filter.module, document, threads_, inner, window)
                   : shared::runAnyFilter(filter.module, document, threads_, inner, window);
      },
      true};
  const OriginalPtr original = original_;
  const auto made = std::make_shared<State>();
  withDialog([&] {
    *made =
        correctedBy(*original, corrector, filter.isOwn ? Maker::dialog : Maker::otherFilter, watch);
  });
  if (!made->picture)
    return;
  if (filter.isOwn)
    lastLook_ = made->look;
  start(
      {},
      [this, made, original, stops = exposure_](const photo::Watch&) {
        made->raster = makeRaster(*original, made->picture, screen_, stops);
      },
      [this, made] { push(std::move(*made)); });
}

// ---- States

void Workbench::push(State state) {
  const int before = history_->dropped();
  if (state.report && state.report->lostSamples)
    emit told(
        tr("%n sample(s) came out as no number; they are 0.", "", int(state.report->lostSamples)));
  history_->push(std::move(state));
  if (history_->dropped() > before)
    emit told(
        tr("The oldest steps can no longer be undone: they were beyond the memory for undo."));
}

void Workbench::revert() {
  if (!history_ || history_->isOriginal() || inDialog_)
    return;
  cancelRuns();
  State state = originalState(*original_);
  state.raster = before_;
  push(std::move(state));
  emit changed();
}

void Workbench::undo() {
  if (!history_ || inDialog_)
    return;
  cancelRuns();
  history_->undo();
  updateRasters();
  emit changed();
}

void Workbench::redo() {
  if (!history_ || inDialog_)
    return;
  cancelRuns();
  history_->redo();
  updateRasters();
  emit changed();
}

bool Workbench::isModified() const {
  if (!history_ || history_->id() == savedId_)
    return false;
  const Maker maker = history_->current().maker;
  return maker != Maker::nobody && maker != Maker::opening;
}

std::shared_ptr<const Raster> Workbench::after() const {
  return history_ && !history_->isOriginal() ? history_->current().raster : nullptr;
}

std::shared_ptr<const Raster> Workbench::mask() const {
  if (!history_)
    return nullptr;
  if (history_->current().look.mask.value_or(false))
    return history_->current().raster;
  return mask_ && maskOf_ == history_->id() ? mask_->raster : nullptr;
}

void Workbench::setUndoBudget(size_t bytes) {
  undoBudget_ = bytes;
  if (history_)
    history_->setBudget(bytes);
  emit changed();
}

void Workbench::setExposure(double stops) {
  exposure_ = stops;
  updateRasters();
}

// Remakes displayed pictures that have another exposure.
void Workbench::updateRasters() {
  if (!history_ || original_->picture->fileBits != 32)
    return;
  const double factor = std::exp2(exposure_);
  const State& current = history_->current();
  if (before_->colours().exposure() == factor && current.raster->colours().exposure() == factor)
    return;
  const auto made = std::make_shared<std::pair<RasterPtr, RasterPtr>>();
  start(
      tr("Changing the exposure"),
      [this, made, original = original_, picture = current.picture,
       stops = exposure_](const photo::Watch&) {
        made->first = makeRaster(*original, original->picture, screen_, stops);
        made->second = picture == original->picture
                           ? made->first
                           : makeRaster(*original, picture, screen_, stops);
      },
      [this, made, original = original_, of = history_->id()] {
        if (original != original_)
          return;
        before_ = made->first;
        if (history_->id() == of)
          history_->current().raster = made->second;
      });
}

// ---- Results

void Workbench::save(const SaveOrder& order, std::function<void()> then) {
  const OriginalPtr original = original_;
  const auto id = std::make_shared<int>();
  saveLater(
      order,
      [this, id] {
        *id = history_->id();
        return history_->current();
      },
      [this, id, original, then = std::move(then), order] {
        if (original == original_) {
          lastSave_ = order;
          savedId_ = *id;
        }
        emit saved(QString::fromStdString(order.file));
        if (then)
          then();
      });
}

void Workbench::saveMask(const SaveOrder& order) {
  makeMask();
  saveLater(
      order,
      [this]() -> std::optional<State> {
        if (history_->current().look.mask.value_or(false))
          return history_->current();
        return maskOf_ == history_->id() ? mask_ : std::nullopt;
      },
      [this, file = QString::fromStdString(order.file)] { emit saved(file); });
}

// Waits for the current run, so that its result is saved. If it failed, with a message, there is
// nothing to save.
void Workbench::saveLater(const SaveOrder& given,
                          const std::function<std::optional<State>()>& state,
                          std::function<void()> then) {
  if (!original_ || inDialog_)
    return;
  SaveOrder order = given;
  order.threads = threads_;
  ++saves_;
  const auto ended = [this] { --saves_; };
  start(
      {}, [](const photo::Watch&) {},
      [=, this, original = original_, then = std::move(then)] {
        const std::optional<State> what = original == original_ ? state() : std::nullopt;
        if (!what)
          return ended();
        const auto note = std::make_shared<std::string>();
        start(
            tr("Saving %1").arg(QFileInfo(QString::fromStdString(order.file)).fileName()),
            [this, note, original, order, what](const photo::Watch& watch) {
              *note = desktop::save(*original, *what, filters_.own(), order, watch);
            },
            [this, note, ended, then] {
              ended();
              if (!note->empty())
                emit told(inWords(*note));
              then();
            },
            {.notDone = ended});
      },
      {.notDone = ended});
}

void Workbench::render(std::function<void(const QImage&)> then) {
  if (!history_ || inDialog_)
    return;
  const auto image = std::make_shared<QImage>();
  start(
      tr("Copying the picture"),
      [image, original = original_, picture = history_->current().picture,
       stops = exposure_](const photo::Watch&) {
        const auto raster = makeRaster(*original, picture, {}, stops);
        *image = raster->part(0, QRect(QPoint(0, 0), raster->size()));
      },
      [image, then = std::move(then)] { then(*image); });
}

} // namespace desktop
