// Pictures on the screen: colours, levels, orientations, zoom and the pixels that the view shows.

#include <lcms2.h>

#include "apps/desktop/View.h"
#include "apps/photo/Orientation.h"
#include "tests/apps/desktop/DeskTest.h"

namespace {

using namespace desktop;
using fixture::noise;

std::shared_ptr<const Raster> rasterOf(host::Document document, int orientation = 1,
                                       ColourSource source = {}, double exposure = 1) {
  source.channels = document.channels();
  source.depth = document.depth();
  source.hasAlpha = document.hasTransparency();
  auto picture = std::make_shared<photo::Picture>(photo::Picture{std::move(document)});
  return std::make_shared<Raster>(
      picture, std::make_unique<Colours>(source, photo::Bytes(), exposure), orientation);
}

QRgb rgbAt(const host::Document& d, int x, int y) {
  const std::byte* p = d.row(y) + x * d.channels();
  return qRgb(int(p[0]), int(p[1]), int(p[2]));
}

int furthest(QRgb a, QRgb b) {
  return std::max({std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)),
                   std::abs(qBlue(a) - qBlue(b)), std::abs(qAlpha(a) - qAlpha(b))});
}

TEST(Raster, PartsOfEveryLevelAndOrientationAreThoseOfThePictureTurned) {
  const int width = 133, height = 71;
  for (int orientation = 1; orientation <= 8; ++orientation) {
    const auto raster = rasterOf(noise(width, height, 8), orientation);
    const host::Document upright = photo::turned(noise(width, height, 8), orientation);
    ASSERT_EQ(raster->size(), QSize(upright.width(), upright.height()));
    const QImage part = raster->part(0, {5, 9, 31, 17});
    for (int y = 0; y < 17; ++y)
      for (int x = 0; x < 31; ++x)
        ASSERT_EQ(part.pixel(x, y), rgbAt(upright, x + 5, y + 9)) << orientation;
  }
  const host::Document picture = noise(width, height, 8);
  const auto raster = rasterOf(noise(width, height, 8));
  for (const int level : {1, 2}) {
    const int side = 1 << level;
    const QSize size = raster->levelSize(level);
    ASSERT_EQ(size, QSize((width + side - 1) / side, (height + side - 1) / side));
    const QImage image = raster->part(level, QRect(QPoint(0, 0), size));
    for (int y = 0; y < size.height(); ++y)
      for (int x = 0; x < size.width(); ++x) {
        double sums[3] = {}, count = 0;
        for (int v = y * side; v < std::min((y + 1) * side, height); ++v)
          for (int u = x * side; u < std::min((x + 1) * side, width); ++u, ++count)
            for (int c = 0; c < 3; ++c)
              sums[c] += fixture::sampleAt(picture, u, v, c);
        const QRgb mean = qRgb(int(sums[0] / count + 0.5), int(sums[1] / count + 0.5),
                               int(sums[2] / count + 0.5));
        ASSERT_LE(furthest(image.pixel(x, y), mean), 1) << level << " " << x << " " << y;
      }
  }
}

// A profile with the primaries of red and blue exchanged and the curve of sRGB.
photo::Bytes exchangedProfile() {
  const cmsCIExyY white = {0.3127, 0.3290, 1.0};
  const cmsCIExyYTRIPLE primaries = {{0.15, 0.06, 1}, {0.30, 0.60, 1}, {0.64, 0.33, 1}};
  const cmsFloat64Number shape[] = {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045};
  cmsToneCurve* curve = cmsBuildParametricToneCurve(nullptr, 4, shape);
  cmsToneCurve* const curves[] = {curve, curve, curve};
  const auto profile = cmsCreateRGBProfile(&white, &primaries, curves);
  cmsUInt32Number size = 0;
  cmsSaveProfileToMem(profile, nullptr, &size);
  photo::Bytes bytes(size);
  cmsSaveProfileToMem(profile, bytes.data(), &size);
  cmsCloseProfile(profile);
  cmsFreeToneCurve(curve);
  return bytes;
}

TEST(Raster, ColoursGoThroughTheProfileTheExposureAndAlpha) {
  const auto shown = [](int channels, int depth, std::vector<float> samples, ColourSource source,
                        double exposure = 1) {
    host::Document d(1, 1, channels, depth, host::ColourMode::rgb, channels == 4);
    for (size_t c = 0; c < samples.size(); ++c)
      fixture::putSample(d.row(0), depth, c, samples[c]);
    const QImage pixel = rasterOf(std::move(d), 1, source, exposure)->part(0, {0, 0, 1, 1});
    return *reinterpret_cast<const QRgb*>(pixel.constBits()); // alpha multiplied
  };
  const photo::Bytes exchanged = exchangedProfile();
  const float nan = std::nanf("");
  const struct {
    QRgb expected, found;
  } cases[] = {
      {qRgb(10, 200, 90), shown(3, 8, {10, 200, 90}, {})},
      {qRgb(10, 200, 90), shown(3, 8, {90, 200, 10}, {exchanged})},
      {qRgb(10, 200, 90), shown(3, 8, {10, 200, 90}, {photo::Bytes(40, 'x')})}, // no profile
      {qRgb(10, 200, 90), shown(3, 32, {90 / 255.f, 200 / 255.f, 10 / 255.f}, {exchanged})},
      {qRgb(0, 255, 128), shown(3, 32, {nan, 7, 128 / 255.f}, {})},
      {qRgb(0, 128, 255), shown(3, 32, {-1, 32 / 255.f, 1e30f}, {}, 4)},
      {qRgb(188, 0, 255), shown(3, 32, {0.5f, 0, 1}, {{}, true})}, // linear light
      {qRgba(100, 50, 0, 128), shown(4, 8, {200, 100, 0, 128}, {})},
      {qRgba(64, 128, 0, 128), shown(4, 32, {0.5f, 1, 0, 128 / 255.f}, {})},
      {qRgba(45, 100, 5, 128), shown(4, 8, {10, 200, 90, 128}, {exchanged})},
  };
  for (const auto& c : cases)
    EXPECT_LE(furthest(c.expected, c.found), 1) << &c - cases << std::hex << " " << c.found;
}

TEST(Viewport, ZoomsAroundAPointAndLeavesNoGap) {
  Viewport viewport;
  viewport.setWindow({400, 300});
  viewport.setPicture({4000, 1000});
  EXPECT_EQ(viewport.scale(), 0.1);
  EXPECT_EQ(viewport.shown(), QRect(0, 100, 400, 100));
  const QPointF pointer(300, 150), sample = viewport.sampleAt(pointer);
  for (const double factor : {1.7, 3.0, 0.8, 4.0}) {
    viewport.zoomBy(factor, pointer);
    EXPECT_LT((viewport.sampleAt(pointer) - sample).manhattanLength(), 1.0) << factor;
  }
  viewport.setScale(1, pointer);
  viewport.pan({1e6, 1e6});
  EXPECT_EQ(viewport.origin(), QPoint(0, 0));
  viewport.pan({-1e6, -1e6});
  EXPECT_EQ(viewport.shown(), QRect(0, 0, 400, 300));
  EXPECT_EQ(viewport.origin(), QPoint(-3600, -700));
  viewport.zoomBy(1e9, pointer);
  EXPECT_EQ(viewport.scale(), Viewport::greatestScale);
  viewport.setPicture({40, 30}); // fits, and is not enlarged
  EXPECT_EQ(viewport.shown(), QRect(180, 135, 40, 30));
}

TEST(View, TheWheelZoomsAroundThePointerAndTheMouseDragsTheLineOrThePhotograph) {
  fixture::needApplication();
  View view;
  view.resize(400, 300);
  for (const View::Side side : {View::before, View::after})
    view.setRaster(side, rasterOf(noise(900, 700, 8)));
  view.show();
  const QPointF pointer(130, 90);
  const auto sample = [&] { return view.viewport().sampleAt(pointer * view.devicePixelRatioF()); };
  view.setScale(1);
  const QPointF before = sample();
  for (const int turn : {120, 120, -360, 480}) {
    QWheelEvent wheel(pointer, view.mapToGlobal(pointer), {}, {0, turn}, {}, {}, {}, false);
    QCoreApplication::sendEvent(&view, &wheel);
    EXPECT_LT((sample() - before).manhattanLength(), 1.5);
  }
  EXPECT_NEAR(view.viewport().scale(), std::pow(1.2, 3), 1e-9);
  const auto drag = [&](QPoint from, QPoint to) {
    QTest::mousePress(&view, Qt::LeftButton, {}, from);
    QTest::mouseMove(&view, to);
    QTest::mouseRelease(&view, Qt::LeftButton, {}, to);
  };
  const QPoint origin = view.viewport().origin();
  drag({200, 50}, {100, 60});
  EXPECT_NEAR(view.split(), 0.25, 0.01);
  EXPECT_EQ(view.viewport().origin(), origin);
  drag({200, 50}, {190, 57}); // the line is elsewhere now
  EXPECT_NEAR(view.split(), 0.25, 0.01);
  EXPECT_EQ(view.viewport().origin() - origin, QPoint(-10, 7) * view.devicePixelRatioF());
}

// Runs at the screen scalings that CMakeLists.txt names.
TEST(View, At100PercentASampleIsADevicePixelAndTheLinePartsBeforeFromAfter) {
  fixture::needApplication();
  QWidget window; // the view's corner is not on a whole device pixel at every scaling
  View view(&window);
  view.setGeometry(7, 5, 301, 203);
  const auto picture = [](int seed) {
    return noise(900, 700, 8, 3, host::ColourMode::rgb, false, uint32_t(seed));
  };
  view.setRaster(View::before, rasterOf(picture(1)));
  view.setRaster(View::after, rasterOf(picture(2)));
  window.resize(320, 220);
  window.show();
  view.setScale(1);
  view.panBy({37, -21});
  const double ratio = view.devicePixelRatioF();
  QImage shown;
  EXPECT_TRUE(until([&] {
    shown = window.grab().toImage();
    return view.isComplete();
  }));
  ASSERT_EQ(shown.width(), int(std::lround(320 * ratio)));
  const QPoint corner(int(std::lround(7 * ratio)), int(std::lround(5 * ratio)));
  const QPoint origin = view.viewport().origin();
  const int line = int(std::lround(view.viewport().window().width() * 0.5));
  const host::Document before = picture(1), after = picture(2);
  for (const QPoint at :
       {QPoint(3, 4), QPoint(line - 20, 60), QPoint(line + 20, 9), QPoint(2 * line - 9, 150)}) {
    const QPoint sample = at - origin;
    EXPECT_EQ(QColor(shown.pixel(corner + at)).name(),
              QColor(rgbAt(at.x() < line ? before : after, sample.x(), sample.y())).name())
        << at.x() << " at " << ratio;
  }
}

} // namespace
