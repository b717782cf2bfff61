// Elimination order of a symmetric structure, chosen for few entries in the factor.
//
// A structure that lies on a picture's grid, each unknown tied to pixels near it, is cut in halves
// by strips of pixels, again and again, the strip last (A. George, Nested dissection of a regular
// finite element mesh, 1973). Anything else goes by approximate minimum degree (Amestoy, Davis,
// Duff, 1996). Any order is a right one: a grid found where there is none costs time only.
#pragma once

#include <cstdint>
#include <vector>

// Upper triangle, every diagonal entry there, columns ascending in a row. 1-based.
struct SparseStructure {
  int32_t n;         // unknowns
  const int32_t* ia; // n + 1 starts of the rows
  const int32_t* ja; // ia[n] - 1 columns
};

// order[k] is the unknown, from 0, that is eliminated as the k-th. False when there is no order;
// throws std::bad_alloc.
bool orderUnknowns(const SparseStructure& structure, std::vector<int32_t>& order);
