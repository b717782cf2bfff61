// The live preview: from a control's event to the repainted picture, and each of its steps.
//
// The whole uses the real dialog on Qt's offscreen platform; the steps use a proxy of 650 by 475
// pixels. One thread, power 1.7 (the slower branch of the correction), the host's own drawing.
#include <QSlider>
#include <QTemporaryFile>

#include <utility>

#include "bench/KernelBench.h"
#include "frame/record/Bands.h"
#include "frame/record/Globals.h"
#include "haze/Stages.h"
#include "tests/support/HostFixture.h"
#include "tests/support/PlugInHost.h"
#include "tests/support/ShownDialog.h"
#include "ui/dialog/MainDialog.h"
#include "ui/preview/Proxy.h"
#include "ui/toolkit/WindowRecord.h"

namespace {

constexpr int32_t width = 650, height = 475;
constexpr double proxyArea = double(width) * height;

// Answers every query for a rectangle with that of the whole proxy.
intptr_t proxySized(Window, uint32_t message, uintptr_t, intptr_t value) {
  if (message == TKM_GETRECT || message == TKM_GETCLIENTRECT)
    *reinterpret_cast<WindowRect*>(value) = {0, 0, width, height};
  return 0;
}

// A document that the frame shows pixel by pixel, with an open preview.
struct OpenPreview {
  host::Document document = fixture::hazyScene(width, height, 8);
  fixture::PlugInHost plugIn{document};
  Window dialog = NewWindow(nullptr, proxySized, nullptr);
  Bitmap bitmap = CreateCompatibleBitmap(nullptr, width, height);

  OpenPreview() {
    gParams->power = 1.7f;
    NewWindow(dialog, proxySized, nullptr, idFrame);
    offscreenContext = CreateCompatibleDC(nullptr);
    SelectObject(offscreenContext, bitmap);
    GetProxyItemRect(dialog);
    SetupFilterRecordForProxy();
    CreateProxyBuffer();
    RefreshProxy(dialog);
  }
  ~OpenPreview() {
    DeleteProxyBuffer();
    DeleteDC(std::exchange(offscreenContext, nullptr));
    DeleteObject(bitmap);
    DestroyWindow(dialog);
  }
};

void copy(benchmark::State& state) {
  const OpenPreview preview;
  measure(state, proxyArea, [] { ResetProxyBuffer(); });
}

void bytesToFloats(benchmark::State& state) {
  const OpenPreview preview;
  std::vector<float> image(size_t(proxyArea) * 4);
  measure(state, proxyArea,
          [&] { ReadBand(gData->proxyBuffer, 8, size_t(proxyArea), image.data()); });
}

void correction(benchmark::State& state) {
  const OpenPreview preview;
  std::vector<float> image(size_t(proxyArea) * 4);
  ReadBand(gData->proxyBuffer, 8, size_t(proxyArea), image.data());
  int32_t error = 0;
  measure(state, proxyArea, [&] {
    DoFogdissolve(image.data(), nullptr, gData->proxyRect, 8, false, width * 3, 0, &error);
  });
}

void floatsToBytes(benchmark::State& state) {
  const OpenPreview preview;
  std::vector<float> image(size_t(proxyArea) * 4);
  ReadBand(gData->proxyBuffer, 8, size_t(proxyArea), image.data());
  std::vector<uint8_t> bytes(size_t(proxyArea) * 3);
  measure(state, proxyArea, [&] { WriteBand(image.data(), 8, size_t(proxyArea), bytes.data()); });
}

void drawing(benchmark::State& state) {
  OpenPreview preview;
  measure(state, proxyArea, [&] { PaintProxy(preview.dialog); });
}

// Moves the balance slider by one; an iteration ends when the dialog is painted.
void eventToRepaint(benchmark::State& state) {
  // A screen with room for the dialog at 96 dots per inch: the frame is then 735 by 466 pixels.
  static QTemporaryFile screens;
  if (screens.open())
    screens.write(R"({"screens": [{"name": "wide", "width": 1920, "height": 1080}]})");
  screens.close();
  qputenv("QT_QPA_PLATFORM", "offscreen:configfile=" + screens.fileName().toUtf8());
  qputenv("QT_FONT_DPI", "96");
  fixture::needApplication();

  host::Document document = fixture::hazyScene(735, 460, 8);
  const fixture::PlugInHost plugIn(document);
  double proxyPixels = 0;
  const auto script = [&](const fixture::Shown& shown) {
    auto* balance = shown.dialog->findChildren<QSlider*>().last();
    proxyPixels = double(gData->proxyWidth) * gData->proxyHeight;
    int position = balance->value();
    measure(state, proxyPixels, [&] {
      position = position < 90 ? position + 1 : 60;
      balance->setValue(position);
      QCoreApplication::processEvents();
    });
    shown.dialog->close();
  };
  fixture::whileShown(script, DoUI);
  DeleteProxyBuffer();
  state.counters["proxy"] = proxyPixels;
}

} // namespace

BENCHMARK(copy)->Unit(benchmark::kMillisecond);
BENCHMARK(bytesToFloats)->Unit(benchmark::kMillisecond);
BENCHMARK(correction)->Unit(benchmark::kMillisecond);
BENCHMARK(floatsToBytes)->Unit(benchmark::kMillisecond);
BENCHMARK(drawing)->Unit(benchmark::kMillisecond);
BENCHMARK(eventToRepaint)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(20)
    ->Repetitions(9)
    ->ReportAggregatesOnly();
