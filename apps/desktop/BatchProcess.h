// A batch runs in a separate process, which runs the programs' job pool: the pool forks, and a
// process with threads should not. The desktop program starts itself with a special argument for
// it.
//
// The process reads its order, one line of JSON; every line that it writes is one event. It stops
// when its input ends, and leaves no process behind.
#pragma once

#include <string>
#include <vector>

#include <QByteArray>
#include <QJsonObject>

#include "apps/shared/Look.h"

namespace desktop {

constexpr char batchProcessArgument[] = "--batch-process";

struct BatchOrder {
  struct Photograph {
    std::string input, output;
  };
  std::vector<Photograph> photographs;
  shared::Look look;
  int bits = 0, quality = 95; // as in shared::Request
  int jobs = 1, threads = 1;
  bool replace = false;
};
QByteArray lineOf(const BatchOrder& order);

// "started", "progress" with a share, "note" and "failed" with a text, "done", "stopped".
struct BatchEvent {
  QString kind;
  int photograph = 0; // its index in the order
  double share = 0;
  QString text;
};
BatchEvent eventOf(const QByteArray& line);

int runBatchProcess(); // returns the exit status

} // namespace desktop
