#include "primitives/sparse/SparseSymbolic.h"

#include <algorithm>

#include "primitives/base/ParallelRegion.h"
#include "primitives/sparse/SparseOrdering.h"

namespace {

using Ints = std::vector<int32_t>;

// The neighbours of each unknown, from both triangles.
struct Graph {
  std::vector<int64_t> start; // [n + 1]
  Ints neighbour;
};

Graph bothTriangles(const SparseStructure& s) {
  Graph graph;
  graph.start.assign(size_t(s.n) + 2, 0);
  int64_t* fill = graph.start.data() + 1; // shifted by one: filling moves each start to its place
  auto eachPair = [&](auto&& visit) {
    for (int32_t i = 0; i < s.n; ++i)
      for (int32_t p = s.ia[i]; p < s.ia[i + 1] - 1; ++p) // the diagonal comes first
        visit(i, s.ja[p] - 1);
  };
  for (int32_t i = 0; i < s.n; ++i)
    fill[i + 1] += s.ia[i + 1] - s.ia[i] - 1;
  eachPair([&](int32_t, int32_t j) { ++fill[j + 1]; });
  for (int32_t i = 0; i < s.n; ++i)
    fill[i + 1] += fill[i];
  graph.neighbour.resize(fill[s.n]);
  eachPair([&](int32_t i, int32_t j) {
    graph.neighbour[fill[i]++] = j;
    graph.neighbour[fill[j]++] = i;
  });
  return graph;
}

// The graph in pivot numbers.
struct Elimination {
  Graph graph;
  Ints order;   // unknown of each pivot
  Ints pivotOf; // pivot of each unknown

  int32_t size() const { return int32_t(order.size()); }

  void renumber(const Ints& oldPivot) {
    Ints renewed(order.size());
    for (size_t k = 0; k < order.size(); ++k)
      renewed[k] = order[oldPivot[k]];
    order.swap(renewed);
    index();
  }
  void index() {
    pivotOf.resize(order.size());
    for (size_t k = 0; k < order.size(); ++k)
      pivotOf[order[k]] = int32_t(k);
  }
  template <class Visit> void eachBefore(int32_t k, Visit&& visit) const {
    const int32_t unknown = order[k];
    for (int64_t p = graph.start[unknown]; p < graph.start[unknown + 1]; ++p)
      if (const int32_t c = pivotOf[graph.neighbour[p]]; c < k)
        visit(c);
  }
  template <class Visit> void eachAfter(int32_t k, Visit&& visit) const {
    const int32_t unknown = order[k];
    for (int64_t p = graph.start[unknown]; p < graph.start[unknown + 1]; ++p)
      if (const int32_t r = pivotOf[graph.neighbour[p]]; r > k)
        visit(r);
  }
};

// parent[k]: the first row below the diagonal in column k of the factor, or -1.
Ints eliminationTree(const Elimination& e) {
  Ints parent(e.size(), -1), shortcut(e.size(), -1);
  for (int32_t k = 0; k < e.size(); ++k)
    e.eachBefore(k, [&](int32_t c) {
      while (c != k) {
        const int32_t above = shortcut[c];
        shortcut[c] = k;
        if (above < 0) {
          parent[c] = k;
          return;
        }
        c = above;
      }
    });
  return parent;
}

// Renumbers the tree so that each subtree is a contiguous range that ends with its root, with
// children in their old order. Returns the old number of each new one, and changes the parents to
// new numbers.
Ints postorder(Ints& parent) {
  const auto n = int32_t(parent.size());
  Ints head(n, -1), next(n, -1), old;
  int32_t roots = -1;
  for (int32_t k = n; k-- > 0;) {
    int32_t& list = parent[k] < 0 ? roots : head[parent[k]];
    next[k] = list;
    list = k;
  }
  old.reserve(n);
  for (int32_t k = roots; k >= 0;) {
    if (const int32_t child = head[k]; child >= 0) {
      head[k] = -1; // nothing is left below on the way back up
      k = child;
      continue;
    }
    old.push_back(k);
    k = next[k] >= 0 ? next[k] : parent[k];
  }
  Ints renewed(n);
  for (int32_t k = 0; k < n; ++k)
    renewed[old[k]] = k;
  Ints parents(n);
  for (int32_t k = 0; k < n; ++k)
    parents[k] = parent[old[k]] < 0 ? -1 : renewed[parent[old[k]]];
  parent.swap(parents);
  return old;
}

// Number of entries in each column of the factor, the diagonal included. Row r of the factor is a
// subtree of the elimination tree with root r. Give each leaf of it the weight 1, each meeting
// point of the paths of two successive leaves the weight -1, and the parent of r the weight -1. The
// sum of all weights at and below a node is then 1 inside the subtree and 0 outside; the counts are
// these sums over all rows.
Ints columnCounts(const Elimination& e, const Ints& parent) {
  const int32_t n = e.size();
  Ints count(n, 0), firstBelow(n), lastLeaf(n, -1), above(n);
  for (int32_t k = 0; k < n; ++k)
    firstBelow[k] = above[k] = k;
  for (int32_t k = 0; k < n; ++k)
    if (parent[k] >= 0)
      firstBelow[parent[k]] = std::min(firstBelow[parent[k]], firstBelow[k]);
  auto meet = [&](int32_t k) {
    while (above[k] != k)
      k = above[k] = above[above[k]];
    return k;
  };
  for (int32_t k = 0; k < n; ++k) {
    auto visit = [&](int32_t row) {
      if (lastLeaf[row] >= firstBelow[k])
        return; // this row has an entry below k, so k is no leaf
      ++count[k];
      if (lastLeaf[row] >= 0)
        --count[meet(lastLeaf[row])];
      lastLeaf[row] = k;
    };
    visit(k);
    e.eachAfter(k, visit);
    if (parent[k] >= 0) {
      --count[parent[k]];
      above[k] = parent[k];
    }
  }
  for (int32_t k = 0; k < n; ++k)
    if (parent[k] >= 0)
      count[parent[k]] += count[k];
  return count;
}

// A supernode that becomes a front.
struct Supernode {
  int32_t first, pivots, size; // first column, columns, rows of the front
  int32_t parent,
      into; // parent supernode; the supernode that absorbed this one, or -1
};

std::vector<Supernode> supernodes(const Ints& parent, const Ints& count, Ints& superOf) {
  const auto n = int32_t(parent.size());
  std::vector<Supernode> list;
  superOf.resize(n);
  for (int32_t k = 0; k < n; ++k) {
    if (k > 0 && parent[k - 1] == k && count[k - 1] == count[k] + 1)
      ++list.back().pivots;
    else
      list.push_back({k, 1, count[k], -1, -1});
    superOf[k] = int32_t(list.size()) - 1;
  }
  for (Supernode& s : list)
    if (const int32_t above = parent[s.first + s.pivots - 1]; above >= 0)
      s.parent = superOf[above];
  return list;
}

// Estimated time of a front in nanoseconds, fitted to measurements on one core with 8-lane
// multiply-add. The terms: bookkeeping per front, setting up and solving with an entry of the
// factor, adding an entry of the update to the parent, one arithmetic operation.
double frontTime(double m, double k) {
  constexpr double perFront = 400, perEntry = 1.0, perUpdate = 0.5, perFlop = 0.02;
  return perFront + perEntry * m * k + perUpdate * (m - k) * (m - k) + perFlop * frontFlop(m, k);
}

// Merges children into their parents if that saves time. The rows of a child below its pivots are
// rows of the parent, so the merged front has the parent's rows and the child's pivots.
void mergeChildren(std::vector<Supernode>& list) {
  const auto count = int32_t(list.size());
  Ints head(count, -1), next(count, -1);
  for (int32_t s = 0; s < count; ++s) {
    Supernode& node = list[s];
    for (int32_t c = head[s]; c >= 0; c = next[c]) {
      const Supernode& child = list[c];
      const int32_t size = node.size + child.pivots, pivots = node.pivots + child.pivots;
      if (frontTime(size, pivots) <
          frontTime(node.size, node.pivots) + frontTime(child.size, child.pivots)) {
        node.size = size;
        node.pivots = pivots;
        list[c].into = s;
      }
    }
    if (node.parent >= 0) {
      next[s] = head[node.parent];
      head[node.parent] = s;
    }
  }
  for (int32_t s = count; s-- > 0;) { // an absorbed supernode comes before the one that absorbed it
    Supernode& node = list[s];
    if (node.into >= 0 && list[node.into].into >= 0)
      node.into = list[node.into].into;
    if (node.parent >= 0 && list[node.parent].into >= 0)
      node.parent = list[node.parent].into;
  }
}

// Children in ascending order.
void listChildren(FrontTree& tree) {
  tree.child.assign(tree.fronts, -1);
  tree.sibling.assign(tree.fronts, -1);
  for (int32_t f = tree.fronts; f-- > 0;)
    if (const int32_t parent = tree.parent[f]; parent >= 0) {
      tree.sibling[f] = tree.child[parent];
      tree.child[parent] = f;
    }
}

// Numbers the remaining supernodes as fronts, and the pivots front by front. Returns the old number
// of each new pivot.
Ints layOutFronts(const std::vector<Supernode>& list, FrontTree& tree) {
  Ints front(list.size(), -1);
  tree.fronts = 0;
  for (size_t s = 0; s < list.size(); ++s)
    if (list[s].into < 0)
      front[s] = tree.fronts++;
  tree.first.assign(1, 0);
  tree.rowStart.assign(1, 0);
  for (const Supernode& node : list) {
    if (node.into >= 0)
      continue;
    tree.first.push_back(tree.first.back() + node.pivots);
    tree.rowStart.push_back(tree.rowStart.back() + node.size - node.pivots);
    tree.parent.push_back(node.parent < 0 ? -1 : front[node.parent]);
  }
  listChildren(tree);

  Ints old(tree.unknowns), next(tree.first);
  for (size_t s = 0; s < list.size(); ++s) {
    // A supernode's own columns, without those of absorbed supernodes.
    const int32_t end = s + 1 < list.size() ? list[s + 1].first : tree.unknowns;
    const int32_t f = front[list[s].into < 0 ? int32_t(s) : list[s].into];
    for (int32_t k = list[s].first; k < end; ++k)
      old[next[f]++] = k;
  }
  return old;
}

// Row r belongs to each front on the path from the fronts of its entries to the one that eliminates
// it.
void fillRows(const Elimination& e, const Ints& frontOf, FrontTree& tree) {
  tree.row.resize(tree.rowStart[tree.fronts]);
  std::vector<int64_t> fill(tree.rowStart);
  Ints reached(tree.fronts, -1);
  for (int32_t r = 0; r < tree.unknowns; ++r) {
    reached[frontOf[r]] = r;
    e.eachBefore(r, [&](int32_t c) {
      for (int32_t f = frontOf[c]; reached[f] != r; f = tree.parent[f]) {
        reached[f] = r;
        tree.row[fill[f]++] = r;
      }
    });
  }
}

void fillEntries(const SparseStructure& s, const Elimination& e, FrontTree& tree) {
  tree.entryStart.assign(size_t(s.n) + 2, 0);
  int32_t* fill = tree.entryStart.data() + 1;
  auto eachEntry = [&](auto&& visit) {
    for (int32_t i = 0; i < s.n; ++i)
      for (int32_t p = s.ia[i] - 1; p < s.ia[i + 1] - 1; ++p)
        visit(e.pivotOf[i], e.pivotOf[s.ja[p] - 1], p);
  };
  eachEntry([&](int32_t i, int32_t j, int32_t) { ++fill[std::min(i, j) + 1]; });
  for (int32_t k = 0; k < s.n; ++k)
    fill[k + 1] += fill[k];
  tree.entryPlace.resize(fill[s.n]);
  tree.entrySource.resize(fill[s.n]);
  eachEntry([&](int32_t i, int32_t j, int32_t source) {
    const int32_t at = fill[std::min(i, j)]++;
    tree.entryPlace[at] = std::max(i, j); // a row in pivot numbers; fillPlaces converts it
    tree.entrySource[at] = source;
  });
}

// Converts rows to places in a front, once for all factorisations.
void fillPlaces(FrontTree& tree) {
  tree.place.resize(tree.row.size());
  tree.run.resize(tree.row.size());
  Ints place(tree.unknowns);
  for (int32_t f = 0; f < tree.fronts; ++f) {
    int32_t next = 0;
    for (int32_t k = tree.first[f]; k < tree.first[f + 1]; ++k)
      place[k] = next++;
    for (int64_t p = tree.rowStart[f]; p < tree.rowStart[f + 1]; ++p)
      place[tree.row[p]] = next++;
    for (int32_t p = tree.entryStart[tree.first[f]]; p < tree.entryStart[tree.first[f + 1]]; ++p)
      tree.entryPlace[p] = place[tree.entryPlace[p]];
    for (int32_t c = tree.child[f]; c >= 0; c = tree.sibling[c])
      for (int64_t p = tree.rowStart[c + 1], after = p; p-- > tree.rowStart[c];) {
        tree.place[p] = place[tree.row[p]];
        const bool goesOn = p + 1 < after && tree.place[p + 1] == tree.place[p] + 1;
        tree.run[p] = goesOn ? tree.run[p + 1] + 1 : 1;
      }
  }
}

} // namespace

double frontFlop(double m, double k) {
  // The sum of (m - i)^2 for i below k.
  return k * m * m - m * k * (k - 1) + (k - 1) * k * (2 * k - 1) / 6;
}

FrontTree analyse(const SparseStructure& structure, int threads) {
  Elimination e;
  runBoth(
      threads, [&] { e.order = orderUnknowns(structure); },
      [&] { e.graph = bothTriangles(structure); });
  e.index();
  Ints parent = eliminationTree(e);
  e.renumber(postorder(parent));
  Ints frontOf;
  std::vector<Supernode> list = supernodes(parent, columnCounts(e, parent), frontOf);
  mergeChildren(list);
  FrontTree tree;
  tree.unknowns = structure.n;
  e.renumber(layOutFronts(list, tree));
  for (int32_t f = 0; f < tree.fronts; ++f)
    std::fill(frontOf.begin() + tree.first[f], frontOf.begin() + tree.first[f + 1], f);
  runBoth(
      threads, [&] { fillRows(e, frontOf, tree); }, [&] { fillEntries(structure, e, tree); });
  fillPlaces(tree);
  tree.order = std::move(e.order);
  return tree;
}
