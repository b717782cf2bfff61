// Pictures of the dialogs as a user sees them, for the documentation and for looking at.
//
//   dialog-shots PHOTO OUTPUT.png [alt] [dark] [about]
//
// Language, platform and scale come from the environment: LC_ALL, QT_QPA_PLATFORM,
// QT_SCALE_FACTOR.
#include <QApplication>
#include <QImage>
#include <QPalette>
#include <QStyleFactory>
#include <QTest>
#include <QTimer>
#include <QWidget>
#include <QWindow>

#include <cstdio>
#include <cstring>

#include "host/document/Document.h"
#include "host/module/FilterModule.h"
#include "host/session/Session.h"

namespace {

host::Document readPhoto(const QString& file) {
  const QImage image = QImage(file).convertToFormat(QImage::Format_RGB888);
  if (image.isNull())
    throw std::runtime_error("cannot read " + file.toStdString());
  host::Document document(image.width(), image.height(), 3, 8);
  for (int y = 0; y < image.height(); ++y)
    std::memcpy(document.row(y), image.constScanLine(y), document.rowBytes());
  return document;
}

QPalette darkPalette() {
  QPalette palette(QColor(0x45, 0x48, 0x4d), QColor(0x2b, 0x2d, 0x30));
  palette.setColor(QPalette::Base, QColor(0x3a, 0x3d, 0x42));
  palette.setColor(QPalette::Highlight, QColor(0x3d, 0x8b, 0xb8));
  palette.setColor(QPalette::Link, QColor(0x79, 0xb8, 0xdd));
  return palette;
}

void shoot(const QString& output, bool alt) {
  QWidget* dialog = QApplication::activeModalWidget();
  if (alt)
    QTest::keyPress(dialog->windowHandle(), Qt::Key_Alt, Qt::AltModifier);
  QCoreApplication::processEvents();
  if (!dialog->grab().save(output))
    std::fprintf(stderr, "cannot write %s\n", qPrintable(output));
  dialog->close();
}

} // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  const QStringList arguments = application.arguments();
  if (arguments.size() < 3) {
    std::fprintf(stderr, "usage: dialog-shots PHOTO OUTPUT.png [alt] [dark] [about]\n");
    return 2;
  }
  QApplication::setStyle(QStyleFactory::create("Fusion"));
  if (arguments.contains("dark"))
    QApplication::setPalette(darkPalette());
  const host::Module module = host::Module::openBest(FOG_MODULE_FOLDER);
  host::Document document = readPhoto(arguments[1]);
  host::Session session(module, document, host::SessionOptions{});
  QTimer::singleShot(500, [&] { shoot(arguments[2], arguments.contains("alt")); });
  const host::RunOutcome outcome =
      arguments.contains("about") ? session.about() : session.runFromMenu();
  return outcome.result == 0 || outcome.cancelled ? 0 : 1;
}
