#include "apps/desktop/MainWindow.h"

#include <cmath>

#include <QActionGroup>
#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QInputDialog>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QProgressBar>
#include <QScreen>
#include <QSettings>
#include <QStackedWidget>
#include <QStatusBar>
#include <QToolButton>
#include <QVBoxLayout>
#include <QWindow>

#include "apps/desktop/BatchWindow.h"
#include "apps/desktop/Notice.h"
#include "apps/desktop/Reasons.h"
#include "apps/desktop/ResultBar.h"
#include "apps/desktop/SaveDialog.h"
#include "apps/desktop/StartPage.h"

namespace desktop {
namespace {

constexpr int progressMilliseconds = 60;
// Display times of messages in the status bar: a few words, or a name or line to read.
constexpr int briefMilliseconds = 3000, readingMilliseconds = 8000;
constexpr int mostRecent = 10;
constexpr QSize firstSize(1120, 760); // logical pixels
constexpr int standardUndoMegabytes = 512;

QString nameOf(const Original& original) {
  return QFileInfo(QString::fromStdString(original.path)).fileName();
}

QStringList filesOf(const QMimeData& data) {
  QStringList files;
  for (const QUrl& url : data.urls())
    if (url.isLocalFile())
      files += url.toLocalFile();
  return files;
}

} // namespace

MainWindow::MainWindow(const Filters& filters, const photo::Bytes& screen, const QString& sample)
    : filters_(filters), workbench_(filters, screen), sample_(sample),
      settings_(std::make_unique<QSettings>(QSettings::IniFormat, QSettings::UserScope,
                                            "fogdissolver", "desktop")) {
  setAcceptDrops(true);
  setWindowIcon(QIcon(":/desktop/logo.png"));
  resize(
      firstSize.boundedTo(QWidget::screen()->availableSize() * 9 / 10)); // few on a scaled screen
  setCentralWidget(buildCentre(!sample.isEmpty()));
  buildStatusBar();
  buildMenus();
  buildToolBar();
  connect(&workbench_, &Workbench::changed, this, &MainWindow::refresh);
  connect(&workbench_, &Workbench::opened, this, &MainWindow::photographChanged);
  connect(&workbench_, &Workbench::told, this,
          [this](const QString& note) { notice_->show(Notice::Kind::note, note); });
  connect(&workbench_, &Workbench::failed, this,
          [this](const QString& reason) { notice_->show(Notice::Kind::failure, reason); });
  connect(&workbench_, &Workbench::saved, this, [this](const QString& file) {
    statusBar()->showMessage(tr("Saved as %1").arg(QDir::toNativeSeparators(file)),
                             readingMilliseconds);
  });
  connect(&workbench_, &Workbench::dialogOpens, this, [this] {
    QGuiApplication::setOverrideCursor(Qt::WaitCursor);
    QTimer::singleShot(0, this, &QGuiApplication::restoreOverrideCursor); // after its next events
  });
  connect(view_, &View::scaleChanged, this, &MainWindow::showScale);
  progressTimer_.setInterval(progressMilliseconds);
  connect(&progressTimer_, &QTimer::timeout, this, &MainWindow::tellProgress);
  qApp->installEventFilter(this); // for the key that shows the original photograph
  restore();
  photographChanged();
  refresh();
}

MainWindow::~MainWindow() { workbench_.disconnect(this); }

BatchWindow& MainWindow::batch() {
  if (!batch_)
    batch_ = std::make_unique<BatchWindow>(
        [this] {
          const History* history = workbench_.history();
          return history ? history->current().look : shared::Look();
        },
        QCoreApplication::applicationFilePath());
  return *batch_;
}

QWidget* MainWindow::buildCentre(bool offersSample) {
  auto* centre = new QWidget(this);
  notice_ = new Notice(centre);
  pages_ = new QStackedWidget(centre);
  auto* start = new StartPage(offersSample, pages_);
  connect(start, &StartPage::openWanted, this, &MainWindow::openByDialog);
  connect(start, &StartPage::sampleWanted, this, [this] { openFiles({sample_}); });
  pages_->addWidget(start);
  auto* desk = new QWidget(pages_);
  view_ = new View(desk);
  view_->setAccessibleName(tr("Photograph"));
  view_->setAccessibleDescription(tr("Arrow keys move the photograph, Shift with them the line "
                                     "between before and after."));
  bar_ = new ResultBar(desk);
  connect(bar_, &ResultBar::strengthChosen, &workbench_, &Workbench::setStrength);
  connect(bar_, &ResultBar::adjustWanted, this, [this] { adjust(filters_.all().front()); });
  auto* column = new QVBoxLayout(desk);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(0);
  column->addWidget(view_, 1);
  column->addWidget(bar_);
  pages_->addWidget(desk);
  auto* layout = new QVBoxLayout(centre);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(0);
  layout->addWidget(notice_);
  layout->addWidget(pages_, 1);
  return centre;
}

void MainWindow::buildStatusBar() {
  doing_ = new QLabel(this);
  progress_ = new QProgressBar(this);
  progress_->setRange(0, 100);
  progress_->setMaximumWidth(180);
  progress_->setTextVisible(false);
  progress_->setAccessibleName(tr("Progress"));
  stop_ = new QToolButton(this);
  stop_->setText(tr("Cancel"));
  connect(stop_, &QToolButton::clicked, &workbench_, &Workbench::cancel);
  scale_ = new QLabel(this);
  scale_->setAccessibleName(tr("Scale"));
  for (QWidget* widget : {static_cast<QWidget*>(doing_), static_cast<QWidget*>(progress_),
                          static_cast<QWidget*>(stop_)}) {
    statusBar()->addWidget(widget);
    widget->hide();
  }
  statusBar()->addPermanentWidget(scale_);
}

// ---- Settings

void MainWindow::restore() {
  restoreGeometry(settings_->value("geometry").toByteArray());
  lastFolder_ = settings_->value("folder").toString();
  recent_ = settings_->value("recent").toStringList();
  const int mode = std::clamp(settings_->value("viewMode", 0).toInt(), 0, int(ViewMode::mask));
  setMode(ViewMode(mode == int(ViewMode::mask) ? 0 : mode));
  view_->setSplit(settings_->value("split", 0.5).toDouble());
  clearsOnOpening_->setChecked(settings_->value("clearsOnOpening", true).toBool());
  workbench_.setClearsOnOpening(clearsOnOpening_->isChecked());
  workbench_.setUndoBudget(size_t(settings_->value("undoMegabytes", standardUndoMegabytes).toInt())
                           << 20);
  updateRecent();
}

void MainWindow::remember() {
  settings_->setValue("geometry", saveGeometry());
  settings_->setValue("folder", lastFolder_);
  settings_->setValue("recent", recent_);
  settings_->setValue("viewMode", int(view_->mode()));
  settings_->setValue("split", view_->split());
}

void MainWindow::noteRecent(const QString& file) {
  recent_.removeAll(file);
  recent_.prepend(file);
  while (recent_.size() > mostRecent)
    recent_.removeLast();
  settings_->setValue("recent", recent_);
  updateRecent();
}

void MainWindow::updateRecent() {
  recentMenu_->clear();
  int number = 1;
  for (const QString& file : recent_) {
    QString name = QFileInfo(file).fileName();
    name.replace("&", "&&");
    QAction* action =
        recentMenu_->addAction(number < 10 ? QString("&%1 %2").arg(number).arg(name) : name);
    action->setToolTip(QDir::toNativeSeparators(file));
    connect(action, &QAction::triggered, this, [this, file] { openFiles({file}); });
    ++number;
  }
  recentMenu_->addSeparator();
  QAction* clear = recentMenu_->addAction(tr("&Clear the List"));
  connect(clear, &QAction::triggered, this, [this] {
    recent_.clear();
    updateRecent();
  });
  recentMenu_->setEnabled(!recent_.isEmpty());
}

// ---- Opening, saving, closing

void MainWindow::openFiles(const QStringList& files) {
  if (files.isEmpty() || workbench_.isInDialog())
    return;
  if (files.size() > 1 || QFileInfo(files.front()).isDir()) {
    batch().addFiles(files);
    batch().show();
    batch().raise();
    batch().activateWindow();
    return;
  }
  whenKept([this, file = QFileInfo(files.front()).absoluteFilePath()] {
    notice_->clear();
    lastFolder_ = QFileInfo(file).path();
    workbench_.open(file);
  });
}

void MainWindow::openByDialog() {
  const QStringList files =
      QFileDialog::getOpenFileNames(this, tr("Open Photographs"), lastFolder_);
  openFiles(files);
}

// Opens the file copied in a file manager, or named by the text in the clipboard.
void MainWindow::pasteFile() {
  const QMimeData* data = QGuiApplication::clipboard()->mimeData();
  QStringList files = data ? filesOf(*data) : QStringList();
  if (files.isEmpty() && data && QFileInfo(data->text().trimmed()).isFile())
    files += data->text().trimmed();
  if (files.isEmpty())
    notice_->show(Notice::Kind::note, tr("The clipboard holds no file of a photograph."));
  openFiles(files);
}

void MainWindow::save(Slot then) {
  const Original* original = workbench_.original();
  if (!original)
    return;
  if (workbench_.lastSave().file.empty())
    return saveAs(std::move(then));
  workbench_.save(workbench_.lastSave(), std::move(then));
}

void MainWindow::saveAs(Slot then) {
  const Original* original = workbench_.original();
  if (!original)
    return;
  const std::string& last = workbench_.lastSave().file;
  const QString suggested =
      last.empty() ? suggestedName(*original, "clear") : QString::fromStdString(last);
  SaveDialog dialog(*original, *workbench_.history()->current().picture, suggested, this);
  if (dialog.exec() == QDialog::Accepted)
    workbench_.save(dialog.order(), std::move(then));
}

void MainWindow::exportMask() {
  const Original* original = workbench_.original();
  if (!original)
    return;
  SaveDialog dialog(*original, *workbench_.history()->current().picture,
                    suggestedName(*original, "mask"), this);
  dialog.setWindowTitle(tr("Export the Haze Mask"));
  if (dialog.exec() == QDialog::Accepted)
    workbench_.saveMask(dialog.order());
}

void MainWindow::whenKept(const Slot& then) {
  if (!workbench_.isModified())
    return then();
  QMessageBox box(QMessageBox::Question, tr("Unsaved Changes"),
                  tr("Save the changes to %1?").arg(nameOf(*workbench_.original())),
                  QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, this);
  box.setWindowModality(Qt::WindowModal);
  box.setInformativeText(tr("They are lost otherwise."));
  box.setDefaultButton(QMessageBox::Save);
  switch (box.exec()) {
  case QMessageBox::Save:
    return save(then);
  case QMessageBox::Discard:
    return then();
  default:
    return;
  }
}

// Waits for a running save, and first ends a dialog's run.
void MainWindow::closeEvent(QCloseEvent* event) {
  if (workbench_.isInDialog() || workbench_.isSaving()) {
    if (workbench_.isInDialog())
      workbench_.cancel();
    closesWhenIdle_ = true;
    event->ignore();
    return;
  }
  if (batch_ && !batch_->mayClose()) {
    event->ignore();
    return;
  }
  if (workbench_.isModified()) {
    event->ignore();
    whenKept([this] {
      workbench_.close();
      close();
    });
    return;
  }
  remember();
  workbench_.close();
  if (batch_)
    batch_->hide(); // closing the window ends its process, too
  event->accept();
}

void MainWindow::changeEvent(QEvent* event) {
  if (event->type() == QEvent::PaletteChange)
    markMode();
  QMainWindow::changeEvent(event);
}

// Escape hides the message if there is no run to cancel.
void MainWindow::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Escape)
    return notice_->clear();
  QMainWindow::keyPressEvent(event);
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
  if (!filesOf(*event->mimeData()).isEmpty())
    event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event) {
  const QStringList files = filesOf(*event->mimeData());
  event->acceptProposedAction();
  // After the drop: a question now would block the program that the files come from.
  QTimer::singleShot(0, this, [this, files] { openFiles(files); });
}

// ---- Results elsewhere

void MainWindow::copyPicture() {
  workbench_.render([this](const QImage& image) {
    QGuiApplication::clipboard()->setImage(image);
    statusBar()->showMessage(tr("Copied"), briefMilliseconds);
  });
}

void MainWindow::copyCommand() {
  if (!workbench_.original())
    return;
  const std::string line = commandFor(*workbench_.original(), workbench_.history()->current());
  QGuiApplication::clipboard()->setText(QString::fromStdString(line));
  statusBar()->showMessage(tr("Copied: %1").arg(QString::fromStdString(line)), readingMilliseconds);
}

// ---- The filter

void MainWindow::adjust(const Filter& filter) { workbench_.runInDialog(filter, this); }

void MainWindow::repeatLast(bool mask) {
  shared::Look look = workbench_.lastLook().value_or(shared::Look());
  look.mask.reset();
  if (mask)
    look.mask = true;
  workbench_.run(look, Maker::lastFilter);
}

void MainWindow::askForUndoMemory() {
  bool isChosen = false;
  const int megabytes = QInputDialog::getInt(
      this, tr("Memory for Undo"), tr("Megabytes that undo and redo may take:"),
      settings_->value("undoMegabytes", standardUndoMegabytes).toInt(), 0, 1 << 20, 64, &isChosen);
  if (!isChosen)
    return;
  settings_->setValue("undoMegabytes", megabytes);
  workbench_.setUndoBudget(size_t(megabytes) << 20);
}

// ---- The view

void MainWindow::setMode(ViewMode mode) {
  modes_->actions()[int(mode)]->setChecked(true);
  markMode();
  view_->setMode(mode);
  refreshView();
}

void MainWindow::changeExposure(double stops) {
  workbench_.setExposure(stops);
  statusBar()->showMessage(tr("Exposure %1").arg(stops, 0, 'f', 1), briefMilliseconds);
}

bool MainWindow::eventFilter(QObject* watched, QEvent* event) {
  const bool isPress = event->type() == QEvent::KeyPress;
  if ((isPress || event->type() == QEvent::KeyRelease) && isActiveWindow() &&
      watched == windowHandle() && pages_->currentIndex() == 1) {
    const auto* key = static_cast<QKeyEvent*>(event);
    if (key->key() == Qt::Key_B && !(key->modifiers() & ~Qt::ShiftModifier)) {
      if (!key->isAutoRepeat())
        view_->setBeforeHeld(isPress);
      return true;
    }
  }
  if (event->type() == QEvent::WindowDeactivate && watched == this)
    view_->setBeforeHeld(false); // another window gets the key's release
  return QMainWindow::eventFilter(watched, event);
}

void MainWindow::showScale() {
  const double percent = view_->viewport().scale() * 100;
  scale_->setText(workbench_.original() ? tr("%1 %").arg(percent, 0, 'f', percent < 10 ? 1 : 0)
                                        : QString());
}

// ---- Display

void MainWindow::photographChanged() {
  const Original* original = workbench_.original();
  pages_->setCurrentIndex(original ? 1 : 0);
  for (const View::Side side : {View::after, View::mask, View::before})
    view_->setRaster(side, nullptr);
  if (!original)
    return;
  noteRecent(QString::fromStdString(original->path));
  view_->setRaster(View::before, workbench_.before());
  view_->fit();
  view_->setFocus();
}

void MainWindow::refresh() {
  const Original* original = workbench_.original();
  setWindowTitle(original ? nameOf(*original) + "[*] – Fogdissolver" : QString("Fogdissolver"));
  setWindowModified(workbench_.isModified());
  bar_->showState(workbench_.history() ? &workbench_.history()->current() : nullptr);
  bar_->setRunnable(original && !workbench_.isInDialog());
  refreshActions();
  refreshView();
  const bool isBusy = workbench_.isRunning();
  for (QWidget* widget : {static_cast<QWidget*>(doing_), static_cast<QWidget*>(progress_),
                          static_cast<QWidget*>(stop_)})
    widget->setVisible(isBusy);
  if (isBusy && !progressTimer_.isActive())
    progressTimer_.start();
  if (!isBusy)
    progressTimer_.stop();
  tellProgress();
  showScale();
  if (closesWhenIdle_ && !workbench_.isInDialog() && !workbench_.isSaving()) {
    closesWhenIdle_ = false;
    QTimer::singleShot(0, this, &QWidget::close);
  }
}

void MainWindow::tellProgress() {
  progress_->setValue(int(std::lround(workbench_.share() * 100)));
  doing_->setText(workbench_.doing() + "…");
}

void MainWindow::refreshView() {
  const auto give = [this](View::Side side, const std::shared_ptr<const Raster>& raster) {
    if (view_->raster(side) != raster.get())
      view_->setRaster(side, raster);
  };
  give(View::before, workbench_.before());
  give(View::after, workbench_.after());
  give(View::mask, workbench_.mask());
  if (view_->mode() == ViewMode::mask && !workbench_.isBusy() && !workbench_.wasMaskTried())
    workbench_.makeMask();
}

void MainWindow::refreshActions() {
  const History* history = workbench_.history();
  const bool hasPhotograph = workbench_.original() && !workbench_.isInDialog();
  for (QAction* action : {save_, saveAs_, exportMask_, copy_, copyCommand_, close_, lastFilter_,
                          lastAsMask_, adjust_})
    action->setEnabled(hasPhotograph);
  for (QAction* action : viewActions_)
    action->setEnabled(workbench_.original() != nullptr);
  const bool isFloat = hasPhotograph && workbench_.original()->picture->fileBits == 32;
  for (QAction* action : {brighter_, darker_, normal_})
    action->setEnabled(isFloat);
  revert_->setEnabled(hasPhotograph && !history->isOriginal());
  undo_->setEnabled(hasPhotograph && history->canUndo());
  redo_->setEnabled(hasPhotograph && history->canRedo());
  cancel_->setEnabled(workbench_.isBusy());
  refreshFilters();
}

// A filter that refuses the photograph shows the reason in the menu.
void MainWindow::refreshFilters() {
  const Original* original = workbench_.original();
  for (const auto& [action, filter] : filterActions_) {
    const QString name = QString::fromStdString(filter->list.name) + "…";
    const std::string why = original ? refusalOf(*filter, original->picture->document) : "";
    action->setText(why.empty() ? name : tr("%1 (%2)").arg(name, inWords(why)));
    action->setEnabled(original && why.empty() && !workbench_.isInDialog());
  }
}

} // namespace desktop
