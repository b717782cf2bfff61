// The document and the runner: results equal to the command line program's, states within their
// budget, tasks that fail, wait and are cancelled.

#include <QThread>

#include "apps/desktop/Runner.h"
#include "apps/shared/Errors.h"
#include "tests/apps/desktop/DeskTest.h"

namespace {

using namespace desktop;
using testing::HasSubstr;

std::string samplesOf(const std::string& file) { // as bytes, to test for equality
  const host::Document picture = readPicture(file);
  return {reinterpret_cast<const char*>(picture.row(0)),
          picture.rowBytes() * size_t(picture.height())};
}

TEST_F(Desk, SavesThePixelsThatTheCommandLineWrites) {
  const host::Document scene = fixture::hazyScene(90, 60, 32);
  host::Document veiled(40, 50, 4, 32, host::ColourMode::rgb, true);
  std::fill_n(reinterpret_cast<float*>(veiled.row(0)), 40 * 50 * 4, 0.5f);
  for (int i = 0; i < 40 * 25 * 4; i += 3)
    reinterpret_cast<float*>(veiled.row(0))[i] = 0.3f + float(i % 7) / 10;
  writePicture("a b.jpg", scene);
  writePicture("deep.tif", scene, "uint16");
  writePicture("veiled.exr", veiled, "half");
  shared::Look mask;
  mask.mask = true;
  shared::Look warm;
  warm.strength = 41;
  warm.balance = 62.5;
  const struct {
    std::string from, to;
    shared::Look look;
    int bits;
  } cases[] = {{"a b.jpg", "x.jpg", {}, 0},
               {"a b.jpg", "x.tif", warm, 16},
               {"deep.tif", "x.png", warm, 0},
               {"veiled.exr", "x.exr", mask, 0}};
  for (const auto& c : cases) {
    const OriginalPtr original = readOriginal(c.from, 2, {});
    const State state = corrected(*original, module(), c.look, 2, {});
    const std::string shown(reinterpret_cast<const char*>(state.picture->document.row(0)),
                            bytesOf(*state.picture));
    save(*original, state, module(), {"ours-" + c.to, c.bits, 95, 2}, {});
    EXPECT_EQ(shown, std::string(reinterpret_cast<const char*>(state.picture->document.row(0)),
                                 bytesOf(*state.picture)));
    const std::string bits = c.bits ? " --bits " + std::to_string(c.bits) : "";
    const std::string line = commandFor(*original, state);
    ASSERT_EQ(run(line.substr(line.find(' ')) + " -f -o theirs-" + c.to + bits), 0) << said;
    EXPECT_EQ(samplesOf("ours-" + c.to), samplesOf("theirs-" + c.to)) << line << c.to;
  }
  const OriginalPtr original = readOriginal("a b.jpg", 1, {});
  for (const auto& [file, reason] : {std::pair("a b.jpg", "is an input"),
                                     {"x.gif", "no format"},
                                     {"gone/x.jpg", "No such file"},
                                     {"/dev/full", "no format"}})
    try {
      save(*original, originalState(*original), module(), {file}, {});
      ADD_FAILURE() << file;
    } catch (const std::exception& error) {
      EXPECT_THAT(error.what(), HasSubstr(reason));
    }
}

State stateOf(int width) {
  return {std::make_shared<photo::Picture>(photo::Picture{host::Document(width, 1, 3, 8)})};
}

TEST(History, KeepsWithinItsBudgetFromTheNewestBack) {
  History history(stateOf(100), 30);
  EXPECT_FALSE(history.canUndo() || history.canRedo());
  for (const int width : {5, 4, 3})
    history.push(stateOf(width));
  EXPECT_EQ(history.bytes(), 27u); // the original and the displayed picture do not count
  EXPECT_EQ(history.dropped(), 0);
  const int id = history.id();
  history.undo();
  EXPECT_EQ(history.current().picture->document.width(), 4);
  history.redo();
  EXPECT_EQ(history.id(), id);
  history.push(stateOf(6)); // 36: drops the original and the first five
  EXPECT_EQ(history.dropped(), 2);
  history.undo(), history.undo();
  EXPECT_FALSE(history.canUndo());
  EXPECT_EQ(history.current().picture->document.width(), 4);
  history.setBudget(10); // drops from the far end of the redo states
  EXPECT_TRUE(history.canRedo());
  EXPECT_EQ(history.bytes(), 9u);
  history.push(stateOf(1));
  EXPECT_FALSE(history.canRedo());
  EXPECT_FALSE(history.isOriginal());
}

TEST(Runner, RunsInOrderTellsFailuresAndLeavesCancelledTasksBehind) {
  fixture::needApplication();
  std::string told;
  std::atomic<bool> stopped = false;
  auto task = [&](std::string name, std::function<void(const photo::Watch&)> work) {
    return Task{std::move(work), [&told, name] { told += name + " done;"; },
                [&told, name](const std::exception_ptr& failure) {
                  try {
                    std::rethrow_exception(failure);
                  } catch (const std::exception& error) {
                    told += name + " " + shared::reasonOf(error) + ";";
                  }
                },
                [&told, name] { told += name + " cancelled;"; }};
  };
  auto slow = [&](const photo::Watch& watch) {
    watch.progress(2);
    while (!watch.stopped())
      QThread::msleep(1);
    QThread::msleep(100); // reacts late to the cancel
    stopped = true;
  };
  auto settle = [](const Runner& runner) { EXPECT_TRUE(until([&] { return !runner.isBusy(); })); };
  {
    Runner runner;
    runner.start(task("a", [](const photo::Watch&) {}));
    runner.start(task("b", [](const photo::Watch&) { throw std::bad_alloc(); }));
    settle(runner);
    EXPECT_EQ(told, "a done;b not enough memory;");
    told.clear();
    runner.start(task("c", slow));
    runner.start(task("d", slow));
    while (runner.share() < 1)
      QThread::msleep(1);
    QElapsedTimer timer;
    timer.start();
    runner.cancel();
    EXPECT_LT(timer.elapsed(), 90); // the work itself continues for 100
    EXPECT_FALSE(runner.isBusy());
    runner.start(task("e", [&](const photo::Watch&) { EXPECT_TRUE(stopped); }));
    settle(runner);
    EXPECT_EQ(told, "c cancelled;d cancelled;e done;");
    runner.start(task("f", slow)); // its owner is destroyed
  }
  QCoreApplication::processEvents();
  EXPECT_EQ(told, "c cancelled;d cancelled;e done;");
}

} // namespace
