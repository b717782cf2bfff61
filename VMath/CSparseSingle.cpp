// Storage of the sparse matrix: per-row maps while it is built, aligned arrays for the solver.
#include "VMath/CSparseSingle.h"

#include <algorithm>
#include <new>

#include "primitives/base/Conversions.h"
#include "primitives/base/HeapBlock.h"

namespace {

constexpr int alignment = 128;          // bytes, of the compressed arrays
constexpr int32_t firstRowCapacity = 8; // growable mode; doubles from there
constexpr int32_t mostRows = 1 << 30;   // the last doubling whose capacity fits 32 bits

template <class T> T* allocate(int32_t count) {
  const size_t bytes = size_t(uint32_t(count)) * sizeof(T);
  void* block = mkl_malloc(bytes, alignment);
  if (!block && bytes)
    throw std::bad_alloc();
  return static_cast<T*>(block);
}

} // namespace

// Delegates, so that the destructor runs if init runs out of memory.
CSparseSingle::CSparseSingle(int rows, int cols) : CSparseSingle() { init(rows, cols); }

CSparseSingle::~CSparseSingle() { clear(); }

void CSparseSingle::init(int newRows, int newCols) {
  const uint32_t storage = symmetricStorage;
  clear();
  symmetricStorage = storage;
  if (newRows != 0) {
    rows = newRows;
    cols = newCols;
    access = &CSparseSingle::fixedElement;
    rowMaps = new QMap<int, float>[size_t(newRows)];
  } else {
    growTo(firstRowCapacity - 1);
    rows = 0;
  }
  resizeRowIndices();
  // Fixed mode reserves the size of the dense matrix in advance.
  resizeValues(symmetricStorage ? wrappingMultiply(rows, wrappingAdd(rows, 1)) / 2
                                : wrappingMultiply(rows, cols));
}

void CSparseSingle::clear() {
  access = &CSparseSingle::growableElement;
  mkl_free(rowIndices);
  mkl_free(columnIndices);
  mkl_free(values);
  delete[] rowMaps;
  rowIndices = columnIndices = nullptr;
  values = nullptr;
  rowMaps = nullptr;
  symmetricStorage = 0;
  nonZeros = rowIndexCount = rows = cols = rowCapacity = 0;
}

float& CSparseSingle::fixedElement(int row, int col) {
  return symmetricStorage && col < row ? rowMaps[col][row] : rowMaps[row][col];
}

float& CSparseSingle::growableElement(int row, int col) {
  if (row >= rows)
    growTo(row);
  return fixedElement(row, col);
}

void CSparseSingle::growTo(int row) {
  if (row >= mostRows)
    throw std::bad_array_new_length();
  if (rowCapacity <= row) {
    int32_t capacity = std::max(rowCapacity, firstRowCapacity);
    while (capacity <= row)
      capacity *= 2;
    auto* grown = new QMap<int, float>[size_t(capacity)];
    std::move(rowMaps, rowMaps + rows, grown);
    delete[] rowMaps;
    rowMaps = grown;
    rowCapacity = capacity;
  }
  rows = row + 1;
}

void CSparseSingle::resizeRowIndices() {
  if (rowIndexCount == rows + 1)
    return;
  mkl_free(rowIndices);
  rowIndices = nullptr;
  rowIndices = allocate<int32_t>(rows + 1);
  rowIndexCount = rows + 1;
  rowIndices[0] = 0; // no structure before compress()
}

void CSparseSingle::resizeValues(int32_t count) {
  if (nonZeros == count)
    return;
  mkl_free(columnIndices);
  mkl_free(values);
  columnIndices = nullptr;
  values = nullptr;
  nonZeros = 0;
  columnIndices = allocate<int32_t>(count);
  values = allocate<float>(count);
  nonZeros = count;
}

void CSparseSingle::compress(int threads) {
  resizeRowIndices();
  rowIndices[0] = 0; // the same if there is no memory for the values
  int32_t next = 1;
  for (int32_t r = 0; r < rows; ++r)
    rowIndices[r + 1] = next += int32_t(rowMaps[r].size());
  resizeValues(next - 1);
  rowIndices[0] = 1;
#pragma omp parallel for num_threads(threads) schedule(static)
  for (int32_t r = 0; r < rows; ++r) {
    int32_t k = rowIndices[r] - 1;
    const QMap<int, float>& map = rowMaps[r];
    for (auto entry = map.cbegin(); entry != map.cend(); ++entry, ++k) {
      values[k] = entry.value();
      columnIndices[k] = entry.key() + 1;
    }
  }
}
