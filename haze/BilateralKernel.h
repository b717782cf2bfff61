// The fast form of the joint bilateral mean: runs of pixels of one high row, or of two high rows
// over the same low rows. It computes as many pixels at a time as a vector has lanes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "haze/Haze.h"
#include "haze/RangeWeights.h"

// What the fast form may assume about a row of pixels, from most to least.
enum class Content {
  unit,       // colours within 0 to 1, alpha not 0
  opaque,     // alpha not 0
  transparent // some pixels have alpha 0
};
Content contentOf(const float* row, int32_t width);

// The low-grid rows that one high row needs, one plane after another, so that neighbours along a
// row are adjacent in memory. Each thread has its own object, goes down the rows, and splits each
// row once.
class LowRows {
public:
  enum Plane { red, green, blue, solution, planes };

  // solution: one float per pixel of low.
  LowRows(const SHaze& low, const float* solution);

  // Loads the rows; `first` never decreases. Returns what holds for all of them together.
  Content load(int32_t first, int32_t last);

  const float* plane(int32_t row, int32_t plane) const {
    return &values_[(size_t(row % kernelSide) * planes + size_t(plane)) * stride_];
  }

private:
  void split(int32_t row);

  const SHaze& low_;
  const float* solution_;
  size_t stride_;
  std::vector<float> values_;
  int32_t next_ = 0; // first row not yet split
  Content content_[kernelSide] = {};
};

// A row of the high grid and its place on the low one.
struct HighRows {
  const float* pixels[2];    // pixels[1] is null, or the row below if it has the same lowRow
  float* means[2];           // out: one float per pixel; the second is null if pixels[1] is
  int32_t lowRow;            // of the neighbourhood's centre
  int32_t first, last;       // offsets of the neighbourhood's rows that lie inside the low grid
  const int32_t* lowColumns; // for each high column, ascending by at most 1
};

// Computes the means of the columns [begin, end), at least as many as a vector has lanes. The
// neighbourhoods' columns lie inside the low grid, all rows are opaque, and `unit` says that all
// are unit. A mean does not depend on how the pixels are grouped.
void fastMeans(const LowRows& low, const HighRows& rows, int32_t begin, int32_t end, bool unit);
