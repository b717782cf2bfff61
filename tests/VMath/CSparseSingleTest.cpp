// The sparse matrix: its two modes, its compressed form, its solve.
#include "VMath/CSparseSingle.h"

#include <gmock/gmock.h>

#include <Eigen/Dense>
#include <optional>
#include <random>

#include "VMath/VException.h"
#include "primitives/sparse/SparseSolver.h"
#include "tests/support/FailingMemory.h"

namespace {

using Eigen::VectorXf;
using Ints = std::vector<int32_t>;

void expectCompressed(CSparseSingle& m, Ints starts, Ints columns, std::vector<float> values) {
  m.compress();
  EXPECT_EQ(Ints(m.rowIndices, m.rowIndices + m.rowIndexCount), starts);
  EXPECT_EQ(Ints(m.columnIndices, m.columnIndices + m.nonZeros), columns);
  EXPECT_EQ(std::vector(m.values, m.values + m.nonZeros), values);
}

TEST(CSparseSingle, GrowsByDoubling) {
  CSparseSingle m(0, 0);
  for (int round = 0; round < 2; ++round, m.clear()) {
    m.element(7, 3) = 2.5f;
    EXPECT_EQ(m.rowCapacity, 8);
    m.element(8, 40) = 3.5f;
    EXPECT_EQ(m.rowCapacity, 16);
    EXPECT_EQ(m.rows, 9);
    EXPECT_EQ(m.cols, 0);
    EXPECT_EQ(m.element(7, 3), 2.5f); // moved with the row maps
    EXPECT_EQ(m.element(2, 1), 0.0f); // and now stored
    expectCompressed(m, {1, 1, 1, 2, 2, 2, 2, 2, 3, 4}, {2, 4, 41}, {0, 2.5, 3.5});
    m.element(1000, 0) = 1;
    EXPECT_EQ(m.rowCapacity, 1024);
    for (const int row : {1 << 30, std::numeric_limits<int>::max()})
      EXPECT_THROW(m.element(row, 0), std::bad_alloc);
    EXPECT_EQ(m.rows, 1001);
  }
  EXPECT_EQ(m.rowMaps, nullptr);
  EXPECT_EQ(m.rowCapacity + m.rows + m.nonZeros + m.rowIndexCount, 0);
  expectCompressed(m, {1}, {}, {});
  m.solve(nullptr, nullptr, true, true);
}

TEST(CSparseSingle, FixedModeReservesTheDenseBound) {
  CSparseSingle m(4, 5);
  EXPECT_EQ(m.nonZeros, 20);
  EXPECT_EQ(m.rowIndexCount, 5);
  EXPECT_EQ(m.rowIndices[0], 0); // nothing to solve yet
  m.element(3, 99) = 1;          // cols does not matter
  m.element(3, 2) = 2;
  m.element(0, 1) = 3;
  m.compress();
  const float* before = m.values;
  for (const void* block : {(void*)m.rowIndices, (void*)m.columnIndices, (void*)m.values})
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 128, 0u);
  m.element(3, 2) = 4;
  // The structure is unchanged: the arrays are reused.
  expectCompressed(m, {1, 2, 2, 2, 4}, {2, 3, 100}, {3, 4, 1});
  EXPECT_EQ(m.values, before);
}

TEST(CSparseSingle, SymmetricStorageFolds) {
  for (const int rows : {0, 6}) {
    CSparseSingle m(rows, rows);
    m.symmetricStorage = 1;
    m.init(rows, rows);
    EXPECT_EQ(m.nonZeros, rows * (rows + 1) / 2);
    m.element(5, 2) = 1.5f;
    EXPECT_EQ(m.element(2, 5), 1.5f);
    m.element(5, 5) += 1;
    expectCompressed(m, {1, 1, 1, 2, 2, 2, 3}, {6, 6}, {1.5, 1});
    m.clear();
    EXPECT_EQ(m.symmetricStorage, 0u);
  }
}

std::mt19937 engine(5);
int below(int n) { return int(engine() % unsigned(n)); }
float weight() { return std::uniform_real_distribution<float>(-1, 1)(engine); }

// A matrix, sparse and dense in double precision.
struct Both {
  CSparseSingle sparse{0, 0};
  Eigen::MatrixXd dense;
  const bool symmetric;

  Both(int n, bool symmetric) : dense(Eigen::MatrixXd::Zero(n, n)), symmetric(symmetric) {}
  void add(int i, int j, float value) {
    if (symmetric && i > j)
      std::swap(i, j);
    dense(i, j) = sparse.element(i, j) += value;
    if (symmetric)
      dense(j, i) = dense(i, j);
  }
  // The message of the exception, up to its marker; empty if there is none.
  std::string solve(VectorXf& b, VectorXf& x, bool onB = true) {
    sparse.compress();
    try {
      sparse.solve(b.data(), x.data(), symmetric, onB);
    } catch (const VException& e) {
      return e.what() + std::string(" ") + e.location().toStdString();
    }
    return "";
  }
};

// Symmetric: definite, with one negative diagonal entry, a saddle point. Unsymmetric: with and
// without a diagonal.
TEST(CSparseSingle, SolvesDefiniteIndefiniteAndUnsymmetricMatrices) {
  constexpr int n = 150;
  for (const bool onB : {true, false}) {
    Both kinds[] = {{n, true}, {n, true}, {n, true}, {n, false}, {n, false}};
    auto& [definite, negative, saddle, scattered, turned] = kinds;
    for (int i = 0; i < n; ++i) {
      for (Both* m : {&definite, &negative, &scattered})
        m->add(i, i, i || m != &negative ? 12 : -9), m->add(i, below(n), weight());
      saddle.add(i, i, i < 100 ? 3 : 0);
      if (i >= 100)
        saddle.add(i - 100, i, 1 + weight() / 2), saddle.add(i - 50, i, 1);
      turned.add(i, (i * 7 + 3) % n, 2 + weight());
      turned.add(i, (i * 7 + 30) % n, weight());
    }
    for (Both& m : kinds) {
      const VectorXf right = VectorXf::Random(n);
      VectorXf b = right, x(n);
      EXPECT_EQ(m.solve(b, x, onB), "");
      const VectorXf expected = m.dense.fullPivLu().solve(right.cast<double>()).cast<float>();
      EXPECT_LT((x - expected).norm(), 1e-6 * expected.norm()) << &m - kinds;
      EXPECT_EQ(b, onB ? x : right); // the work vector holds the solution, too
    }
  }
}

// Singular by construction, in whole numbers, so that no rounding hides it: definite except for the
// constants, indefinite, rows that sum to zero, an empty row or column.
TEST(CSparseSingle, RefusesSingularMatricesOfEverySize) {
  for (int n = 1; n < 300; n += 1 + n / 6) {
    Both definite(n, true), indefinite(n, true), zeroSums(n, false), hole(n, false);
    for (int k = 0; k < 3 * n; ++k) {
      const int i = k / 3, j = below(n);
      const float value = float(below(9) - 4);
      for (const auto& [m, v] : {std::pair{&definite, -1 - std::abs(value)}, {&indefinite, value}})
        m->add(i, i, -v), m->add(j, j, -v), m->add(i, j, i == j ? 2 * v : v);
      zeroSums.add(i, j, value), zeroSums.add(i, i, -value);
      hole.add(i, j, (n % 2 ? i : j) == n / 2 ? 0 : 5 + value);
    }
    for (Both* m : {&definite, &indefinite, &zeroSums, &hole}) {
      VectorXf b = VectorXf::Random(n), x(n);
      EXPECT_THAT(m->solve(b, x), testing::ContainsRegex("^PARDISO error during (sol|num)"));
    }
  }
}

// The message keeps its marker and never contains the number; the place keeps its two backslashes.
TEST(CSparseSingle, FailuresTellTheirPhase) {
  const auto told = [](std::string phase, std::string line) {
    return "PARDISO error during " + phase + R"(: %d File: "VMath\\CSparseSingle" Line: )" + line;
  };
  const auto solved = [](float diagonal, int missing) {
    Both m(5, true);
    for (int i = 0; i < 5; ++i)
      m.add(i, i == missing ? 4 : i, diagonal);
    VectorXf b = VectorXf::Constant(5, 1e30f), x(5);
    return m.solve(b, x);
  };
  EXPECT_EQ(solved(1, 2), told("symbolic factorization", "88"));
  EXPECT_EQ(solved(NAN, -1), told("numerical factorization", "98"));
  EXPECT_EQ(solved(1e-20f, -1), told("solution", "109"));
  // Arrays that do not match the rows: old ones, none yet, and none because memory ran out.
  CSparseSingle grown(0, 0), fixed(3, 3), starved(0, 0);
  grown.element(0, 0) = fixed.element(0, 0) = starved.element(0, 0) = 1;
  grown.compress();
  grown.element(1, 1) = 1;
  starved.compress();
  starved.element(0, 1) = 1;
  std::optional<FailingMemory> memory(0);
  EXPECT_THROW(starved.compress(), std::bad_alloc);
  memory.reset();
  EXPECT_EQ(starved.nonZeros, 0);
  float b[3] = {}, x[3] = {};
  for (CSparseSingle* m : {&grown, &fixed, &starved})
    EXPECT_THROW(m->solve(b, x, false, true), VException);
}

// Each request for memory fails in turn, until a run succeeds: every failure is an exception, and
// nothing leaks.
TEST(CSparseSingle, EveryRequestForMemoryMayFail) {
  for (const auto& [threads, first] : {std::pair{1, 12}, {2, 12}, {1, -9}}) {
    mkl_set_num_threads(threads);
    for (int served = 0, refused = true; refused; ++served) {
      ASSERT_LT(served, 10000);
      VectorXf b = VectorXf::Ones(80), x(80);
      std::optional<FailingMemory> memory(served);
      bool failed = false;
      try {
        CSparseSingle m(0, 0);
        for (int i = 0; i < 80; ++i) {
          m.element(i, i) = i ? 12 : float(first);
          m.element(i, std::max(i, (i * 37 + 1) % 80)) += 1;
        }
        m.compress();
        m.solve(b.data(), x.data(), true, true);
      } catch (const std::exception&) { // VException from the solver
        failed = true;
      }
      refused = memory->hasRefused();
      memory.reset();
      ASSERT_EQ(failed, bool(refused)) << "after " << served << " requests";
      ASSERT_EQ(b == VectorXf::Ones(80), failed);
    }
  }
  mkl_set_num_threads(1);
}

} // namespace
