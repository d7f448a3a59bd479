#include "linalg3.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace host::linalg {

void FromMatrix3(const Matrix3& m, Mat3d a) {
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            a[i][j] = m[i][j];
}

void ToMatrix3(const Mat3d a, Matrix3& m) {
    for (int i = 0; i < 3; ++i)
        m.SetRow(i, Point3(a[i][0], a[i][1], a[i][2]));
}

double Det(const Mat3d a) {
    return a[0][0] * (a[1][1] * a[2][2] - a[1][2] * a[2][1]) -
           a[0][1] * (a[1][0] * a[2][2] - a[1][2] * a[2][0]) +
           a[0][2] * (a[1][0] * a[2][1] - a[1][1] * a[2][0]);
}

void SymmetricEigen(const Mat3d s, double lambda[3], Mat3d v) {
    double a[3][3];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            a[i][j] = 0.5 * (s[i][j] + s[j][i]);
            v[i][j] = i == j ? 1.0 : 0.0;
        }
    for (int sweep = 0; sweep < 60; ++sweep) {
        double off = a[0][1] * a[0][1] + a[0][2] * a[0][2] + a[1][2] * a[1][2];
        double diag = a[0][0] * a[0][0] + a[1][1] * a[1][1] + a[2][2] * a[2][2];
        if (off <= 1e-32 * diag || off == 0.0) break;
        for (int p = 0; p < 2; ++p)
            for (int q = p + 1; q < 3; ++q) {
                if (a[p][q] == 0.0) continue;
                // Classic Jacobi rotation annihilating a[p][q].
                double theta = (a[q][q] - a[p][p]) / (2.0 * a[p][q]);
                double t = (theta >= 0 ? 1.0 : -1.0) / (std::fabs(theta) + std::sqrt(theta * theta + 1.0));
                double c = 1.0 / std::sqrt(t * t + 1.0), sn = t * c;
                for (int k = 0; k < 3; ++k) {
                    double akp = a[k][p], akq = a[k][q];
                    a[k][p] = c * akp - sn * akq;
                    a[k][q] = sn * akp + c * akq;
                }
                for (int k = 0; k < 3; ++k) {
                    double apk = a[p][k], aqk = a[q][k];
                    a[p][k] = c * apk - sn * aqk;
                    a[q][k] = sn * apk + c * aqk;
                }
                for (int k = 0; k < 3; ++k) {
                    double vkp = v[k][p], vkq = v[k][q];
                    v[k][p] = c * vkp - sn * vkq;
                    v[k][q] = sn * vkp + c * vkq;
                }
            }
    }
    int order[3] = {0, 1, 2};
    std::sort(order, order + 3, [&](int i, int j) { return a[i][i] > a[j][j]; });
    double vs[3][3];
    for (int c = 0; c < 3; ++c) {
        lambda[c] = a[order[c]][order[c]];
        for (int r = 0; r < 3; ++r)
            vs[r][c] = v[r][order[c]];
    }
    if (Det(vs) < 0)
        for (int r = 0; r < 3; ++r)
            vs[r][2] = -vs[r][2];
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            v[r][c] = vs[r][c];
}

namespace {

void Column(const Mat3d m, int c, double out[3]) {
    for (int r = 0; r < 3; ++r)
        out[r] = m[r][c];
}

void SetColumn(Mat3d m, int c, const double in[3]) {
    for (int r = 0; r < 3; ++r)
        m[r][c] = in[r];
}

double Dot(const double a[3], const double b[3]) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

void Cross(const double a[3], const double b[3], double out[3]) {
    out[0] = a[1] * b[2] - a[2] * b[1];
    out[1] = a[2] * b[0] - a[0] * b[2];
    out[2] = a[0] * b[1] - a[1] * b[0];
}

bool NormalizeInPlace(double a[3]) {
    double l = std::sqrt(Dot(a, a));
    if (!(l > 0.0)) return false;
    for (int i = 0; i < 3; ++i)
        a[i] /= l;
    return true;
}

// Any unit vector perpendicular to a (a unit).
void Perpendicular(const double a[3], double out[3]) {
    int k = 0;
    for (int i = 1; i < 3; ++i)
        if (std::fabs(a[i]) < std::fabs(a[k])) k = i;
    double e[3] = {0, 0, 0};
    e[k] = 1.0;
    Cross(a, e, out);
    NormalizeInPlace(out);
}

} // namespace

void Svd(const Mat3d a, double zeroTol, Mat3d u, double sigma[3], Mat3d w) {
    double aat[3][3];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            aat[i][j] = a[i][0] * a[j][0] + a[i][1] * a[j][1] + a[i][2] * a[j][2];
    double lambda[3];
    SymmetricEigen(aat, lambda, u);
    for (int i = 0; i < 3; ++i)
        sigma[i] = std::sqrt(std::max(lambda[i], 0.0));
    double det = Det(a);
    double limit = zeroTol * sigma[0];
    int rank = 0;
    for (int i = 0; i < 3; ++i)
        if (sigma[i] > limit && sigma[i] > 0.0) rank = i + 1;
    // The smallest singular value from the determinant is far more accurate than sqrt(lambda).
    if (rank >= 2 && sigma[0] * sigma[1] > 0.0) {
        double s3 = std::fabs(det) / (sigma[0] * sigma[1]);
        sigma[2] = s3;
        rank = s3 > limit ? 3 : 2;
    }
    double sign = det < 0.0 && rank == 3 ? -1.0 : 1.0;
    double ui[3], wi[3][3] = {};
    // w_i = a^T u_i / sigma_i for the leading columns, re-orthogonalized.
    for (int i = 0; i < std::min(rank, 2); ++i) {
        Column(u, i, ui);
        for (int k = 0; k < 3; ++k)
            wi[i][k] = a[0][k] * ui[0] + a[1][k] * ui[1] + a[2][k] * ui[2];
        for (int j = 0; j < i; ++j) {
            double d = Dot(wi[i], wi[j]);
            for (int k = 0; k < 3; ++k)
                wi[i][k] -= d * wi[j][k];
        }
        NormalizeInPlace(wi[i]);
    }
    if (rank == 0) {
        for (int i = 0; i < 3; ++i) {
            Column(u, i, wi[i]);
            sigma[i] = 0.0;
        }
    } else {
        if (rank == 1) Perpendicular(wi[0], wi[1]);
        // det(u) is +1 by construction, so det(w) must be sign.
        Cross(wi[0], wi[1], wi[2]);
        for (int k = 0; k < 3; ++k)
            wi[2][k] *= sign;
        for (int i = rank; i < 3; ++i)
            sigma[i] = 0.0;
    }
    for (int i = 0; i < 3; ++i)
        SetColumn(w, i, wi[i]);
}

} // namespace host::linalg
