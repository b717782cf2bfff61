// The windows of the matting matrix: for each window, the statistics of its nine colours and its
// contribution to the entries of all pairs of its pixels.
//
// Each thread owns a block of image rows, and only this thread sums and stores their entries. A row
// of windows covers three image rows, so a thread also computes the two window rows before its
// block, which the previous thread computes too. Every entry is summed in the same order, so that
// the matrix has the same bits for every team. All rows exist beforehand and no two threads access
// the same row, so no lock is needed.
#include "haze/MattingMatrix.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <vector>

#include "frame/record/Globals.h"
#include "haze/Progress.h"
#include "primitives/base/ParallelRegion.h"
#include "primitives/image/SmallMatrix.h"

namespace {

constexpr double epsilon = 0.001; // regularisation of the window covariance

// Largest sum of the three variances for which the covariance may be a float; colours within 0 to 1
// stay below 0.75.
constexpr float largestSpread = 1.0f;

constexpr int windowSide = 3;
constexpr int windowPixels = 9;
constexpr int32_t rowOffset[windowPixels] = {0, 0, 0, 1, 1, 1, 2, 2, 2};
constexpr int32_t colOffset[windowPixels] = {0, 1, 2, 0, 1, 2, 0, 1, 2};

// Upper-triangle neighbours of a pixel, as offsets to the pixel that comes later in raster order:
// in its own row, and up to two columns to either side in each of the next two rows.
constexpr int neighbours = 13;
constexpr int32_t neighbourRow[neighbours] = {0, 0, 0, 1, 1, 1, 1, 1, 2, 2, 2, 2, 2};
constexpr int32_t neighbourCol[neighbours] = {0, 1, 2, -2, -1, 0, 1, 2, -2, -1, 0, 1, 2};

// Index among the neighbours of the offset from window pixel i to window pixel j, j >= i.
constexpr int neighbourOf(int i, int j) {
  const int32_t dRow = rowOffset[j] - rowOffset[i], dCol = colOffset[j] - colOffset[i];
  return dRow == 0 ? dCol : 3 + 5 * (dRow - 1) + 2 + dCol;
}

// Sums of the entries of three image rows, the height of one row of windows. A row is stored after
// the last window over it: one look-up per entry instead of one per window.
class RowAccumulator {
public:
  explicit RowAccumulator(int32_t width)
      : width_(width), sums_(size_t(windowSide) * size_t(width) * neighbours, 0.0f) {}

  float* pixel(int32_t row, int32_t col) {
    return &sums_[(size_t(row % windowSide) * size_t(width_) + size_t(col)) * neighbours];
  }

  // Adds the row's sums to the matrix of an image with this height.
  void store(int32_t row, int32_t height, CSparseSingle& matrix) {
    for (int32_t col = 0; col < width_; ++col) {
      const float* sums = pixel(row, col);
      for (int e = 0; e < neighbours; ++e) {
        const int32_t toRow = row + neighbourRow[e], toCol = col + neighbourCol[e];
        if (toRow < height && toCol >= 0 && toCol < width_)
          matrix.element(row * width_ + col, toRow * width_ + toCol) += sums[e];
      }
    }
  }

  // Clears the row's slot for the row three below.
  void clear(int32_t row) { std::fill_n(pixel(row, 0), size_t(width_) * neighbours, 0.0f); }

private:
  int32_t width_;
  std::vector<float> sums_;
};

// One window's colours, as two vectors per pixel whose products are the affinities:
//   left_i . right_j = (I_i - mu)^T (Sigma + (epsilon/9) U)^-1 (I_j - mu).
struct Window {
  double left[windowPixels][3];
  double right[windowPixels][3];

  Window(const SHaze& image, int32_t x, int32_t y) {
    const float* p[windowPixels];
    for (int i = 0; i < windowPixels; ++i)
      p[i] = pixelAt(image, x + colOffset[i], y + rowOffset[i]);
    // From the mean, which is a double: in a flat area with values of some thousands, the error of
    // a float mean is as large as the deviations themselves, and the system is then not positive
    // definite.
    float deviation[windowPixels][3];
    for (int c = 0; c < 3; ++c) {
      double sum = 0;
      for (const float* pixel : p)
        sum += pixel[c];
      const double mean = sum / windowPixels;
      for (int i = 0; i < windowPixels; ++i)
        deviation[i][c] = float(right[i][c] = p[i][c] - mean);
    }
    if (!multiplyByInverse(deviation))
      orthonormalise();
  }

private:
  // left = inverse of the covariance * deviation, in float. False: the colours spread beyond the
  // range of 0 to 1, and epsilon may vanish in float.
  //
  // The covariance is the mean of products of deviations, in double. The mean of the products minus
  // the product of the means is equal in theory, but cancels in float pictures with values of 50
  // and more, and the system is then not positive definite.
  bool multiplyByInverse(const float (&deviation)[windowPixels][3]) {
    float covariance[9], work[13], inverse[9], product[3];
    for (int c = 0; c < 3; ++c) {
      for (int d = c; d < 3; ++d) {
        double sum = c == d ? epsilon : 0.0;
        for (const auto& pixel : right)
          sum += pixel[c] * pixel[d];
        covariance[3 * c + d] = covariance[3 * d + c] = float(sum / windowPixels);
      }
    }
    if (!(covariance[0] + covariance[4] + covariance[8] <= largestSpread))
      return false;
    invert3x3(covariance, 12, 4, work, inverse, 12, 4, 3);
    for (int i = 0; i < windowPixels; ++i) {
      multiply3x3Vector(inverse, 12, 4, 3, 3, deviation[i], 4, 3, product, 4);
      std::copy_n(product, 3, left[i]);
    }
    return true;
  }

  // The same affinities without the covariance, by Gram-Schmidt: append sqrt(epsilon) U below the
  // columns of the deviations and orthonormalise the columns; the rows are then such vectors. This
  // loses no digits, however far the colours spread.
  void orthonormalise() {
    double basis[windowPixels + 3][3] = {};
    for (int i = 0; i < windowPixels; ++i)
      std::copy_n(right[i], 3, basis[i]);
    for (int c = 0; c < 3; ++c)
      basis[windowPixels + c][c] = std::sqrt(epsilon);
    for (int c = 0; c < 3; ++c) {
      for (int d = 0; d <= c; ++d) { // subtract the previous columns, then normalise
        double product = 0;
        for (const auto& row : basis)
          product += row[c] * row[d];
        for (auto& row : basis)
          row[c] = d < c ? row[c] - product * row[d] : row[c] / std::sqrt(product);
      }
    }
    for (int i = 0; i < windowPixels; ++i)
      for (int c = 0; c < 3; ++c)
        left[i][c] = windowPixels * (right[i][c] = basis[i][c]);
  }
};

// Subtracts one window's contribution from the entries of all pairs of its pixels.
void addWindow(const SHaze& image, int32_t x, int32_t y, RowAccumulator& sums) {
  const Window window(image, x, y);
  for (int i = 0; i < windowPixels; ++i) {
    const double* a = window.left[i];
    float* entries = sums.pixel(y + rowOffset[i], x + colOffset[i]);
    entries[0] += 1.0f;
    for (int j = i; j < windowPixels; ++j) {
      const double* b = window.right[j];
      const double affinity = a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
      float& entry = entries[neighbourOf(i, j)];
      entry = float(entry - (1.0 + affinity) / windowPixels);
    }
  }
}

// Stores the entries of the image rows of `own`, and reports their rows of windows as progress.
// False: the user wants to stop; the rows are still complete.
bool assembleRows(const SHaze& image, Share own, CSparseSingle& matrix) {
  const int32_t first = int32_t(own.begin), last = int32_t(own.end);
  const int32_t windowRows = image.height - windowSide + 1;
  const bool hasWindows = windowRows > 0 && image.width >= windowSide;
  RowAccumulator sums(image.width);
  bool goesOn = true;
  for (int32_t y = std::max(0, first - (windowSide - 1)); y < last; ++y) {
    if (y >= first && y < windowRows)
      goesOn &= stepProgress();
    if (!hasWindows)
      continue;
    if (y < windowRows)
      for (int32_t x = 0; x <= image.width - windowSide; ++x)
        addWindow(image, x, y, sums);
    if (y >= first)
      sums.store(y, image.height, matrix);
    sums.clear(y);
  }
  return goesOn;
}

} // namespace

bool addMattingWindows(const SHaze& image, CSparseSingle& matrix) {
  std::atomic<bool> goesOn = true;
  runOnTeam(gThreadCount, [&](int thread, int team) {
    if (!assembleRows(image, shareOf(image.height, thread, team), matrix))
      goesOn = false;
  });
  return goesOn;
}
