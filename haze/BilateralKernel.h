// The fast form of the joint bilateral mean: runs of pixels of one high row, or of two that look at
// the same low rows, as many pixels at a time as a vector has lanes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "haze/Haze.h"
#include "haze/RangeWeights.h"

// What the fast form may take for granted of a row of pixels: the later, the less.
enum class Content {
  unit,       // colours within 0 to 1, alpha not 0
  opaque,     // alpha not 0
  transparent // the alpha of some pixel is 0
};
Content contentOf(const float* row, int32_t width);

// The rows of the low grid that one high row looks at, one plane after another, so that neighbours
// along a row lie side by side. Each thread has its own and goes down the rows, splitting each
// once.
class LowRows {
public:
  enum Plane { red, green, blue, solution, planes };

  // solution: a float for each pixel of low.
  LowRows(const SHaze& low, const float* solution);

  // Takes the rows in; `first` never goes back. Says what all of them together are.
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
  const float* pixels[2];    // of a row; the second null, or of the row below, with the same lowRow
  float* means[2];           // out: a float a pixel; the second null where pixels are
  int32_t lowRow;            // of the neighbourhood's centre
  int32_t first, last;       // offsets of the neighbourhood's rows that lie inside the low grid
  const int32_t* lowColumns; // of each high column, ascending by at most 1
};

// The means of the columns [begin, end), which are at least as many as a vector has lanes. The
// neighbourhoods' columns lie inside the low grid, all rows are opaque, and `unit` says that all
// are unit. A mean does not depend on which pixels are taken together.
void fastMeans(const LowRows& low, const HighRows& rows, int32_t begin, int32_t end, bool unit);
