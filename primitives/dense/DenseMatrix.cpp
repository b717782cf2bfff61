// Forwards to the system's BLAS and LAPACK; the element-wise operations are loops.
#include "primitives/dense/DenseMatrix.h"

#include <cblas.h>
#include <lapacke.h>

namespace {

CBLAS_TRANSPOSE transposeOf(const char* letter) {
  return *letter == 'N' || *letter == 'n' ? CblasNoTrans : CblasTrans;
}

} // namespace

void dscal(const int32_t* n, const double* alpha, double* x, const int32_t* incx) {
  cblas_dscal(*n, *alpha, x, *incx);
}

void daxpy(const int32_t* n, const double* alpha, const double* x, const int32_t* incx, double* y,
           const int32_t* incy) {
  cblas_daxpy(*n, *alpha, x, *incx, y, *incy);
}

double dasum(const int32_t* n, const double* x, const int32_t* incx) {
  return cblas_dasum(*n, x, *incx);
}

double ddot(const int32_t* n, const double* x, const int32_t* incx, const double* y,
            const int32_t* incy) {
  return cblas_ddot(*n, x, *incx, y, *incy);
}

void DGEMM(const char* transA, const char* transB, const int32_t* m, const int32_t* n,
           const int32_t* k, const double* alpha, const double* A, const int32_t* lda,
           const double* B, const int32_t* ldb, const double* beta, double* C, const int32_t* ldc) {
  cblas_dgemm(CblasColMajor, transposeOf(transA), transposeOf(transB), *m, *n, *k, *alpha, A, *lda,
              B, *ldb, *beta, C, *ldc);
}

void DGEMV(const char* trans, const int32_t* m, const int32_t* n, const double* alpha,
           const double* A, const int32_t* lda, const double* x, const int32_t* incx,
           const double* beta, double* y, const int32_t* incy) {
  cblas_dgemv(CblasColMajor, transposeOf(trans), *m, *n, *alpha, A, *lda, x, *incx, *beta, y,
              *incy);
}

void DGESVD(const char* jobU, const char* jobVt, const int32_t* m, const int32_t* n, double* A,
            const int32_t* lda, double* s, double* U, const int32_t* ldu, double* Vt,
            const int32_t* ldvt, double* work, const int32_t* lwork, int32_t* info) {
  *info = LAPACKE_dgesvd_work(LAPACK_COL_MAJOR, *jobU, *jobVt, *m, *n, A, *lda, s, U, *ldu, Vt,
                              *ldvt, work, *lwork);
}

void vdMul(const int32_t* n, const double* a, const double* b, double* y) {
#pragma omp simd
  for (int32_t i = 0; i < *n; ++i)
    y[i] = a[i] * b[i];
}

void vdAdd(const int32_t* n, const double* a, const double* b, double* y) {
#pragma omp simd
  for (int32_t i = 0; i < *n; ++i)
    y[i] = a[i] + b[i];
}

void vdSub(const int32_t* n, const double* a, const double* b, double* y) {
#pragma omp simd
  for (int32_t i = 0; i < *n; ++i)
    y[i] = a[i] - b[i];
}
