// The phases of the direct solver: checks, the handle, choice of the factorisation, refinement.
#include "primitives/sparse/SparseSolver.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>
#include <limits>
#include <memory>
#include <vector>

#include "primitives/sparse/SparseGeneral.h"
#include "primitives/sparse/SparseNumeric.h"

namespace {

constexpr int32_t phaseAnalyse = 11, phaseFactorise = 22, phaseSolve = 33, phaseRelease = -1;
constexpr int32_t indexSolutionOnB = 5, indexRefinement = 7;
constexpr int32_t errorInput = -1, errorMemory = -2, errorNumerical = -4, errorPhase = -10;

// More threads than any solve can use; starting more may fail, and that would end the process.
constexpr int mostThreads = 64;
thread_local int threadCount = 1;

// Everything that belongs to a handle.
struct Solver {
  bool symmetric;
  SparseStructure structure;
  FrontTree tree;          // symmetric matrices only
  CholeskyFactor cholesky; // at most one of the two exists
  GeneralFactorOwner general;

  bool hasFactor() const { return cholesky.panels || general || structure.n == 0; }
};

// The first words of the handle hold the solver's address.
Solver* solverBehind(const int32_t* pt) {
  Solver* solver;
  std::memcpy(&solver, pt, sizeof solver);
  return solver;
}
void setSolver(int32_t* pt, Solver* solver) { std::memcpy(pt, &solver, sizeof solver); }

void release(int32_t* pt) {
  delete solverBehind(pt);
  setSolver(pt, nullptr);
}

// The columns of a row ascend, so it is enough to check the first and the last.
bool isConsistent(const SparseStructure& s, bool symmetric) {
  if (s.n <= 0 || s.ia[0] != 1)
    return s.n == 0;
  for (int32_t i = 0; i < s.n; ++i) {
    const int32_t begin = s.ia[i] - 1, end = s.ia[i + 1] - 1;
    if (begin == end ? symmetric : s.ja[end - 1] > s.n)
      return false;
    if (begin < end && (symmetric ? s.ja[begin] != i + 1 : s.ja[begin] < 1))
      return false;
  }
  return true;
}

int32_t analysePhase(int32_t* pt, const SparseStructure& structure, bool symmetric) {
  release(pt);
  if (!isConsistent(structure, symmetric))
    return errorInput;
  constexpr int32_t mostEntries = 1 << 29; // both triangles and the ordering fit 32-bit indices
  if (structure.entries() > mostEntries)
    return errorMemory;
  auto solver = std::make_unique<Solver>(Solver{symmetric, structure, {}, {}, {}});
  if (symmetric && structure.n > 0)
    solver->tree = analyse(structure, threadCount);
  setSolver(pt, solver.release());
  return 0;
}

bool allFinite(const float* values, int64_t count) {
  return std::all_of(values, values + count, [](float v) { return std::isfinite(v); });
}

int32_t factorisePhase(Solver& solver, const float* values) {
  solver.cholesky = {};
  solver.general.reset();
  if (solver.structure.n == 0)
    return 0;
  if (!allFinite(values, solver.structure.entries()))
    return errorNumerical;
  Pivoting pivoting = Pivoting::notPositive;
  if (solver.symmetric)
    pivoting = factorise(solver.tree, values, threadCount, solver.cholesky);
  if (pivoting == Pivoting::notPositive)
    solver.general = factoriseGeneral(solver.structure, values, solver.symmetric);
  return solver.hasFactor() ? 0 : errorNumerical;
}

// residual = b - A x, every sum in double.
void computeResidual(const Solver& solver, const float* values, const float* b, const float* x,
                     std::vector<double>& sum, std::vector<float>& residual) {
  const SparseStructure& s = solver.structure;
  std::copy_n(b, s.n, sum.begin());
  for (int32_t i = 0; i < s.n; ++i) {
    double row = 0;
    for (int32_t p = s.ia[i] - 1; p < s.ia[i + 1] - 1; ++p) {
      const int32_t j = s.ja[p] - 1;
      const double value = values[p];
      row += value * x[j];
      if (solver.symmetric && j != i)
        sum[j] -= value * x[i];
    }
    sum[i] -= row;
  }
  std::copy(sum.begin(), sum.end(), residual.begin());
}

float largest(const std::vector<float>& v) {
  float most = 0;
  for (const float value : v)
    most = std::max(most, std::abs(value));
  return most;
}

// Iterative refinement. Let r be the size of a step relative to the solution. The step reduces the
// error by about this factor, so when r squared is below the last bit, another step changes
// nothing. Returns false if the first step is larger than half the solution.
template <class BackSolve>
bool refine(const Solver& solver, const float* values, const float* b, int32_t mostSteps,
            std::vector<float>& x, BackSolve backSolve) {
  constexpr float lastStep = 1.7e-4f; // sqrt(2^-25)
  constexpr float leastGain = 0.5f;   // in relation to a solution that has a correct digit
  std::vector<float> step(x.size());
  std::vector<double> sum(x.size());
  float before = leastGain * largest(x);
  for (int32_t k = 0; k < mostSteps; ++k) {
    computeResidual(solver, values, b, x.data(), sum, step);
    backSolve(step);
    const float size = largest(step);
    if (size > before)
      return k > 0; // the steps do not converge: this solution is the best available
    before = size;
    for (size_t i = 0; i < x.size(); ++i)
      x[i] += step[i];
    if (size <= lastStep * largest(x))
      break;
  }
  return true;
}

int32_t solvePhase(const Solver& solver, const float* values, const int32_t* iparm, float* b,
                   float* solution) {
  const int32_t n = solver.structure.n;
  std::vector<float> x(b, b + n);
  SubstitutionRoom room;
  if (!solver.general)
    room = roomFor(solver.tree, threadCount);
  auto backSolve = [&](std::vector<float>& v) {
    if (solver.general)
      solve(*solver.general, v.data());
    else
      solve(solver.tree, solver.cholesky, v.data(), room);
  };
  backSolve(x);
  // A right-hand side that is not finite has such a solution, too: this is no fault of the matrix.
  if (allFinite(b, n) &&
      (!refine(solver, values, b, iparm[indexRefinement], x, backSolve) || !allFinite(x.data(), n)))
    return errorNumerical;
  std::copy(x.begin(), x.end(), solution);
  if (iparm[indexSolutionOnB] == 1)
    std::copy(x.begin(), x.end(), b);
  return 0;
}

} // namespace

void PARDISO(int32_t* pt, const int32_t*, const int32_t*, const int32_t* mtype,
             const int32_t* phase, const int32_t* n, const float* a, const int32_t* ia,
             const int32_t* ja, int32_t*, const int32_t*, int32_t* iparm, const int32_t*, float* b,
             float* x, int32_t* error) try {
  const bool symmetric = *mtype == sparseSymmetricIndefinite;
  Solver* solver = solverBehind(pt);
  *error = 0;
  if (*phase == phaseRelease)
    release(pt);
  else if (*phase == phaseAnalyse)
    *error = symmetric || *mtype == sparseUnsymmetric ? analysePhase(pt, {*n, ia, ja}, symmetric)
                                                      : errorInput;
  else if (*phase != phaseFactorise && *phase != phaseSolve)
    *error = errorInput;
  else if (!solver || (*phase == phaseSolve && !solver->hasFactor()))
    *error = errorPhase;
  else
    *error =
        *phase == phaseFactorise ? factorisePhase(*solver, a) : solvePhase(*solver, a, iparm, b, x);
} catch (const std::exception&) { // out of memory, or a vector longer than any memory
  *error = errorMemory;
}

void mkl_set_num_threads(int count) {
  if (count >= 1)
    threadCount = std::min(count, mostThreads);
}
