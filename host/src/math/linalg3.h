// Double-precision 3x3 helpers shared by the math sources (not part of the SDK surface).
#pragma once

#include "matrix3.h"

namespace host::linalg {

using Mat3d = double[3][3];

void FromMatrix3(const Matrix3& m, Mat3d a);
void ToMatrix3(const Mat3d a, Matrix3& m); // rows 0..2 only, translation untouched
double Det(const Mat3d a);

// Symmetric eigen decomposition by cyclic Jacobi: s = v * diag(lambda) * v^T, the columns of v
// orthonormal eigenvectors, lambda sorted descending, det(v) == +1.
void SymmetricEigen(const Mat3d s, double lambda[3], Mat3d v);

// Singular value decomposition a = u * diag(sigma) * w^T (column-vector algebra), sigma
// descending and >= 0, u and w orthonormal. Singular values at or below zeroTol * sigma[0]
// count as zero: their columns of w complete the frame. det(w) is chosen so that
// det(u) * det(w) == sign(det(a)), or +1 when a is singular.
void Svd(const Mat3d a, double zeroTol, Mat3d u, double sigma[3], Mat3d w);

} // namespace host::linalg
