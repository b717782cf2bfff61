// The matting solve against the dense system in double precision, written from the paper's formula.
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
      for (int k = 0; k < 9; ++k)
        colour.col(k) = Eigen::Vector3f(image.at(x + k % 3, y + k / 3)).cast<double>();
      colour.colwise() -= colour.rowwise().mean().eval();
      const Eigen::Matrix3d covariance =
          (colour * colour.transpose() + 0.001 * Eigen::Matrix3d::Identity()) / 9;
      const Eigen::MatrixXd affinity = colour.transpose() * covariance.llt().solve(colour);
      const auto index = [&](int k) { return (y + k / 3) * w + x + k % 3; };
      for (int i = 0; i < 9; ++i)
        for (int j = 0; j < 9; ++j)
          a(index(i), index(j)) += (i == j) - (1 + affinity(i, j)) / 9;
    }
  return a;
}

// Strong or weak grain, in colour or grey, at scales of float pictures; kind 4: a few last bits of
// large values, as the reduction leaves them in an area of one colour.
FloatImage picture(int32_t width, int32_t height, int kind, float scale) {
  const float highest = kind == 4 ? 0.4000002f : kind & 1 ? 0.44f : 1.0f;
  FloatImage image = noiseImage(width, height, 3, 0.4f, highest);
  scale *= kind == 4 ? 64 : 1;
  for (size_t k = 0; k < image.samples.size(); ++k)
    image.samples[k] = scale * image.samples[kind & 2 ? k & ~3 : k];
  return image;
}

struct Matting : HazeTest {
  float fmin = -1, bmax = -2;
  int32_t error = 9;

  std::vector<float> refine(FloatImage& image, std::vector<float> dark) {
    const SHaze view = image.view();
    fmin = -1;
    bmax = -2;
    computeMatting(dark.data(), &view, &fmin, &bmax, &error);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(gData->memoryInUse + buffers().live, 0);
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

// The matrix stores each pair of pixels in a common window, and no other pair, with the same bits
// for every team, including teams larger than the number of rows. The solution may differ by as
// much as the rounding of the entries can move it: only lambda, 0.001, determines its mean.
TEST_F(Matting, AgreesWithADenseSystemInDouble) {
  constexpr int32_t sizes[][2] = {{1, 1}, {2, 9}, {9, 2}, {1, 7}, {3, 3}, {3, 8}, {8, 3}, {21, 13}};
  for (const auto& [w, h] : sizes)
    for (int kind = 0; kind < 5; ++kind)
      for (float scale : {1.0f, 64.0f, 1024.0f}) {
        SCOPED_TRACE(testing::PrintToString(std::tuple(w, h, kind, scale)));
        FloatImage image = picture(w, h, kind, scale);
        const Eigen::MatrixXd dense = denseMatrix(image);
        const auto rows = assemble(image, 1);
        for (int threads = 2; threads <= 8; ++threads)
          ASSERT_EQ(assemble(image, threads), rows) << threads;
        for (int row = 0; row < w * h; ++row)
          for (int col = 0; col < w * h; ++col) {
            ASSERT_EQ(rows[row].contains(col), col >= row && dense(row, col) != 0);
            ASSERT_NEAR(rows[row].value(col, float(dense(row, col))), dense(row, col), 1e-4);
          }
        const std::vector<float> dark = noiseMap(image.pixels(), 5, 0.1f, 1.3f);
        Eigen::VectorXd b = Eigen::Map<const Eigen::VectorXf>(dark.data(), w * h).cast<double>();
        const Eigen::VectorXd x = dense.ldlt().solve(0.001 * b);
        const std::vector<float> found = refine(image, dark);
        EXPECT_NEAR(fmin, x.minCoeff(), 3e-3);
        EXPECT_NEAR(bmax, x.maxCoeff(), 3e-3);
        const float range = found.size() > 1 ? bmax - fmin : 1.0f; // one pixel is flat: not scaled
        for (int k = 0; k < w * h; ++k)
          ASSERT_NEAR(found[k] * range + fmin, x[k], 3e-3);
        EXPECT_EQ(gData->memoryPeak, buffers().bytesPeak);
      }
}

// A map of zeros stays zero; a negative map keeps 0 as its maximum. A NaN map is not the matrix's
// fault: the solve does not fail.
TEST_F(Matting, OddMaps) {
  FloatImage image = scene(20, 15);
  EXPECT_THAT(refine(image, std::vector<float>(300, 0.0f)), testing::Each(0.0f));
  EXPECT_EQ(std::pair(fmin, bmax), std::pair(0.0f, 0.0f));
  refine(image, std::vector<float>(300, -0.5f));
  EXPECT_NEAR(fmin, -0.5f, 1e-3);
  EXPECT_EQ(bmax, 0.0f);
  EXPECT_THAT(refine(image, std::vector<float>(300, NAN)), testing::Each(testing::IsNan()));
  EXPECT_EQ(std::pair(fmin, bmax), std::pair(100000.0f, 0.0f));
}

// A picture that is not finite makes a matrix that cannot be factorised. The work vector stays with
// the host, and counted.
TEST_F(Matting, FailureOfTheSolverThrows) {
  FloatImage image = scene(20, 15);
  image.at(7, 7)[1] = INFINITY;
  const auto text = testing::StrEq("PARDISO error during numerical factorization: %d");
  EXPECT_THAT([&] { refine(image, noiseMap(300, 2)); }, testing::ThrowsMessage<VException>(text));
  EXPECT_EQ(buffers().live, 1);
  EXPECT_EQ(gData->memoryInUse, 1200);
}

// 3 h + 1 steps. An abort, even a temporary one, ends the stage: before the window loop, with the
// map untouched; inside it, with the weighted map and before the work vector is requested; before
// the solve, with the weighted map; in the scan, with the solution; after the scan, with part of it
// normalised.
TEST_F(Matting, EveryAbortEndsTheStage) {
  constexpr int w = 12, h = 9, loop = 1 + (h - 2), scan = loop + 2, normalisation = scan + h;
  FloatImage image = scene(w, h);
  const std::vector<float> dark = noiseMap(w * h, 2);
  std::vector<float> weighted = dark, solution;
  for (float& v : weighted)
    v = float(v * 0.001);
  gFilterRunning = true;
  abortStays = false;
  const std::vector<float> whole = refine(image, dark);
  ASSERT_EQ(abortCalls, normalisation + h);
  const std::pair limits(fmin, bmax), unset(-1.0f, -2.0f);
  for (int k = 1; k <= normalisation + h; ++k) {
    abortAt = k;
    abortCalls = host->result = requests().count = 0;
    gThreadCount = k <= loop ? 2 : 1;
    const std::vector<float> map = refine(image, dark);
    solution = k == scan + 1 ? map : solution;
    EXPECT_EQ(host->result, userCanceledErr);
    EXPECT_EQ(requests().count, k > loop) << k;
    EXPECT_EQ(abortCalls, k > 1 && k <= loop ? loop : k);
    EXPECT_EQ(std::pair(fmin, bmax) == unset, k <= scan) << k;
    EXPECT_EQ(std::pair(fmin, bmax) == limits, k > normalisation) << k;
    std::vector<float> expected = k == 1 ? dark : k <= scan ? weighted : solution;
    std::copy_n(whole.begin(), std::max(0, k - normalisation - 1) * w, expected.begin());
    EXPECT_EQ(map, expected) << k;
  }
}

} // namespace
