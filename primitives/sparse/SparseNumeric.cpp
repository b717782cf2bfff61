#include "primitives/sparse/SparseNumeric.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "primitives/base/ParallelRegion.h"

namespace {

// Everything that the factorisation of a front reads and writes.
struct Job {
  const FrontTree& tree;
  const float* values;
  const std::vector<int64_t>& panelStart;
  float* panels;
  std::vector<HeapArray<float>> updates; // [fronts] each lives until its parent is factorised
  std::atomic<Pivoting> state{Pivoting::positive};
  FirstException exception;

  bool isOver() const { return state != Pivoting::positive || exception.isCaught(); }
};

void addMatrix(const Job& job, int32_t front, const Front& dense) {
  const FrontTree& tree = job.tree;
  float* column = dense.panel;
  for (int32_t k = tree.first[front]; k < tree.first[front + 1]; ++k) {
    for (int32_t p = tree.entryStart[k]; p < tree.entryStart[k + 1]; ++p)
      column[tree.entryPlace[p]] = job.values[tree.entrySource[p]];
    column += frontStride(dense.rows);
  }
}

// Adds columns [begin, end) of a child's update to the front.
void addColumns(const Job& job, int32_t child, const Front& dense, int32_t begin, int32_t end) {
  const FrontTree& tree = job.tree;
  const int32_t* place = tree.place.data() + tree.rowStart[child];
  const int32_t* run = tree.run.data() + tree.rowStart[child];
  const int32_t count = tree.updates(child), strideFrom = frontStride(count);
  const int32_t stride = frontStride(dense.rows), below = frontStride(dense.rows - dense.pivots);
  for (int32_t j = begin; j < end; ++j) {
    const float* from = job.updates[child].get() + ptrdiff_t(j) * strideFrom;
    const int32_t above = place[j] < dense.pivots ? 0 : dense.pivots; // rows not in `to`
    float* to = above == 0 ? dense.panel + ptrdiff_t(place[j]) * stride
                           : dense.update + ptrdiff_t(place[j] - above) * below;
    for (int32_t i = j; i < count;) {
      float* next = to + place[i] - above;
      for (const int32_t last = i + run[i]; i < last; ++i)
        *next++ += from[i];
    }
  }
}

void addChild(const Job& job, int32_t child, const Front& dense) {
  constexpr int32_t columnsOfShare = 64;
  const int32_t count = job.tree.updates(child);
  if (!dense.team)
    return addColumns(job, child, dense, 0, count);
#pragma omp taskloop default(shared) grainsize(1)
  for (int32_t begin = 0; begin < count; begin += columnsOfShare)
    addColumns(job, child, dense, begin, std::min(begin + columnsOfShare, count));
}

// team: the threads of the caller's team are waiting for tasks.
void eliminate(Job& job, int32_t front, bool team) {
  constexpr double flopOfTeam = 2e6; // below this, waking the team takes longer than the work
  const FrontTree& tree = job.tree;
  const int32_t rows = tree.size(front), pivots = tree.pivots(front);
  const int64_t panelFloats = job.panelStart[front + 1] - job.panelStart[front];
  const int64_t updateFloats = int64_t(rows - pivots) * frontStride(rows - pivots);
  job.updates[front] = allocateArray<float>(updateFloats);
  const Front dense = {rows, pivots, job.panels + job.panelStart[front], job.updates[front].get(),
                       team && frontFlop(rows, pivots) > flopOfTeam};
  std::memset(dense.panel, 0, panelFloats * sizeof(float));
  std::memset(dense.update, 0, updateFloats * sizeof(float));
  addMatrix(job, front, dense);
  for (int32_t child = tree.child[front]; child >= 0; child = tree.sibling[child]) {
    addChild(job, child, dense);
    job.updates[child].reset();
  }
  if (const Pivoting pivoting = factorise(dense); pivoting != Pivoting::positive)
    job.state = pivoting;
}

void eliminateRange(Job& job, int32_t begin, int32_t end, bool team) {
  job.exception.guard([&] {
    for (int32_t f = begin; f < end && !job.isOver(); ++f)
      eliminate(job, f, team);
  });
}

// The front that receives a front's update; for a root, the number after the last front.
int32_t above(const FrontTree& tree, int32_t front) {
  return tree.parent[front] < 0 ? tree.fronts : tree.parent[front];
}

// Work of each front and everything below it, in operations; the last element is the total.
std::vector<double> subtreeFlop(const FrontTree& tree) {
  std::vector<double> flop(size_t(tree.fronts) + 1, 0);
  for (int32_t f = 0; f < tree.fronts; ++f) {
    flop[f] += frontFlop(tree.size(f), tree.pivots(f));
    flop[above(tree, f)] += flop[f];
  }
  return flop;
}

// A range of fronts that one thread works on: a small subtree, or one of the fronts above the
// subtrees, whose work the team may share.
struct Piece {
  int32_t begin, end; // end outside; its last front is the topmost
  int32_t parent;     // of the topmost front; for a root the number after the last front
  bool isShared;
};

// In ascending order.
std::vector<Piece> piecesFor(const FrontTree& tree, int threads) {
  // Largest share of a thread's fair part of the work that a subtree in one piece may have, so that
  // the threads finish at about the same time.
  constexpr double largestPiece = 0.25;
  const std::vector<double> flop = subtreeFlop(tree);
  const double limit =
      threads == 1 ? flop[tree.fronts] : largestPiece * flop[tree.fronts] / threads;
  std::vector<Piece> pieces;
  for (int32_t f = 0, begin = 0; f < tree.fronts; ++f) {
    const int32_t parent = above(tree, f);
    const bool isShared = flop[f] > limit;
    if (!isShared && parent < tree.fronts && flop[parent] <= limit)
      continue; // part of its parent's piece
    pieces.push_back({begin, f + 1, parent, isShared});
    begin = f + 1;
  }
  return pieces;
}

// Runs body(piece) on a team for each of the pieces [first, last): in ascending order, children
// before their parents, or in descending order, parents first. For OpenMP's dependences, the
// elements of the tree's `first` represent the pieces' fronts. The body must not throw.
template <class Iterator, class Body>
void runPieces(const FrontTree& tree, Iterator first, Iterator last, int threads, Body body) {
  [[maybe_unused]] const int32_t* front = tree.first.data();
#pragma omp parallel num_threads(threads)
#pragma omp single
  for (; first != last; ++first) {
    const Piece piece = *first;
    // clang-format off
#pragma omp task default(shared) firstprivate(piece) \
    depend(out : front[piece.end - 1]) depend(in : front[piece.parent])
    // clang-format on
    body(piece);
  }
}

// The forward substitution of one front. Its contribution to the rows below its pivots waits in
// `given` until the parent adds the contributions of its children, always in the same order, for
// any team.
void forwardFront(const FrontTree& tree, const CholeskyFactor& factor, int32_t f, float* y,
                  float* given, float* w) {
  const int32_t pivots = tree.pivots(f), rows = tree.size(f);
  std::copy_n(y + tree.first[f], pivots, w);
  std::fill(w + pivots, w + rows, 0.0f);
  for (int32_t child = tree.child[f]; child >= 0; child = tree.sibling[child])
    for (int64_t p = tree.rowStart[child]; p < tree.rowStart[child + 1]; ++p)
      w[tree.place[p]] += given[p];
  solveForward(factor.panels.get() + factor.panelStart[f], rows, pivots, w);
  std::copy_n(w, pivots, y + tree.first[f]);
  std::copy(w + pivots, w + rows, given + tree.rowStart[f]);
}

void backwardFront(const FrontTree& tree, const CholeskyFactor& factor, int32_t f, float* y,
                   float* w) {
  const int32_t pivots = tree.pivots(f), rows = tree.size(f);
  const int32_t* row = tree.row.data() + tree.rowStart[f];
  std::copy_n(y + tree.first[f], pivots, w);
  for (int32_t i = pivots; i < rows; ++i)
    w[i] = y[row[i - pivots]];
  solveBackward(factor.panels.get() + factor.panelStart[f], rows, pivots, w);
  std::copy_n(w, pivots, y + tree.first[f]);
}

} // namespace

Pivoting factorise(const FrontTree& tree, const float* values, int threads,
                   CholeskyFactor& factor) {
  factor.panels.reset();
  factor.panelStart.assign(size_t(tree.fronts) + 1, 0);
  // Leaves slack behind each panel: another thread may be writing the next panel.
  for (int32_t f = 0; f < tree.fronts; ++f)
    factor.panelStart[f + 1] =
        factor.panelStart[f] + int64_t(tree.pivots(f)) * frontStride(tree.size(f)) + frontSlack;
  HeapArray<float> panels = allocateArray<float>(factor.panelStart[tree.fronts]);
  Job job{tree, values, factor.panelStart, panels.get(), {}, {}, {}};
  job.updates.resize(size_t(tree.fronts) + 1);
  const std::vector<Piece> pieces = piecesFor(tree, threads);
  runPieces(tree, pieces.begin(), pieces.end(), threads, [&job](const Piece& piece) {
    eliminateRange(job, piece.begin, piece.end, piece.isShared);
  });
  job.exception.rethrow();
  if (job.state == Pivoting::positive)
    factor.panels = std::move(panels);
  return job.state;
}

SubstitutionRoom roomFor(const FrontTree& tree, int threads) {
  int32_t largest = 0;
  for (int32_t f = 0; f < tree.fronts; ++f)
    largest = std::max(largest, tree.size(f));
  SubstitutionRoom room;
  room.y.resize(size_t(tree.unknowns));
  room.given.resize(tree.row.size());
  room.rows.assign(size_t(threads), std::vector<float>(size_t(largest)));
  return room;
}

void solve(const FrontTree& tree, const CholeskyFactor& factor, float* x, SubstitutionRoom& room) {
  const int threads = int(room.rows.size());
  const std::vector<Piece> pieces = piecesFor(tree, threads);
  float *y = room.y.data(), *given = room.given.data();
  const auto rows = [&room] { return room.rows[size_t(omp_get_thread_num())].data(); };
  for (int32_t k = 0; k < tree.unknowns; ++k)
    y[k] = x[tree.order[k]];
  runPieces(tree, pieces.begin(), pieces.end(), threads, [&](const Piece& piece) {
    for (int32_t f = piece.begin; f < piece.end; ++f)
      forwardFront(tree, factor, f, y, given, rows());
  });
  runPieces(tree, pieces.rbegin(), pieces.rend(), threads, [&](const Piece& piece) {
    for (int32_t f = piece.end; f-- > piece.begin;)
      backwardFront(tree, factor, f, y, rows());
  });
  for (int32_t k = 0; k < tree.unknowns; ++k)
    x[tree.order[k]] = y[k];
}
