// The desktop program's view over a photograph of 24 megapixels, on the platform without a screen:
// a frame of panning at 100 percent, of dragging the line between before and after, and of zooming.
// Fifty frames a second leave 20 ms for each. Before them one whole session, for the time until the
// photograph is on the screen and is cleared, and the peak memory with before, after and an undo
// step.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <random>

#include <sys/resource.h>

#include <QApplication>
#include <QTemporaryDir>

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

void wholeSession(benchmark::State& state) {
  needApplication();
  const QTemporaryDir folder;
  const QString file = folder.filePath("photograph.jpg");
  QImage(FOG_SAMPLES "/mountain.jpg")
      .scaled(width, height, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
      .save(file, nullptr, 92);
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
  }
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  state.counters["on screen s"] = onScreen;
  state.counters["cleared s"] = cleared;
  state.counters["again s"] = again;
  state.counters["peak MB"] = double(usage.ru_maxrss) * 1024 / 1e6;
}
BENCHMARK(wholeSession)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

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

// Every frame is of a scale that no tile is there for.
void zoom(benchmark::State& state) {
  view().fit();
  paint(state, [](int frame) { view().zoomBy(frame / 20 % 2 ? 1 / 1.1 : 1.1); });
}
BENCHMARK(zoom)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
