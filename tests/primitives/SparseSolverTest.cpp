// The direct solver against a factorisation in double precision: structures of many shapes, teams,
// invalid input, phases. tests/VMath/ solves matrices that are not positive definite.
#include "primitives/sparse/SparseSolver.h"

#include <gmock/gmock.h>
#include <omp.h>

#include <Eigen/SparseCholesky>
#include <array>
#include <limits>
#include <random>

#include "primitives/sparse/SparseSymbolic.h"
#include "tests/support/MattingMatrix.h"

namespace {

using Eigen::VectorXf, Eigen::VectorXd;
constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr int32_t symmetric = sparseSymmetricIndefinite, unsymmetric = sparseUnsymmetric;

// A handle with its control words.
struct Session {
  std::array<int32_t, 65> words{}; // the handle begins at an odd word
  std::array<int32_t, 64> iparm{};
  int32_t mtype;
  VectorXf x;

  explicit Session(int32_t type = symmetric) : mtype(type) { iparm[5] = 1, iparm[7] = 2; }
  ~Session() { run(-1, Rows(0, 0)); }

  int32_t run(int32_t phase, const SparseMatrix& matrix, VectorXf* b = nullptr) {
    int32_t one = 1, zero = 0, error = 77;
    x.setConstant(b ? b->size() : 0, -7);
    PARDISO(&words[1], &one, &one, &mtype, &phase, &matrix.n, matrix.a.data(), matrix.ia.data(),
            matrix.ja.data(), &zero, &one, iparm.data(), &zero, b ? b->data() : nullptr, x.data(),
            &error);
    return error;
  }
  int32_t solve(const SparseMatrix& matrix, VectorXf& b) { // stops at the first error
    int32_t error = run(11, matrix);
    error = error ? error : run(22, matrix);
    return error ? error : run(33, matrix, &b);
  }
};

std::mt19937 engine(5);
int32_t below(int32_t n) { return int32_t(engine() % uint32_t(n)); }

// Largest difference, relative to the largest value.
double error(const VectorXf& found, const VectorXd& exact) {
  return (found.cast<double>() - exact).cwiseAbs().maxCoeff() / exact.cwiseAbs().maxCoeff();
}
constexpr double roundingError = 1.3e-7; // two last bits of single precision

// Name, matrix, and operations if they are counted: a worse order or other supernodes are also
// correct, but slower.
std::vector<std::tuple<std::string, Rows, double>> definiteMatrices() {
  std::vector<std::tuple<std::string, Rows, double>> list;
  constexpr int32_t grids[][3] = {{1, 1, 1},        {1, 40, 0},          {40, 1, 0},
                                  {2, 31, 0},       {31, 2, 0},          {3, 50, 0},
                                  {5, 5, 0},        {6, 200, 1524044},   {160, 9, 3104217},
                                  {23, 19, 990112}, {131, 97, 190431513}};
  for (const auto& [width, height, flop] : grids)
    list.emplace_back("matting", mattingMatrix(width, height), flop);
  const auto add = [&](const char* name, int32_t n, auto to) {
    list.emplace_back(name, tied(n, 0.5f, to), 0);
  };
  using Ints = std::array<int32_t, 3>;
  for (const int32_t n : {2, 10, 100, 2000})
    add("scattered", n, [&](int32_t) { return Ints{below(n), below(n), -1}; });
  add("last rows dense", 2000, [](int32_t) { return Ints{1999, 1998, 1997}; });
  add("some first rows dense", 2000, [](int32_t) { return Ints{0, 7, 14}; });
  add("ring", 2000, [](int32_t i) { return Ints{(i + 1) % 2000, -1, -1}; });
  add("pieces", 900, [](int32_t i) { return Ints{i < 600 ? (i + 2) % 600 : i | 63, -1, -1}; });
  add("cube", 1728, [](int32_t i) {
    return Ints{i % 12 < 11 ? i + 1 : -1, i / 12 % 12 < 11 ? i + 12 : -1, i + 144};
  });
  // A grid of 20 columns where each row's end is tied to the next row's beginning, and half a row.
  add("rolled grid", 990, [](int32_t i) { return Ints{i + 1, i + 19, i + 20}; });
  add("diagonal", 500, [](int32_t) { return Ints{-1, -1, -1}; });
  return list;
}

double flopOf(const SparseMatrix& matrix) {
  const FrontTree tree = analyse({matrix.n, matrix.ia.data(), matrix.ja.data()});
  double flop = 0;
  for (int32_t f = 0; f < tree.fronts; ++f)
    flop += frontFlop(tree.size(f), tree.pivots(f));
  return flop;
}

// Solves on a thread of an outer team, with two active levels, as a host would.
VectorXf solveInside(int outer, int threads, const SparseMatrix& matrix, const VectorXf& b) {
  VectorXf x = b;
  omp_set_max_active_levels(2);
#pragma omp parallel num_threads(outer)
#pragma omp single
  {
    mkl_set_num_threads(threads);
    mkl_set_num_threads(0); // ignored
    EXPECT_EQ(Session().solve(matrix, x), 0);
  }
  return x;
}

TEST(SparseSolver, AgreesWithDoubleOnEveryStructureWithTheSameBitsOnEveryTeam) {
  for (const auto& [name, matrix, flop] : definiteMatrices()) {
    SCOPED_TRACE(name + " of " + std::to_string(matrix.rows()));
    const VectorXf b = VectorXf::Random(matrix.rows());
    const Eigen::SparseMatrix<double> wide = matrix.cast<double>();
    const Eigen::SimplicialLDLT<Eigen::SparseMatrix<double>, Eigen::Upper> oracle(wide);
    const VectorXf x = solveInside(1, 1, matrix, b);
    EXPECT_LT(error(x, oracle.solve(b.cast<double>())), roundingError);
    for (const auto& [outer, threads] : {std::pair{1, 2}, {1, 4}, {2, 3}})
      EXPECT_EQ(solveInside(outer, threads, matrix, b), x) << threads << " in " << outer;
    if (flop > 0) {
      EXPECT_NEAR(flopOf(matrix), flop, 0.01 * flop);
    }
  }
}

TEST(SparseSolver, ControlWordsAskForRefinementAndForThePlaceOfTheSolution) {
  const SparseMatrix matrix = mattingMatrix(64, 64);
  const VectorXf b = VectorXf::Random(matrix.n);
  Session session;
  VectorXf refined = b, untouched = b;
  ASSERT_EQ(session.solve(matrix, refined), 0);
  EXPECT_EQ(session.x, refined) << "the work vector holds the solution too";
  session.iparm[5] = session.iparm[7] = 0;
  ASSERT_EQ(session.run(33, matrix, &untouched), 0);
  EXPECT_EQ(untouched, b);
  // The smallest eigenvalue is a ten-thousandth of the largest: a factor in single precision loses
  // that many digits.
  EXPECT_LT(error(session.x, refined.cast<double>()), 2e-4);
  EXPECT_GT(error(session.x, refined.cast<double>()), roundingError);
}

TEST(SparseSolver, WhatIsNotFinite) {
  const SparseMatrix matrix = mattingMatrix(20, 20);
  for (const float bad : {std::nanf(""), infinity, -infinity})
    for (const int32_t place : {0, 1, 399}) {
      SparseMatrix spoiled = matrix;
      spoiled.a[place] = bad;
      for (const int32_t mtype : {symmetric, unsymmetric}) {
        Session session(mtype);
        EXPECT_EQ(session.run(11, spoiled), 0);
        EXPECT_EQ(session.run(22, spoiled), -4);
      }
      VectorXf b = VectorXf::Ones(400); // not the matrix's fault: a result, but no solution
      b[place] = bad;
      EXPECT_EQ(Session().solve(matrix, b), 0);
      EXPECT_FALSE(std::isfinite(b[place]));
    }
  // Finite at the end, beyond the largest number in between. The solution: tests/VMath/.
  VectorXf pair = VectorXf::Ones(2);
  EXPECT_EQ(Session().solve(matrixOf(2, {{0, 0, 1e-30f}, {0, 1, 1e30f}, {1, 1, 1}}), pair), -4);
}

TEST(SparseSolver, RefusesBrokenStructures) {
  for (const Rows& noDiagonal : {matrixOf(2, {{0, 1, 1}, {1, 1, 1}}), matrixOf(2, {{0, 0, 1}}),
                                 matrixOf(2, {{1, 0, 1}, {1, 1, 1}})}) {
    EXPECT_EQ(Session().run(11, noDiagonal), -1);
    EXPECT_EQ(Session(unsymmetric).run(11, noDiagonal), 0);
  }
  const SparseMatrix good = matrixOf(3, {{0, 0, 1}, {0, 1, 1}, {0, 2, 1}, {1, 1, 1}, {2, 2, 1}});
  for (const int32_t mtype : {symmetric, unsymmetric}) {
    SparseMatrix wide = good, low = good, unset = good, negative = good;
    wide.ja[2] = 4, low.ja[0] = 0, unset.ia[0] = 0, negative.n = -1;
    for (const SparseMatrix& broken : {wide, low, unset, negative})
      EXPECT_EQ(Session(mtype).run(11, broken), -1);
  }
  EXPECT_EQ(Session(2).run(11, good), -1);
  EXPECT_EQ(Session().run(12, good), -1);
}

TEST(SparseSolver, PhasesInAnyOrder) {
  const SparseMatrix matrix = mattingMatrix(9, 8);
  SparseMatrix scaled = matrix, spoiled = matrix;
  for (float& value : scaled.a)
    value *= 4; // the factor doubles exactly: same rounding
  spoiled.a[3] = infinity;
  VectorXf x = VectorXf::Random(matrix.n), quarter = x;
  Session session;
  const std::tuple<int32_t, const SparseMatrix&, VectorXf*, int32_t> steps[] = {
      {-1, matrix, nullptr, 0},   {22, matrix, nullptr, -10},  {11, matrix, nullptr, 0},
      {33, matrix, &x, -10},      {22, matrix, nullptr, 0},    {33, matrix, &x, 0},
      {22, spoiled, nullptr, -4}, {33, matrix, &quarter, -10}, // the previous factor is gone
      {22, scaled, nullptr, 0},   {33, scaled, &quarter, 0}};
  for (const auto& [phase, values, b, error] : steps)
    ASSERT_EQ(session.run(phase, values, b), error) << phase;
  EXPECT_EQ(4 * quarter, x);
  for (const int32_t mtype : {symmetric, unsymmetric, symmetric}) { // each frees the previous one
    session.mtype = mtype;
    EXPECT_EQ(session.solve(Rows(0, 0), quarter), 0);
  }
}

} // namespace
