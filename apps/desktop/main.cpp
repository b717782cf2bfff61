// fogdissolver-desktop: haze out of photographs, in a window.

#include <cstdio>
#include <cstring>

#include <QApplication>
#include <QCommandLineParser>
#include <QFileInfo>
#include <QIcon>
#include <QLibraryInfo>
#include <QMessageBox>
#include <QTranslator>

#include "apps/desktop/BatchProcess.h"
#include "apps/desktop/MainWindow.h"
#include "apps/desktop/Resources.h"
#include "apps/desktop/ScreenProfile.h"
#include "apps/photo/Codecs.h"
#include "apps/shared/Errors.h"
#include "apps/shared/Installation.h"
#include "frame/contract/Version.h"

namespace {

int run(QApplication& application) {
  QCommandLineParser parser;
  parser.setApplicationDescription(
      QCoreApplication::translate("main", "Takes white haze out of photographs."));
  parser.addPositionalArgument(
      QCoreApplication::translate("main", "PHOTOGRAPH"),
      QCoreApplication::translate("main", "What to open; many, or a folder, make a batch."),
      "[...]");
  parser.addHelpOption();
  parser.addVersionOption();
  parser.process(application);

  const std::filesystem::path folder = shared::pluginFolder();
  photo::setFormatsFolder(folder);
  const desktop::Filters filters(folder);
  const std::string sample = shared::sharedFile("fogdissolver/mountain.jpg").string();
  desktop::MainWindow window(filters, desktop::screenProfile(), QString::fromStdString(sample));
  window.show();
  window.openFiles(parser.positionalArguments());
  return QApplication::exec();
}

} // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::strcmp(argv[1], desktop::batchProcessArgument) == 0)
    return desktop::runBatchProcess();
  QApplication::setApplicationName("fogdissolver-desktop");
  QApplication::setApplicationDisplayName("Fogdissolver");
  QApplication::setApplicationVersion(FOG_VERSION);
  QApplication::setDesktopFileName("org.fogdissolver.Fogdissolver");
  QApplication application(argc, argv);
  desktop::loadResources();
  try {
    return run(application);
  } catch (const std::exception& error) {
    const std::string reason = shared::reasonOf(error);
    std::fprintf(stderr, "fogdissolver-desktop: %s\n", reason.c_str());
    QMessageBox::critical(nullptr, "Fogdissolver", QString::fromStdString(reason));
  }
  return 1;
}
