// The main window: a photograph, its operations, and the menus.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <QKeySequence>
#include <QMainWindow>
#include <QTimer>

#include "apps/desktop/View.h"
#include "apps/desktop/Workbench.h"

class QAction;
class QActionGroup;
class QLabel;
class QProgressBar;
class QSettings;
class QStackedWidget;
class QToolButton;

namespace desktop {

class BatchWindow;
class Notice;
class ResultBar;

class MainWindow : public QMainWindow {
  Q_OBJECT

public:
  // The filters must outlive the window. sample: a photograph to try out; empty: none.
  MainWindow(const Filters& filters, const photo::Bytes& screen, const QString& sample);
  ~MainWindow() override;

  // Opens one photograph, after asking about unsaved work; many photographs, or a folder, go to the
  // batch.
  void openFiles(const QStringList& files);

  Workbench& workbench() { return workbench_; }
  View& view() { return *view_; }
  BatchWindow& batch(); // created on first use

protected:
  void closeEvent(QCloseEvent* event) override;
  void changeEvent(QEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

private:
  using Slot = std::function<void()>;
  // All of the platform's keys for the purpose, or one key by its name.
  struct Keys : QList<QKeySequence> {
    Keys() = default;
    Keys(QKeySequence::StandardKey purpose) : QList(QKeySequence::keyBindings(purpose)) {}
    Keys(const char* name) : QList({QKeySequence(name)}) {}
  };
  QAction* add(QWidget* menu, const QString& text, const Keys& keys, Slot slot);
  void buildMenus();
  void buildFileMenu();
  void buildEditMenu();
  void buildFilterMenu();
  void buildViewMenu();
  void buildHelpMenu();
  void buildToolBar();
  QWidget* buildCentre(bool offersSample);
  void buildStatusBar();
  void restore();
  void remember();

  void refresh();
  void refreshActions();
  void refreshFilters();
  void refreshView();
  void photographChanged();
  void showScale();
  void tellProgress();
  void updateRecent();
  void noteRecent(const QString& file);

  void openByDialog();
  void pasteFile();
  void save(Slot then = {});
  void saveAs(Slot then = {});
  void exportMask();
  void copyPicture();
  void copyCommand();
  void adjust(const Filter& filter);
  void repeatLast(bool mask);
  void askForUndoMemory();
  void setMode(ViewMode mode);
  void markMode();
  void changeExposure(double stops);
  void showShortcuts();
  void showAbout();
  // Continues if nothing is lost: at once, after a save, or not at all.
  void whenKept(const Slot& then);
  bool isOnlyOneToClose();

  const Filters& filters_;
  Workbench workbench_;
  const QString sample_;
  std::unique_ptr<QSettings> settings_;
  std::unique_ptr<BatchWindow> batch_;
  QStackedWidget* pages_;
  View* view_;
  Notice* notice_;
  ResultBar* bar_;
  QLabel* doing_;
  QLabel* scale_;
  QProgressBar* progress_;
  QToolButton* stop_;
  QTimer progressTimer_;
  bool closesWhenIdle_ = false;
  QString lastFolder_;
  QStringList recent_;

  QMenu* recentMenu_;
  QActionGroup* modes_;
  QAction *save_, *saveAs_, *exportMask_, *revert_, *close_;
  QAction *undo_, *redo_, *copy_, *copyCommand_, *clearsOnOpening_;
  QAction *lastFilter_, *lastAsMask_, *adjust_, *cancel_;
  QAction *brighter_, *darker_, *normal_;
  std::vector<std::pair<QAction*, const Filter*>> filterActions_;
  std::vector<std::pair<QAction*, QWidget*>> modeButtons_; // of the toolbar
  std::vector<QAction*> viewActions_;                      // that need a photograph
  std::vector<QAction*> namedActions_;                     // all that have a shortcut, for the help
};

} // namespace desktop
