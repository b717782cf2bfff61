// Solves the sparse matrix: the direct solver's four phases with one set of control words.
//
// A failed phase throws the texts below unchanged: nothing replaces their marker by the error
// number.
#include "VMath/CSparseSingle.h"
#include "VMath/VException.h"
#include "primitives/sparse/SparseSolver.h"

namespace {

struct Phase {
  int32_t number;
  const char* message;
  const char* location;
};

constexpr Phase analysis = {11, "PARDISO error during symbolic factorization: %d",
                            R"(File: "VMath\\CSparseSingle" Line: 88)"};
constexpr Phase factorisation = {22, "PARDISO error during numerical factorization: %d",
                                 R"(File: "VMath\\CSparseSingle" Line: 98)"};
constexpr Phase solution = {33, "PARDISO error during solution: %d",
                            R"(File: "VMath\\CSparseSingle" Line: 109)"};
constexpr int32_t releasePhase = -1;

constexpr int32_t mostRefinementSteps = 2;

// Control words of a single-precision solve; the words that are not set here stay 0.
void setControls(int32_t (&iparm)[64], bool symmetric, bool solutionOnB) {
  iparm[0] = 1;                   // do not use the solver's defaults
  iparm[1] = 3;                   // nested dissection
  iparm[5] = solutionOnB ? 1 : 0; // the solution overwrites b
  iparm[7] = mostRefinementSteps;
  iparm[9] = symmetric ? 8 : 13; // pivot perturbation 1e-8 or 1e-13
  iparm[10] = symmetric ? 1 : 0; // scaling
  iparm[12] = symmetric ? 1 : 0; // weighted matching
  iparm[17] = -1;                // ask for the non-zeros of the factors
  iparm[18] = -1;                // ask for the operation count
  iparm[20] = symmetric ? 1 : 0; // pivoting of symmetric indefinite matrices
  iparm[27] = 1;                 // single precision
}

void check(const Phase& phase, int32_t error) {
  if (error != 0)
    throw VException(phase.message, phase.location);
}

// Frees the solver's memory at the end of the solve, also after an exception.
class SolverHandle {
public:
  SolverHandle(const CSparseSingle& matrix, int32_t type, int32_t* iparm)
      : matrix(matrix), type(type), iparm(iparm) {}
  SolverHandle(const SolverHandle&) = delete;
  SolverHandle& operator=(const SolverHandle&) = delete;

  ~SolverHandle() {
    int32_t ignored = 0;
    call(releasePhase, nullptr, nullptr, nullptr, &ignored);
  }

  void run(const Phase& phase, float* b, float* x) {
    call(phase.number, matrix.values, b, x, &error);
    check(phase, error);
  }

private:
  void call(int32_t phase, const float* a, float* b, float* x, int32_t* status) {
    const int32_t one = 1, silent = 0;
    int32_t permutation = 0;
    float dummy = 0;
    PARDISO(pt, &one, &one, &type, &phase, &matrix.rows, a ? a : &dummy, matrix.rowIndices,
            matrix.columnIndices, &permutation, &one, iparm, &silent, b ? b : &dummy,
            x ? x : &dummy, status);
  }

  const CSparseSingle& matrix;
  const int32_t type;
  int32_t* iparm;
  int32_t pt[64] = {};
  int32_t error = 0;
};

} // namespace

void CSparseSingle::solve(float* b, float* x, bool symmetric, bool solutionOnB) {
  constexpr int32_t staleArrays = -1;
  check(analysis, rowIndexCount == rows + 1 ? 0 : staleArrays);
  int32_t iparm[64] = {};
  setControls(iparm, symmetric, solutionOnB);
  SolverHandle solver(*this, symmetric ? sparseSymmetricIndefinite : sparseUnsymmetric, iparm);
  solver.run(analysis, nullptr, nullptr);
  solver.run(factorisation, nullptr, nullptr);
  iparm[7] = mostRefinementSteps;
  solver.run(solution, b, x);
}
