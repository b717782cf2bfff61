// The desktop program's view of a 24-megapixel photograph, on the platform without a screen: a
// frame of panning at 100 percent, of dragging the line between before and after, and of zooming.
// At fifty frames per second each has 20 ms. Before these it measures one whole session: the time
// until the photograph is on the screen and until it is cleared, and the peak memory with before,
// after and an undo step.

#include <benchmark/benchmark.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <random>
#include <thread>

#include <sys/resource.h>
#include <unistd.h>

#include <QAbstractButton>
#include <QApplication>
#include <QTemporaryDir>
#include <QTimer>

#include "apps/desktop/View.h"
#include "apps/desktop/Workbench.h"
#include "apps/photo/Codecs.h"

namespace {

using namespace desktop;

constexpr int width = 6000, height = 4000;

std::shared_ptr<const Raster> noise(uint32_t seed) {
  host::Document document(width, height, 3, 8);
  std::minstd_rand random(seed);
  auto* words = reinterpret_cast<uint32_t*>(document.row(0));
  for (int i = 0; i < width * height * 3 / 4; ++i)
    words[i] = uint32_t(random());
  auto picture = std::make_shared<photo::Picture>(photo::Picture{std::move(document)});
  return std::make_shared<Raster>(
      picture, std::make_unique<Colours>(ColourSource{}, photo::Bytes(), 1.0), 1);
}

void needApplication() {
  static QApplication* application = [] {
    ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
    static int argc = 1;
    static char name[] = "bench", *argv[] = {name, nullptr};
    return new QApplication(argc, argv);
  }();
  (void)application;
}

View& view() {
  needApplication();
  static auto* shown = [] {
    auto* made = new View;
    made->resize(1920, 1080);
    made->setRaster(View::before, noise(1));
    made->setRaster(View::after, noise(2));
    made->show();
    return made;
  }();
  return *shown;
}

double residentMegabytes() {
  std::ifstream file("/proc/self/statm");
  double total = 0, resident = 0;
  file >> total >> resident;
  return resident * double(::sysconf(_SC_PAGESIZE)) / 1e6;
}

// A sample photograph scaled to the size.
QString photographIn(const QTemporaryDir& folder) {
  const QString file = folder.filePath("photograph.jpg");
  QImage(FOG_SAMPLES "/mountain.jpg")
      .scaled(width, height, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
      .save(file, nullptr, 92);
  return file;
}

void wholeSession(benchmark::State& state) {
  needApplication();
  const QTemporaryDir folder;
  const QString file = photographIn(folder);
  photo::setFormatsFolder(FOG_MODULE_FOLDER);
  const Filters filters{FOG_MODULE_FOLDER};
  double onScreen = 0, cleared = 0, again = 0;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    const auto seconds = [start] {
      return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    View shown;
    shown.resize(1920, 1080);
    shown.show();
    Workbench bench(filters, {});
    QObject::connect(&bench, &Workbench::changed, [&] {
      for (const auto& [side, raster] :
           {std::pair(View::before, bench.before()), std::pair(View::after, bench.after())})
        if (shown.raster(side) != raster.get())
          shown.setRaster(side, raster);
    });
    const auto wait = [&](auto isSo) {
      while (!isSo() || !shown.isComplete())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
      return seconds();
    };
    bench.open(file);
    onScreen = wait([&] { return shown.raster(View::before); });
    cleared = wait([&] { return shown.raster(View::after); });
    bench.setStrength(90);
    again = wait([&] { return !bench.isBusy(); });
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    state.counters["peak MB"] = double(usage.ru_maxrss) * 1024 / 1e6;
    bench.setClearsOnOpening(false);
    for (const char* name : {"opened MB", "opened again MB"}) {
      bench.close();
      bench.open(file);
      wait([&] { return !bench.isBusy(); });
      state.counters[name] = residentMegabytes();
    }
  }
  state.counters["on screen s"] = onScreen;
  state.counters["cleared s"] = cleared;
  state.counters["again s"] = again;
}
BENCHMARK(wholeSession)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// How long the thread continues a run after it is cancelled: the maximum over twenty moments of the
// run. The window does not wait for this.
void cancelledRun(benchmark::State& state) {
  needApplication();
  const QTemporaryDir folder;
  photo::setFormatsFolder(FOG_MODULE_FOLDER);
  const Filters filters{FOG_MODULE_FOLDER};
  const int threads = int(std::thread::hardware_concurrency());
  const OriginalPtr original = readOriginal(photographIn(folder).toStdString(), threads, {});
  constexpr int moments = 20;
  double longest = 0;
  for (auto _ : state)
    for (int moment = 0; moment < moments; ++moment) {
      Runner runner;
      runner.start({[&](const photo::Watch& watch) {
                      corrected(*original, filters.own(), {}, threads, watch);
                    },
                    {},
                    {},
                    {}});
      while (runner.isBusy() && runner.share() < double(moment) / moments)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
      const auto asked = std::chrono::steady_clock::now();
      runner.cancel();
      std::atomic<bool> isFree = false;
      runner.start({[&](const photo::Watch&) { isFree = true; }, {}, {}, {}});
      while (!isFree)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
      longest = std::max(
          longest, std::chrono::duration<double>(std::chrono::steady_clock::now() - asked).count());
    }
  state.counters["longest ms"] = longest * 1000;
}
BENCHMARK(cancelledRun)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// How long the window's thread handles no events while the filter's dialog opens, and from OK to
// the result.
void adjust(benchmark::State& state) {
  needApplication();
  const QTemporaryDir folder;
  photo::setFormatsFolder(FOG_MODULE_FOLDER);
  const Filters filters{FOG_MODULE_FOLDER};
  QWidget window;
  window.show();
  Workbench bench(filters, {});
  bench.open(photographIn(folder));
  const auto wait = [](auto isSo) {
    while (!isSo())
      QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
  };
  wait([&] { return bench.original() && !bench.isBusy(); });
  double opening = 0, longest = 0;
  for (auto _ : state) {
    auto last = std::chrono::steady_clock::now();
    QTimer tick;
    tick.callOnTimeout([&] {
      const auto now = std::chrono::steady_clock::now();
      longest = std::max(longest, std::chrono::duration<double>(now - last).count());
      last = now;
      const QWidget* dialog = QApplication::activeModalWidget();
      if (!dialog || opening > 0)
        return;
      opening = std::exchange(longest, 0);
      for (QAbstractButton* button : dialog->findChildren<QAbstractButton*>())
        if (button->text() == "OK")
          button->click();
    });
    tick.start(1);
    bench.runInDialog(filters.all().front(), &window);
    wait([&] { return opening > 0 && !bench.isInDialog() && !bench.isBusy(); });
  }
  state.counters["opening ms"] = opening * 1000;
  state.counters["after OK ms"] = longest * 1000;
}
BENCHMARK(adjust)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void settle() {
  do
    view().repaint();
  while (!view().isComplete());
}

void paint(benchmark::State& state, const std::function<void(int)>& change) {
  int frame = 0;
  double longest = 0;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    change(frame++);
    view().repaint();
    longest = std::max(
        longest, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    QCoreApplication::processEvents();
  }
  state.counters["frames/s"] =
      benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
  state.counters["longest ms"] = longest * 1000;
}

void pan(benchmark::State& state) {
  view().setScale(double(state.range(0)) / 100);
  view().panBy({100000, 100000});
  settle();
  paint(state, [](int frame) {
    const int sign = frame / 60 % 2 ? 1 : -1; // there and back
    view().panBy({sign * 31, sign * 17});
  });
}
BENCHMARK(pan)->Arg(50)->Arg(100)->Arg(200)->Unit(benchmark::kMillisecond)->UseRealTime();

void dragTheLine(benchmark::State& state) {
  if (state.range(0))
    view().setScale(double(state.range(0)) / 100);
  else
    view().fit();
  settle();
  paint(state, [](int frame) { view().setSplit(0.5 + 0.4 * std::sin(frame * 0.05)); });
}
BENCHMARK(dragTheLine)->Arg(0)->Arg(100)->Unit(benchmark::kMillisecond)->UseRealTime();

// Every frame has a scale for which there is no tile yet.
void zoom(benchmark::State& state) {
  view().fit();
  paint(state, [](int frame) { view().zoomBy(frame / 20 % 2 ? 1 / 1.1 : 1.1); });
}
BENCHMARK(zoom)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
