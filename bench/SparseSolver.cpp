// The solver's phases on the matting matrix, in unknowns per second: at the sizes of a reduced copy
// and of a large preview, on one and two threads.
#include "primitives/sparse/SparseSolver.h"

#include <benchmark/benchmark.h>

#include <cmath>

#include "tests/support/MattingMatrix.h"

namespace {

struct Session {
  SparseMatrix matrix;
  std::vector<float> b, x;
  int32_t pt[64] = {}, iparm[64] = {};

  Session(int64_t width, int64_t height)
      : matrix(mattingMatrix(int32_t(width), int32_t(height))), b(matrix.n), x(matrix.n) {
    iparm[5] = 1;
    iparm[7] = 2;
  }
  ~Session() { run(-1); }

  void refillRightHandSide() {
    for (int32_t i = 0; i < matrix.n; ++i)
      b[i] = 0.001f * (0.6f + 0.4f * std::sin(float(i) * 0.013f));
  }
  bool run(int32_t phase) {
    const int32_t one = 1, silent = 0, type = sparseSymmetricIndefinite;
    int32_t perm = 0, error = 0;
    PARDISO(pt, &one, &one, &type, &phase, &matrix.n, matrix.a.data(), matrix.ia.data(),
            matrix.ja.data(), &perm, &one, iparm, &silent, b.data(), x.data(), &error);
    return error == 0;
  }
};

// The phases from `first` to `last` of 11, 22, 33. Earlier phases run once; if all three are
// measured, each iteration runs them anew.
void phases(benchmark::State& state, int32_t first, int32_t last) {
  Session session(state.range(0), state.range(1));
  mkl_set_num_threads(int(state.range(2)));
  bool ok = true;
  for (int32_t phase = 11; phase < first; phase += 11)
    ok = ok && session.run(phase);
  for (auto _ : state) {
    session.refillRightHandSide();
    for (int32_t phase = first; phase <= last; phase += 11)
      ok = ok && session.run(phase);
  }
  if (!ok)
    state.SkipWithError("a phase failed");
  state.SetItemsProcessed(state.iterations() * session.matrix.n);
}

void analyse(benchmark::State& state) { phases(state, 11, 11); }
void factorise(benchmark::State& state) { phases(state, 22, 22); }
void solveAndRefine(benchmark::State& state) { phases(state, 33, 33); }
void allPhases(benchmark::State& state) { phases(state, 11, 33); }

void sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"width", "height", "threads"});
  for (const int64_t threads : {1, 2})
    benchmark->Args({387, 258, threads})->Args({633, 450, threads});
  benchmark->Unit(benchmark::kMillisecond)->UseRealTime();
}

BENCHMARK(analyse)->Apply(sizes);
BENCHMARK(factorise)->Apply(sizes);
BENCHMARK(solveAndRefine)->Apply(sizes);
BENCHMARK(allPhases)->Apply(sizes);

} // namespace
