// Singular value decomposition of small matrices in single precision: at most 25 rows and 25 columns, which callers see
// to. Matrices are stored row by row without gaps.
#pragma once

inline constexpr int svdLimit = 25;

/// Decomposes the m by n matrix `a` in place into U (m by n), leaves the n singular values in `w` and V (n by n) in
/// `v`: a = U * diag(w) * transposed V. A value that does not converge is told on standard output.
void svdcmp(int m, int n, float* a, float* w, float* v) noexcept;

/// Makes the singular values 0 that are below 1e-5 of the largest.
void svedit(int n, float* w) noexcept;

/// The solution x (n) of u * diag(w) * transposed v * x = b (m), of least squares and, where values are 0, of least
/// length.
void svbksb(int m, int n, float* u, float* w, float* v, float* b, float* x) noexcept;

/// The least squares solution x (n) of a * x = b (m).
void svsolve(int m, int n, float* a, float* b, float* x) noexcept;

/// The pseudo-inverse (n by m) of the m by n matrix `a`.
void svinvrt(int m, int n, float* a, float* out) noexcept;

/// The condition number of the m by n matrix `a`: its largest singular value by its smallest, infinite where that is 0.
void svcond(int m, int n, float* a, float* out) noexcept;
