#include "euler.h"

#include <cmath>

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kTwoPi = 2.0 * kPi;
// Below this, the outer angles of an order are no longer separately defined (gimbal lock).
constexpr double kGimbal = 1e-6;

constexpr int kAxes[9][3] = {{0, 1, 2}, {0, 2, 1}, {1, 2, 0}, {1, 0, 2}, {2, 0, 1},
                             {2, 1, 0}, {0, 1, 0}, {1, 2, 1}, {2, 0, 2}};

int ValidOrder(int order) { return order >= 0 && order <= 8 ? order : EULERTYPE_XYZ; }

// The order seen as a relabelling of the canonical one (XYZ, or XYX for repeated axes):
// perm maps canonical axis p to real axis perm[p]; sign is -1 when that relabelling mirrors,
// which turns every angle around.
struct Frame {
    int perm[3];
    double sign;
    bool repeated;
};

Frame FrameOf(int order) {
    const int* ax = kAxes[order];
    Frame f;
    f.perm[0] = ax[0];
    f.perm[1] = ax[1];
    f.perm[2] = 3 - ax[0] - ax[1];
    f.repeated = order >= EULERTYPE_XYX;
    bool even = (f.perm[1] - f.perm[0] + 3) % 3 == 1;
    f.sign = even ? 1.0 : -1.0;
    return f;
}

// Column-vector rotation matrix in the canonical frame: n[p][q] = N[perm p][perm q], where
// N = transpose of the host's row matrix (rows normalized).
void Canonical(const double rows[3][3], const Frame& f, double n[3][3]) {
    for (int p = 0; p < 3; ++p)
        for (int q = 0; q < 3; ++q)
            n[p][q] = rows[f.perm[q]][f.perm[p]];
}

// Canonical angles (A first, B middle, C last) of n = C2(C) C1(B) C0(A) (Tait-Bryan) or
// C0(C) C1(B) C0(A) (repeated). When fixedC is given and the order is at gimbal lock, C keeps
// that value. Returns whether the order was at gimbal lock.
bool SolveCanonical(const double n[3][3], bool repeated, const double* fixedC, double& A, double& B,
                    double& C) {
    double lock;
    if (!repeated) {
        lock = std::hypot(n[0][0], n[1][0]);
        B = std::atan2(-n[2][0], lock);
    } else {
        lock = std::hypot(n[0][1], n[0][2]);
        B = std::atan2(lock, n[0][0]);
    }
    if (fixedC && lock < kGimbal) {
        // Take C as given; A is what remains: X = Rot(-C) n = C1(B) C0(A), whose row 1 is (0, cA, -sA).
        C = *fixedC;
        double c = std::cos(C), s = std::sin(C), x11, x12;
        if (!repeated) {
            x11 = -s * n[0][1] + c * n[1][1];
            x12 = -s * n[0][2] + c * n[1][2];
        } else {
            x11 = c * n[1][1] + s * n[2][1];
            x12 = c * n[1][2] + s * n[2][2];
        }
        A = std::atan2(-x12, x11);
        return true;
    }
    // A from its own entries, then C from n * C0(-A), whose entries are all well conditioned,
    // so that near gimbal lock C makes up exactly for whatever A came out as.
    if (lock < kGimbal)
        A = 0.0;
    else if (!repeated)
        A = std::atan2(n[2][1], n[2][2]);
    else
        A = std::atan2(n[0][1], n[0][2]);
    double c = std::cos(A), s = std::sin(A);
    // Y = n * C0(-A): column 1 is c*n[.][1] - s*n[.][2].
    if (!repeated) {
        // Y = C2(C) C1(B): Y[0][1] = -sC, Y[1][1] = cC.
        double y01 = c * n[0][1] - s * n[0][2];
        double y11 = c * n[1][1] - s * n[1][2];
        C = std::atan2(-y01, y11);
    } else {
        // Y = C0(C) C1(B): Y[2][1] = sC, Y[1][1] = cC.
        double y21 = c * n[2][1] - s * n[2][2];
        double y11 = c * n[1][1] - s * n[1][2];
        C = std::atan2(y21, y11);
    }
    return lock < kGimbal;
}

void RowsFromMatrix(const Matrix3& m, double r[3][3]) {
    for (int i = 0; i < 3; ++i) {
        Point3 row = m[i];
        double l = std::sqrt(double(row.x) * row.x + double(row.y) * row.y + double(row.z) * row.z);
        if (!(l > 0.0)) l = 1.0;
        r[i][0] = row.x / l;
        r[i][1] = row.y / l;
        r[i][2] = row.z / l;
    }
}

void RowsFromQuat(const Quat& q, double r[3][3]) {
    double x = q.x, y = q.y, z = q.z, w = q.w;
    double n = x * x + y * y + z * z + w * w;
    double s = n > 0.0 ? 2.0 / n : 0.0;
    r[0][0] = 1.0 - s * (y * y + z * z);
    r[0][1] = s * (x * y - w * z);
    r[0][2] = s * (x * z + w * y);
    r[1][0] = s * (x * y + w * z);
    r[1][1] = 1.0 - s * (x * x + z * z);
    r[1][2] = s * (y * z - w * x);
    r[2][0] = s * (x * z - w * y);
    r[2][1] = s * (y * z + w * x);
    r[2][2] = 1.0 - s * (x * x + y * y);
}

void RowsToEuler(const double rows[3][3], float ang[3], int order) {
    Frame f = FrameOf(ValidOrder(order));
    double n[3][3], A, B, C;
    Canonical(rows, f, n);
    SolveCanonical(n, f.repeated, nullptr, A, B, C);
    ang[0] = float(f.sign * A);
    ang[1] = float(f.sign * B);
    ang[2] = float(f.sign * C);
}

// x shifted by whole turns to lie within pi of target.
double Nearest(double x, double target) { return x + kTwoPi * std::round((target - x) / kTwoPi); }

} // namespace

const int* EulerOrderAxes(int order) { return order >= 0 && order <= 8 ? kAxes[order] : nullptr; }

void MatrixToEuler(const Matrix3& mat, float ang[3], int order) {
    double r[3][3];
    RowsFromMatrix(mat, r);
    RowsToEuler(r, ang, order);
}

void QuatToEuler(const Quat& q, float ang[3], int order) {
    double r[3][3];
    RowsFromQuat(q, r);
    RowsToEuler(r, ang, order);
}

void EulerToQuat(const float ang[3], Quat& q, int order) {
    const int* ax = kAxes[ValidOrder(order)];
    Quat r;
    for (int i = 0; i < 3; ++i) {
        // The host's quaternions are left-handed: RotateX(a) is the quaternion of angle -a.
        Point3 axis;
        axis[ax[i]] = 1.0f;
        r = r * QFromAngAxis(-ang[i], axis);
    }
    if (r.w < 0.0f) r = -r;
    r.Normalize();
    q = r;
}

void EulerToMatrix(const float ang[3], Matrix3& mat, int order) {
    const int* ax = kAxes[ValidOrder(order)];
    mat.IdentityMatrix();
    for (int i = 0; i < 3; ++i) {
        switch (ax[i]) {
        case 0:
            mat.RotateX(ang[i]);
            break;
        case 1:
            mat.RotateY(ang[i]);
            break;
        default:
            mat.RotateZ(ang[i]);
            break;
        }
    }
}

void ContinuousQuatToEuler(const Quat& q, float ang[3], int order) {
    Frame f = FrameOf(ValidOrder(order));
    double rows[3][3], n[3][3];
    RowsFromQuat(q, rows);
    Canonical(rows, f, n);
    double prev[3] = {ang[0], ang[1], ang[2]};
    double prevC = f.sign * prev[2];
    double A, B, C;
    bool lock = SolveCanonical(n, f.repeated, &prevC, A, B, C);
    double cand[2][3];
    int count;
    if (lock) {
        // Only B has a second form near the lock; the outer angles are already tied to prev.
        double B2 = f.repeated ? -B : kPi - B;
        cand[0][0] = f.sign * A;
        cand[0][1] = f.sign * B;
        cand[0][2] = f.sign * C;
        cand[1][0] = f.sign * A;
        cand[1][1] = f.sign * B2;
        cand[1][2] = f.sign * C;
        count = std::fabs(B2 - B) < 1e-3 ? 2 : 1;
    } else {
        double B2 = f.repeated ? -B : kPi - B;
        cand[0][0] = f.sign * A;
        cand[0][1] = f.sign * B;
        cand[0][2] = f.sign * C;
        cand[1][0] = f.sign * (A + kPi);
        cand[1][1] = f.sign * B2;
        cand[1][2] = f.sign * (C + kPi);
        count = 2;
    }
    int best = 0;
    double bestCost = 0.0;
    for (int k = 0; k < count; ++k) {
        double cost = 0.0;
        for (int i = 0; i < 3; ++i) {
            cand[k][i] = Nearest(cand[k][i], prev[i]);
            cost += std::fabs(cand[k][i] - prev[i]);
        }
        if (k == 0 || cost < bestCost) {
            best = k;
            bestCost = cost;
        }
    }
    for (int i = 0; i < 3; ++i)
        ang[i] = float(cand[best][i]);
}

// RotationValue

Point3 RotationValue::Euler(EulerType et) const {
    if (mRep == et) return Point3(mQ.x, mQ.y, mQ.z);
    return ToEulerAngles(et);
}

Point3 RotationValue::ToEulerAngles(int order) const {
    order = ValidOrder(order);
    float a[3];
    QuatToEuler(ToQuat(), a, order);
    if (order >= EULERTYPE_XYX) return Point3(a[0], a[1], a[2]);
    // By axis name: the angle at position i belongs to axis kAxes[order][i].
    Point3 r;
    for (int i = 0; i < 3; ++i)
        r[kAxes[order][i]] = a[i];
    return r;
}

namespace {
// The angles in the order EulerToQuat and EulerToMatrix read them; a repeated-axis order keeps
// them as stored.
void StoredAngles(const Quat& stored, int rep, float a[3]) {
    if (rep >= RotationValue::kReptd) {
        a[0] = stored.x;
        a[1] = stored.y;
        a[2] = stored.z;
        return;
    }
    const float byAxis[3] = {stored.x, stored.y, stored.z};
    for (int i = 0; i < 3; ++i)
        a[i] = byAxis[kAxes[rep][i]];
}
}  // namespace

Quat RotationValue::ToQuat() const {
    if (mRep == kQuat) return mQ;
    float a[3];
    StoredAngles(mQ, mRep, a);
    Quat q;
    EulerToQuat(a, q, mRep);
    return q;
}

RotationValue::operator Matrix3() const {
    if (mRep == kQuat) {
        Matrix3 m;
        mQ.MakeMatrix(m);
        return m;
    }
    float a[3];
    StoredAngles(mQ, mRep, a);
    Matrix3 m;
    EulerToMatrix(a, m, mRep);
    return m;
}

void RotationValue::PreApplyTo(Matrix3& m) const { m = Matrix3(*this) * m; }

void RotationValue::PostApplyTo(Matrix3& m) const { m = m * Matrix3(*this); }

void RotationValue::PostRotate(const AngAxis& aa) {
    Quat q = ToQuat() * Quat(aa);
    if (mRep == kQuat) {
        mQ = q;
        return;
    }
    float a[3];
    StoredAngles(mQ, mRep, a);
    const bool repeated = mRep >= kReptd;
    ContinuousQuatToEuler(q, a, mRep);
    if (repeated) {
        mQ = Quat(a[0], a[1], a[2], 0.0f);
    } else {
        float byAxis[3];
        for (int i = 0; i < 3; ++i)
            byAxis[kAxes[mRep][i]] = a[i];
        mQ = Quat(byAxis[0], byAxis[1], byAxis[2], 0.0f);
    }
}
