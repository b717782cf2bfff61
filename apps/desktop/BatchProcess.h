// A batch runs in a process of its own, which turns the programs' job pool: the pool forks, and
// that is for a process without threads. The window's program starts itself with an argument for
// it.
//
// The process reads one line of JSON, the order; every line that it writes is one event. It stops
// when its input ends, and leaves nobody behind.
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
  int photograph = 0; // its place in the order
  double share = 0;
  QString text;
};
BatchEvent eventOf(const QByteArray& line);

int runBatchProcess(); // gives the exit status

} // namespace desktop
