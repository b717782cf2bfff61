// Many photographs with one look: their plan, and the process that runs it. No widgets.
#pragma once

#include <string>
#include <vector>

#include <QObject>
#include <QProcess>
#include <QStringList>

#include "apps/desktop/BatchProcess.h"
#include "apps/photo/Picture.h"

namespace desktop {

enum class Existing { skip, replace, number };

struct BatchSettings {
  shared::Look look;
  std::string folder; // of the results; "": next to each photograph
  std::string format; // extension; "": the photograph's
  int bits = 0, quality = 95;
  int jobs = 1;
  Existing existing = Existing::skip;
};

struct PlannedPhotograph {
  std::string input, output;
  std::string refusal; // why it is not processed; otherwise empty
};

// Plans the names of the results. Two photographs never get the same name, and no result gets the
// name of a photograph in the batch.
std::vector<PlannedPhotograph> planBatch(const std::vector<std::string>& inputs,
                                         const BatchSettings& settings);

// The photographs among the files and in the folders, including subfolders, sorted, each once. In
// folders only files with a picture's extension count, and results of other photographs do not.
// Throws photo::Stopped.
QStringList photographsIn(const QStringList& filesAndFolders, const photo::Watch& watch);

// One batch at a time.
class Batch : public QObject {
  Q_OBJECT

public:
  enum class Phase { idle, running, paused };

  // program: the path of fogdissolver-desktop itself.
  explicit Batch(const QString& program, QObject* parent = nullptr);
  ~Batch() override; // ends the process

  void start(const BatchOrder& order);
  void pause(); // stops all processes where they are
  void resume();
  void cancel();
  Phase phase() const { return phase_; }

signals:
  void phaseChanged();
  void happened(const BatchEvent& event);

private:
  void read();
  void ended();
  void signalAll(int signal);
  void setPhase(Phase phase);

  const QString program_;
  QProcess process_;
  Phase phase_ = Phase::idle;
  std::vector<bool> open_; // by photograph: it has not ended
};

} // namespace desktop
