// The matting solve against the dense system in double, written down from the paper's formula.
#include "haze/MattingMatrix.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>

#include "VMath/VException.h"
#include "haze/Stages.h"
#include "tests/haze/HazeTest.h"

namespace {

// L + lambda I over all windows, dense.
Eigen::MatrixXd denseMatrix(FloatImage& image) {
  const int w = image.width, h = image.height;
  Eigen::MatrixXd a = 0.001 * Eigen::MatrixXd::Identity(w * h, w * h);
  for (int y = 0; y + 2 < h; ++y)
    for (int x = 0; x + 2 < w; ++x) {
      Eigen::Matrix<double, 3, 9> colour;
      int index[9];
      for (int k = 0; k < 9; ++k) {
        const float* p = image.at(x + k % 3, y + k / 3);
        colour.col(k) = Eigen::Vector3f(p[0], p[1], p[2]).cast<double>();
        index[k] = (y + k / 3) * w + x + k % 3;
      }
      colour.colwise() -= colour.rowwise().mean().eval();
      const Eigen::Matrix3d covariance =
          (colour * colour.transpose() + 0.001 * Eigen::Matrix3d::Identity()) / 9;
      const Eigen::MatrixXd affinity = colour.transpose() * covariance.llt().solve(colour);
      for (int i = 0; i < 9; ++i)
        for (int j = 0; j < 9; ++j)
          a(index[i], index[j]) += (i == j) - (1 + affinity(i, j)) / 9;
    }
  return a;
}

// Strong or weak grain, in colour or grey, scaled as float pictures may be.
FloatImage picture(int32_t width, int32_t height, int kind, float scale) {
  FloatImage image = noiseImage(width, height, 3, 0.4f, kind & 1 ? 0.44f : 1.0f);
  for (size_t k = 0; k < image.samples.size(); ++k)
    if (k % 4 != 3)
      image.samples[k] = scale * (kind & 2 ? image.samples[k & ~3] : image.samples[k]);
  return image;
}

struct Matting : HazeTest {
  float fmin = -1, bmax = -2;
  int32_t error = 9;

  std::vector<float> refine(FloatImage& image, std::vector<float> dark) {
    const SHaze view = image.view();
    fmin = -1;
    bmax = -2;
    error = 9;
    computeMatting(dark.data(), &view, &fmin, &bmax, &error);
    return dark;
  }

  static std::vector<QMap<int, float>> assemble(FloatImage& image, int threads) {
    gThreadCount = threads;
    const SHaze view = image.view();
    CSparseSingle matrix(0, 0);
    for (int32_t k = 0; k < view.width * view.height; ++k)
      matrix.element(k, k) = 0.001f;
    EXPECT_TRUE(addMattingWindows(view, matrix));
    return {matrix.rowMaps, matrix.rowMaps + matrix.rows};
  }
};

constexpr std::pair<int32_t, int32_t> sizes[] = {{1, 1}, {2, 9}, {9, 2},   {1, 7},  {3, 3},
                                                 {3, 8}, {8, 3}, {17, 11}, {24, 18}};

// The matrix stores each pair of pixels that a window holds, and no other. The solution may be off
// by what the rounding of the entries moves it: 0.001 is all that holds its mean.
TEST_F(Matting, AgreesWithADenseSystemInDouble) {
  for (const auto& [w, h] : sizes)
    for (int kind = 0; kind < 4; ++kind)
      for (float scale : {1.0f, 64.0f, 1024.0f}) {
        FloatImage image = picture(w, h, kind, scale);
        const std::string what = testing::PrintToString(std::tuple(w, h, kind, scale));
        const Eigen::MatrixXd dense = denseMatrix(image);
        const auto rows = assemble(image, 1 + kind);
        for (int row = 0; row < w * h; ++row)
          for (int col = 0; col < w * h; ++col) {
            const int dx = std::abs(col % w - row % w), dy = col / w - row / w;
            const bool inWindow = dx <= 2 && dy <= 2 && w >= 3 && h >= 3;
            ASSERT_EQ(rows[row].contains(col), col >= row && (col == row || inWindow)) << what;
            const float stored = rows[row].value(col, float(dense(row, col)));
            ASSERT_NEAR(stored, dense(row, col), 2e-5) << what;
          }

        const std::vector<float> dark = noiseMap(image.pixels(), 5, 0.1f, 1.3f);
        const std::vector<float> found = refine(image, dark);
        ASSERT_EQ(error, 0) << what;
        const Eigen::VectorXd b =
            0.001 * Eigen::Map<const Eigen::VectorXf>(dark.data(), dark.size()).cast<double>();
        const Eigen::VectorXd x = dense.ldlt().solve(b);
        EXPECT_NEAR(fmin, x.minCoeff(), 3e-3) << what;
        EXPECT_NEAR(bmax, x.maxCoeff(), 3e-3) << what;
        const float range = found.size() > 1 ? bmax - fmin : 1.0f; // one pixel is flat: not scaled
        for (size_t k = 0; k < found.size(); ++k)
          ASSERT_NEAR(found[k] * range + fmin, x[Eigen::Index(k)], 3e-3) << what;
        EXPECT_EQ(buffers().live, 0);
        EXPECT_EQ(buffers().bytesPeak, gData->memoryPeak);
        EXPECT_EQ(gData->memoryInUse, 0);
      }
}

// Fewer rows than threads among them, and threads whose share is a row.
TEST_F(Matting, EveryTeamMakesTheSameMatrix) {
  for (int32_t height : {3, 4, 5, 7, 23, 41}) {
    FloatImage image = scene(19, height);
    const auto alone = assemble(image, 1);
    for (int threads = 2; threads <= 8; ++threads)
      ASSERT_EQ(assemble(image, threads), alone) << threads << " threads, height " << height;
  }
}

// The map is normalised to 0..1; a map of nothing stays at nothing; one below 0 keeps 0 as its top.
// A map without numbers is no fault of the matrix: the solve does not fail.
TEST_F(Matting, NormalisesToUnitRange) {
  FloatImage image = scene(20, 15);
  const std::vector<float> map = refine(image, noiseMap(image.pixels(), 2));
  EXPECT_EQ(*std::min_element(map.begin(), map.end()), 0.0f);
  EXPECT_NEAR(*std::max_element(map.begin(), map.end()), 1.0f, 1e-6);

  EXPECT_THAT(refine(image, std::vector<float>(300, 0.0f)), testing::Each(0.0f));
  EXPECT_EQ(std::pair(fmin, bmax), std::pair(0.0f, 0.0f));

  refine(image, std::vector<float>(300, -0.5f));
  EXPECT_NEAR(fmin, -0.5f, 1e-3);
  EXPECT_EQ(bmax, 0.0f);

  EXPECT_THAT(refine(image, std::vector<float>(300, NAN)), testing::Each(testing::IsNan()));
  EXPECT_EQ(std::pair(fmin, bmax), std::pair(100000.0f, 0.0f));
  EXPECT_EQ(error, 0);
}

// A picture that is not finite makes a matrix that cannot be factored.
TEST_F(Matting, FailureOfTheSolverThrows) {
  FloatImage image = scene(20, 15);
  image.at(7, 7)[1] = INFINITY;
  try {
    refine(image, noiseMap(300, 2));
    ADD_FAILURE() << "no exception";
  } catch (const VException& e) {
    EXPECT_STREQ(e.what(), "PARDISO error during numerical factorization: %d");
    EXPECT_EQ(e.location().toStdString(), R"(File: "VMath\\CSparseSingle" Line: 98)");
  }
  EXPECT_EQ(buffers().live, 1); // the work vector stays with the host, and counted
  EXPECT_EQ(gData->memoryInUse, 1200);
}

// 3 h + 1 steps. An abort, even one that does not last, ends the stage: before the window loop with
// the map untouched, within it with the weighted map and before the work vector is asked for,
// before the solve with the weighted map, in the scan with the solution, after it with part
// normalised.
TEST_F(Matting, EveryAbortEndsTheStage) {
  constexpr int w = 12, h = 9, loop = 1 + (h - 2), scan = loop + 2, normalisation = scan + h;
  FloatImage image = scene(w, h);
  const std::vector<float> dark = noiseMap(image.pixels(), 2);
  std::vector<float> weighted = dark, solution;
  for (float& v : weighted)
    v = float(v * 0.001);
  gFilterRunning = true;
  gProgressTotal = 1000;
  abortStays = false;
  const std::vector<float> whole = refine(image, dark);
  ASSERT_EQ(abortCalls, normalisation + h);
  const float lowest = fmin, highest = bmax;
  for (int threads : {1, 2})
    for (abortAt = 1; abortAt <= normalisation + h; ++abortAt) {
      gThreadCount = threads;
      abortCalls = 0;
      host->result = 0;
      requests().count = 0;
      const std::vector<float> map = refine(image, dark);
      EXPECT_EQ(error, 0);
      EXPECT_EQ(host->result, userCanceledErr);
      EXPECT_EQ(requests().count, abortAt > loop) << abortAt;
      EXPECT_EQ(fmin == -1.0f && bmax == -2.0f, abortAt <= scan) << abortAt;
      EXPECT_EQ(abortCalls, abortAt > 1 && abortAt <= loop ? loop : abortAt);
      if (abortAt <= scan)
        EXPECT_EQ(map, abortAt == 1 ? dark : weighted) << abortAt;
      else if (abortAt <= scan + 1)
        solution = map;
      const int normalised = std::max(0, abortAt - normalisation - 1) * w;
      if (abortAt > scan && threads == 1) {
        EXPECT_TRUE(std::equal(&map[normalised], map.data() + w * h, &solution[normalised]));
        EXPECT_TRUE(std::equal(map.data(), &map[normalised], whole.data())) << abortAt;
      }
      EXPECT_EQ(std::pair(fmin, bmax) == std::pair(lowest, highest), abortAt > normalisation);
      EXPECT_EQ(buffers().live, 0);
      EXPECT_EQ(gData->memoryInUse, 0);
    }
}

} // namespace
