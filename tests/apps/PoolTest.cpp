// Children of the pool: how each ends, its messages, the files it leaves; memory; stopping.

#include <csignal>
#include <thread>

#include <sys/socket.h>
#include <unistd.h>

#include "apps/shared/Errors.h"
#include "apps/shared/Pool.h"
#include "tests/apps/Folder.h"

namespace {

using shared::End, shared::Job, shared::Reporter;

struct Heard : shared::PoolListener {
  std::vector<std::string> of; // by job
  std::vector<double> shares;
  int most = 0, running = 0; // at the same time
  explicit Heard(size_t jobs) : of(jobs) {}
  void started(size_t i) override {
    of[i] += "started;";
    most = std::max(most, ++running);
  }
  void progress(size_t, double share) override { shares.push_back(share); }
  void note(size_t i, const std::string& text) override { of[i] += text + ";"; }
  void detail(size_t i, const std::string& text) override { of[i] += "(" + text + ");"; }
  void ended(size_t i, End end, const std::string& reason) override {
    running -= of[i].starts_with("started");
    constexpr const char* names[] = {"done", "failed", "cancelled", "stopped"};
    of[i] += std::string(names[int(end)]) + (reason.empty() ? "" : ": ") + reason;
  }
};

class Pool : public FolderTest {
protected:
  // The name of its input selects a job's behaviour.
  static void work(const Job& job, const Reporter& reporter, const photo::Watch& watch) {
    const shared::Listener listener = reporter.listener();
    if (job.input != "done")
      write(job.temporary, "half a result");
    if (job.input == "done") {
      listener.note("a note");
      listener.detail("a detail");
      for (int i = 0; i <= 1000; ++i)
        watch.progress(i / 1000.0);
    } else if (job.input == "throws") {
      ::unlink(job.temporary.c_str());
      throw std::bad_alloc();
    } else if (job.input == "cancelled") {
      ::unlink(job.temporary.c_str());
      throw shared::Cancelled();
    } else if (job.input == "leaves") {
      ::_exit(0);
    } else if (job.input == "ends and crashes") {
      reporter.end(End::done, "");
      ::raise(SIGABRT); // which the sanitizers leave alone
    } else if (job.input == "raves") {
      for (int file = 3; file < 20; ++file) // its socket is one of these
        ::send(file, "\0d", 2, MSG_NOSIGNAL);
    } else if (job.input.ends_with("large")) { // two with their files would wait for each other
      const int64_t file = job.input == "large" ? 40 : 101;
      if (!listener.grant(file, shared::Need::file) || !listener.grant(90, shared::Need::all))
        throw std::bad_alloc();
    } else if (job.input == "killed") {
      ::raise(SIGKILL);
    } else if (job.input == "fails") {
      ::unlink(job.temporary.c_str());
      reporter.fail(std::string(5000, 'x'));
    } else {
      for (const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
           std::chrono::steady_clock::now() < end && !(job.input == "heeds" && watch.stopped());)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
      ::unlink(job.temporary.c_str());
      throw photo::Stopped();
    }
  }
  static std::vector<Job> jobsOf(const Strings& names) {
    std::vector<Job> jobs;
    for (const std::string& name : names)
      jobs.push_back({name, name + ".out", "." + name + ".part", nullptr, "", ""});
    return jobs;
  }
  static double seconds(const std::function<void()>& what) {
    const auto start = std::chrono::steady_clock::now();
    what();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
};

TEST_F(Pool, EveryEndIsToldOnceAndNothingIsLeft) {
  std::vector<Job> jobs = jobsOf({"done", "throws", "cancelled", "leaves", "ends and crashes",
                                  "raves", "killed", "fails", "refused"});
  jobs.back().refusal = "it is refused";
  Heard heard(jobs.size());
  shared::Pool pool(jobs, work, heard, {.jobs = 3});
  while (!pool.isDone())
    pool.turn(1000);
  EXPECT_EQ(heard.of,
            (Strings{"started;a note;(a detail);done", "started;failed: not enough memory",
                     "started;cancelled: cancelled",
                     "started;failed: a library ended the work without giving a reason",
                     "started;failed: the filter crashed: Aborted",
                     "started;failed: the filter crashed: its process sent what no process of the "
                     "program sends",
                     "started;failed: killed; the system may have run out of memory",
                     "started;failed: " + std::string(4096, 'x'), "failed: it is refused"}));
  EXPECT_EQ(heard.most, 3);
  EXPECT_TRUE(std::is_sorted(heard.shares.begin(), heard.shares.end()));
  EXPECT_NEAR(double(heard.shares.size()), 200, 3) << "half percents";
  EXPECT_EQ(heard.shares.front(), 0);
  EXPECT_GT(heard.shares.back(), 0.99);
  EXPECT_EQ(files(), Strings());
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "no child is left";
}

TEST_F(Pool, LargeFilesWaitForMemoryButNotForEachOther) {
  const std::vector<Job> jobs = jobsOf({"large", "large", "too large", "large"});
  Heard heard(jobs.size());
  shared::Pool pool(jobs, work, heard, {.jobs = 4, .memory = 100});
  while (!pool.isDone())
    pool.turn(1000);
  const std::string done = "started;done";
  EXPECT_EQ(heard.of, (Strings{done, done, "started;failed: not enough memory", done}));
}

TEST_F(Pool, StopsAreHeededEnforcedAndLeaveNothing) {
  const auto run = [&](const Strings& names, bool endsAtOnce, int stops) {
    const std::vector<Job> jobs = jobsOf(names);
    Heard heard(jobs.size());
    shared::Pool pool(jobs, work, heard, {.jobs = 2, .endsAtOnce = endsAtOnce});
    while (std::size_t(std::count_if(jobs.begin(), jobs.end(), [](const Job& job) {
             return fs::exists(job.temporary);
           })) < std::min<size_t>(2, jobs.size()))
      pool.turn(5);
    EXPECT_LT(seconds([&] {
                for (; stops > 0; --stops)
                  pool.stop();
                while (!pool.isDone())
                  pool.turn(1000);
              }),
              10);
    EXPECT_EQ(files(), Strings());
    return heard.of;
  };
  const std::string stopped = "started;stopped: stopped";
  EXPECT_EQ(run({"heeds", "heeds", "done"}, false, 1), (Strings{stopped, stopped, ""}));
  EXPECT_EQ(run({"heeds", "sleeps"}, false, 2), (Strings{stopped, stopped}));
  EXPECT_EQ(run({"sleeps"}, true, 1), Strings{stopped});
  {
    const std::vector<Job> jobs = jobsOf({"sleeps"});
    Heard heard(1);
    shared::Pool left(jobs, work, heard, {});
    while (!fs::exists(".sleeps.part"))
      left.turn(5);
    EXPECT_FALSE(left.isDone());
  }
  EXPECT_EQ(files(), Strings());
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
}

} // namespace
