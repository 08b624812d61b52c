#pragma once
// The dense kernels of the statistics' factorisation and selected inverse, from the BLAS and
// LAPACK the program links (Fortran interface: column-major, every argument by address, the
// lengths of the character arguments at the end). Called inside an OpenMP team, each call runs
// on its calling thread.

#include <cstddef>

extern "C" {
void dtrsm_(const char* side, const char* triangle, const char* transposed, const char* diagonal,
            const int* rows, const int* columns, const double* alpha, const double* a,
            const int* aLeading, double* b, const int* bLeading, std::size_t, std::size_t,
            std::size_t, std::size_t);
void dsymm_(const char* side, const char* triangle, const int* rows, const int* columns,
            const double* alpha, const double* a, const int* aLeading, const double* b,
            const int* bLeading, const double* beta, double* c, const int* cLeading, std::size_t,
            std::size_t);
void dgemm_(const char* aTransposed, const char* bTransposed, const int* rows, const int* columns,
            const int* inner, const double* alpha, const double* a, const int* aLeading,
            const double* b, const int* bLeading, const double* beta, double* c,
            const int* cLeading, std::size_t, std::size_t);
void dpotrf_(const char* triangle, const int* order, double* a, const int* aLeading, int* info,
             std::size_t);
void dpotri_(const char* triangle, const int* order, double* a, const int* aLeading, int* info,
             std::size_t);
}
