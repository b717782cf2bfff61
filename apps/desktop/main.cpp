// fogdissolver-desktop: removes haze from photographs, in a window.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

#include <QApplication>
#include <QCommandLineParser>
#include <QMessageBox>

#include "apps/desktop/BatchProcess.h"
#include "apps/desktop/MainWindow.h"
#include "apps/desktop/Resources.h"
#include "apps/desktop/ScreenProfile.h"
#include "apps/photo/Codecs.h"
#include "apps/shared/Errors.h"
#include "apps/shared/Installation.h"
#include "frame/contract/Version.h"

namespace {

// Returns the photographs; exits after printing a requested text.
QStringList readCommandLine(const QCoreApplication& application) {
  QCommandLineParser parser;
  parser.setApplicationDescription(
      QCoreApplication::translate("main", "Takes white haze out of photographs."));
  parser.addPositionalArgument(
      QCoreApplication::translate("main", "PHOTOGRAPH"),
      QCoreApplication::translate("main", "What to open; many, or a folder, make a batch."),
      "[PHOTOGRAPH...]");
  parser.addHelpOption();
  parser.addVersionOption();
  parser.process(application);
  return parser.positionalArguments();
}

// Such an argument needs no screen.
bool asksForText(int argc, char** argv) {
  constexpr std::string_view texts[] = {"-h", "--help", "--help-all", "-v", "--version"};
  return std::any_of(argv + 1, argv + argc, [&](std::string_view argument) {
    return std::find(std::begin(texts), std::end(texts), argument) != std::end(texts);
  });
}

int run(const QStringList& photographs) {
  const std::filesystem::path folder = shared::pluginFolder();
  photo::setFormatsFolder(folder);
  const desktop::Filters filters(folder);
  const std::string sample = shared::sharedFile("fogdissolver/mountain.jpg").string();
  desktop::MainWindow window(filters, desktop::screenProfile(), QString::fromStdString(sample));
  window.show();
  window.openFiles(photographs);
  return QApplication::exec();
}

} // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::strcmp(argv[1], desktop::batchProcessArgument) == 0)
    return desktop::runBatchProcess();
  QCoreApplication::setApplicationName("fogdissolver-desktop");
  QCoreApplication::setApplicationVersion(FOG_VERSION);
  QGuiApplication::setApplicationDisplayName("Fogdissolver");
  QGuiApplication::setDesktopFileName("org.fogdissolver.Fogdissolver");
  if (asksForText(argc, argv)) {
    const QCoreApplication application(argc, argv);
    desktop::loadResources();
    readCommandLine(application);
    return 0;
  }
  QApplication application(argc, argv);
  desktop::loadResources();
  try {
    return run(readCommandLine(application));
  } catch (const std::exception& error) {
    const std::string reason = shared::reasonOf(error);
    std::fprintf(stderr, "fogdissolver-desktop: %s\n", reason.c_str());
    QMessageBox::critical(nullptr, "Fogdissolver", QString::fromStdString(reason));
  }
  return 1;
}
