#include "solvers/ikfk_math.h"

#include <algorithm>
#include <cmath>

namespace kt {

namespace {

// Unit vector in float; zero stays zero (as the host's Normalize).
inline Point3 Unit(const Point3& p) {
    float l2 = p.LengthSquared();
    if (!(l2 > 0.0f)) return Point3();
    return p * (1.0f / std::sqrt(l2));
}

// The quaternion of a matrix whose rows are perpendicular: rows normalized, then the inverse
// of Quat::MakeMatrix (same handedness, w >= 0).
Quat QuatFromRows(const Matrix3& m) {
    Point3 r0 = Unit(m[0]), r1 = Unit(m[1]), r2 = Unit(m[2]);
    float tr = r0.x + r1.y + r2.z;
    Quat q;
    if (tr > 0.0f) {
        float s = std::sqrt(tr + 1.0f) * 2.0f;
        q = Quat((r2.y - r1.z) / s, (r0.z - r2.x) / s, (r1.x - r0.y) / s, 0.25f * s);
    } else if (r0.x > r1.y && r0.x > r2.z) {
        float s = std::sqrt(1.0f + r0.x - r1.y - r2.z) * 2.0f;
        q = Quat(0.25f * s, (r0.y + r1.x) / s, (r0.z + r2.x) / s, (r2.y - r1.z) / s);
    } else if (r1.y > r2.z) {
        float s = std::sqrt(1.0f + r1.y - r0.x - r2.z) * 2.0f;
        q = Quat((r0.y + r1.x) / s, 0.25f * s, (r1.z + r2.y) / s, (r0.z - r2.x) / s);
    } else {
        float s = std::sqrt(1.0f + r2.z - r0.x - r1.y) * 2.0f;
        q = Quat((r0.z + r2.x) / s, (r1.z + r2.y) / s, 0.25f * s, (r1.x - r0.y) / s);
    }
    if (q.w < 0.0f) q = -q;
    return q;
}

}  // namespace

// The angle of the clamped cosine, taken through atan2 of sine and cosine: the same value,
// without acos's loss of precision near 0 and pi, where nearly straight limbs live.
float AngleBetween(const Point3& a, const Point3& b) {
    float lens = std::sqrt(a.LengthSquared() * b.LengthSquared());
    if (lens < 0.01f) return 0.0f;
    return std::atan2((a ^ b).Length(), a % b);
}

Quat QuatFromX(const Point3& v) {
    float len = v.Length();
    float angle = len < 0.01f ? 0.0f : std::atan2(std::sqrt(v.y * v.y + v.z * v.z), v.x);
    return Quat(AngAxis(Unit(Point3(0.0f, v.z, -v.y)), angle));
}

Quat QuatArc(const Point3& a, const Point3& b) {
    return Quat(AngAxis(Unit(b ^ a), AngleBetween(a, b)));
}

Matrix3 FrameFromPoints(const Point3& origin, const Point3& p, const Point3& q) {
    Point3 r0 = Unit(p - origin);
    Point3 r2 = Unit(r0 ^ Unit(q - origin));
    Point3 r1 = Unit(r2 ^ r0);
    return Matrix3(r0, r1, r2, origin);
}

Matrix3 FrameFromVectors(const Point3& a, const Point3& b) { return FrameFromPoints(Point3(), a, b); }

// Matrix3::Parity for rows already known to be perpendicular and non-null: the sign of
// their triple product, which is then far from zero, without the general determinant.
static inline bool Mirrored(const Point3& a, const Point3& b, const Point3& c) {
    const double det = double(a.x) * (double(b.y) * c.z - double(b.z) * c.y) -
                       double(a.y) * (double(b.x) * c.z - double(b.z) * c.x) +
                       double(a.z) * (double(b.x) * c.y - double(b.y) * c.x);
    return det < 0.0;
}

Quat OrthoQuat(const Matrix3& m) {
    // The polar decomposition is costly and changes nothing when the axes are already
    // perpendicular (pure rotation with or without per-axis scale), which is the usual case.
    const Point3& a = m[0];
    const Point3& b = m[1];
    const Point3& c = m[2];
    float la = a.LengthSquared(), lb = b.LengthSquared(), lc = c.LengthSquared();
    constexpr float kTol = 1e-5f;
    float ab = a % b, bc = b % c, ca = c % a;
    if (la > 0.0f && lb > 0.0f && lc > 0.0f && ab * ab <= kTol * kTol * la * lb && bc * bc <= kTol * kTol * lb * lc &&
        ca * ca <= kTol * kTol * lc * la && !Mirrored(a, b, c))
        return QuatFromRows(m);
    Matrix3 o = m;
    o.Orthogonalize();
    return Quat(o);
}

Quat SlerpClosest(const Quat& a, Quat b, float w) {
    b.MakeClosest(a);
    return Slerp(a, b, w);
}

float ClosestAngle(float x, float v) {
    float r = std::fmod(x, kTwoPi);
    if (r < 0.0f) r += kTwoPi;
    float d = v - r;
    if (d > kPi)
        d -= kTwoPi;
    else if (d < -kPi)
        d += kTwoPi;
    return x + d;
}

float XAngle(const Quat& q) {
    return -std::atan2(2.0f * (q.x * q.w + q.y * q.z), 1.0f - 2.0f * (q.x * q.x + q.y * q.y));
}

}  // namespace kt
