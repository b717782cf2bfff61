// The matting solve against the dense system in double, written down from the paper's formula.
#include "tests/haze/CoreFixture.h"

#include <Eigen/Dense>
#include <cmath>

#include "VMath/VException.h"
#include "haze/MattingMatrix.h"
#include "haze/Stages.h"

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
      const Eigen::MatrixXd affinity = colour.transpose() * covariance.inverse() * colour;
      for (int i = 0; i < 9; ++i)
        for (int j = 0; j < 9; ++j)
          a(index[i], index[j]) += (i == j) - (1 + affinity(i, j)) / 9;
    }
  return a;
}

class Matting : public CoreTest {
protected:
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
};

struct Size {
  int32_t width, height;
};

constexpr Size sizes[] = {{1, 1}, {2, 9}, {9, 2},   {1, 7},  {3, 3},
                          {3, 8}, {8, 3}, {17, 11}, {24, 18}};

// Each pair of pixels that a window holds is stored, no other; on teams of any size, larger ones
// than there are rows of windows too. In smooth windows the rounding of the moments to float, 3e-8,
// counts against epsilon / 9.
TEST_F(Matting, MatrixAgreesWithADenseOneInDouble) {
  for (const Size s : sizes)
    for (bool grain : {false, true})
      for (int threads : {1, 2, 4}) {
        gThreadCount = threads;
        FloatImage image = grain ? noiseImage(s.width, s.height, 3) : scene(s.width, s.height);
        const SHaze view = image.view();
        CSparseSingle matrix(0, 0);
        for (int32_t k = 0; k < s.width * s.height; ++k)
          matrix.element(k, k) = 0.001f;
        EXPECT_TRUE(addMattingWindows(view, matrix));
        const Eigen::MatrixXd dense = denseMatrix(image);
        double worst = 0;
        int stored = 0;
        for (int32_t row = 0; row < matrix.rows; ++row)
          for (const auto& [col, value] : matrix.rowMaps[row].asKeyValueRange()) {
            ASSERT_GE(col, row);
            worst = std::max(worst, std::fabs(value - dense(row, col)));
            ++stored;
          }
        EXPECT_LT(worst, grain ? 1e-5 : 2e-4);
        const int windows = std::max(0, s.width - 2) * std::max(0, s.height - 2);
        int expected = s.width * s.height;
        if (windows > 0)
          for (const auto& [dx, dy] : {Size{1, 0},
                                       {2, 0},
                                       {-2, 1},
                                       {-1, 1},
                                       {0, 1},
                                       {1, 1},
                                       {2, 1},
                                       {-2, 2},
                                       {-1, 2},
                                       {0, 2},
                                       {1, 2},
                                       {2, 2}})
            expected += (s.width - std::abs(dx)) * (s.height - dy);
        EXPECT_EQ(stored, expected) << s.width << 'x' << s.height;
      }
}

// The entries' rounding alone moves a solution by some 1e-4: 0.001 is all that holds its mean.
TEST_F(Matting, AgreesWithADenseSolutionInDouble) {
  for (const Size s : sizes)
    for (bool grain : {false, true}) {
      FloatImage image = grain ? noiseImage(s.width, s.height, 3) : scene(s.width, s.height);
      const std::vector<float> dark = noiseMap(image.pixels(), 5, 0.1f, 1.3f);
      const std::vector<float> found = refine(image, dark);
      const std::string what = std::to_string(s.width) + "x" + std::to_string(s.height);
      ASSERT_EQ(error, 0) << what;

      const Eigen::VectorXd b =
          0.001 * Eigen::Map<const Eigen::VectorXf>(dark.data(), dark.size()).cast<double>();
      const Eigen::VectorXd x = denseMatrix(image).ldlt().solve(b);
      EXPECT_NEAR(fmin, x.minCoeff(), 2e-4) << what;
      EXPECT_NEAR(bmax, x.maxCoeff(), 2e-4) << what;
      const float range = found.size() > 1 ? bmax - fmin : 1.0f; // one pixel is flat: not scaled
      for (size_t k = 0; k < found.size(); ++k)
        ASSERT_NEAR(found[k] * range + fmin, x[Eigen::Index(k)], 2e-4) << what;
      EXPECT_TRUE(live.empty());
      EXPECT_EQ(data.memoryInUse, 0);
      EXPECT_EQ(data.memoryPeak, int32_t(4 * found.size()));
      data.memoryPeak = 0;
    }
}

// The map is normalised to 0..1; a map of nothing stays at nothing; one below 0 keeps 0 as its top.
TEST_F(Matting, NormalisesToUnitRange) {
  FloatImage image = scene(20, 15);
  const std::vector<float> map = refine(image, noiseMap(image.pixels(), 2));
  EXPECT_EQ(*std::min_element(map.begin(), map.end()), 0.0f);
  EXPECT_NEAR(*std::max_element(map.begin(), map.end()), 1.0f, 1e-6);

  EXPECT_THAT(refine(image, std::vector<float>(300, 0.0f)), testing::Each(0.0f));
  EXPECT_EQ(fmin, 0.0f);
  EXPECT_EQ(bmax, 0.0f);

  refine(image, std::vector<float>(300, -0.5f));
  EXPECT_NEAR(fmin, -0.5f, 1e-4);
  EXPECT_EQ(bmax, 0.0f);
}

// A map without numbers is no fault of the matrix: the solve does not fail, the map stays without.
TEST_F(Matting, NoNumbersGoThrough) {
  FloatImage image(20, 15);
  const std::vector<float> map = refine(image, std::vector<float>(300, NAN));
  EXPECT_EQ(error, 0);
  EXPECT_TRUE(std::isnan(map[0]) && std::isnan(map[299]));
  EXPECT_EQ(fmin, 100000.0f);
  EXPECT_EQ(bmax, 0.0f);
}

// A picture that is not finite makes a matrix that cannot be factored.
TEST_F(Matting, MatrixThatIsNotFiniteThrows) {
  FloatImage image = scene(20, 15);
  image.at(7, 7)[1] = INFINITY;
  try {
    refine(image, noiseMap(300, 2));
    ADD_FAILURE() << "no exception";
  } catch (const VException& e) {
    EXPECT_STREQ(e.what(), "PARDISO error during numerical factorization: %d");
    EXPECT_EQ(e.location().toStdString(), R"(File: "VMath\\CSparseSingle" Line: 98)");
  }
  EXPECT_EQ(live.size(), 1u); // the work vector stays with the host, and counted
  EXPECT_EQ(data.memoryInUse, 1200);
}

TEST_F(Matting, NoMemoryForTheWorkVector) {
  FloatImage image = scene(20, 15);
  failRequest = 1;
  refine(image, noiseMap(300, 2));
  EXPECT_EQ(error, hazeOutOfMemory);
  EXPECT_EQ(fmin, -1);
  EXPECT_EQ(bmax, -2);
  EXPECT_EQ(data.memoryInUse, 0);
}

// 3 h + 1 steps; an abort before the window loop leaves the map, one within it the weighted map,
// one before the solve the same, one at the scan the solution, one after it the part normalised.
TEST_F(Matting, AbortAtEachStep) {
  constexpr int32_t w = 12, h = 9;
  FloatImage image = scene(w, h);
  const std::vector<float> dark = noiseMap(image.pixels(), 2);
  gFilterRunning = true;
  gProgressTotal = 1000;
  const std::vector<float> whole = refine(image, dark);
  ASSERT_EQ(abortCalls, 3 * h + 1);
  std::vector<float> weighted = dark;
  for (float& v : weighted)
    v = float(v * 0.001);
  constexpr int firstScan = 1 + (h - 2) + 2 + 1;
  for (int k = 1; k <= 3 * h + 1; ++k)
    for (int threads : {1, 2}) {
      gThreadCount = threads;
      abortCalls = 0;
      abortAt = k;
      result = 0;
      const std::vector<float> map = refine(image, dark);
      EXPECT_EQ(error, 0);
      EXPECT_EQ(result, userCanceledErr);
      if (k < firstScan) {
        EXPECT_EQ(map, k == 1 ? dark : weighted) << k;
      } else if (threads == 1 && k >= firstScan + h) { // rows before the abort are normalised
        EXPECT_TRUE(std::equal(map.begin(), map.begin() + (k - firstScan - h) * w, whole.begin()));
      }
      EXPECT_EQ(fmin == -1, k < firstScan) << k;
      EXPECT_TRUE(live.empty());
      EXPECT_EQ(data.memoryInUse, 0);
    }
}

} // namespace
