#include "tests/apps/Program.h"

#include <cstdlib>
#include <thread>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

void redirect(int descriptor, const fs::path& file, int flags) {
  const int opened = ::open(file.c_str(), flags, 0600);
  if (opened < 0 || ::dup2(opened, descriptor) < 0)
    std::_Exit(126);
}

} // namespace

Finished ProgramTest::run(const std::vector<std::string>& arguments, const Launch& launch) const {
  const fs::path out = folder.string() + ".out", err = folder.string() + ".err";
  std::vector<char*> argv{const_cast<char*>("fogdissolver")};
  for (const std::string& argument : arguments)
    argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  const pid_t pid = ::fork();
  if (pid == 0) {
    redirect(0, launch.input.empty() ? "/dev/null" : launch.input, O_RDONLY);
    redirect(1, launch.output.empty() ? out.string() : launch.output, O_WRONLY | O_CREAT | O_TRUNC);
    redirect(2, err, O_WRONLY | O_CREAT | O_TRUNC);
    if (::chdir(folder.c_str()) != 0)
      std::_Exit(126);
    for (const auto& [name, value] : launch.environment)
      value.empty() ? ::unsetenv(name.c_str()) : ::setenv(name.c_str(), value.c_str(), 1);
    launch.inChild();
    ::execv(FOG_PROGRAM, argv.data());
    std::_Exit(127);
  }
  if (launch.interruptAfter.count() > 0) {
    std::this_thread::sleep_for(launch.interruptAfter);
    ::kill(pid, SIGINT);
  }
  int status = 0;
  ::waitpid(pid, &status, 0);
  const Finished finished{WIFEXITED(status) ? WEXITSTATUS(status) : -1,
                          WIFSIGNALED(status) ? WTERMSIG(status) : 0, contents(out), contents(err)};
  fs::remove(out);
  fs::remove(err);
  return finished;
}

testing::AssertionResult isOneLine(const std::string& err, const std::string& about,
                                   const std::string& text) {
  const std::string start = "fogdissolver: " + about + (about.empty() ? "" : ": ");
  if (err.starts_with(start) && err.find('\n') == err.size() - 1 &&
      err.find(text, start.size()) != std::string::npos)
    return testing::AssertionSuccess();
  return testing::AssertionFailure()
         << "got \"" << err << "\", expected one line \"" << start << "\" with \"" << text << "\"";
}
