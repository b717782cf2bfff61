// The phases of the direct solver: checks, the handle, the choice of the factorisation, refinement.
#include "primitives/sparse/SparseSolver.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "primitives/sparse/SparseGeneral.h"
#include "primitives/sparse/SparseNumeric.h"

namespace {

constexpr int32_t phaseAnalyse = 11, phaseFactorise = 22, phaseSolve = 33, phaseRelease = -1;
constexpr int32_t indexSolutionOnB = 5, indexRefinement = 7, indexEntries = 17, indexMflop = 18;
constexpr int32_t errorInput = -1, errorMemory = -2, errorOrdering = -3, errorNumerical = -4,
                  errorPhase = -10;

// More threads than any solve can feed; to start them may fail, which would end the process.
constexpr int mostThreads = 64;
thread_local int threadCount = 1;

// All that stands behind a handle.
struct Solver {
  bool symmetric;
  int32_t n, entries;      // of the matrix that was analysed
  FrontTree tree;          // symmetric matrices only
  CholeskyFactor cholesky; // at most one of the two is there
  GeneralFactorOwner general;
};

// The handle's words: the solver's address and its complement, which tells it from anything else.
Solver* solverBehind(const int32_t* pt) {
  uintptr_t words[2];
  std::memcpy(words, pt, sizeof words);
  return words[0] != 0 && words[1] == ~words[0] ? reinterpret_cast<Solver*>(words[0]) : nullptr;
}

void setSolver(int32_t* pt, Solver* solver) {
  const auto address = reinterpret_cast<uintptr_t>(solver);
  const uintptr_t words[2] = {address, solver ? ~address : 0};
  std::memcpy(pt, words, sizeof words);
}

void release(int32_t* pt) {
  delete solverBehind(pt);
  setSolver(pt, nullptr);
}

struct Arguments {
  int32_t* pt;
  bool symmetric;
  SparseStructure structure;
  const float* values;
  int32_t* iparm;
  float *b, *x;
};

bool consistent(const SparseStructure& s, bool symmetric) {
  if (s.n < 0)
    return false;
  if (s.n == 0)
    return true;
  if (!s.ia || s.ia[0] != 1)
    return false;
  for (int32_t i = 0; i < s.n; ++i) {
    if (s.ia[i + 1] < s.ia[i] || s.ia[i + 1] - s.ia[i] > s.n || (s.ia[i + 1] > 1 && !s.ja))
      return false;
    int32_t before = 0;
    for (int32_t p = s.ia[i] - 1; p < s.ia[i + 1] - 1; before = s.ja[p++])
      if (s.ja[p] <= before || s.ja[p] > s.n)
        return false;
    if (symmetric && (s.ia[i] == s.ia[i + 1] || s.ja[s.ia[i] - 1] != i + 1))
      return false;
  }
  return true;
}

int32_t entriesOf(const SparseStructure& s) { return s.n > 0 ? s.ia[s.n] - 1 : 0; }

bool allFinite(const float* values, int64_t count) {
  return std::all_of(values, values + count, [](float v) { return std::isfinite(v); });
}

void report(int32_t* iparm, double entries, double flop) {
  auto put = [](int32_t& word, double value) {
    if (word == -1)
      word = int32_t(std::min(value, double(std::numeric_limits<int32_t>::max())));
  };
  put(iparm[indexEntries], entries);
  put(iparm[indexMflop], std::ceil(flop * 1e-6));
}

int32_t analysePhase(const Arguments& in) {
  release(in.pt);
  if (!consistent(in.structure, in.symmetric))
    return errorInput;
  auto solver = std::make_unique<Solver>();
  solver->symmetric = in.symmetric;
  solver->n = in.structure.n;
  solver->entries = entriesOf(in.structure);
  if (in.symmetric) {
    if (!analyse(in.structure, solver->tree))
      return errorOrdering;
    double entries = 0, flop = 0;
    for (int32_t f = 0; f < solver->tree.fronts; ++f) {
      const double rows = solver->tree.size(f), pivots = solver->tree.pivots(f);
      entries += rows * pivots - pivots * (pivots - 1) / 2;
      flop += frontFlop(rows, pivots);
    }
    report(in.iparm, entries, flop);
  }
  setSolver(in.pt, solver.release());
  return 0;
}

// The analysed solver, if it is for a matrix like this one.
Solver* solverFor(const Arguments& in, int32_t& error) {
  Solver* solver = solverBehind(in.pt);
  if (!solver)
    error = errorPhase;
  else if (solver->symmetric != in.symmetric || solver->n != in.structure.n ||
           !consistent(in.structure, in.symmetric) || solver->entries != entriesOf(in.structure) ||
           (solver->entries > 0 && !in.values))
    error = errorInput;
  else
    return solver;
  return nullptr;
}

int32_t factorisePhase(const Arguments& in) {
  int32_t error = 0;
  Solver* solver = solverFor(in, error);
  if (!solver)
    return error;
  solver->cholesky = {};
  solver->general.reset();
  if (solver->n == 0)
    return 0;
  if (!allFinite(in.values, solver->entries))
    return errorNumerical;
  if (in.symmetric) {
    const Pivoting pivoting = factorise(solver->tree, in.values, threadCount, solver->cholesky);
    if (pivoting == Pivoting::positive)
      return 0;
    if (pivoting == Pivoting::notFinite)
      return errorNumerical;
  }
  double entries = 0, flop = 0;
  solver->general = factoriseGeneral(in.structure, in.values, in.symmetric, entries, flop);
  if (!solver->general)
    return errorNumerical;
  report(in.iparm, entries, flop);
  return 0;
}

// residual = b - A x, every sum in double.
void residual(const Arguments& in, const float* x, double* sum, float* residual) {
  const SparseStructure& s = in.structure;
  std::copy_n(in.b, s.n, sum);
  for (int32_t i = 0; i < s.n; ++i) {
    double row = 0;
    for (int32_t p = s.ia[i] - 1; p < s.ia[i + 1] - 1; ++p) {
      const int32_t j = s.ja[p] - 1;
      const double value = in.values[p];
      row += value * x[j];
      if (in.symmetric && j != i)
        sum[j] -= value * x[i];
    }
    sum[i] -= row;
  }
  std::transform(sum, sum + s.n, residual, [](double v) { return float(v); });
}

float largest(const float* v, int32_t count) {
  float most = 0;
  for (int32_t i = 0; i < count; ++i)
    most = std::max(most, std::abs(v[i]));
  return most;
}

int32_t solvePhase(const Arguments& in) {
  int32_t error = 0;
  const Solver* solver = solverFor(in, error);
  if (!solver)
    return error;
  const int32_t n = solver->n;
  if (n == 0)
    return 0;
  if (!solver->cholesky.panels && !solver->general)
    return errorPhase;
  if (!in.b || !in.x)
    return errorInput;
  std::vector<float> x(in.b, in.b + n), step(n), work(solver->general ? 0 : 2 * size_t(n));
  std::vector<double> sum(n);
  auto backSolve = [&](std::vector<float>& v) {
    if (solver->general)
      solve(*solver->general, v.data());
    else
      solve(solver->tree, solver->cholesky, v.data(), work.data());
  };
  backSolve(x);
  // A step removes all but the part of the error that the step itself is of the solution. So when
  // the square of that part is below the last bit, another step would find nothing.
  constexpr float lastStep = 1.7e-4f; // sqrt(2^-25)
  float before = std::numeric_limits<float>::infinity();
  for (int32_t left = in.iparm[indexRefinement]; left > 0; --left) {
    residual(in, x.data(), sum.data(), step.data());
    backSolve(step);
    const float size = largest(step.data(), n);
    if (!(size < before))
      break; // the steps do not converge: what is there is the best there is
    before = size;
    for (int32_t i = 0; i < n; ++i)
      x[i] += step[i];
    if (size <= lastStep * largest(x.data(), n))
      break;
  }
  // A right-hand side without numbers has a solution without: no fault of the matrix.
  if (!allFinite(x.data(), n) && allFinite(in.b, n))
    return errorNumerical;
  std::copy(x.begin(), x.end(), in.x);
  if (in.iparm[indexSolutionOnB] == 1)
    std::copy(x.begin(), x.end(), in.b);
  return 0;
}

int32_t runPhase(int32_t phase, const Arguments& in) {
  switch (phase) {
  case phaseAnalyse:
    return analysePhase(in);
  case phaseFactorise:
    return factorisePhase(in);
  case phaseSolve:
    return solvePhase(in);
  default:
    return errorInput;
  }
}

} // namespace

void PARDISO(int32_t* pt, const int32_t*, const int32_t*, const int32_t* mtype,
             const int32_t* phase, const int32_t* n, const float* a, const int32_t* ia,
             const int32_t* ja, int32_t*, const int32_t*, int32_t* iparm, const int32_t*, float* b,
             float* x, int32_t* error) {
  int32_t result = errorInput;
  if (pt && phase && *phase == phaseRelease) {
    release(pt);
    result = 0;
  } else if (pt && phase && mtype && n && iparm &&
             (*mtype == sparseSymmetricIndefinite || *mtype == sparseUnsymmetric)) {
    try {
      result =
          runPhase(*phase, {pt, *mtype == sparseSymmetricIndefinite, {*n, ia, ja}, a, iparm, b, x});
    } catch (const std::bad_alloc&) {
      result = errorMemory;
    } catch (...) { // a vector longer than any memory
      result = errorMemory;
    }
  }
  if (error)
    *error = result;
}

void mkl_set_num_threads(int count) {
  if (count >= 1)
    threadCount = std::min(count, mostThreads);
}
