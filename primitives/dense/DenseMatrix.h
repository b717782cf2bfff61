// Dense double-precision operations under the names of their libraries: BLAS, LAPACK, vector
// mathematics, and the 3 by 3 matrices.
//
// Arrays are column-major, arguments are passed by address, and the caller chooses the increments
// (incx, incy). No argument is checked: a leading dimension must be at least 1 and at least the
// rows of its matrix.
#pragma once

#include <cstdint>

void dscal(const int32_t* n, const double* alpha, double* x, const int32_t* incx); // x = alpha*x
void daxpy(const int32_t* n, const double* alpha, const double* x, const int32_t* incx, double* y,
           const int32_t* incy);                                      // y = y + alpha*x
double dasum(const int32_t* n, const double* x, const int32_t* incx); // sum of magnitudes
double ddot(const int32_t* n, const double* x, const int32_t* incx, const double* y,
            const int32_t* incy);

// C = alpha*A*B + beta*C: C is m by n, A is m by k, B is k by n after transA and transB are applied
// ('N' or 'T', either case).
void DGEMM(const char* transA, const char* transB, const int32_t* m, const int32_t* n,
           const int32_t* k, const double* alpha, const double* A, const int32_t* lda,
           const double* B, const int32_t* ldb, const double* beta, double* C, const int32_t* ldc);

// y = alpha*A*x + beta*y: A is m by n.
void DGEMV(const char* trans, const int32_t* m, const int32_t* n, const double* alpha,
           const double* A, const int32_t* lda, const double* x, const int32_t* incx,
           const double* beta, double* y, const int32_t* incy);

// Singular value decomposition A = U * diag(s) * Vt of an m by n matrix, which is overwritten.
//   jobU, jobVt  'a': all of U (m by m), all of Vt (n by n)
//   s            min(m, n) values, descending
//   work         lwork doubles, at least max(3*min + max, 5*min) of m and n
//   info         0; above 0 if the iteration did not converge; below 0 for an invalid argument,
//                such as a NaN in A
void DGESVD(const char* jobU, const char* jobVt, const int32_t* m, const int32_t* n, double* A,
            const int32_t* lda, double* s, double* U, const int32_t* ldu, double* Vt,
            const int32_t* ldvt, double* work, const int32_t* lwork, int32_t* info);

// Element by element: y = a*b, a+b, a-b. y may be a or b.
void vdMul(const int32_t* n, const double* a, const double* b, double* y);
void vdAdd(const int32_t* n, const double* a, const double* b, double* y);
void vdSub(const int32_t* n, const double* a, const double* b, double* y);

// 3 by 3 matrices: nine doubles in row order, 24 bytes from row to row and 8 from element to
// element. The destination must not be an operand.
void add3x3(const double* a, const double* b, double* sum);
void subtract3x3(const double* a, const double* b, double* difference);
void multiply3x3(const double* a, const double* b, double* product);
void transpose3x3(const double* source, double* transposed);

// Returns 0, or a negative status if the matrix is singular or not finite; the inverse is then
// undefined.
int32_t invert3x3(const double* source, double* inverse);

// Eigenvalues of a symmetric matrix in descending order, and their orthonormal eigenvectors in the
// columns of `vectors`. Reads the upper triangle only. Uses cyclic Jacobi rotations.
void eigenSymmetric3x3(const double* source, double* values, double* vectors);
