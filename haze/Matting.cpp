// Refinement of the dark map: solves one sparse system over every pixel of the reduced image.
//
// A x = lambda d with A = L + lambda I, where L is the matting Laplacian of the image and d the
// dark map. Stores only the upper triangle. Normalises the solution to 0..1 in place.
#include "frame/record/Globals.h"
#include "frame/record/Memory.h"
#include "haze/MattingMatrix.h"
#include "haze/Progress.h"
#include "haze/Stages.h"
#include "primitives/base/Conversions.h"
#include "primitives/sparse/SparseSolver.h"

namespace {

constexpr double lambda = 0.001;         // weight of the data term on the right-hand side
constexpr float lambdaDiagonal = 0.001f; // and on the matrix diagonal
constexpr float minimumStart = 100000.0f;
constexpr float maximumStart = 0.0f; // so that the highest value is never below 0

// Weights the right-hand side and sets the diagonal. This also creates all rows, starting with the
// last one, so that room for them is allocated once.
void seedSystem(float* dark, int32_t unknowns, CSparseSingle& matrix) {
  for (int32_t k = unknowns; k-- > 0;) {
    dark[k] = float(dark[k] * lambda);
    matrix.element(k, k) = lambdaDiagonal;
  }
}

struct Range {
  float minimum = minimumStart;
  float maximum = maximumStart;
};

void widen(float v, float& minimum, float& maximum) {
  if (v > maximum)
    maximum = v;
  if (v < minimum)
    minimum = v;
}

// Scans the solution and the solver's work vector. False: the user wants to stop.
bool scanSolution(const float* solution, const float* work, const SHaze& image, float* fmin,
                  float* bmax, Range& workRange) {
  *fmin = minimumStart;
  *bmax = maximumStart;
  for (int32_t y = 0; y < image.height; ++y) {
    if (!stepProgress())
      return false;
    const size_t first = size_t(y) * size_t(image.width);
    for (size_t k = first; k < first + size_t(image.width); ++k) {
      widen(solution[k], *fmin, *bmax);
      widen(work[k], workRange.minimum, workRange.maximum);
    }
  }
  return true;
}

// The work vector decides whether to scale; the solution gives the divisor.
void normalise(float* solution, const SHaze& image, float fmin, float bmax, const Range& work) {
  const float scale = work.maximum != work.minimum ? 1.0f / (bmax - fmin) : 1.0f;
  for (int32_t y = 0; y < image.height; ++y) {
    if (!stepProgress())
      return;
    float* row = solution + size_t(y) * size_t(image.width);
    for (int32_t x = 0; x < image.width; ++x)
      row[x] = (row[x] - fmin) * scale;
  }
}

// From the assembled matrix to the normalised solution, with `work` as the solver's work vector.
void solveAndNormalise(float* dark, const SHaze& image, CSparseSingle& matrix, float* work,
                       float* fmin, float* bmax) {
  if (!stepProgress())
    return;
  matrix.compress(gThreadCount);
  if (!stepProgress())
    return;
  mkl_set_num_threads(gThreadCount);
  matrix.solve(dark, work, true, true);
  Range workRange;
  if (scanSolution(dark, work, image, fmin, bmax, workRange))
    normalise(dark, image, *fmin, *bmax, workRange);
}

} // namespace

void computeMatting(float* dark, const SHaze* low, float* fmin, float* bmax, int32_t* error) {
  *error = hazeNoError;
  const int32_t unknowns = wrappingMultiply(low->width, low->height);
  if (!stepProgress())
    return;
  CSparseSingle matrix(0, 0);
  seedSystem(dark, unknowns, matrix);
  if (!addMattingWindows(*low, matrix))
    return;

  const int32_t workSize = wrappingMultiply(unknowns, int32_t(sizeof(float)));
  const HostBuffer work = TakeHostBuffer(workSize);
  if (!work.data) {
    *error = hazeOutOfMemory;
    return;
  }
  CountTaken(workSize);
  TraceMemory("computeMatting", __LINE__);
  solveAndNormalise(dark, *low, matrix, static_cast<float*>(work.data), fmin, bmax);
  ReleaseHostBuffer(work.id);
  CountReleased(workSize);
  TraceMemory("computeMatting", __LINE__);
}
