#include "decomp.h"

#include <cmath>

#include "linalg3.h"

using host::linalg::Mat3d;

namespace {

// Quaternion of orthonormal proper rows, via the Matrix3 conversion.
Quat QuatOfRows(const Mat3d r) {
    Matrix3 m;
    host::linalg::ToMatrix3(r, m);
    return Quat(m);
}

// Among the 24 proper signed permutations of the rows of `rows` (the stretch axes, with the
// factors permuted along), picks the one nearest the identity: the largest trace. This is
// Shoemake's "snuggle": it keeps u stable when a scale is blended or keyed.
void Snuggle(Mat3d rows, double k[3]) {
    static const int perms[6][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1}, {0, 2, 1}, {2, 1, 0}, {1, 0, 2}};
    double bestTrace = -1e300;
    int bestPerm = 0, bestSigns = 0;
    for (int p = 0; p < 6; ++p) {
        bool oddPerm = p >= 3;
        for (int signs = 0; signs < 8; ++signs) {
            int negatives = (signs & 1) + ((signs >> 1) & 1) + ((signs >> 2) & 1);
            // Row i of the candidate is sign_i * rows[perm[i]]; det = parity * product of signs.
            bool odd = oddPerm != (negatives % 2 == 1);
            if (odd) continue;
            double tr = 0.0;
            for (int i = 0; i < 3; ++i)
                tr += ((signs >> i) & 1 ? -1.0 : 1.0) * rows[perms[p][i]][i];
            // Ties prefer the earliest candidate, the identity permutation first.
            if (tr > bestTrace + 1e-12) {
                bestTrace = tr;
                bestPerm = p;
                bestSigns = signs;
            }
        }
    }
    Mat3d out;
    double kk[3];
    for (int i = 0; i < 3; ++i) {
        double sg = (bestSigns >> i) & 1 ? -1.0 : 1.0;
        for (int j = 0; j < 3; ++j)
            out[i][j] = sg * rows[perms[bestPerm][i]][j];
        kk[i] = k[perms[bestPerm][i]];
    }
    for (int i = 0; i < 3; ++i) {
        k[i] = kk[i];
        for (int j = 0; j < 3; ++j)
            rows[i][j] = out[i][j];
    }
}

} // namespace

void decomp_affine(const Matrix3& A, AffineParts* parts) {
    Mat3d a;
    host::linalg::FromMatrix3(A, a);
    parts->t = A.GetTrans();
    double det = host::linalg::Det(a);
    parts->f = 1.0f;
    if (det < 0.0) {
        parts->f = -1.0f;
        for (auto& row : a)
            for (double& v : row)
                v = -v;
    }
    // a = U diag(sigma) W^T (column algebra) and, as row-vector transforms, a = S * R with
    // S = U diag(sigma) U^T the stretch and R = U W^T the rotation.
    Mat3d u, w;
    double sigma[3];
    host::linalg::Svd(a, 1e-7, u, sigma, w);
    Mat3d r;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            r[i][j] = u[i][0] * w[j][0] + u[i][1] * w[j][1] + u[i][2] * w[j][2];
    parts->q = QuatOfRows(r);
    // S = Inverse(Urows) * K * Urows with Urows = U^T: the stretch axes are the rows.
    Mat3d urows;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            urows[i][j] = u[j][i];
    double k[3] = {sigma[0], sigma[1], sigma[2]};
    Snuggle(urows, k);
    parts->u = QuatOfRows(urows);
    parts->k = Point3(k[0], k[1], k[2]);
}

void SpectralDecomp(const Matrix3& S, Point3& s, Quat& q) {
    Mat3d a, v;
    host::linalg::FromMatrix3(S, a);
    double lambda[3];
    host::linalg::SymmetricEigen(a, lambda, v);
    Mat3d rows;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            rows[i][j] = v[j][i];
    s = Point3(lambda[0], lambda[1], lambda[2]);
    q = QuatOfRows(rows);
}

namespace host {

Matrix3 ComposeAffine(const AffineParts& parts) {
    Matrix3 m;
    m.SetTrans(parts.t);
    if (parts.f != 1.0f) m = ScaleMatrix(Point3(parts.f, parts.f, parts.f)) * m;
    if (!parts.q.IsIdentity()) {
        Matrix3 r;
        parts.q.MakeMatrix(r);
        m = r * m;
    }
    if (parts.k != Point3(1.0f, 1.0f, 1.0f)) ApplyScaling(m, ScaleValue(parts.k, parts.u));
    return m;
}

} // namespace host
