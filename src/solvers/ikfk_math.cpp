#include "solvers/ikfk_math.h"

#include <algorithm>
#include <cmath>
#include <math.h>

namespace kt {

namespace {

// Unit vector in float; zero stays zero (as the host's Normalize).
inline Point3 Unit(const Point3& p) {
    float l2 = p.LengthSquared();
    if (!(l2 > 0.0f)) return Point3();
    return p * (1.0f / std::sqrt(l2));
}

}  // namespace

Quat QuatFromRows(const Matrix3& m) { return QuatFromUnitRows(Unit(m[0]), Unit(m[1]), Unit(m[2])); }

Quat QuatFromUnitRows(const Point3& r0, const Point3& r1, const Point3& r2) {
    const float tr = r0.x + r1.y + r2.z;
    Quat q;
    if (tr > 0.0f) {
        const float s = std::sqrt(tr + 1.0f) * 2.0f, k = 1.0f / s;
        q = Quat((r2.y - r1.z) * k, (r0.z - r2.x) * k, (r1.x - r0.y) * k, 0.25f * s);
    } else if (r0.x > r1.y && r0.x > r2.z) {
        const float s = std::sqrt(1.0f + r0.x - r1.y - r2.z) * 2.0f, k = 1.0f / s;
        q = Quat(0.25f * s, (r0.y + r1.x) * k, (r0.z + r2.x) * k, (r2.y - r1.z) * k);
    } else if (r1.y > r2.z) {
        const float s = std::sqrt(1.0f + r1.y - r0.x - r2.z) * 2.0f, k = 1.0f / s;
        q = Quat((r0.y + r1.x) * k, 0.25f * s, (r1.z + r2.y) * k, (r0.z - r2.x) * k);
    } else {
        const float s = std::sqrt(1.0f + r2.z - r0.x - r1.y) * 2.0f, k = 1.0f / s;
        q = Quat((r0.z + r2.x) * k, (r1.z + r2.y) * k, 0.25f * s, (r1.x - r0.y) * k);
    }
    if (q.w < 0.0f) q = -q;
    return q;
}

// The angle of the clamped cosine, taken through atan2 of sine and cosine: the same value,
// without acos's loss of precision near 0 and pi, where nearly straight limbs live.
float AngleBetween(const Point3& a, const Point3& b) {
    float lens = std::sqrt(a.LengthSquared() * b.LengthSquared());
    if (lens < 0.01f) return 0.0f;
    return std::atan2((a ^ b).Length(), a % b);
}

namespace {

// Quat(AngAxis(Unit(v), atan2(|v|, c))) for v = b ^ a, c = a % b and r = |a| * |b|, by the
// half-angle identities instead of trigonometry. Each branch divides by a sum that stays far
// from zero on its side of a right angle, so both ends of the range keep full precision.
inline Quat ArcFromParts(const Point3& v, float c, float r) {
    if (r < 0.01f) return Quat();
    const float s2 = v.LengthSquared();
    if (!(s2 > 0.0f)) {
        // Parallel: no axis, as Unit gives; the half turn leaves cos(pi / 2) in w.
        static const float kHalfTurnW = float(std::cos(0.5 * double(kPi)));
        return c >= 0.0f ? Quat() : Quat(0.0f, 0.0f, 0.0f, kHalfTurnW);
    }
    if (c >= 0.0f) {
        const float k = 1.0f / std::sqrt(2.0f * r * (r + c));
        return Quat(v.x * k, v.y * k, v.z * k, (r + c) * k);
    }
    const float s = std::sqrt(s2);
    const float k = 1.0f / std::sqrt(2.0f * r * (r - c));
    const float f = (r - c) * k / s;
    return Quat(v.x * f, v.y * f, v.z * f, s * k);
}

}  // namespace

Quat QuatFromX(const Point3& v) { return ArcFromParts(Point3(0.0f, v.z, -v.y), v.x, v.Length()); }

Quat QuatArc(const Point3& a, const Point3& b) {
    return ArcFromParts(b ^ a, a % b, std::sqrt(a.LengthSquared() * b.LengthSquared()));
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

// Float arithmetic throughout: sin((1 - w) * o) / sin(o) is insensitive to an error in o
// when o is small, and the result is normalized, so nothing is lost against double.
Quat SlerpClosest(const Quat& a, Quat b, float w) {
    float c = a % b;
    if (c < 0.0f) {
        b = -b;
        c = -c;
    }
    float sa, sb;
    if (c > 1.0f - 1e-6f) {
        sa = 1.0f - w;
        sb = w;
    } else {
        // sin((1 - w) o) = sin(o) cos(w o) - cos(o) sin(w o), with c for cos(o): the two
        // differ by far less than the float noise of c itself.
        const float o = std::acos(std::min(c, 1.0f));
        float sw, cw;
        ::sincosf(w * o, &sw, &cw);
        sb = sw / std::sin(o);
        sa = cw - c * sb;
    }
    Quat r(sa * a.x + sb * b.x, sa * a.y + sb * b.y, sa * a.z + sb * b.z, sa * a.w + sb * b.w);
    const float l2 = r.x * r.x + r.y * r.y + r.z * r.z + r.w * r.w;
    if (!(l2 > 0.0f)) return a;
    const float k = 1.0f / std::sqrt(l2);
    return Quat(r.x * k, r.y * k, r.z * k, r.w * k);
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
