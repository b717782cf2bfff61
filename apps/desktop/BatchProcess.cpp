#include "apps/desktop/BatchProcess.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <optional>

#include <fcntl.h>
#include <omp.h>
#include <poll.h>
#include <unistd.h>

#include <QJsonArray>
#include <QJsonDocument>

#include "apps/photo/Codecs.h"
#include "apps/photo/Files.h"
#include "apps/photo/Formats.h"
#include "apps/shared/Errors.h"
#include "apps/shared/Installation.h"
#include "apps/shared/Pool.h"

namespace desktop {
namespace {

constexpr int turnMilliseconds = 50;
constexpr int patienceTurns = 3; // turns between asking the children to stop and killing them

void write(const QJsonObject& event) {
  const QByteArray line = QJsonDocument(event).toJson(QJsonDocument::Compact) + '\n';
  std::fwrite(line.constData(), 1, size_t(line.size()), stdout);
  std::fflush(stdout);
}

class Teller : public shared::PoolListener {
public:
  void started(size_t index) override { tell("started", index); }
  void progress(size_t index, double share) override {
    write({{"kind", "progress"}, {"photograph", int(index)}, {"share", share}});
  }
  void note(size_t index, const std::string& text) override { tell("note", index, text); }
  void ended(size_t index, shared::End end, const std::string& reason) override {
    tell(end == shared::End::done     ? "done"
         : end == shared::End::failed ? "failed"
                                      : "stopped",
         index, reason);
  }

private:
  static void tell(const char* kind, size_t index, const std::string& text = "") {
    write({{"kind", kind}, {"photograph", int(index)}, {"text", QString::fromStdString(text)}});
  }
};

std::optional<BatchOrder> orderOf(const QByteArray& line) {
  const QJsonObject object = QJsonDocument::fromJson(line).object();
  if (object.isEmpty())
    return std::nullopt;
  BatchOrder order;
  order.bits = object["bits"].toInt();
  order.quality = object["quality"].toInt();
  order.jobs = object["jobs"].toInt();
  order.threads = object["threads"].toInt();
  order.replace = object["replace"].toBool();
  const QJsonObject look = object["look"].toObject();
  for (const shared::LookParameter& parameter : shared::lookParameters())
    if (look.contains(parameter.name))
      order.look.*parameter.value = look[parameter.name].toDouble();
  if (look.contains("mask"))
    order.look.mask = look["mask"].toBool();
  for (const auto& value : object["photographs"].toArray())
    order.photographs.push_back(
        {value[0].toString().toStdString(), value[1].toString().toStdString()});
  return order;
}

// A line of standard input; the incomplete rest at its end.
QByteArray readLine() {
  QByteArray line;
  for (char c; !line.endsWith('\n');) {
    const ssize_t n = ::read(STDIN_FILENO, &c, 1);
    if (n == 0 || (n < 0 && errno != EINTR))
      break;
    if (n == 1)
      line += c;
  }
  return line;
}

bool inputHasEnded() {
  pollfd input{STDIN_FILENO, POLLIN, 0};
  char byte;
  return ::poll(&input, 1, 0) > 0 && ::read(STDIN_FILENO, &byte, 1) == 0;
}

std::vector<shared::Job> jobsOf(const BatchOrder& order) {
  std::vector<shared::Job> jobs;
  for (const auto& [input, output] : order.photographs) {
    const std::filesystem::path path = output;
    const std::string extension = path.extension().string();
    shared::Job job{};
    job.input = input;
    job.output = output;
    job.temporary = photo::temporaryNameFor(output);
    job.folder = path.parent_path().string();
    job.format = photo::formatOfExtension(extension.empty() ? extension : extension.substr(1));
    if (!job.format)
      job.refusal = "'" + extension + "' is no format that can be written";
    jobs.push_back(std::move(job));
  }
  return jobs;
}

int runOrder(const BatchOrder& order) {
  const std::filesystem::path folder = shared::pluginFolder();
  photo::setFormatsFolder(folder);
  const host::Module module = host::Module::openBest(folder);
  shared::Request request;
  request.look = order.look;
  request.bits = order.bits;
  request.quality = order.quality;
  request.threads = order.threads;
  request.force = order.replace;
  const std::vector<shared::Job> jobs = jobsOf(order);
  const shared::Work work = [&](const shared::Job& job, const shared::Reporter& reporter,
                                const photo::Watch& watch) {
    omp_set_num_threads(request.threads);
    const shared::Corrector silent{[&](host::Document& document, const photo::Watch& inner) {
      return shared::correct(module, document, request.look, request.threads, inner);
    }};
    shared::develop(job, request, silent, reporter.listener(), watch);
  };
  Teller teller;
  shared::Pool pool(jobs, work, teller, {order.jobs});
  int stoppedTurns = 0;
  while (!pool.isDone()) {
    pool.turn(turnMilliseconds);
    if ((stoppedTurns > 0 || inputHasEnded()) && stoppedTurns++ % patienceTurns == 0)
      pool.stop();
  }
  return 0;
}

} // namespace

QByteArray lineOf(const BatchOrder& order) {
  QJsonObject look;
  for (const shared::LookParameter& parameter : shared::lookParameters())
    if (const auto& value = order.look.*parameter.value)
      look[parameter.name] = *value;
  if (order.look.mask)
    look["mask"] = *order.look.mask;
  QJsonArray photographs;
  for (const auto& [input, output] : order.photographs)
    photographs += QJsonArray{QString::fromStdString(input), QString::fromStdString(output)};
  const QJsonObject object{{"bits", order.bits},        {"quality", order.quality},
                           {"jobs", order.jobs},        {"threads", order.threads},
                           {"replace", order.replace},  {"look", look},
                           {"photographs", photographs}};
  return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

BatchEvent eventOf(const QByteArray& line) {
  const QJsonObject object = QJsonDocument::fromJson(line).object();
  return {object["kind"].toString(), object["photograph"].toInt(-1), object["share"].toDouble(),
          object["text"].toString()};
}

int runBatchProcess() {
  std::signal(SIGPIPE, SIG_IGN); // the window may have closed
  try {
    const std::optional<BatchOrder> order = orderOf(readLine());
    return order ? runOrder(*order) : 2;
  } catch (const std::exception& error) {
    write({{"kind", "failed"},
           {"photograph", -1},
           {"text", QString::fromStdString(shared::reasonOf(error))}});
  }
  return 1;
}

} // namespace desktop
