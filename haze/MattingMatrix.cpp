// The windows of the matting matrix: for each the statistics of its nine colours, and its share in
// the entries of all pairs of its pixels.
#include "haze/MattingMatrix.h"

#include <omp.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <vector>

#include "frame/record/Globals.h"
#include "haze/Progress.h"
#include "primitives/image/SmallMatrix.h"

namespace {

constexpr double epsilon = 0.001; // regularisation of the window covariance

constexpr int windowSide = 3;
constexpr int windowPixels = 9;
constexpr int32_t rowOffset[windowPixels] = {0, 0, 0, 1, 1, 1, 2, 2, 2};
constexpr int32_t colOffset[windowPixels] = {0, 1, 2, 0, 1, 2, 0, 1, 2};

// Lock over the matrix: its maps may be reached by one thread at a time.
class MatrixLock {
public:
  MatrixLock() { omp_init_lock(&lock_); }
  MatrixLock(const MatrixLock&) = delete;
  MatrixLock& operator=(const MatrixLock&) = delete;
  ~MatrixLock() { omp_destroy_lock(&lock_); }

  class Guard {
  public:
    explicit Guard(MatrixLock& lock) : lock_(lock.lock_) { omp_set_lock(&lock_); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;
    ~Guard() { omp_unset_lock(&lock_); }

  private:
    omp_lock_t& lock_;
  };

private:
  omp_lock_t lock_;
};

// Upper-triangle neighbours of a pixel, as offsets to the pixel that comes later in raster order:
// its own row, and two columns to either side in each of the next two rows.
constexpr int neighbours = 13;
constexpr int32_t neighbourRow[neighbours] = {0, 0, 0, 1, 1, 1, 1, 1, 2, 2, 2, 2, 2};
constexpr int32_t neighbourCol[neighbours] = {0, 1, 2, -2, -1, 0, 1, 2, -2, -1, 0, 1, 2};

// Index among the neighbours of the offset from window pixel i to window pixel j, j >= i.
constexpr int neighbourOf(int i, int j) {
  const int32_t dRow = rowOffset[j] - rowOffset[i], dCol = colOffset[j] - colOffset[i];
  return dRow == 0 ? dCol : 3 + 5 * (dRow - 1) + 2 + dCol;
}

// Sums of the entries of three image rows, which is as far as one row of windows reaches. A row is
// added to the matrix when the windows have left it: one look-up an entry instead of one a window.
class RowAccumulator {
public:
  explicit RowAccumulator(int32_t width)
      : width_(width), sums_(size_t(windowSide) * size_t(width) * neighbours, 0.0f) {}

  float* pixel(int32_t row, int32_t col) {
    return &sums_[(size_t(row % windowSide) * size_t(width_) + size_t(col)) * neighbours];
  }

  // Adds the row's sums to the matrix of a width x height image, and starts the row afresh.
  void flush(int32_t row, int32_t height, CSparseSingle& matrix) {
    for (int32_t col = 0; col < width_; ++col) {
      float* sums = pixel(row, col);
      for (int e = 0; e < neighbours; ++e) {
        const int32_t toRow = row + neighbourRow[e], toCol = col + neighbourCol[e];
        if (toRow < height && toCol >= 0 && toCol < width_)
          matrix.element(row * width_ + col, toRow * width_ + toCol) += sums[e];
        sums[e] = 0.0f;
      }
    }
  }

private:
  int32_t width_;
  std::vector<float> sums_;
};

struct Vector3 {
  float v[3];
};

// One window's colours: inverse of the regularised covariance, and deviations from the mean.
struct WindowStatistics {
  float inverse[9];                // row by row
  Vector3 deviation[windowPixels]; // p(i) - mean

  WindowStatistics(const SHaze& image, int32_t x, int32_t y) {
    const float* p[windowPixels];
    for (int i = 0; i < windowPixels; ++i)
      p[i] = pixelAt(image, x + colOffset[i], y + rowOffset[i]);

    Vector3 mean;
    for (int c = 0; c < 3; ++c) {
      double sum = 0;
      for (const float* pixel : p)
        sum += pixel[c];
      mean.v[c] = float(sum / 9.0);
    }
    invertCovariance(p, mean);
    for (int i = 0; i < windowPixels; ++i)
      for (int c = 0; c < 3; ++c)
        deviation[i].v[c] = p[i][c] - mean.v[c];
  }

private:
  void invertCovariance(const float* const (&p)[windowPixels], const Vector3& mean) {
    float covariance[9], work[13];
    for (int c = 0; c < 3; ++c) {
      for (int d = c; d < 3; ++d) {
        double sum = 0;
        for (const float* pixel : p)
          sum += double(pixel[c]) * pixel[d];
        const float moment = float(sum / 9.0);
        const double spread = double(moment) - double(mean.v[c]) * mean.v[d];
        covariance[3 * c + d] = covariance[3 * d + c] =
            float(c == d ? spread + epsilon / 9.0 : spread);
      }
    }
    invert3x3(covariance, 12, 4, work, inverse, 12, 4, 3);
  }
};

// Subtracts one window's share from the entries of all pairs of its pixels.
void addWindow(const SHaze& image, int32_t x, int32_t y, RowAccumulator& sums) {
  const WindowStatistics window(image, x, y);
  for (int i = 0; i < windowPixels; ++i) {
    Vector3 t;
    multiply3x3Vector(window.inverse, 12, 4, 3, 3, window.deviation[i].v, 4, 3, t.v, 4);
    float* entries = sums.pixel(y + rowOffset[i], x + colOffset[i]);
    entries[0] += 1.0f;
    for (int j = i; j < windowPixels; ++j) {
      const float* d = window.deviation[j].v;
      const double affinity =
          1.0 + double(t.v[0]) * d[0] + double(t.v[1]) * d[1] + double(t.v[2]) * d[2];
      float& entry = entries[neighbourOf(i, j)];
      entry = float(entry - affinity / 9.0);
    }
  }
}

// Adds the windows of rows first to last - 1. True: the user wants to stop.
bool assembleRows(const SHaze& image, int32_t first, int32_t last, CSparseSingle& matrix,
                  MatrixLock& lock) {
  RowAccumulator sums(image.width);
  const bool hasWindows = image.width >= windowSide;
  bool cancelled = false;
  for (int32_t y = first; y < last; ++y) {
    cancelled |= !stepProgress();
    if (!hasWindows)
      continue;
    for (int32_t x = 0; x <= image.width - windowSide; ++x)
      addWindow(image, x, y, sums);
    MatrixLock::Guard guard(lock);
    sums.flush(y, image.height, matrix);
  }
  if (hasWindows && first < last) {
    MatrixLock::Guard guard(lock);
    for (int32_t y = last; y < last + windowSide - 1; ++y)
      sums.flush(y, image.height, matrix);
  }
  return cancelled;
}

} // namespace

// Each thread takes one contiguous block of rows of windows.
bool addMattingWindows(const SHaze& image, CSparseSingle& matrix) {
  MatrixLock lock;
  const int64_t windowRows = std::max(0, image.height - windowSide + 1);
  std::atomic<bool> cancelled = false;
  std::exception_ptr failure; // of a worker, carried out of the region; written under the lock
  omp_set_num_threads(gThreadCount);
#pragma omp parallel
  {
    const int64_t thread = omp_get_thread_num(), team = omp_get_num_threads();
    try {
      if (assembleRows(image, int32_t(windowRows * thread / team),
                       int32_t(windowRows * (thread + 1) / team), matrix, lock))
        cancelled = true;
    } catch (...) {
      MatrixLock::Guard guard(lock);
      failure = std::current_exception();
    }
  }
  if (failure)
    std::rethrow_exception(failure);
  return !cancelled;
}
