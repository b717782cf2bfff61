// The sparse matrix: its two modes, its compressed form, its solve.
#include "VMath/CSparseSingle.h"

#include <gmock/gmock.h>

#include <Eigen/Dense>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "VMath/VException.h"

namespace {

using testing::ElementsAre;

std::vector<int32_t> rowStarts(const CSparseSingle& m) {
  return {m.rowIndices, m.rowIndices + m.rowIndexCount};
}
std::vector<int32_t> columns(const CSparseSingle& m) {
  return {m.columnIndices, m.columnIndices + m.nonZeros};
}
std::vector<float> values(const CSparseSingle& m) { return {m.values, m.values + m.nonZeros}; }

TEST(CSparseSingle, GrowsByDoubling) {
  CSparseSingle m(0, 0);
  EXPECT_EQ(m.rowCapacity, 8);
  m.element(7, 3) = 2.5f;
  EXPECT_EQ(m.rowCapacity, 8);
  m.element(8, 40) = 3.5f;
  EXPECT_EQ(m.rowCapacity, 16);
  EXPECT_EQ(m.rows, 9);
  EXPECT_EQ(m.cols, 0);
  EXPECT_EQ(m.element(7, 3), 2.5f); // moved along
  EXPECT_EQ(m.element(2, 1), 0.0f); // and stored now
  m.compress();
  EXPECT_THAT(rowStarts(m), ElementsAre(1, 1, 1, 2, 2, 2, 2, 2, 3, 4));
  EXPECT_THAT(columns(m), ElementsAre(2, 4, 41));
  EXPECT_THAT(values(m), ElementsAre(0.0f, 2.5f, 3.5f));

  CSparseSingle far(0, 0);
  far.element(1000, 0) = 1;
  EXPECT_EQ(far.rowCapacity, 1024);
  EXPECT_EQ(far.rows, 1001);
}

TEST(CSparseSingle, FixedModeReservesTheDenseBound) {
  CSparseSingle m(4, 5);
  EXPECT_EQ(m.nonZeros, 20);
  EXPECT_EQ(m.rowIndexCount, 5);
  m.element(3, 99) = 1; // cols is not asked
  m.element(3, 2) = 2;
  m.element(0, 1) = 3;
  m.compress();
  EXPECT_THAT(rowStarts(m), ElementsAre(1, 2, 2, 2, 4));
  EXPECT_THAT(columns(m), ElementsAre(2, 3, 100));
  EXPECT_THAT(values(m), ElementsAre(3, 2, 1));
  for (const void* block :
       {(const void*)m.rowIndices, (const void*)m.columnIndices, (const void*)m.values})
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 128, 0u);

  const float* before = m.values; // unchanged structure: the arrays are used again
  m.element(3, 2) = 4;
  m.compress();
  EXPECT_EQ(m.values, before);
  EXPECT_THAT(values(m), ElementsAre(3, 4, 1));
  m.element(1, 0) = 0; // touched is stored
  m.compress();
  EXPECT_EQ(m.nonZeros, 4);
}

TEST(CSparseSingle, SymmetricStorageFolds) {
  for (int rows : {0, 6}) {
    CSparseSingle m(rows, rows);
    m.symmetricStorage = 1;
    m.init(rows, rows);
    EXPECT_EQ(m.nonZeros, rows * (rows + 1) / 2);
    m.element(5, 2) = 1.5f;
    EXPECT_EQ(m.element(2, 5), 1.5f);
    m.element(5, 5) += 1;
    m.compress();
    EXPECT_THAT(columns(m), ElementsAre(6, 6));
  }
}

TEST(CSparseSingle, NothingInIt) {
  CSparseSingle m(0, 0);
  m.compress();
  EXPECT_THAT(rowStarts(m), ElementsAre(1));
  EXPECT_EQ(m.nonZeros, 0);
  float b = 1, x = 2;
  m.solve(&b, &x, true, true);
  m.element(3, 3) = 1;
  m.clear();
  EXPECT_EQ(m.rows, 0);
  EXPECT_EQ(m.rowMaps, nullptr);
  m.init(2, 2);
  EXPECT_EQ(m.nonZeros, 4);
}

// Symmetric and not, the solution in b or in x.
TEST(CSparseSingle, Solves) {
  constexpr int n = 60;
  std::mt19937 random(3);
  std::uniform_real_distribution<float> value(-1, 1);
  for (bool symmetric : {true, false})
    for (bool onB : {true, false}) {
      CSparseSingle m(0, 0);
      Eigen::MatrixXd dense = Eigen::MatrixXd::Zero(n, n);
      for (int row = 0; row < n; ++row)
        for (int col = symmetric ? row : 0; col < n; ++col) {
          if (row != col && random() % 8)
            continue;
          const float v = row == col ? 12.0f : value(random);
          m.element(row, col) = v;
          dense(row, col) = v;
          if (symmetric)
            dense(col, row) = v;
        }
      std::vector<float> b(n), x(n, -9);
      for (float& v : b)
        v = value(random);
      const std::vector<float> rightHandSide = b;
      m.compress();
      m.solve(b.data(), x.data(), symmetric, onB);
      const Eigen::VectorXd expected = dense.partialPivLu().solve(
          Eigen::Map<const Eigen::VectorXf>(rightHandSide.data(), n).cast<double>());
      for (int k = 0; k < n; ++k) {
        ASSERT_NEAR((onB ? b : x)[k], expected[k], 1e-6);
        ASSERT_NEAR(x[k], expected[k], 1e-6); // the work vector is not left flat
      }
      if (!onB) {
        EXPECT_EQ(b, rightHandSide);
      }
    }
}

// The message keeps its marker and never tells the number; the place keeps its two backslashes.
TEST(CSparseSingle, FailuresTellTheirPhase) {
  struct Failure {
    float diagonal;
    bool sorted;
    const char* message;
    const char* location;
  };
  for (const Failure& f : {Failure{1, false, "PARDISO error during symbolic factorization: %d",
                                   "File: \"VMath\\\\CSparseSingle\" Line: 88"},
                           Failure{NAN, true, "PARDISO error during numerical factorization: %d",
                                   "File: \"VMath\\\\CSparseSingle\" Line: 98"},
                           Failure{0, true, "PARDISO error during numerical factorization: %d",
                                   "File: \"VMath\\\\CSparseSingle\" Line: 98"}}) {
    CSparseSingle m(0, 0);
    for (int k = 0; k < 5; ++k)
      m.element(k, k) = f.diagonal;
    m.element(1, 3) = 0;
    m.compress();
    if (!f.sorted)
      std::swap(m.columnIndices[1], m.columnIndices[2]);
    std::vector<float> b(5, 1), x(5);
    try {
      m.solve(b.data(), x.data(), true, true);
      ADD_FAILURE() << f.message;
    } catch (const std::runtime_error& e) {
      EXPECT_STREQ(e.what(), f.message);
      EXPECT_EQ(dynamic_cast<const VException&>(e).location().toStdString(), f.location);
    }
  }
}

} // namespace
