#include "ui/toolkit/qt/QtServices.h"

#include <QApplication>
#include <QClipboard>
#include <QDesktopServices>
#include <QMessageBox>
#include <QScreen>
#include <QStyle>
#include <QThread>
#include <QUrl>

#include "frame/text/Strings.h"
#include "ui/toolkit/qt/QtDialog.h"

namespace {

// Null if nothing can be shown: there is no application, or this is another thread.
QApplication* application() {
  auto* app = qobject_cast<QApplication*>(QCoreApplication::instance());
  return app && app->thread() == QThread::currentThread() ? app : nullptr;
}

intptr_t dialogBox(const DialogTemplate* dialogTemplate, void* owner, DialogProc proc,
                   intptr_t parameter) {
  if (!application())
    return -1;
  return QtDialog(*dialogTemplate, static_cast<QWidget*>(owner), proc).run(parameter);
}

// Uses the dialog as the context, so that no call remains when the module is unloaded.
void messagePosted() {
  QtDialog* dialog = application() ? QtDialog::innermost() : nullptr;
  if (!dialog)
    return;
  QMetaObject::invokeMethod(
      dialog, [dialog] { dialog->dispatchPosted(); }, Qt::QueuedConnection);
}

void* activeWindow() { return application() ? QApplication::activeWindow() : nullptr; }

WindowRect desktop() {
  const QScreen* screen = application() ? QGuiApplication::primaryScreen() : nullptr;
  const QRect rect = screen ? screen->geometry() : QRect();
  return {rect.left(), rect.top(), rect.left() + rect.width(), rect.top() + rect.height()};
}

int32_t captionHeight() {
  return application() ? QApplication::style()->pixelMetric(QStyle::PM_TitleBarHeight) : 0;
}

bool keyHeld(uintptr_t key) {
  const Qt::KeyboardModifiers held =
      application() ? QGuiApplication::keyboardModifiers() : Qt::NoModifier;
  switch (key) {
  case VK_CONTROL:
    return held.testFlag(Qt::ControlModifier);
  case VK_SHIFT:
    return held.testFlag(Qt::ShiftModifier);
  case VK_MENU:
    return held.testFlag(Qt::AltModifier);
  default:
    return false;
  }
}

void beep() {
  if (application())
    QApplication::beep();
}

int messageBox(Window, const std::string& text, uint32_t style) {
  if (!application())
    return 0;
  QtDialog* dialog = QtDialog::innermost();
  QMessageBox box(style & MB_ICONHAND          ? QMessageBox::Critical
                  : style & MB_ICONEXCLAMATION ? QMessageBox::Warning
                                               : QMessageBox::NoIcon,
                  systemLanguageIsFrench() ? "Erreur" : "Error", QString::fromStdString(text),
                  QMessageBox::Ok, dialog ? dialog->surface() : QApplication::activeWindow());
  box.exec();
  return 1;
}

bool openClipboard() { return application() != nullptr; }

std::string clipboardText() {
  return application() ? QGuiApplication::clipboard()->text().toStdString() : std::string();
}

void openAddress(const std::string& address) {
  if (application() && !address.empty())
    QDesktopServices::openUrl(QUrl(QString::fromStdString(address)));
}

void busy(bool on) {
  if (!application())
    return;
  if (on)
    QGuiApplication::setOverrideCursor(Qt::WaitCursor);
  else
    QGuiApplication::restoreOverrideCursor();
}

} // namespace

const ToolkitServices desktopServices = {
    dialogBox, messagePosted, activeWindow,  desktop,       captionHeight, keyHeld,
    beep,      messageBox,    openClipboard, clipboardText, openAddress,   busy,
};

namespace {

[[maybe_unused]] const bool registered = (gServices = &desktopServices, true);

} // namespace
