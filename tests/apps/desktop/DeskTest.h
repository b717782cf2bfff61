// A folder of pictures, the built modules and an application without a screen.
#pragma once

#include <QElapsedTimer>

#include "apps/desktop/Work.h"
#include "apps/photo/Codecs.h"
#include "tests/apps/Folder.h"
#include "tests/support/ShownDialog.h"

class Desk : public FolderTest {
protected:
  Desk() {
    fixture::needApplication();
    photo::setFormatsFolder(FOG_MODULE_FOLDER);
  }
  static const host::Module& module() {
    static const auto opened = host::Module::openBest(FOG_MODULE_FOLDER);
    return opened;
  }
};

// Handles events until the condition is true; returns false if it is not within a minute.
template <class Condition> bool until(Condition isSo) {
  QElapsedTimer timer;
  timer.start();
  while (!isSo() && timer.elapsed() < 60000)
    QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
  return isSo();
}
