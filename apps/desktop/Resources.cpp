#include "apps/desktop/Resources.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

// Qt requires that a library initialises its resources outside all namespaces.
static void initResources() { Q_INIT_RESOURCE(desktop); }

namespace desktop {

void loadResources() {
  initResources();
  static QTranslator own, qt; // as long as the application exists
  // If there is no translation, the English file supplies the plural forms.
  if (own.load(QLocale(), "fogdissolver-desktop", "_", ":/desktop") ||
      own.load(":/desktop/fogdissolver-desktop_en"))
    QCoreApplication::installTranslator(&own);
  if (qt.load(QLocale(), "qtbase", "_", QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
    QCoreApplication::installTranslator(&qt);
}

} // namespace desktop
