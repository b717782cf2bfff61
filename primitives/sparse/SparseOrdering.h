// Elimination order of a symmetric structure, chosen for few entries in the factor.
//
// A structure that lies on a picture's grid, each unknown tied to pixels near it, is cut in halves
// by strips of pixels, again and again, the strip last (A. George, Nested dissection of a regular
// finite element mesh, 1973). Anything else goes by approximate minimum degree (P. Amestoy, T.
// Davis, I. Duff, 1996), which takes twice the time and a fifth more operations on a grid. Every
// order is correct: a grid found where there is none costs time only.
#pragma once

#include "primitives/sparse/SparseStructure.h"

// Element k is the unknown, from 0, that is eliminated as the k-th. Throws std::bad_alloc.
std::vector<int32_t> orderUnknowns(const SparseStructure& structure);
