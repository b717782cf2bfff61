// The menus and the toolbar of the main window.

#include "apps/desktop/MainWindow.h"

#include <QActionGroup>
#include <QApplication>
#include <QDesktopServices>
#include <QDialog>
#include <QDialogButtonBox>
#include <QHeaderView>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QSettings>
#include <QTableWidget>
#include <QToolBar>
#include <QUrl>
#include <QVBoxLayout>

#include "apps/desktop/BatchWindow.h"
#include "apps/shared/Installation.h"
#include "frame/contract/Version.h"

namespace desktop {
namespace {

constexpr double zoomStep = 1.25;
constexpr double exposureStep = 0.5; // stops

// The documentation page in the user's language, if it is installed.
QUrl helpPage() {
  //: the page's file: fr/desktop.html in French
  const QString page = MainWindow::tr("desktop.html");
  const auto file = shared::sharedFile("doc/fogdissolver/" + page.toStdString());
  return file.empty() ? QUrl() : QUrl::fromLocalFile(QString::fromStdString(file.string()));
}

} // namespace

QAction* MainWindow::add(QWidget* menu, const QString& text, const Keys& keys, Slot slot) {
  auto* action = new QAction(text, this);
  if (!keys.isEmpty()) {
    action->setShortcuts(keys);
    namedActions_.push_back(action);
  }
  connect(action, &QAction::triggered, this, [slot = std::move(slot)] { slot(); });
  menu->addAction(action);
  return action;
}

void MainWindow::buildMenus() {
  buildFileMenu();
  buildEditMenu();
  buildFilterMenu();
  buildViewMenu();
  buildHelpMenu();
}

void MainWindow::buildFileMenu() {
  QMenu* menu = menuBar()->addMenu(tr("&File"));
  add(menu, tr("&Open…"), QKeySequence::Open, [this] { openByDialog(); });
  recentMenu_ = menu->addMenu(tr("Open &Recent"));
  recentMenu_->setToolTipsVisible(true);
  add(menu, tr("&Batch…"), "Ctrl+B", [this] {
    batch().show();
    batch().raise();
    batch().activateWindow();
  });
  menu->addSeparator();
  save_ = add(menu, tr("&Save"), QKeySequence::Save, [this] { save(); });
  saveAs_ = add(menu, tr("Save &As…"), "Ctrl+Shift+S", [this] { saveAs(); });
  exportMask_ = add(menu, tr("&Export Mask…"), "Ctrl+E", [this] { exportMask(); });
  revert_ = add(menu, tr("Re&vert"), "Ctrl+Shift+R", [this] { workbench_.revert(); });
  menu->addSeparator();
  close_ = add(menu, tr("&Close"), QKeySequence::Close,
               [this] { whenKept([this] { workbench_.close(); }); });
  add(menu, tr("&Quit"), "Ctrl+Q", [this] { close(); });
}

void MainWindow::buildEditMenu() {
  QMenu* menu = menuBar()->addMenu(tr("&Edit"));
  undo_ = add(menu, tr("&Undo"), QKeySequence::Undo, [this] { workbench_.undo(); });
  redo_ = add(menu, tr("&Redo"), QKeySequence::Redo, [this] { workbench_.redo(); });
  menu->addSeparator();
  copy_ = add(menu, tr("&Copy Picture"), QKeySequence::Copy, [this] { copyPicture(); });
  copyCommand_ = add(menu, tr("Copy as Co&mmand"), "Ctrl+Shift+C", [this] { copyCommand(); });
  add(menu, tr("&Paste a File"), QKeySequence::Paste, [this] { pasteFile(); });
  menu->addSeparator();
  cancel_ = add(menu, tr("C&ancel What Runs"), "Esc", [this] { workbench_.cancel(); });
  menu->addSeparator();
  clearsOnOpening_ = add(menu, tr("Clear on &Opening"), {}, [this] {
    workbench_.setClearsOnOpening(clearsOnOpening_->isChecked());
    settings_->setValue("clearsOnOpening", clearsOnOpening_->isChecked());
  });
  clearsOnOpening_->setCheckable(true);
  add(menu, tr("Memory for Un&do…"), {}, [this] { askForUndoMemory(); });
}

// One item per module, in a submenu for its category.
void MainWindow::buildFilterMenu() {
  QMenu* menu = menuBar()->addMenu(tr("Fi&lter"));
  lastFilter_ = add(menu, tr("&Last Filter"), "Ctrl+F", [this] { repeatLast(false); });
  lastAsMask_ = add(menu, tr("Last Filter as &Mask"), "Ctrl+Shift+F", [this] { repeatLast(true); });
  adjust_ = add(menu, tr("&Adjust…"), "Ctrl+J", [this] { adjust(filters_.all().front()); });
  menu->addSeparator();
  std::map<std::string, QMenu*> categories;
  for (const Filter& filter : filters_.all()) {
    QMenu*& category = categories[filter.list.category];
    if (!category)
      category = filter.list.category.empty()
                     ? menu
                     : menu->addMenu(QString::fromStdString(filter.list.category));
    QAction* action = add(category, QString::fromStdString(filter.list.name), {},
                          [this, &filter] { adjust(filter); });
    filterActions_.emplace_back(action, &filter);
  }
  menu->addSeparator();
  QMenu* about = menu->addMenu(tr("A&bout Filter"));
  for (const Filter& filter : filters_.all())
    add(about, QString::fromStdString(filter.list.name), {},
        [this, &filter] { workbench_.showAbout(filter, this); });
}

void MainWindow::buildViewMenu() {
  QMenu* menu = menuBar()->addMenu(tr("&View"));
  modes_ = new QActionGroup(this);
  const struct {
    QString text;
    const char* keys;
  } modes[] = {{tr("&Split"), "F5"},
               {tr("Side &by Side"), "F6"},
               {tr("&Result"), "F7"},
               {tr("&Haze Mask"), "F8"}};
  for (int i = 0; i < int(std::size(modes)); ++i) {
    QAction* action = add(menu, modes[i].text, modes[i].keys, [this, i] { setMode(ViewMode(i)); });
    action->setCheckable(true);
    modes_->addAction(action);
  }
  menu->addSeparator();
  const auto zoom = [this, menu](const QString& text, const Keys& keys, Slot slot) {
    viewActions_.push_back(add(menu, text, keys, std::move(slot)));
  };
  Keys zoomIn = QKeySequence::ZoomIn;
  zoomIn += QKeySequence("Ctrl+="); // the same key on keyboards where plus needs Shift
  zoom(tr("Zoom &In"), zoomIn, [this] { view_->zoomBy(zoomStep); });
  zoom(tr("Zoom &Out"), QKeySequence::ZoomOut, [this] { view_->zoomBy(1 / zoomStep); });
  zoom(tr("&Fit"), "Ctrl+0", [this] { view_->fit(); });
  zoom(tr("&50 %"), "Ctrl+5", [this] { view_->setScale(0.5); });
  zoom(tr("&100 %"), "Ctrl+1", [this] { view_->setScale(1); });
  zoom(tr("&200 %"), "Ctrl+2", [this] { view_->setScale(2); });
  menu->addSeparator();
  brighter_ = add(menu, tr("Bri&ghter"), "Ctrl+Shift+Up",
                  [this] { changeExposure(workbench_.exposure() + exposureStep); });
  darker_ = add(menu, tr("&Darker"), "Ctrl+Shift+Down",
                [this] { changeExposure(workbench_.exposure() - exposureStep); });
  normal_ = add(menu, tr("&No Exposure"), "Ctrl+Shift+0", [this] { changeExposure(0); });
}

void MainWindow::buildHelpMenu() {
  QMenu* menu = menuBar()->addMenu(tr("&Help"));
  QAction* help = add(menu, tr("&Help"), QKeySequence::HelpContents,
                      [] { QDesktopServices::openUrl(helpPage()); });
  help->setEnabled(!helpPage().isEmpty());
  add(menu, tr("&Keyboard…"), "Ctrl+K", [this] { showShortcuts(); });
  add(menu, tr("&About Fogdissolver"), {}, [this] { showAbout(); });
}

void MainWindow::buildToolBar() {
  QToolBar* bar = addToolBar(tr("Tools"));
  bar->setObjectName("tools");
  bar->setMovable(false);
  bar->setContextMenuPolicy(Qt::PreventContextMenu);
  bar->addActions({menuBar()->actions()[0]->menu()->actions()[0], saveAs_});
  bar->addSeparator();
  bar->addActions({undo_, redo_});
  bar->addSeparator();
  bar->addActions(modes_->actions());
  bar->addSeparator();
  bar->addActions({viewActions_[2], viewActions_[4]});
  for (QAction* action : modes_->actions())
    modeButtons_.emplace_back(action, bar->widgetForAction(action));
  markMode();
}

// Marks the active mode's button so that it is visible with every palette; styles darken it only
// slightly.
void MainWindow::markMode() {
  QPalette marked = palette();
  marked.setColor(QPalette::Button, marked.color(QPalette::Highlight));
  marked.setColor(QPalette::ButtonText, marked.color(QPalette::HighlightedText));
  for (const auto& [action, button] : modeButtons_)
    button->setPalette(action->isChecked() ? marked : QPalette());
}

// Lists the shortcuts of the menus' actions, and those without a menu item.
void MainWindow::showShortcuts() {
  std::vector<std::pair<QString, QString>> rows = {
      {tr("Show the photograph as it was"), tr("B, held")},
      {tr("Move the photograph"), tr("Arrow keys, or drag")},
      {tr("Move the line between before and after"), tr("Shift+Left, Shift+Right, or drag")},
      {tr("Zoom around the pointer"), tr("Wheel")},
      {tr("Between the whole photograph and 100 %"), tr("Double click")}};
  for (const QAction* action : namedActions_)
    rows.emplace_back(QString(action->text()).remove('&'),
                      QKeySequence::listToString(action->shortcuts(), QKeySequence::NativeText));
  QDialog dialog(this);
  dialog.setWindowTitle(tr("Keyboard and Mouse"));
  auto* table = new QTableWidget(int(rows.size()), 2, &dialog);
  table->setHorizontalHeaderLabels({tr("What"), tr("How")});
  table->verticalHeader()->hide();
  table->setEditTriggers(QAbstractItemView::NoEditTriggers);
  table->setSelectionBehavior(QAbstractItemView::SelectRows);
  table->setShowGrid(false);
  for (int row = 0; row < table->rowCount(); ++row) {
    table->setItem(row, 0, new QTableWidgetItem(rows[size_t(row)].first));
    table->setItem(row, 1, new QTableWidgetItem(rows[size_t(row)].second));
  }
  table->resizeColumnsToContents();
  table->horizontalHeader()->setStretchLastSection(true);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, &dialog);
  connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
  auto* layout = new QVBoxLayout(&dialog);
  layout->addWidget(table);
  layout->addWidget(buttons);
  const int width = table->horizontalHeader()->length() + 4 * table->frameWidth() + 60;
  dialog.resize(std::max(width, 460), 560);
  dialog.exec();
}

void MainWindow::showAbout() {
  QMessageBox::about(this, tr("About Fogdissolver"),
                     tr("<h3>Fogdissolver %1</h3><p>Takes white haze out of photographs.</p>"
                        "<p>The code is under the MIT licence.</p>")
                         .arg(FOG_VERSION));
}

} // namespace desktop
