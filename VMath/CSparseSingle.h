// Sparse matrix of single-precision values: built element by element in ordered per-row maps,
// compressed once into row-compressed arrays, solved by the direct solver.
//
// Indices are 0-based in the maps and 1-based in the compressed arrays. Every accessed entry stays
// stored, even at 0.0: the accesses define the structure. There is no lock inside: several threads
// may access elements under the caller's lock, or without a lock if none adds a row and no two
// access the same row.
#pragma once

#include <QMap>
#include <cstdint>

class CSparseSingle {
public:
  // rows > 0: fixed mode. rows = 0: growable mode, an access adds missing rows (and cols is not
  // stored).
  CSparseSingle(int rows, int cols);
  ~CSparseSingle();
  CSparseSingle(const CSparseSingle&) = delete;
  CSparseSingle& operator=(const CSparseSingle&) = delete;

  void init(int rows, int cols);

  // Reference to the element, inserted as 0.0 if absent. The indices are not checked against the
  // sizes. Growable mode throws std::bad_alloc from row 2^30 on.
  float& element(int row, int col) { return (this->*access)(row, col); }

  // Fills rowIndices, columnIndices and values from the maps, on this many threads.
  void compress(int threads = 1);

  // Factorises and solves. b and x: `rows` floats. With solutionOnB the solution goes to b, and x
  // is the solver's work vector. `symmetric`: the compressed arrays hold the upper triangle. Throws
  // VException if a phase of the solver fails; the first phase fails if rows were added after
  // compress().
  void solve(float* b, float* x, bool symmetric, bool solutionOnB);

  // Returns to growable mode without rows.
  void clear();

  uint32_t symmetricStorage = 0;    // set: below the diagonal, (row, col) accesses (col, row)
  int32_t nonZeros = 0;             // length of columnIndices and values
  int32_t rowIndexCount = 0;        // length of rowIndices: rows + 1
  int32_t* rowIndices = nullptr;    // 1-based position of each row's first value; aligned, owned
  int32_t* columnIndices = nullptr; // 1-based column of each value; aligned, owned
  float* values = nullptr;          // in row order; aligned, owned
  int32_t rows = 0;
  int32_t cols = 0;
  int32_t rowCapacity = 0;             // growable mode: length of rowMaps
  QMap<int, float>* rowMaps = nullptr; // column to value, one map per row; new[], owned

private:
  CSparseSingle() = default;
  float& fixedElement(int row, int col);
  float& growableElement(int row, int col);
  void growTo(int row);
  void resizeRowIndices();
  void resizeValues(int32_t count);

  float& (CSparseSingle::*access)(int row, int col) = &CSparseSingle::growableElement;
};
