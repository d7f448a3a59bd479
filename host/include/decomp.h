// Affine decomposition (Ken Shoemake's polar decomposition, Graphics Gems IV) and the matching
// recomposition.
//
// For any affine M (row vectors):
//   M == Inverse(matrix(u)) * ScaleMatrix(k) * matrix(u) * f * matrix(q) * TransMatrix(t)
// i.e. stretch k along the rows of matrix(u), then the sign f, then rotation q, then
// translation t. host::ComposeAffine rebuilds exactly that.
#pragma once

#include "matrix3.h"
#include "point3.h"
#include "quat.h"
#include "scalevalue.h"

struct AffineParts {
    Point3 t;                   // translation
    Quat q;                     // essential rotation (unit, w >= 0)
    Quat u;                     // stretch rotation: the axis system of k (unit, the one nearest the identity)
    Point3 k{1.0f, 1.0f, 1.0f}; // stretch factors, >= 0
    float f = 1.0f;             // sign of the determinant: -1 for a mirrored matrix, else +1
};

// Decomposes A as documented above, computed in double. Mirroring (negative determinant)
// becomes f = -1 with a proper rotation q and positive k. Among the equivalent stretch frames
// (any signed permutation of the axes with k permuted along) u is the one nearest the identity,
// so a scale without rotation gives u = identity exactly; equal factors give u = identity.
// A singular A (a zero factor) still decomposes: k has a 0, q is a rotation completing the
// frame, f is +1. Never fails, never gives NaN for finite input.
void decomp_affine(const Matrix3& A, AffineParts* parts);

// Spectral decomposition of the symmetric 3x3 part of S (the mean of S and its transpose):
// S == Inverse(matrix(q)) * ScaleMatrix(s) * matrix(q), s the eigenvalues descending and q a
// unit quaternion whose matrix rows are the eigenvectors.
void SpectralDecomp(const Matrix3& S, Point3& s, Quat& q);

namespace host {

// Rebuilds a matrix from its parts, step by step exactly as the layer blend does it:
// identity; SetTrans(t); if f != 1 left-multiply by ScaleMatrix(f, f, f); if q is not the
// identity left-multiply by matrix(q); if k != (1, 1, 1) left-multiply by
// Inverse(matrix(u)) * ScaleMatrix(k) * matrix(u) (just ScaleMatrix(k) when u is the identity).
// ComposeAffine(decomp_affine(M)) == M within float rounding, mirrored matrices included.
Matrix3 ComposeAffine(const AffineParts& parts);

// The stretch as a ScaleValue (k, u): ApplyScaling with it is the last step of ComposeAffine.
inline ScaleValue StretchOf(const AffineParts& parts) { return ScaleValue(parts.k, parts.u); }

} // namespace host
