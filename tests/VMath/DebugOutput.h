// Catches what is printed through qDebug while it lives.
#pragma once

#include <QtDebug>
#include <string>
#include <vector>

class DebugOutput {
public:
  DebugOutput() : before(qInstallMessageHandler(keep)) { lines().clear(); }
  ~DebugOutput() { qInstallMessageHandler(before); }
  static std::vector<std::string>& lines() {
    static std::vector<std::string> list;
    return list;
  }

private:
  static void keep(QtMsgType, const QMessageLogContext&, const QString& line) {
    lines().push_back(line.toStdString());
  }
  QtMessageHandler before;
};
