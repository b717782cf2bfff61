// fogdissolver: removes haze from photographs, from the command line.

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <stdexcept>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QtGlobal>

#include "apps/commandline/Dialog.h"
#include "apps/commandline/Jobs.h"
#include "apps/commandline/Terminal.h"
#include "apps/commandline/Trace.h"
#include "apps/photo/Codecs.h"
#include "apps/shared/Correction.h"
#include "apps/shared/Errors.h"
#include "apps/shared/Installation.h"

namespace fs = std::filesystem;
using namespace commandline;
using shared::Job, shared::UsageError;

namespace {

int dryRun(const std::vector<Job>& jobs) {
  int status = 0;
  for (const Job& job : jobs) {
    struct stat found;
    const bool missing = job.input != "-" && ::stat(job.input.c_str(), &found) != 0;
    const std::string refusal = missing ? "No such file or directory" : job.refusal;
    say(named(job.input), refusal.empty() ? "would be written to " + job.output : refusal);
    status |= !refusal.empty();
  }
  return status;
}

int run(const Options& options) {
  const std::vector<Job> jobs = planOf(options);
  if (options.dryRun)
    return dryRun(jobs);
  if (!options.saveSettings.empty() && !options.dialog)
    shared::saveLook(options.saveSettings, options.look, options.force);
  if (jobs.empty() && !options.about)
    return 0;
  const fs::path folder =
      options.plugin.empty() ? shared::pluginFolder() : fs::path(options.plugin);
  photo::setFormatsFolder(folder);
  const host::Module module = host::Module::openBest(folder);
  std::optional<Trace> trace;
  if (!options.trace.empty())
    module.setTrace(trace.emplace(options.trace).stream());
  int status = 0;
  if (options.about) {
    startWindows([](const std::string& reason) {
      say("", reason);
      std::_Exit(exitFailed);
    });
    shared::showAbout(module);
  } else {
    status = runJobs(jobs, options, module);
  }
  module.setTrace(nullptr);
  if (trace)
    trace->close(); // the results are kept if this fails
  return status;
}

// Occupies the numbers of closed standard streams; otherwise a result could get such a number, and
// messages would be written into it. Writing to them still fails.
void reserveStandardStreams() {
  int number = ::open("/dev/null", O_RDONLY);
  while (number >= 0 && number <= STDERR_FILENO)
    number = ::open("/dev/null", O_RDONLY);
  if (number >= 0)
    ::close(number);
}

// Qt's own messages are not for users of a command line.
void muteQt(QtMsgType, const QMessageLogContext&, const QString&) {}

} // namespace

int main(int argc, char** argv) {
  reserveStandardStreams();
  qInstallMessageHandler(muteQt);
  std::signal(SIGXFSZ, SIG_IGN); // a write beyond the limit then fails, with a reason
  try {
    const auto options = readCommandLine(argc, argv);
    return options ? run(*options) : exitDone;
  } catch (const UsageError& error) {
    say("", error.what());
    return exitUsage;
  } catch (const std::exception& error) {
    say("", shared::reasonOf(error));
  }
  return exitFailed;
}
