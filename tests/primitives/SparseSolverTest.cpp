// The direct solver against a factorisation in double: shapes of structures, broken input, phases,
// threads, memory.
#include "primitives/sparse/SparseSolver.h"
#include "primitives/base/HeapBlock.h"

#include <gmock/gmock.h>
#include <omp.h>
#include <suitesparse/cholmod.h>

#include <Eigen/Dense>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <new>
#include <random>
#include <thread>
#include <tuple>
#include <vector>

#include "tests/primitives/MattingMatrix.h"
#include "tests/support/FailingMemory.h"

namespace {

using Vector = std::vector<float>;

// One handle with its control words; what the owner of a matrix would keep.
struct Session {
  int32_t words[65] = {}; // the handle begins at an odd word
  int32_t iparm[64] = {};
  int32_t mtype;
  Vector x;

  explicit Session(int32_t type = sparseSymmetricIndefinite) : mtype(type) {
    iparm[5] = 1;
    iparm[7] = 2;
    iparm[17] = iparm[18] = -1;
  }
  ~Session() { run(-1, {}, nullptr); }

  int32_t run(int32_t phase, const SparseMatrix& matrix, Vector* b) {
    const int32_t one = 1, silent = 0;
    int32_t perm = 0, error = 77;
    if (b)
      x.assign(b->size(), -7.0f);
    PARDISO(words + 1, &one, &one, &mtype, &phase, &matrix.n, matrix.a.data(), matrix.ia.data(),
            matrix.ja.data(), &perm, &one, iparm, &silent, b ? b->data() : nullptr,
            b ? x.data() : nullptr, &error);
    return error;
  }

  // All phases but the release, up to the first error.
  int32_t solve(const SparseMatrix& matrix, Vector& b) {
    int32_t error = run(11, matrix, nullptr);
    if (error == 0)
      error = run(22, matrix, nullptr);
    return error != 0 ? error : run(33, matrix, &b);
  }
};

// Entries by row and column, 0-based; into the upper triangle when symmetric.
using Entries = std::map<std::pair<int32_t, int32_t>, float>;

SparseMatrix compressed(int32_t n, const Entries& entries) {
  SparseMatrix matrix{n, std::vector<int32_t>(size_t(n) + 1, 1), {}, {}};
  for (const auto& [place, value] : entries) {
    ++matrix.ia[place.first + 1];
    matrix.ja.push_back(place.second + 1);
    matrix.a.push_back(value);
  }
  for (int32_t i = 0; i < n; ++i)
    matrix.ia[i + 1] += matrix.ia[i] - 1;
  return matrix;
}

// Off-diagonal entries as given, diagonals that dominate their rows: positive definite.
SparseMatrix dominant(int32_t n, Entries entries) {
  std::vector<double> sum(n, 0.5);
  for (const auto& [place, value] : entries)
    if (place.first != place.second)
      sum[place.first] += std::abs(value), sum[place.second] += std::abs(value);
  for (int32_t i = 0; i < n; ++i)
    entries[{i, i}] = float(sum[i]);
  return compressed(n, entries);
}

void tie(Entries& entries, int32_t i, int32_t j, float value) {
  if (i != j)
    entries[{std::min(i, j), std::max(i, j)}] = value;
}

Vector wave(int32_t n) {
  Vector b(n);
  for (int32_t i = 0; i < n; ++i)
    b[i] = 0.001f * (0.6f + 0.4f * std::sin(float(i) * 0.013f));
  return b;
}

using Solution = std::vector<double>;

// Supernodal Cholesky in double.
Solution solveByCholmod(const SparseMatrix& matrix, const Vector& b) {
  cholmod_common common;
  cholmod_start(&common);
  // A row of the upper triangle is a column of the lower one.
  cholmod_sparse* a = cholmod_allocate_sparse(matrix.n, matrix.n, matrix.ja.size(), 1, 1, -1,
                                              CHOLMOD_REAL, &common);
  for (int32_t i = 0; i <= matrix.n; ++i)
    static_cast<int*>(a->p)[i] = matrix.ia[i] - 1;
  for (size_t p = 0; p < matrix.ja.size(); ++p) {
    static_cast<int*>(a->i)[p] = matrix.ja[p] - 1;
    static_cast<double*>(a->x)[p] = matrix.a[p];
  }
  cholmod_dense* right = cholmod_zeros(matrix.n, 1, CHOLMOD_REAL, &common);
  std::copy(b.begin(), b.end(), static_cast<double*>(right->x));
  cholmod_factor* factor = cholmod_analyze(a, &common);
  cholmod_factorize(a, factor, &common);
  cholmod_dense* x = cholmod_solve(CHOLMOD_A, factor, right, &common);
  EXPECT_EQ(common.status, CHOLMOD_OK);
  const auto* values = static_cast<double*>(x->x);
  Solution solution(values, values + matrix.n);
  cholmod_free_dense(&x, &common);
  cholmod_free_dense(&right, &common);
  cholmod_free_factor(&factor, &common);
  cholmod_free_sparse(&a, &common);
  cholmod_finish(&common);
  return solution;
}

// Dense elimination in double, for small matrices of any kind.
Solution solveDensely(const SparseMatrix& matrix, bool symmetric, const Vector& b) {
  Eigen::MatrixXd dense = Eigen::MatrixXd::Zero(matrix.n, matrix.n);
  for (int32_t i = 0; i < matrix.n; ++i)
    for (int32_t p = matrix.ia[i] - 1; p < matrix.ia[i + 1] - 1; ++p) {
      dense(i, matrix.ja[p] - 1) = matrix.a[p];
      if (symmetric)
        dense(matrix.ja[p] - 1, i) = matrix.a[p];
    }
  const Eigen::VectorXd right =
      Eigen::Map<const Eigen::VectorXf>(b.data(), matrix.n).cast<double>();
  const Eigen::VectorXd x = dense.fullPivLu().solve(right);
  return {x.begin(), x.end()};
}

// Largest difference, as a part of the largest value.
double error(const Vector& found, const Solution& exact) {
  double most = 0, worst = 0;
  for (size_t i = 0; i < exact.size(); ++i) {
    most = std::max(most, std::abs(exact[i]));
    worst = std::max(worst, std::isfinite(found[i]) ? std::abs(found[i] - exact[i]) : INFINITY);
  }
  return most == 0 ? worst : worst / most;
}

constexpr double roundingError = 1.3e-7; // two last bits of single precision

class MattingShapes : public testing::TestWithParam<std::tuple<int, int>> {};

// The smallest eigenvalue is a ten-thousandth of the largest, and the picture's edges part the
// matrix into pieces that each have one as small: so many digits a factor in single precision
// loses.
constexpr double unrefinedError = 2e-4;

TEST_P(MattingShapes, AgreesWithDouble) {
  const auto [width, height] = GetParam();
  const SparseMatrix matrix = mattingMatrix(width, height);
  const Vector b = wave(matrix.n);
  const Solution exact = solveByCholmod(matrix, b);

  Session session;
  Vector refined = b;
  ASSERT_EQ(session.solve(matrix, refined), 0);
  EXPECT_LT(error(refined, exact), roundingError);
  EXPECT_EQ(session.x, refined) << "the work vector holds the solution too";

  session.iparm[5] = session.iparm[7] = 0;
  Vector untouched = b;
  ASSERT_EQ(session.run(33, matrix, &untouched), 0);
  EXPECT_EQ(untouched, b);
  EXPECT_LT(error(session.x, exact), unrefinedError);
}

INSTANTIATE_TEST_SUITE_P(, MattingShapes,
                         testing::Values(std::tuple(1, 1), std::tuple(1, 40), std::tuple(40, 1),
                                         std::tuple(2, 31), std::tuple(31, 2), std::tuple(3, 3),
                                         std::tuple(3, 50), std::tuple(50, 3), std::tuple(4, 17),
                                         std::tuple(5, 5), std::tuple(6, 200), std::tuple(7, 7),
                                         std::tuple(23, 19), std::tuple(160, 9), std::tuple(64, 64),
                                         std::tuple(131, 97)));

struct Definite {
  const char* name;
  SparseMatrix matrix;
};

std::vector<Definite> definiteMatrices() {
  std::mt19937 random(5);
  std::uniform_real_distribution<float> weight(-1, 1);
  auto index = [&](int32_t n) { return int32_t(random() % uint32_t(n)); };
  std::vector<Definite> list;
  for (const int32_t n : {2, 10, 100, 3000}) {
    Entries scattered;
    for (int32_t k = 0; k < 2 * n; ++k)
      tie(scattered, index(n), index(n), weight(random));
    list.push_back({"scattered", dominant(n, scattered)});
  }
  Entries full, arrowDown, arrowUp, band, parts, cube, skewed, loop;
  for (int32_t i = 0; i < 130; ++i)
    for (int32_t j = 0; j < i; ++j)
      tie(full, i, j, weight(random));
  list.push_back({"full", dominant(130, full)});
  for (int32_t i = 0; i < 2000; ++i) {
    for (int32_t dense = 0; dense < 3; ++dense) {
      tie(arrowDown, i, 1999 - dense, weight(random));
      tie(arrowUp, i, 7 * dense, weight(random));
    }
    for (int32_t d = 1; d < 5 && i + d < 2000; ++d)
      tie(band, i, i + d, weight(random));
    tie(loop, i, (i + 1) % 2000, weight(random));
  }
  list.push_back({"last rows dense", dominant(2000, arrowDown)});
  list.push_back({"some first rows dense", dominant(2000, arrowUp)});
  list.push_back({"band", dominant(2000, band)});
  list.push_back({"ring", dominant(2000, loop)});
  // Chains, a clique, and unknowns tied to nothing.
  for (int32_t i = 0; i < 600; i += 2)
    tie(parts, i, (i + 2) % 600, weight(random));
  for (int32_t i = 700; i < 760; ++i)
    for (int32_t j = i + 1; j < 760; ++j)
      tie(parts, i, j, weight(random));
  list.push_back({"disconnected parts", dominant(900, parts)});
  for (int32_t i = 0; i < 1728; ++i)
    for (const int32_t d : {1, 12, 144})
      if (i + d < 1728 && (i / d) % 12 < 11)
        tie(cube, i, i + d, weight(random));
  list.push_back({"cube", dominant(1728, cube)});
  // Offsets of a grid of 20 columns whose ends are tied to the next row's beginnings.
  for (int32_t i = 0; i < 990; ++i)
    for (const int32_t d : {1, 19, 20, 21})
      if (i + d < 990)
        tie(skewed, i, i + d, weight(random));
  list.push_back({"rolled grid with a part of a last row", dominant(990, skewed)});
  list.push_back({"diagonal", dominant(500, {})});
  return list;
}

TEST(SparseSolver, SolvesAnyDefiniteStructureOnAnyTeam) {
  for (const Definite& definite : definiteMatrices()) {
    SCOPED_TRACE(testing::Message() << definite.name << " of " << definite.matrix.n);
    const Vector b = wave(definite.matrix.n);
    const Solution exact = solveByCholmod(definite.matrix, b);
    for (const int threads : {1, 3}) {
      mkl_set_num_threads(threads);
      Session session;
      Vector x = b;
      EXPECT_EQ(session.solve(definite.matrix, x), 0);
      EXPECT_LT(error(x, exact), roundingError);
    }
  }
  mkl_set_num_threads(1);
}

TEST(SparseSolver, CountsTheFactor) {
  Session session;
  Vector b = wave(130);
  const SparseMatrix full = definiteMatrices()[4].matrix;
  ASSERT_EQ(session.solve(full, b), 0);
  EXPECT_EQ(session.iparm[17], 130 * 131 / 2);
  EXPECT_EQ(session.iparm[18], 1) << "130^3 / 3 operations";
  session.iparm[17] = session.iparm[18] = 5;
  ASSERT_EQ(session.run(11, full, nullptr), 0);
  EXPECT_EQ(session.iparm[17], 5);
  EXPECT_EQ(session.iparm[18], 5);
}

TEST(SparseSolver, IndefiniteAndUnsymmetricMatrices) {
  std::mt19937 random(11);
  std::uniform_real_distribution<float> weight(-1, 1);
  const SparseMatrix swap = compressed(2, {{{0, 0}, 0.0f}, {{0, 1}, 2.0f}, {{1, 1}, 0.0f}});
  Entries saddle, turned, scattered;
  const int32_t n = 150;
  for (int32_t i = 0; i < n; ++i) {
    saddle[{i, i}] = i < 100 ? 3.0f : 0.0f;
    if (i >= 100)
      saddle[{i - 100, i}] = saddle[{i - 50, i}] = 1.0f + weight(random) / 2;
    turned[{i, (i * 7 + 3) % n}] = 2 + weight(random); // nothing on the diagonal
    turned[{i, (i * 7 + 30) % n}] = weight(random);
    scattered[{i, i}] = 4;
    for (int k = 0; k < 4; ++k)
      scattered.insert({{i, int32_t(random() % uint32_t(n))}, weight(random)});
  }
  SparseMatrix negative = mattingMatrix(20, 20);
  negative.a[0] = -3;
  const struct {
    const char* name;
    int32_t mtype;
    SparseMatrix matrix;
  } cases[] = {{"zero diagonal", sparseSymmetricIndefinite, swap},
               {"saddle point", sparseSymmetricIndefinite, compressed(n, saddle)},
               {"one negative diagonal", sparseSymmetricIndefinite, negative},
               {"no diagonal", sparseUnsymmetric, compressed(n, turned)},
               {"scattered", sparseUnsymmetric, compressed(n, scattered)},
               {"one", sparseUnsymmetric, compressed(1, {{{0, 0}, -2.0f}})}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Session session(c.mtype);
    const Vector b = wave(c.matrix.n);
    Vector x = b;
    ASSERT_EQ(session.solve(c.matrix, x), 0);
    EXPECT_EQ(session.x, x);
    EXPECT_LT(error(x, solveDensely(c.matrix, c.mtype == sparseSymmetricIndefinite, b)), 1e-6);
    EXPECT_GE(session.iparm[17], c.matrix.n);
    EXPECT_GE(session.iparm[18], 0);
  }
}

TEST(SparseSolver, RefusesSingularMatrices) {
  SparseMatrix constants = mattingMatrix(12, 9); // rows that sum to nothing
  Vector sum(constants.n, 0.0f);
  for (int32_t i = 0; i < constants.n; ++i)
    for (int32_t p = constants.ia[i]; p < constants.ia[i + 1] - 1; ++p)
      sum[i] += constants.a[p], sum[constants.ja[p] - 1] += constants.a[p];
  for (int32_t i = 0; i < constants.n; ++i)
    constants.a[constants.ia[i] - 1] = -sum[i];
  const struct {
    const char* name;
    int32_t mtype;
    SparseMatrix matrix;
  } cases[] = {
      {"zero", sparseSymmetricIndefinite, compressed(1, {{{0, 0}, 0.0f}})},
      {"equal rows", sparseSymmetricIndefinite,
       compressed(2, {{{0, 0}, 1.0f}, {{0, 1}, 1.0f}, {{1, 1}, 1.0f}})},
      {"zero row", sparseSymmetricIndefinite, compressed(2, {{{0, 0}, 1.0f}, {{1, 1}, 0.0f}})},
      {"constant null space", sparseSymmetricIndefinite, constants},
      {"empty row", sparseUnsymmetric, compressed(2, {{{0, 0}, 1.0f}, {{0, 1}, 1.0f}})},
      {"empty column", sparseUnsymmetric, compressed(2, {{{0, 0}, 1.0f}, {{1, 0}, 1.0f}})},
      {"empty", sparseUnsymmetric, compressed(3, {})},
      {"equal columns", sparseUnsymmetric,
       compressed(2, {{{0, 0}, 1.0f}, {{0, 1}, 1.0f}, {{1, 0}, 3.0f}, {{1, 1}, 3.0f}})}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Session session(c.mtype);
    Vector b(c.matrix.n, 1.0f);
    EXPECT_EQ(session.run(11, c.matrix, nullptr), 0);
    EXPECT_EQ(session.run(22, c.matrix, nullptr), -4);
    EXPECT_EQ(session.run(33, c.matrix, &b), -10);
    EXPECT_EQ(b, Vector(c.matrix.n, 1.0f));
  }
}

TEST(SparseSolver, RefusesValuesThatAreNotFinite) {
  constexpr float infinity = std::numeric_limits<float>::infinity();
  constexpr float most = std::numeric_limits<float>::max();
  const Vector b = wave(400);
  for (const float bad : {std::nanf(""), infinity, -infinity})
    for (const size_t place : {size_t(0), size_t(1), size_t(2000)}) {
      SparseMatrix matrix = mattingMatrix(20, 20);
      matrix.a[place] = bad;
      for (const int32_t mtype : {sparseSymmetricIndefinite, sparseUnsymmetric}) {
        Session session(mtype);
        Vector x = b;
        EXPECT_EQ(session.solve(matrix, x), -4);
      }
      Session session;
      Vector right = b;
      right[place % 400] = bad;
      // No fault of the matrix: the solution is none, but it is given.
      EXPECT_EQ(session.solve(mattingMatrix(20, 20), right), 0);
      EXPECT_FALSE(std::isfinite(right[place % 400]));
    }
  // Finite as they come, beyond the largest number on the way.
  Vector pair = {1, 1};
  EXPECT_EQ(
      Session().solve(compressed(2, {{{0, 0}, 1e-30f}, {{0, 1}, 1e30f}, {{1, 1}, 1.0f}}), pair),
      -4);
  Vector large = {most, most};
  EXPECT_EQ(Session().solve(compressed(2, {{{0, 0}, 0.1f}, {{1, 1}, 0.1f}}), large), -4);
}

TEST(SparseSolver, RefusesBrokenStructures) {
  const SparseMatrix good = compressed(3, {{{0, 0}, 2.0f},
                                           {{0, 1}, 1.0f},
                                           {{0, 2}, 1.0f},
                                           {{1, 1}, 3.0f},
                                           {{1, 2}, 1.0f},
                                           {{2, 2}, 4.0f}});
  auto changed = [&](auto&& change) {
    SparseMatrix matrix = good;
    change(matrix);
    return matrix;
  };
  const SparseMatrix always[] = {
      changed([](SparseMatrix& m) { m.n = -1; }),
      changed([](SparseMatrix& m) { m.n = std::numeric_limits<int32_t>::min(); }),
      changed([](SparseMatrix& m) { m.ia[0] = 0; }),
      changed([](SparseMatrix& m) { m.ia[1] = 0; }),
      changed([](SparseMatrix& m) { m.ia[1] = -5; }),
      changed([](SparseMatrix& m) { m.ia[2] = 2; }),
      changed([](SparseMatrix& m) { m.ia[1] = std::numeric_limits<int32_t>::max(); }),
      changed([](SparseMatrix& m) { std::swap(m.ja[1], m.ja[2]); }),
      changed([](SparseMatrix& m) { m.ja[2] = 2; }),
      changed([](SparseMatrix& m) { m.ja[2] = 4; }),
      changed([](SparseMatrix& m) { m.ja[0] = 0; }),
      changed([](SparseMatrix& m) { m.ja[5] = std::numeric_limits<int32_t>::max(); }),
      changed([](SparseMatrix& m) { m.ja[3] = std::numeric_limits<int32_t>::min(); })};
  Vector b = {1, 1, 1};
  for (const SparseMatrix& matrix : always)
    for (const int32_t mtype : {sparseSymmetricIndefinite, sparseUnsymmetric}) {
      Session session(mtype);
      EXPECT_EQ(session.run(11, matrix, nullptr), -1);
      EXPECT_EQ(session.run(22, matrix, nullptr), -10);
      // The structure breaks after the analysis.
      ASSERT_EQ(session.run(11, good, nullptr), 0);
      EXPECT_EQ(session.run(22, matrix, nullptr), -1);
      ASSERT_EQ(session.run(22, good, nullptr), 0);
      EXPECT_EQ(session.run(33, matrix, &b), -1);
    }
  const SparseMatrix noDiagonals[] = {
      compressed(2, {{{0, 1}, 1.0f}, {{1, 1}, 1.0f}}), compressed(2, {{{0, 0}, 1.0f}}),
      compressed(2, {{{0, 0}, 1.0f}, {{1, 0}, 1.0f}, {{1, 1}, 1.0f}}),
      changed([](SparseMatrix& m) { m.n = std::numeric_limits<int32_t>::max(), m.ia[1] = 1; })};
  for (const SparseMatrix& matrix : noDiagonals)
    EXPECT_EQ(Session().run(11, matrix, nullptr), -1);
  EXPECT_EQ(b, Vector({1, 1, 1}));
}

TEST(SparseSolver, PhasesInAnyOrder) {
  const SparseMatrix matrix = mattingMatrix(9, 8), other = mattingMatrix(8, 8);
  SparseMatrix scaled = matrix;
  for (float& value : scaled.a)
    value *= 4; // the factor doubles: no other rounding
  const Vector b = wave(matrix.n);
  Vector x = b, again = b, quarter = b;
  Session session;
  EXPECT_EQ(session.run(-1, matrix, nullptr), 0);
  EXPECT_EQ(session.run(33, matrix, &x), -10);
  EXPECT_EQ(session.run(22, matrix, nullptr), -10);
  EXPECT_EQ(session.run(12, matrix, nullptr), -1);
  ASSERT_EQ(session.run(11, matrix, nullptr), 0);
  EXPECT_EQ(session.run(33, matrix, &x), -10);
  EXPECT_EQ(session.run(22, other, nullptr), -1);
  EXPECT_EQ(x, b);
  ASSERT_EQ(session.run(22, matrix, nullptr), 0);
  ASSERT_EQ(session.run(33, matrix, &x), 0);
  ASSERT_EQ(session.run(33, matrix, &again), 0);
  EXPECT_EQ(x, again);
  ASSERT_EQ(session.run(22, scaled, nullptr), 0) << "new values, same structure";
  ASSERT_EQ(session.run(33, scaled, &quarter), 0);
  for (size_t i = 0; i < quarter.size(); ++i)
    ASSERT_EQ(4 * quarter[i], x[i]);
  ASSERT_EQ(session.run(11, other, nullptr), 0) << "a second analysis frees the first";
  EXPECT_EQ(session.run(-1, {}, nullptr), 0);
  EXPECT_EQ(session.run(-1, {}, nullptr), 0);
  session.mtype = 2;
  EXPECT_EQ(session.run(11, matrix, nullptr), -1);
  int32_t error = 0;
  PARDISO(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
          nullptr, nullptr, nullptr, nullptr, nullptr, &error);
  EXPECT_EQ(error, -1);
}

TEST(SparseSolver, NothingToSolve) {
  for (const int32_t mtype : {sparseSymmetricIndefinite, sparseUnsymmetric}) {
    Vector none;
    EXPECT_EQ(Session(mtype).solve({0, {1}, {}, {}}, none), 0);
  }
}

// Solved in a team's region of two active levels, by one of its threads.
Vector solveInside(int outer, int threads, const SparseMatrix& matrix, const Vector& b) {
  Vector x = b;
  omp_set_max_active_levels(2);
#pragma omp parallel num_threads(outer)
#pragma omp single
  {
    mkl_set_num_threads(threads);
    mkl_set_num_threads(0); // ignored
    Session session;
    EXPECT_EQ(session.solve(matrix, x), 0);
  }
  return x;
}

TEST(SparseSolver, SameBitsOnAnyTeam) {
  const SparseMatrix matrices[] = {mattingMatrix(110, 90), definiteMatrices()[3].matrix};
  for (const SparseMatrix& matrix : matrices) {
    const Vector b = wave(matrix.n), x = solveInside(1, 1, matrix, b);
    for (const int threads : {1, 2, 4})
      for (const int outer : {1, 2})
        EXPECT_EQ(solveInside(outer, threads, matrix, b), x) << threads << " in " << outer;
  }
}

TEST(SparseSolver, TwoSolvesAtOnce) {
  const SparseMatrix matrices[] = {mattingMatrix(90, 70), mattingMatrix(61, 80)};
  Vector x[2], alone[2];
  for (int k = 0; k < 2; ++k)
    alone[k] = solveInside(1, 1, matrices[k], wave(matrices[k].n));
  auto work = [&](int k) {
    mkl_set_num_threads(1 + k);
    for (int round = 0; round < 4; ++round) {
      x[k] = wave(matrices[k].n);
      EXPECT_EQ(Session().solve(matrices[k], x[k]), 0);
      EXPECT_EQ(x[k], alone[k]);
    }
  };
  std::thread first(work, 0), second(work, 1);
  first.join();
  second.join();
}

// Each request for memory fails in turn, until a run gets through: an error, and nothing lost.
TEST(SparseSolver, EveryRequestForMemoryMayFail) {
  SparseMatrix indefinite = mattingMatrix(11, 12);
  indefinite.a[0] = -1;
  for (const SparseMatrix& matrix :
       {mattingMatrix(40, 30), definiteMatrices()[2].matrix, indefinite}) {
    const Vector b = wave(matrix.n);
    Vector x = b;
    int32_t result = -2;
    int failures = 0;
    for (; result != 0; ++failures) {
      Session session;
      session.x.reserve(b.size());
      x = b;
      bool refused;
      {
        const FailingMemory memory(failures);
        result = session.solve(matrix, x);
        refused = memory.hasRefused();
      }
      if (!refused)
        break;
      ASSERT_EQ(result, -2) << "after " << failures << " requests";
      ASSERT_EQ(session.solve(matrix, x), 0) << "the handle is still good";
    }
    EXPECT_EQ(result, 0);
    EXPECT_GT(failures, 20);
  }
}

TEST(AlignedMemory, BlocksStandWhereTheyShould) {
  for (const int alignment : {1, 16, 128, 4096})
    for (const size_t size : {size_t(1), size_t(100), size_t(1) << 22}) {
      auto* block = static_cast<char*>(mkl_malloc(size, alignment));
      ASSERT_NE(block, nullptr);
      EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % alignment, 0u);
      block[0] = block[size - 1] = 1;
      mkl_free(block);
    }
  mkl_free(nullptr);
  EXPECT_EQ(mkl_malloc(0, 128), nullptr);
  EXPECT_EQ(mkl_malloc(16, 0), nullptr);
  EXPECT_EQ(mkl_malloc(16, 24), nullptr);
#ifndef __SANITIZE_ADDRESS__ // which ends the process on such a request
  EXPECT_EQ(mkl_malloc(std::numeric_limits<size_t>::max() / 2, 128), nullptr);
#endif
}

} // namespace
