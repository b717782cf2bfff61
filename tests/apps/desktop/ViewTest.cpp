// Pictures on the screen: colours, levels, orientations, zoom and the displayed pixels.

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
  const struct {
    int depth;
    bool alpha;
  } kinds[] = {{8, false}, {8, true}, {32, true}};
  for (const auto& [depth, alpha] : kinds) {
    const auto make = [&, depth = depth, alpha = alpha] {
      return noise(width, height, depth, alpha ? 5 : 3, host::ColourMode::rgb, alpha);
    };
    const host::Document picture = make();
    const auto raster = rasterOf(make());
    EXPECT_EQ(raster->levels(), 3);
    for (const int level : {1, 2}) {
      const int side = 1 << level;
      const QSize size = raster->levelSize(level);
      ASSERT_EQ(size, QSize((width + side - 1) / side, (height + side - 1) / side));
      const QImage image = raster->part(level, QRect(QPoint(0, 0), size));
      for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x) {
          double sums[4] = {}, count = 0; // colours times alpha, and alpha
          for (int v = y * side; v < std::min((y + 1) * side, height); ++v)
            for (int u = x * side; u < std::min((x + 1) * side, width); ++u, ++count) {
              const double full = fixture::fullScale(picture);
              const double a = alpha ? fixture::sampleAt(picture, u, v, 3) / full : 1;
              sums[3] += 255 * a;
              for (int c = 0; c < 3; ++c)
                sums[c] += 255 * a * fixture::sampleAt(picture, u, v, c) / full;
            }
          for (double& sum : sums)
            sum = sum / count + 0.5;
          const QRgb mean = qRgba(int(sums[0]), int(sums[1]), int(sums[2]), int(sums[3]));
          const QRgb found = reinterpret_cast<const QRgb*>(image.constScanLine(y))[x];
          ASSERT_LE(furthest(found, mean), 2) << depth << " " << level << " " << x << " " << y;
        }
    }
  }
}

// A profile that swaps the primaries of red and blue, with the curve of sRGB.
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
    return *reinterpret_cast<const QRgb*>(pixel.constBits()); // multiplied by alpha
  };
  const photo::Bytes exchanged = exchangedProfile();
  const float nan = std::nanf("");
  const struct {
    QRgb expected, found;
  } cases[] = {
      {qRgb(10, 200, 90), shown(3, 8, {10, 200, 90}, {})},
      {qRgb(10, 200, 90), shown(3, 8, {90, 200, 10}, {exchanged})},
      {qRgb(10, 200, 90), shown(3, 8, {10, 200, 90}, {photo::Bytes(40, 'x')})}, // invalid profile
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

// At whole scales a tile has the samples of its level, including the edges.
TEST(Tiles, HaveTheSamplesOfTheirLevelOverCheckers) {
  const host::Document picture = noise(1000, 700, 8);
  const auto raster = rasterOf(noise(1000, 700, 8));
  Tiles tiles(raster);
  for (const double scale : {1.0, 2.0, 4.0, 0.5, 0.25}) {
    const int level = int(std::lround(std::max(0.0, -std::log2(scale))));
    const int times = std::max(1, int(scale));
    const QImage all = raster->part(level, QRect(QPoint(0, 0), raster->levelSize(level)));
    tiles.setScale(scale);
    const QPoint last(tiles.size().width() / Tiles::side, tiles.size().height() / Tiles::side);
    ASSERT_EQ(tiles.kept(last), nullptr);
    const QImage tile = tiles.make(last);
    EXPECT_EQ(*tiles.kept(last), tile);
    const QPoint corner = last * Tiles::side;
    ASSERT_EQ(tile.size(), tiles.size() - QSize(corner.x(), corner.y())) << scale;
    for (int y = 0; y < tile.height(); ++y)
      for (int x = 0; x < tile.width(); ++x)
        ASSERT_LE(furthest(tile.pixel(x, y),
                           all.pixel((corner.x() + x) / times, (corner.y() + y) / times)),
                  1)
            << scale << " " << x << " " << y;
  }
  host::Document veil(64, 64, 4, 8, host::ColourMode::rgb, true);
  fixture::fill(veil, [](int x, int, int c) { return c == 3 ? x >= 32 : 0.4; });
  Tiles veiled(rasterOf(std::move(veil)));
  veiled.setScale(1);
  const QImage tile = veiled.make({0, 0});
  const int expected[][3] = {{7, 0, 204}, {8, 7, 153}, {8, 8, 204}, {31, 0, 153}, {32, 0, 102}};
  for (const auto& [x, y, grey] : expected)
    EXPECT_EQ(qGreen(tile.pixel(x, y)), grey) << x << " " << y;
}

class SeenView : public testing::Test {
protected:
  SeenView() {
    view.resize(400, 300);
    give({View::before, View::after, View::mask});
    view.show();
    view.setScale(1);
  }
  void give(std::initializer_list<View::Side> sides) {
    for (const View::Side side : {View::before, View::after, View::mask})
      view.setRaster(side, std::count(sides.begin(), sides.end(), side)
                               ? rasterOf(fixture::copyOf(picture(side)))
                               : nullptr);
  }
  static const host::Document& picture(int side) {
    const auto make = [](uint32_t seed) {
      return noise(900, 700, 8, 3, host::ColourMode::rgb, false, seed);
    };
    static const host::Document pictures[] = {make(1), make(2), make(3)};
    return pictures[side];
  }
  QImage shown() {
    QImage image;
    until([&] {
      image = view.grab().toImage();
      return view.isComplete();
    });
    return image;
  }
  bool application = (fixture::needApplication(), true); // must exist before the view
  View view;
};

TEST_F(SeenView, ShowsInEachModeItsPicturesInTheirPlaces) {
  const struct {
    ViewMode mode;
    bool held;
    int left, right, alone; // pictures; `alone` if there is only the photograph
  } cases[] = {{ViewMode::split, false, 0, 1, 0},  {ViewMode::sideBySide, false, 0, 1, 0},
               {ViewMode::result, false, 1, 1, 0}, {ViewMode::mask, false, 2, 2, 0},
               {ViewMode::split, true, 0, 0, 0},   {ViewMode::sideBySide, true, 0, 0, 0},
               {ViewMode::result, true, 0, 0, 0},  {ViewMode::mask, true, 0, 0, 0}};
  const int second = 201; // start of the right one of two panes of 199
  for (const bool alone : {false, true}) {
    if (alone)
      give({View::before});
    for (const auto& c : cases) {
      view.setMode(c.mode);
      view.setBeforeHeld(c.held);
      const bool two = c.mode == ViewMode::sideBySide;
      const QImage image = shown();
      const QColor dark = view.palette().color(QPalette::Dark);
      for (const QPoint at : {QPoint(3, 4), QPoint(195, 280), QPoint(204, 7), QPoint(397, 296)}) {
        const bool right = at.x() > 200;
        const QPoint sample = at - view.viewport().origin() - QPoint(two && right ? second : 0, 0);
        const int side = alone ? c.alone : right ? c.right : c.left;
        const QColor expected = alone && two && right // the place of the result
                                    ? dark
                                    : QColor(rgbAt(picture(side), sample.x(), sample.y()));
        EXPECT_EQ(image.pixelColor(at).name().toStdString(), expected.name().toStdString())
            << int(c.mode) << c.held << alone << " " << at.x();
      }
      for (const int x : {199, 200})
        EXPECT_EQ(image.pixel(x, 9) == dark.rgb(), two) << int(c.mode) << " " << x;
    }
  }
}

TEST_F(SeenView, TheLineIsSeenAndTheMouseFindsIt) {
  const auto shape = [&](QPoint at) {
    QTest::mouseMove(&view, at);
    return view.cursor().shape();
  };
  const QImage image = shown();
  for (const int y : {0, 80, 299})
    for (int x = 195; x < 205; ++x)
      EXPECT_EQ(image.pixel(x, y) == qRgb(255, 255, 255), x == 199 || x == 200) << x << " " << y;
  for (const int x : {191, 208, 196, 203}) // the grip, inside its ring
    EXPECT_EQ(image.pixel(x, 150), qRgb(255, 255, 255)) << x;
  for (const int x : {193, 206}) // and its arrows
    EXPECT_LT(qGreen(image.pixel(x, 150)), 160) << x;
  for (const auto& [x, cursor] : {std::pair(200, Qt::SplitHCursor),
                                  {193, Qt::SplitHCursor},
                                  {207, Qt::SplitHCursor},
                                  {192, Qt::ArrowCursor},
                                  {208, Qt::ArrowCursor}})
    EXPECT_EQ(shape({x, 40}), cursor) << x;
  QTest::mousePress(&view, Qt::LeftButton, {}, {100, 40});
  EXPECT_EQ(view.cursor().shape(), Qt::ClosedHandCursor);
  QTest::mouseRelease(&view, Qt::LeftButton, {}, {200, 40});
  EXPECT_EQ(view.cursor().shape(), Qt::SplitHCursor);
  const QPoint origin = view.viewport().origin();
  QTest::mousePress(&view, Qt::RightButton, {}, {100, 40});
  QTest::mouseMove(&view, {120, 50});
  QTest::mouseRelease(&view, Qt::RightButton, {}, {120, 50});
  EXPECT_EQ(view.viewport().origin(), origin);
  QTest::mousePress(&view, Qt::MiddleButton, {}, {200, 40});
  QTest::mouseMove(&view, {210, 44});
  QTest::mouseRelease(&view, Qt::MiddleButton, {}, {210, 44});
  EXPECT_EQ(view.viewport().origin() - origin, QPoint(10, 4));
  view.setBeforeHeld(true);
  EXPECT_EQ(shape({200, 90}), Qt::ArrowCursor);
}

TEST_F(SeenView, KeysDoubleClicksAndResizesMoveThePicture) {
  const struct {
    Qt::Key key;
    QPoint by;
  } keys[] = {{Qt::Key_Left, {64, 0}},
              {Qt::Key_Right, {-64, 0}},
              {Qt::Key_Up, {0, 64}},
              {Qt::Key_Down, {0, -64}}};
  for (const auto& [key, by] : keys) {
    const QPoint origin = view.viewport().origin();
    QTest::keyClick(&view, key);
    EXPECT_EQ(view.viewport().origin() - origin, by) << key;
  }
  QTest::keyClick(&view, Qt::Key_Right, Qt::ShiftModifier);
  EXPECT_NEAR(view.split(), 0.52, 1e-9);
  QTest::keyClick(&view, Qt::Key_Left, Qt::ShiftModifier);
  EXPECT_NEAR(view.split(), 0.5, 1e-9);
  const QPointF middle = view.viewport().sampleAt({200, 150});
  view.resize(300, 200);
  EXPECT_LT((view.viewport().sampleAt({150, 100}) - middle).manhattanLength(), 1);
  view.zoomBy(1.25);
  EXPECT_EQ(view.viewport().scale(), 1.25);
  EXPECT_LT((view.viewport().sampleAt({150, 100}) - middle).manhattanLength(), 1);
  QTest::mouseDClick(&view, Qt::LeftButton, {}, {30, 40});
  EXPECT_TRUE(view.viewport().isFitted());
  const QPointF sample = view.viewport().sampleAt({60, 70});
  QTest::mouseDClick(&view, Qt::LeftButton, {}, {60, 70});
  EXPECT_EQ(view.viewport().scale(), 1);
  EXPECT_LT((view.viewport().sampleAt({60, 70}) - sample).manhattanLength(), 1);
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
  drag({200, 50}, {190, 57}); // the line has moved
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
