// Many photographs: a list with the state of each, and the settings for all of them.
#pragma once

#include <functional>
#include <memory>

#include <QWidget>

#include "apps/desktop/Batch.h"
#include "apps/desktop/Runner.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QSettings;
class QSpinBox;
class QTreeWidget;
class QTreeWidgetItem;

namespace desktop {

class BatchWindow : public QWidget {
  Q_OBJECT

public:
  // present: returns the look of the photograph in the main window. program: the path of
  // fogdissolver-desktop.
  BatchWindow(std::function<shared::Look()> present, const QString& program);
  ~BatchWindow() override;

  // Searches folders in the background.
  void addFiles(const QStringList& filesAndFolders);
  bool mayClose(); // asks the user if a batch is running
  Batch& batch() { return batch_; }

  static constexpr int stateRole = 0x101, shareRole = 0x102; // of a row
  enum class Row { waiting, running, done, failed, skipped, stopped };

protected:
  void closeEvent(QCloseEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;

private:
  QWidget* buildSettings();
  QWidget* buildList();
  QWidget* buildButtons();
  void addRows(const QStringList& files);
  void restore();
  void remember();
  void start();
  void startRows(const std::vector<QTreeWidgetItem*>& rows);
  void retry();
  void happened(const BatchEvent& event);
  void setRow(QTreeWidgetItem* row, Row state, const QString& text);
  void askForThumbnail(QTreeWidgetItem* row);
  void removeSelected();
  void chooseFolder();
  void chooseLook();
  void refresh();
  BatchSettings settings() const; // throws like readLook

  std::function<shared::Look()> present_;
  std::unique_ptr<QSettings> store_;
  Batch batch_;
  std::vector<QTreeWidgetItem*> running_; // rows of the batch, in the order's sequence
  QTreeWidget* list_;
  QComboBox *look_, *format_, *existing_;
  QLineEdit* folder_;
  QSpinBox *jobs_, *quality_;
  QPushButton *start_, *pause_, *cancel_, *retry_, *remove_;
  QProgressBar* whole_;
  QLabel* summary_;
  QString lookFile_;
  Runner finder_, thumbnails_; // last, so that their threads end first
};

} // namespace desktop
