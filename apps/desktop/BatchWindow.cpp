#include "apps/desktop/BatchWindow.h"

#include <algorithm>
#include <cmath>
#include <thread>

#include <QApplication>
#include <QCloseEvent>
#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QImageReader>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QMessageBox>
#include <QMimeData>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QSet>
#include <QSettings>
#include <QSpinBox>
#include <QStyledItemDelegate>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "apps/desktop/Raster.h"
#include "apps/desktop/Reasons.h"
#include "apps/desktop/Work.h"

namespace desktop {
namespace {

enum Column { nameColumn, sizeColumn, progressColumn, stateColumn, columns };
enum LookChoice { standardLook, presentLook, lookOfFile };
constexpr QSize thumbnailSize(72, 54); // logical pixels
constexpr int pathRole = Qt::UserRole;
constexpr int standardQuality = 95, mostJobs = 64;

int cores() { return std::max(1, int(std::thread::hardware_concurrency())); }

// Shows a row's progress as a progress bar.
class ShareDelegate : public QStyledItemDelegate {
public:
  using QStyledItemDelegate::QStyledItemDelegate;

  void paint(QPainter* painter, const QStyleOptionViewItem& option,
             const QModelIndex& index) const override {
    QStyleOptionViewItem item = option;
    initStyleOption(&item, index);
    item.text.clear();
    QStyle* style = item.widget->style();
    style->drawControl(QStyle::CE_ItemViewItem, &item, painter, item.widget);
    QStyleOptionProgressBar bar;
    bar.palette = option.palette;
    bar.state = QStyle::State_Enabled | QStyle::State_Horizontal;
    bar.direction = option.direction;
    const int height = std::min(option.rect.height() - 8, option.fontMetrics.height() + 6);
    bar.rect = QRect(option.rect.x() + 6, option.rect.center().y() - height / 2,
                     option.rect.width() - 12, height);
    bar.minimum = 0;
    bar.maximum = 100;
    bar.progress = index.data(BatchWindow::shareRole).toInt();
    bar.text = QString::number(bar.progress) + " %";
    bar.textVisible = true;
    if (bar.progress > 0)
      return style->drawControl(QStyle::CE_ProgressBar, &bar, painter, item.widget);
    // Some styles draw the end of the bar even at zero.
    style->drawControl(QStyle::CE_ProgressBarGroove, &bar, painter, item.widget);
    style->drawControl(QStyle::CE_ProgressBarLabel, &bar, painter, item.widget);
  }
};

// A thumbnail, made by Qt if it reads the format, otherwise like any photograph.
QImage thumbnailOf(const QString& file, const QSize& size, const photo::Watch& watch) {
  QImageReader reader(file);
  reader.setAutoTransform(true);
  if (reader.size().isValid()) {
    const bool turned = reader.transformation() & QImageIOHandler::TransformationRotate90;
    const QSize room = turned ? size.transposed() : size;
    reader.setScaledSize(reader.size().scaled(room, Qt::KeepAspectRatio).expandedTo({1, 1}));
    if (const QImage image = reader.read(); !image.isNull())
      return image;
  }
  const OriginalPtr original = readOriginal(file.toStdString(), 1, watch);
  const host::Document& document = original->picture->document;
  const ColourSource source{original->profile, original->isLinear, document.channels(),
                            document.depth(), document.hasTransparency()};
  const Raster raster(original->picture, std::make_unique<Colours>(source, photo::Bytes(), 1.0),
                      original->orientation);
  const int level = raster.coarseLevel(std::max(size.width(), size.height()));
  return raster.heldLevel(level)->scaled(size, Qt::KeepAspectRatio, Qt::SmoothTransformation);
}

} // namespace

BatchWindow::BatchWindow(std::function<shared::Look()> present, const QString& program)
    : present_(std::move(present)),
      store_(std::make_unique<QSettings>(QSettings::IniFormat, QSettings::UserScope, "fogdissolver",
                                         "desktop")),
      batch_(program) {
  setWindowTitle(tr("Batch – Fogdissolver"));
  setWindowIcon(QIcon(":/desktop/logo.png"));
  setAcceptDrops(true);
  setAttribute(Qt::WA_QuitOnClose, false);
  resize(QSize(1000, 640).boundedTo(screen()->availableSize() * 9 / 10));
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(buildSettings());
  layout->addWidget(buildList(), 1);
  layout->addWidget(buildButtons());
  connect(&batch_, &Batch::happened, this, &BatchWindow::happened);
  connect(&batch_, &Batch::phaseChanged, this, &BatchWindow::refresh);
  restore();
  refresh();
}

BatchWindow::~BatchWindow() {
  batch_.disconnect(this);
  remember();
}

QWidget* BatchWindow::buildSettings() {
  auto* box = new QWidget(this);
  look_ = new QComboBox(box);
  look_->addItems({tr("The standard: strength 70"), tr("That of the photograph in the window"),
                   tr("From a settings file…")});
  connect(look_, &QComboBox::activated, this, &BatchWindow::chooseLook);
  folder_ = new QLineEdit(box);
  folder_->setPlaceholderText(tr("Beside each photograph, as NAME-clear"));
  folder_->setAccessibleName(tr("Folder of the results"));
  auto* browse = new QPushButton(tr("&Browse…"), box);
  connect(browse, &QPushButton::clicked, this, &BatchWindow::chooseFolder);
  auto* folderRow = new QHBoxLayout;
  folderRow->addWidget(folder_, 1);
  folderRow->addWidget(browse);
  format_ = new QComboBox(box);
  format_->addItem(tr("As the photograph"), QString());
  for (const QString& name : QString::fromStdString(photo::formatNames()).split(", "))
    format_->addItem(
        QString(photo::formatOfExtension(name.toStdString())->name) + " (." + name + ")", name);
  existing_ = new QComboBox(box);
  existing_->addItems(
      {tr("Leave as they are"), tr("Replace"), tr("Keep, and number the new ones")});
  quality_ = new QSpinBox(box);
  quality_->setRange(1, 100);
  quality_->setValue(standardQuality);
  jobs_ = new QSpinBox(box);
  jobs_->setRange(1, mostJobs);
  jobs_->setValue(cores());

  auto* folderLabel = new QLabel(tr("&Folder"), box);
  folderLabel->setBuddy(folder_);
  auto* left = new QFormLayout;
  left->addRow(tr("&Look"), look_);
  left->addRow(folderLabel, folderRow);
  left->addRow(tr("E&xisting files"), existing_);
  auto* right = new QFormLayout;
  right->addRow(tr("F&ormat"), format_);
  right->addRow(tr("&Quality"), quality_);
  right->addRow(tr("&At a time"), jobs_);
  auto* layout = new QHBoxLayout(box);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addLayout(left, 3);
  layout->addSpacing(18);
  layout->addLayout(right, 1);
  return box;
}

QWidget* BatchWindow::buildList() {
  list_ = new QTreeWidget(this);
  list_->setColumnCount(columns);
  list_->setHeaderLabels({tr("Photograph"), tr("Size"), tr("Progress"), tr("State")});
  list_->setRootIsDecorated(false);
  list_->setUniformRowHeights(true);
  list_->setIconSize(thumbnailSize);
  list_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  list_->setItemDelegateForColumn(progressColumn, new ShareDelegate(list_));
  list_->setAccessibleName(tr("Photographs"));
  list_->setAlternatingRowColors(true);
  const int letter = fontMetrics().averageCharWidth();
  list_->setColumnWidth(nameColumn, thumbnailSize.width() + 32 * letter);
  list_->setColumnWidth(sizeColumn, 30 * letter);
  list_->setColumnWidth(progressColumn, 20 * letter);
  list_->header()->setStretchLastSection(true);
  connect(list_, &QTreeWidget::itemSelectionChanged, this, &BatchWindow::refresh);
  return list_;
}

QWidget* BatchWindow::buildButtons() {
  auto* box = new QWidget(this);
  auto* add = new QPushButton(tr("A&dd…"), box);
  remove_ = new QPushButton(tr("&Remove"), box);
  remove_->setShortcut(QKeySequence::Delete);
  retry_ = new QPushButton(tr("&Try Again"), box);
  start_ = new QPushButton(tr("&Start"), box);
  start_->setDefault(true);
  pause_ = new QPushButton(tr("&Pause"), box);
  cancel_ = new QPushButton(tr("&Cancel"), box);
  whole_ = new QProgressBar(box);
  whole_->setAccessibleName(tr("Progress of the whole batch"));
  summary_ = new QLabel(box);
  summary_->setTextFormat(Qt::PlainText);
  connect(add, &QPushButton::clicked, this, [this] {
    addFiles(QFileDialog::getOpenFileNames(this, tr("Add Photographs"),
                                           store_->value("folder").toString()));
  });
  connect(remove_, &QPushButton::clicked, this, &BatchWindow::removeSelected);
  connect(retry_, &QPushButton::clicked, this, &BatchWindow::retry);
  connect(start_, &QPushButton::clicked, this, &BatchWindow::start);
  connect(pause_, &QPushButton::clicked, this, [this] {
    if (batch_.phase() == Batch::Phase::paused)
      batch_.resume();
    else
      batch_.pause();
  });
  connect(cancel_, &QPushButton::clicked, &batch_, &Batch::cancel);

  auto* buttons = new QHBoxLayout;
  for (QPushButton* button : {add, remove_, retry_})
    buttons->addWidget(button);
  buttons->addStretch();
  for (QPushButton* button : {start_, pause_, cancel_})
    buttons->addWidget(button);
  auto* layout = new QVBoxLayout(box);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(summary_);
  layout->addWidget(whole_);
  layout->addLayout(buttons);
  return box;
}

void BatchWindow::restore() {
  restoreGeometry(store_->value("batch/geometry").toByteArray());
  folder_->setText(store_->value("batch/folder").toString());
  format_->setCurrentIndex(std::max(0, format_->findData(store_->value("batch/format"))));
  existing_->setCurrentIndex(std::clamp(store_->value("batch/existing", 0).toInt(), 0, 2));
  jobs_->setValue(store_->value("batch/jobs", cores()).toInt());
  quality_->setValue(store_->value("batch/quality", standardQuality).toInt());
}

void BatchWindow::remember() {
  store_->setValue("batch/geometry", saveGeometry());
  store_->setValue("batch/folder", folder_->text());
  store_->setValue("batch/format", format_->currentData());
  store_->setValue("batch/existing", existing_->currentIndex());
  store_->setValue("batch/jobs", jobs_->value());
  store_->setValue("batch/quality", quality_->value());
}

// ---- The list

void BatchWindow::addFiles(const QStringList& filesAndFolders) {
  const auto found = std::make_shared<QStringList>();
  finder_.start({[found, filesAndFolders](const photo::Watch& watch) {
                   *found = photographsIn(filesAndFolders, watch);
                 },
                 [this, found] { addRows(*found); },
                 [this](const std::exception_ptr& failure) {
                   refresh();
                   summary_->setText(reasonOf(failure));
                 },
                 {}});
  refresh();
}

void BatchWindow::addRows(const QStringList& files) {
  QSet<QString> present;
  for (int i = 0; i < list_->topLevelItemCount(); ++i)
    present += list_->topLevelItem(i)->data(0, pathRole).toString();
  for (const QString& file : files) {
    if (present.contains(file))
      continue;
    const QFileInfo info(file);
    auto* row =
        new QTreeWidgetItem(list_, {info.fileName(), locale().formattedDataSize(info.size(), 1)});
    row->setData(0, pathRole, file);
    row->setToolTip(0, QDir::toNativeSeparators(file));
    row->setSizeHint(0, thumbnailSize + QSize(8, 8));
    row->setIcon(0, style()->standardIcon(QStyle::SP_FileIcon));
    setRow(row, Row::waiting, tr("Waiting"));
    askForThumbnail(row);
  }
  refresh();
}

void BatchWindow::askForThumbnail(QTreeWidgetItem* row) {
  const QString file = row->data(0, pathRole).toString();
  const QSize size = thumbnailSize * devicePixelRatioF();
  struct Found {
    QImage image;
    QSize pixels;
  };
  const auto found = std::make_shared<Found>();
  thumbnails_.start({[found, file, size](const photo::Watch& watch) {
                       found->pixels = QImageReader(file).size();
                       found->image = thumbnailOf(file, size, watch);
                     },
                     [this, found, file] {
                       // Meanwhile the row may be gone, or another one may be in its place.
                       for (int i = 0; i < list_->topLevelItemCount(); ++i) {
                         QTreeWidgetItem* item = list_->topLevelItem(i);
                         if (item->data(0, pathRole).toString() != file)
                           continue;
                         item->setIcon(0, QIcon(QPixmap::fromImage(found->image)));
                         if (found->pixels.isValid())
                           item->setText(sizeColumn, tr("%1 × %2, %3")
                                                         .arg(found->pixels.width())
                                                         .arg(found->pixels.height())
                                                         .arg(item->text(sizeColumn)));
                       }
                     },
                     {},
                     {}});
}

void BatchWindow::setRow(QTreeWidgetItem* row, Row state, const QString& text) {
  row->setData(0, stateRole, int(state));
  row->setText(stateColumn, text);
  row->setToolTip(stateColumn, text);
  const int share = state == Row::done ? 100 : 0;
  row->setData(progressColumn, shareRole, share);
  row->setData(progressColumn, Qt::AccessibleTextRole, tr("%1 percent").arg(share));
}

void BatchWindow::removeSelected() {
  if (batch_.phase() == Batch::Phase::idle)
    qDeleteAll(list_->selectedItems());
  refresh();
}

void BatchWindow::chooseFolder() {
  const QString folder =
      QFileDialog::getExistingDirectory(this, tr("Folder of the Results"), folder_->text());
  if (!folder.isEmpty())
    folder_->setText(folder);
}

void BatchWindow::chooseLook() {
  if (look_->currentIndex() != lookOfFile)
    return;
  const QString file = QFileDialog::getOpenFileName(this, tr("Settings File"), lookFile_);
  if (!file.isEmpty())
    lookFile_ = file;
  else if (lookFile_.isEmpty())
    look_->setCurrentIndex(standardLook);
  look_->setItemText(lookOfFile, lookFile_.isEmpty()
                                     ? tr("From a settings file…")
                                     : tr("From %1").arg(QFileInfo(lookFile_).fileName()));
}

// ---- The run

BatchSettings BatchWindow::settings() const {
  BatchSettings settings;
  if (look_->currentIndex() == presentLook)
    settings.look = present_();
  else if (look_->currentIndex() == lookOfFile)
    settings.look = shared::readLook(lookFile_.toStdString());
  if (!folder_->text().trimmed().isEmpty())
    settings.folder = QFileInfo(folder_->text().trimmed()).absoluteFilePath().toStdString();
  settings.format = format_->currentData().toString().toStdString();
  settings.quality = quality_->value();
  settings.jobs = jobs_->value();
  settings.existing = Existing(existing_->currentIndex());
  return settings;
}

void BatchWindow::start() {
  std::vector<QTreeWidgetItem*> rows;
  for (int i = 0; i < list_->topLevelItemCount(); ++i)
    if (Row(list_->topLevelItem(i)->data(0, stateRole).toInt()) != Row::done)
      rows.push_back(list_->topLevelItem(i));
  startRows(rows);
}

// Retries what failed, was stopped or omitted; only in the selected rows if there are any.
void BatchWindow::retry() {
  std::vector<QTreeWidgetItem*> all, selected;
  for (int i = 0; i < list_->topLevelItemCount(); ++i) {
    QTreeWidgetItem* row = list_->topLevelItem(i);
    const auto state = Row(row->data(0, stateRole).toInt());
    if (state != Row::failed && state != Row::stopped && state != Row::skipped)
      continue;
    all.push_back(row);
    if (row->isSelected())
      selected.push_back(row);
  }
  startRows(selected.empty() ? all : selected);
}

void BatchWindow::startRows(const std::vector<QTreeWidgetItem*>& rows) {
  if (batch_.phase() != Batch::Phase::idle || rows.empty())
    return;
  BatchSettings chosen;
  try {
    chosen = settings();
  } catch (...) {
    summary_->setText(reasonOf(std::current_exception()));
    return;
  }
  std::vector<std::string> inputs;
  inputs.reserve(rows.size());
  for (const QTreeWidgetItem* row : rows)
    inputs.push_back(row->data(0, pathRole).toString().toStdString());
  const std::vector<PlannedPhotograph> plan = planBatch(inputs, chosen);
  BatchOrder order;
  running_.clear();
  for (size_t i = 0; i < rows.size(); ++i) {
    if (!plan[i].refusal.empty()) {
      setRow(rows[i], Row::skipped, tr("Left out: %1").arg(inWords(plan[i].refusal)));
      continue;
    }
    setRow(rows[i], Row::waiting, tr("Waiting"));
    rows[i]->setData(stateColumn, pathRole, QString::fromStdString(plan[i].output));
    running_.push_back(rows[i]);
    order.photographs.push_back({plan[i].input, plan[i].output});
  }
  order.look = chosen.look;
  order.bits = chosen.bits;
  order.quality = chosen.quality;
  order.jobs = std::min(chosen.jobs, std::max(1, int(running_.size())));
  order.threads = std::max(1, cores() / order.jobs);
  order.replace = chosen.existing == Existing::replace;
  remember();
  if (!running_.empty())
    batch_.start(order);
  refresh();
}

void BatchWindow::happened(const BatchEvent& event) {
  if (event.photograph < 0 || size_t(event.photograph) >= running_.size())
    return;
  QTreeWidgetItem* row = running_[size_t(event.photograph)];
  if (event.kind == "started") {
    setRow(row, Row::running, tr("Running"));
  } else if (event.kind == "progress") {
    const int percent = int(std::lround(event.share * 100));
    row->setData(progressColumn, shareRole, percent);
    row->setData(progressColumn, Qt::AccessibleTextRole, tr("%1 percent").arg(percent));
  } else if (event.kind == "note") {
    row->setToolTip(nameColumn, row->toolTip(nameColumn) + "\n" + event.text);
  } else if (event.kind == "done") {
    const QString file = row->data(stateColumn, pathRole).toString();
    setRow(row, Row::done, tr("Written to %1").arg(QDir::toNativeSeparators(file)));
  } else if (event.kind == "failed") {
    setRow(row, Row::failed, tr("Failed: %1").arg(inWords(event.text.toStdString())));
  } else {
    setRow(row, Row::stopped, tr("Stopped"));
  }
  refresh();
}

void BatchWindow::refresh() {
  const Batch::Phase phase = batch_.phase();
  const bool isIdle = phase == Batch::Phase::idle;
  int counts[6] = {}, shares = 0;
  for (int i = 0; i < list_->topLevelItemCount(); ++i) {
    const QTreeWidgetItem* row = list_->topLevelItem(i);
    const int state = row->data(0, stateRole).toInt();
    ++counts[state];
    const bool isOpen = state == int(Row::waiting) || state == int(Row::running);
    shares += isOpen ? row->data(progressColumn, shareRole).toInt() : 100;
  }
  const int total = list_->topLevelItemCount();
  const int failed = counts[int(Row::failed)] + counts[int(Row::stopped)];
  const int retriable = failed + counts[int(Row::skipped)];
  start_->setEnabled(isIdle && total > counts[int(Row::done)]);
  pause_->setEnabled(!isIdle);
  pause_->setText(phase == Batch::Phase::paused ? tr("&Go On") : tr("&Pause"));
  cancel_->setEnabled(!isIdle);
  retry_->setEnabled(isIdle && retriable > 0);
  remove_->setEnabled(isIdle && !list_->selectedItems().isEmpty());
  whole_->setRange(0, std::max(1, total * 100));
  whole_->setValue(shares);
  const QString parts[] = {tr("%n photograph(s)", "", total),
                           tr("%n done", "", counts[int(Row::done)]), tr("%n failed", "", failed)};
  summary_->setText(finder_.isBusy() ? tr("Looking for photographs…")
                    : total == 0     ? tr("Drop photographs or a folder here, or add them.")
                                     : QStringList(std::begin(parts), std::end(parts)).join(", "));
}

// ---- The window

bool BatchWindow::mayClose() {
  if (batch_.phase() == Batch::Phase::idle)
    return true;
  const auto answer = QMessageBox::question(this, tr("A Batch Runs"),
                                            tr("Stop the batch? What is written already stays."),
                                            QMessageBox::Yes | QMessageBox::No, QMessageBox::No);
  if (answer == QMessageBox::Yes)
    batch_.cancel();
  return answer == QMessageBox::Yes;
}

void BatchWindow::closeEvent(QCloseEvent* event) {
  if (!mayClose())
    return event->ignore();
  remember();
  event->accept();
}

void BatchWindow::dragEnterEvent(QDragEnterEvent* event) {
  if (event->mimeData()->hasUrls())
    event->acceptProposedAction();
}

void BatchWindow::dropEvent(QDropEvent* event) {
  QStringList files;
  for (const QUrl& url : event->mimeData()->urls())
    if (url.isLocalFile())
      files += url.toLocalFile();
  addFiles(files);
  event->acceptProposedAction();
}

} // namespace desktop
