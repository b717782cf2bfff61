#include "primitives/sparse/SparseNumeric.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <limits>

namespace {

// A range of fronts, one subtree or several, that one thread works its way up.
struct Room {
  int32_t begin, end;
};

// Where the updates live, and who computes what. In a room the updates stand in two stacks, of
// fronts at odd and at even depth, which grow towards each other: so a front can put its update
// down before it takes away its children's.
struct Plan {
  std::vector<Room> rooms;     // independent of each other
  std::vector<int32_t> shared; // the fronts above all rooms, ascending: the team's work
  std::vector<int64_t> update; // [fronts] start of each front's update in the arena
  int64_t floats = 0;          // length of the arena
};

int64_t updateFloats(const FrontTree& tree, int32_t front) {
  return int64_t(tree.updates(front)) * frontStride(tree.updates(front));
}

// No room is more than this part of a thread's even share of the work, so that the threads end
// together.
constexpr double largestRoom = 0.25;

// Rooms are unbroken runs of subtrees. A front whose subtree is too much for a room is shared.
void shareOut(const FrontTree& tree, int32_t threads, Plan& plan) {
  if (threads == 1) {
    plan.rooms.push_back({0, tree.fronts});
    return;
  }
  std::vector<double> flop(tree.fronts);
  double all = 0;
  for (int32_t f = 0; f < tree.fronts; ++f)
    all += flop[f] = frontFlop(tree.size(f), tree.pivots(f));
  const double limit = largestRoom * all / threads;
  std::vector<int32_t> begin(tree.fronts); // of each subtree
  for (int32_t f = 0; f < tree.fronts; ++f) {
    begin[f] = tree.children(f).empty() ? f : begin[tree.children(f).front()];
    for (const int32_t child : tree.children(f))
      flop[f] += flop[child];
    if (flop[f] > limit)
      plan.shared.push_back(f);
  }
  auto addRooms = [&](std::span<const int32_t> siblings) {
    double filled = limit;
    for (const int32_t f : siblings) {
      if (flop[f] > limit) {
        filled = limit;
      } else if (filled + flop[f] > limit) {
        plan.rooms.push_back({begin[f], f + 1});
        filled = flop[f];
      } else {
        plan.rooms.back().end = f + 1;
        filled += flop[f];
      }
    }
  };
  for (const int32_t f : plan.shared)
    addRooms(tree.children(f));
  addRooms(tree.children(tree.fronts));
}

// Places the updates of a room: offsets from its lower end or, below 0, from its upper end until
// its length is known.
void stackUpdates(const FrontTree& tree, const Room& room, const std::vector<uint8_t>& odd,
                  Plan& plan) {
  int64_t height[2] = {0, 0}, floats = 0;
  for (int32_t f = room.begin; f < room.end; ++f) {
    height[odd[f]] += updateFloats(tree, f);
    plan.update[f] = odd[f] ? -height[1] : height[0] - updateFloats(tree, f);
    floats = std::max(floats, height[0] + height[1]);
    for (const int32_t child : tree.children(f))
      height[odd[child]] -= updateFloats(tree, child);
  }
  for (int32_t f = room.begin; f < room.end; ++f)
    plan.update[f] += plan.floats + (odd[f] ? floats : 0);
  plan.floats += floats;
}

Plan makePlan(const FrontTree& tree, int32_t threads) {
  Plan plan;
  shareOut(tree, threads, plan);
  std::vector<uint8_t> odd(tree.fronts, 0);
  for (int32_t f = tree.fronts; f-- > 0;)
    odd[f] = tree.parent[f] >= 0 && !odd[tree.parent[f]];
  plan.update.resize(tree.fronts);
  for (const Room& room : plan.rooms)
    stackUpdates(tree, room, odd, plan);
  for (const int32_t f : plan.shared) {
    plan.update[f] = plan.floats;
    plan.floats += updateFloats(tree, f);
  }
  return plan;
}

// All that the factorisation of a front reads and writes.
struct Job {
  const FrontTree& tree;
  const Plan& plan;
  const float* values;
  const std::vector<int64_t>& panelStart;
  float* panels;
  float* updates;
  float* least; // [unknowns]
  std::atomic<Pivoting> state{Pivoting::positive};
};

// A pivot below this part of the matrix's own diagonal is what is left of it after rounding.
constexpr float leastPivot = 8 * std::numeric_limits<float>::epsilon();

void addMatrix(const Job& job, int32_t front, const Front& dense) {
  const FrontTree& tree = job.tree;
  const int32_t stride = frontStride(dense.rows), first = tree.first[front];
  for (int32_t k = 0; k < dense.pivots; ++k) {
    float* column = dense.panel + ptrdiff_t(k) * stride;
    for (int32_t p = tree.entryStart[first + k]; p < tree.entryStart[first + k + 1]; ++p)
      column[tree.entryPlace[p]] = job.values[tree.entrySource[p]];
    job.least[first + k] = std::max(0.0f, leastPivot * column[k]);
  }
}

// Columns [begin, end) of a child's update into the front.
void addColumns(const Job& job, int32_t child, const Front& dense, int32_t begin, int32_t end) {
  const FrontTree& tree = job.tree;
  const int32_t* place = tree.place.data() + tree.rowStart[child];
  const int32_t* run = tree.run.data() + tree.rowStart[child];
  const int32_t count = tree.updates(child), strideFrom = frontStride(count);
  const int32_t stride = frontStride(dense.rows), below = frontStride(dense.rows - dense.pivots);
  const float* update = job.updates + job.plan.update[child];
  for (int32_t j = begin; j < end; ++j) {
    const float* from = update + ptrdiff_t(j) * strideFrom;
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

// team: the threads of the caller's team wait for tasks.
void eliminate(Job& job, int32_t front, bool team) {
  if (job.state.load(std::memory_order_relaxed) != Pivoting::positive)
    return;
  constexpr double flopOfTeam = 2e6; // less is done before the team has heard of it
  const FrontTree& tree = job.tree;
  Front dense = {tree.size(front),
                 tree.pivots(front),
                 job.panels + job.panelStart[front],
                 job.updates + job.plan.update[front],
                 job.least + tree.first[front],
                 false};
  dense.team = team && frontFlop(dense.rows, dense.pivots) > flopOfTeam;
  std::memset(dense.panel, 0, (job.panelStart[front + 1] - job.panelStart[front]) * sizeof(float));
  std::memset(dense.update, 0, updateFloats(tree, front) * sizeof(float));
  addMatrix(job, front, dense);
  for (const int32_t child : tree.children(front))
    addChild(job, child, dense);
  if (const Pivoting pivoting = factorise(dense); pivoting != Pivoting::positive)
    job.state = pivoting;
}

void eliminateRoom(Job& job, const Room& room) {
  for (int32_t f = room.begin; f < room.end; ++f)
    eliminate(job, f, false);
}

// Without exceptions: a parallel region cannot let one out.
void eliminateAll(Job& job, int32_t threads) noexcept {
  if (threads == 1)
    return eliminateRoom(job, job.plan.rooms.front());
#pragma omp parallel num_threads(threads)
  {
#pragma omp for schedule(dynamic, 1)
    for (const Room& room : job.plan.rooms)
      eliminateRoom(job, room);
#pragma omp single
    for (const int32_t front : job.plan.shared)
      eliminate(job, front, true);
  }
}

} // namespace

Pivoting factorise(const FrontTree& tree, const float* values, int32_t threads,
                   CholeskyFactor& factor) {
  const Plan plan = makePlan(tree, threads);
  factor.panels.reset();
  factor.panelStart.assign(size_t(tree.fronts) + 1, 0);
  // With room behind each panel: the next one may be another thread's, who writes it.
  for (int32_t f = 0; f < tree.fronts; ++f)
    factor.panelStart[f + 1] =
        factor.panelStart[f] + int64_t(tree.pivots(f)) * frontStride(tree.size(f)) + frontSlack;
  HeapArray<float> panels = allocateArray<float>(factor.panelStart[tree.fronts]);
  const HeapArray<float> updates = allocateArray<float>(plan.floats + frontSlack);
  const HeapArray<float> least = allocateArray<float>(tree.unknowns);
  Job job{tree, plan, values, factor.panelStart, panels.get(), updates.get(), least.get()};
  eliminateAll(job, threads);
  if (job.state == Pivoting::positive)
    factor.panels = std::move(panels);
  return job.state;
}

void solve(const FrontTree& tree, const CholeskyFactor& factor, float* x, float* work) {
  float *y = work, *w = work + tree.unknowns;
  for (int32_t k = 0; k < tree.unknowns; ++k)
    y[k] = x[tree.order[k]];
  for (int32_t f = 0; f < tree.fronts; ++f) {
    const int32_t pivots = tree.pivots(f), rows = tree.size(f);
    const int32_t* row = tree.row.data() + tree.rowStart[f];
    std::copy_n(y + tree.first[f], pivots, w);
    std::fill(w + pivots, w + rows, 0.0f);
    solveForward(factor.panels.get() + factor.panelStart[f], rows, pivots, w);
    std::copy_n(w, pivots, y + tree.first[f]);
    for (int32_t i = pivots; i < rows; ++i)
      y[row[i - pivots]] += w[i];
  }
  for (int32_t f = tree.fronts; f-- > 0;) {
    const int32_t pivots = tree.pivots(f), rows = tree.size(f);
    const int32_t* row = tree.row.data() + tree.rowStart[f];
    std::copy_n(y + tree.first[f], pivots, w);
    for (int32_t i = pivots; i < rows; ++i)
      w[i] = y[row[i - pivots]];
    solveBackward(factor.panels.get() + factor.panelStart[f], rows, pivots, w);
    std::copy_n(w, pivots, y + tree.first[f]);
  }
  for (int32_t k = 0; k < tree.unknowns; ++k)
    x[tree.order[k]] = y[k];
}
