// Sparse direct solver in single precision with an interface in phases, and its thread count.
//
// Phases: 11 analyses the structure, 22 factorises, 33 solves with iterative refinement, -1 frees
// everything that the handle owns. Re-entrant: all state belongs to the handle.
#pragma once

#include <cstdint>

constexpr int32_t sparseSymmetricIndefinite = -2; // mtype: upper triangle with every diagonal entry
constexpr int32_t sparseUnsymmetric = 11;         // mtype: the whole matrix

// All arguments are passed by address.
//   pt     64 words, zeroed before phase 11; the caller leaves them alone until phase -1
//   mtype  one of the two above
//   n      unknowns
//   a      values, in the order of ja; phases 22 and 33 read them, and need the same values
//   ia     n + 1 starts of the rows, 1-based, ascending
//   ja     columns, 1-based, ascending in a row. Phases 22 and 33 read ia and ja at the addresses
//          that phase 11 got, and ignore their own arguments n, mtype, ia and ja
//   iparm  64 words; index 5: 1 = the solution overwrites b (and goes to x too), 0 = it goes to x
//          only; index 7: the maximum of refinement steps. The others have no effect
//   b, x   n floats each; phases 11, 22 and -1 do not read them
//   error  0, or a negative code:
//          -1   in 11: unknown mtype, n is negative, ia does not begin with 1, a column lies
//               outside the matrix or a diagonal entry is missing; also: unknown phase
//          -2   out of memory
//          -4   in 22: a value is not finite, or no pivot is left. In 33: the solution is not
//               finite, or the first refinement step is larger than half the solution, as for a
//               matrix that is singular in single precision. A singular matrix may pass without
//               refinement, or if the right-hand side lies in the matrix's range
//          -10  phase out of order
// A right-hand side that is not finite is solved like any other, without refinement.
// maxfct, mnum, perm, nrhs (1) and msglvl are accepted and have no effect.
void PARDISO(int32_t* pt, const int32_t* maxfct, const int32_t* mnum, const int32_t* mtype,
             const int32_t* phase, const int32_t* n, const float* a, const int32_t* ia,
             const int32_t* ja, int32_t* perm, const int32_t* nrhs, int32_t* iparm,
             const int32_t* msglvl, float* b, float* x, int32_t* error);

// Sets the threads of later solver calls from this thread; ignores a count below 1.
void mkl_set_num_threads(int count);
