// Sparse direct solver in single precision behind a phase interface, and its thread count.
//
// Phases: 11 analyses the structure, 22 factorises, 33 solves with iterative refinement, -1 frees
// what the handle owns. Re-entrant: all state stands behind the handle.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr int32_t sparseSymmetricIndefinite = -2; // mtype: upper triangle with every diagonal entry
constexpr int32_t sparseUnsymmetric = 11;         // mtype: the whole matrix

// All arguments by address.
//   pt     64 words, zeroed before phase 11, untouched by the caller until phase -1
//   mtype  one of the two above
//   n      unknowns;  a, ia, ja: n rows, compressed, 1-based, columns ascending in a row
//   iparm  64 words; index 5: 1 = the solution overwrites b (and x too), 0 = it comes in x only;
//          index 7: most refinement steps; 17 and 18 come back with the non-zeros of the factors
//          and their Mflop where they were -1
//   b, x   n floats each; not read in phases 11, 22 and -1
//   error  0, or a negative code: -1 input inconsistent, -2 no memory, -3 ordering failed,
//          -4 matrix singular or not finite, or solution beyond the numbers, -10 phase out of
//          order. A right-hand side that is not finite is solved like any other
// maxfct, mnum, perm, nrhs (1) and msglvl are accepted and have no effect.
void PARDISO(int32_t* pt, const int32_t* maxfct, const int32_t* mnum, const int32_t* mtype,
             const int32_t* phase, const int32_t* n, const float* a, const int32_t* ia,
             const int32_t* ja, int32_t* perm, const int32_t* nrhs, int32_t* iparm,
             const int32_t* msglvl, float* b, float* x, int32_t* error);

// Threads of later solver calls from this thread; a count below 1 is ignored.
void mkl_set_num_threads(int count);
