#include "apps/desktop/Batch.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <set>

#include <unistd.h>

#include <QDirIterator>
#include <QFileInfo>

#include "apps/photo/Formats.h"
#include "apps/shared/Errors.h"
#include "apps/shared/Plan.h"

namespace fs = std::filesystem;

namespace desktop {
namespace {

constexpr int mostNumbers = 10000;
constexpr char existsAlready[] = "its result exists already";

// Raw files and formats that are read only; the table of formats has those that are written.
constexpr const char* readOnlyExtensions[] = {"arw",  "cr2",  "cr3",  "dng", "nef", "orf",
                                              "pef",  "raf",  "rw2",  "srw", "gif", "psd",
                                              "heic", "heif", "avif", "ico"};

bool isPictureName(const QString& file) {
  const std::string extension = QFileInfo(file).suffix().toLower().toStdString();
  return photo::formatOfExtension(extension) ||
         std::find(std::begin(readOnlyExtensions), std::end(readOnlyExtensions), extension) !=
             std::end(readOnlyExtensions);
}

// Whether this file is the result of another photograph in its folder, by its name.
bool isResult(const QString& file) {
  const QFileInfo info(file);
  QString original = info.completeBaseName();
  if (!original.endsWith("-clear"))
    return false;
  original.chop(int(std::strlen("-clear")));
  return QFileInfo::exists(info.path() + "/" + original + "." + info.suffix());
}

// name-2.jpg, name-3.jpg, ... until a name is free.
std::string numbered(const std::string& output, const auto& isTaken) {
  const fs::path path = output;
  for (int number = 2; number < mostNumbers; ++number) {
    const std::string name = path.stem().string() + "-" + std::to_string(number);
    const std::string other = (path.parent_path() / (name + path.extension().string())).string();
    if (!isTaken(other))
      return other;
  }
  throw shared::UsageError("the folder has too many files of the name " + output);
}

bool exists(const std::string& file) {
  std::error_code ignored;
  return fs::exists(fs::symlink_status(file, ignored));
}

} // namespace

std::vector<PlannedPhotograph> planBatch(const std::vector<std::string>& inputs,
                                         const BatchSettings& settings) {
  std::vector<PlannedPhotograph> plan;
  std::set<shared::FileKey> used; // photographs, and the results planned so far
  for (const std::string& input : inputs)
    used.insert(shared::fileKey(input));
  const auto isUsed = [&](const std::string& file) { return used.contains(shared::fileKey(file)); };
  for (const std::string& input : inputs) {
    PlannedPhotograph photograph{input, "", ""};
    try {
      shared::Request request;
      request.inputs = {input};
      request.format = settings.format;
      request.output = settings.folder.empty() ? "" : settings.folder + "/";
      request.force = true; // existing files are handled below
      const shared::Job job = shared::planJobs(request).at(0);
      photograph.output = job.output;
      photograph.refusal = job.refusal;
      const bool isThere = exists(job.output);
      if (isUsed(job.output) || (isThere && settings.existing == Existing::number))
        photograph.output =
            numbered(job.output, [&](const std::string& f) { return exists(f) || isUsed(f); });
      else if (isThere && settings.existing == Existing::skip && job.refusal.empty())
        photograph.refusal = existsAlready;
      used.insert(shared::fileKey(photograph.output));
    } catch (const std::exception& error) {
      photograph.refusal = shared::reasonOf(error);
    }
    plan.push_back(std::move(photograph));
  }
  return plan;
}

QStringList photographsIn(const QStringList& filesAndFolders, const photo::Watch& watch) {
  QStringList found;
  for (const QString& name : filesAndFolders) {
    const QString path = QFileInfo(name).absoluteFilePath();
    if (!QFileInfo(path).isDir()) {
      found += path;
      continue;
    }
    QStringList inside;
    QDirIterator walk(path, QDir::Files, QDirIterator::Subdirectories);
    while (walk.hasNext()) {
      if (watch.stopped())
        throw photo::Stopped();
      if (const QString file = walk.next(); isPictureName(file) && !isResult(file))
        inside += file;
    }
    inside.sort();
    found += inside;
  }
  found.removeDuplicates();
  return found;
}

Batch::Batch(const QString& program, QObject* parent) : QObject(parent), program_(program) {
  // A separate process group, so that all its processes can be paused at once.
  process_.setChildProcessModifier([] { ::setpgid(0, 0); });
  process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
  connect(&process_, &QProcess::readyReadStandardOutput, this, &Batch::read);
  connect(&process_, &QProcess::finished, this, &Batch::ended);
  connect(&process_, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
    if (error == QProcess::FailedToStart)
      ended();
  });
}

Batch::~Batch() {
  process_.disconnect(this);
  if (process_.state() == QProcess::NotRunning)
    return;
  signalAll(SIGCONT);
  process_.closeWriteChannel(); // it ends its children and itself
  if (!process_.waitForFinished(2000))
    signalAll(SIGKILL);
  process_.waitForFinished(1000);
}

void Batch::setPhase(Phase phase) {
  if (phase == phase_)
    return;
  phase_ = phase;
  emit phaseChanged();
}

void Batch::start(const BatchOrder& order) {
  if (phase_ != Phase::idle)
    return;
  open_.assign(order.photographs.size(), true);
  setPhase(Phase::running);
  process_.start(program_, {batchProcessArgument});
  process_.write(lineOf(order));
}

void Batch::signalAll(int signal) {
  if (process_.processId() > 0)
    ::kill(-pid_t(process_.processId()), signal);
}

void Batch::pause() {
  if (phase_ != Phase::running)
    return;
  signalAll(SIGSTOP);
  setPhase(Phase::paused);
}

void Batch::resume() {
  if (phase_ != Phase::paused)
    return;
  signalAll(SIGCONT);
  setPhase(Phase::running);
}

void Batch::cancel() {
  resume();
  process_.closeWriteChannel();
}

void Batch::read() {
  while (process_.canReadLine()) {
    const BatchEvent event = eventOf(process_.readLine());
    if (event.photograph < 0 || size_t(event.photograph) >= open_.size())
      continue;
    if (event.kind == "done" || event.kind == "failed" || event.kind == "stopped")
      open_[size_t(event.photograph)] = false;
    emit happened(event);
  }
}

// What the process did not report is not done.
void Batch::ended() {
  read();
  const bool isWell = process_.exitStatus() == QProcess::NormalExit && process_.exitCode() == 0 &&
                      process_.error() != QProcess::FailedToStart;
  for (size_t i = 0; i < open_.size(); ++i)
    if (open_[i])
      emit happened({isWell ? "stopped" : "failed", int(i), 0,
                     isWell ? QString() : tr("the batch ended by itself")});
  open_.clear();
  setPhase(Phase::idle);
}

} // namespace desktop
